#pragma once

#include "cli/report.h"

#include <QCborMap>

#include <functional>

/// A report of records of our own, or of databases that are scanned for it.
class ReportFixture
{
public:
    ReportFixture();

    /// A scanned database of the place, whose kind of the name `kind` has these records. Another
    /// kind of the same place is added to the same database.
    void add(ScanType type, const QString &place, const char *kind,
             const QVector<QCborMap> &records);
    /// The same with records that are made when they are asked for.
    void add(ScanType type, const QString &place, const char *kind, unsigned count,
             const std::function<QCborMap(unsigned)> &record);
    /// Makes the sample backup in `folder` with the program `makesample` and scans its databases.
    bool scanSampleBackup(const QString &makesample, const QString &folder);

    Report report;

private:
    ScannedDatabase &database(ScanType type, const QString &place);
};

/// What the printer makes of the report; no bytes when it fails.
QByteArray printed(const Report &report, bool (*print)(const Report &, QIODevice &));
/// The page of the report; no bytes when it cannot be written.
QByteArray htmlOf(const Report &report);

/// Records of every kind, each of whose texts begins with `text` and is made longer by a counter,
/// in one database of every type. All that is no text is the same whatever the text.
void addEveryKind(ReportFixture *fixture, const QString &text);
