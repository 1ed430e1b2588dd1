#pragma once

#include "cli/recordkind.h"

#include <QCborValue>

/// How the report lays out the records of a kind.
enum class ReportLayout {
    Table,
    Cards,         ///< one for each person
    Conversations, ///< each with its messages
};

ReportLayout layoutOf(const RecordKind &kind);

/// Headings of the report's table of such records.
QStringList reportColumns(const RecordKind &kind);

/// The times in a record, one for each of its items, as ISO 8601; empty where there is none.
QStringList timesOf(const QCborMap &record);

/// What the report shows of a record of the database number `source`: an array of the source and
/// the cells of a table; of the source, the name and the details of a card; or an object for a
/// conversation, and behind it an array for each message: whether it was sent, its time as text and
/// as stored, sender, text, attachment.
QVector<QCborValue> reportEntries(const RecordKind &kind, const QCborMap &record, int source);
