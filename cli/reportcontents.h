#pragma once

#include "cli/reportentries.h"
#include "cli/timeline.h"

struct Report;

/// The records of one kind in one database.
struct ReportPart
{
    int source = 0; ///< number of the database in the report
    const RecordKind *kind = nullptr;
    qint64 items = 0; ///< messages, persons, calls and so on
};

/// The records of one heading, of all databases.
struct ReportSection
{
    QString heading;
    QByteArray id;
    ReportLayout layout = ReportLayout::Table;
    QStringList columns;
    QVector<ReportPart> parts; ///< those that have records
    qint64 items = 0;
    qint64 conversations = 0;
};

/// What the report says of its records in front of them. To know it, each record is read once, and
/// none is kept.
struct ReportContents
{
    explicit ReportContents(const Report &report);

    QVector<ReportSection> sections;      ///< one for each heading, also without records
    QVector<QVector<ReportPart>> sources; ///< the parts of each database
    Timeline timeline;
    qint64 items = 0;
};

/// How the report refers to a database: "D2 sms.db".
QString sourceName(const Report &report, int source);
