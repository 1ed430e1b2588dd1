#pragma once

#include "api/scantype.h"
#include "cli/recordrows.h"

#include <QCborMap>
#include <QStringList>
#include <QVector>

#include <functional>

class SqliteRecovery;
class WalRecovery;

/// What the printers know about one kind of recovered record. A further kind is one more entry of
/// the table in the source file, with the functions that the entry names.
struct RecordKind
{
    /// The kind of database that such records come from.
    ScanType scanType;
    /// Value of the "kind" field; part of the program's stable interface.
    const char *name;
    /// How the text output calls such records.
    const char *heading;
    /// Names of the record's fields after "kind".
    QStringList fields;
    /// Headings of the text table's columns; empty for a table without such a line.
    QStringList columns;
    /// The record's rows of the text table.
    TextRows (*rows)(const QCborMap &record);
    /// The number of such records.
    std::function<unsigned()> count;
    /// The number of things that people count in the records: messages rather than conversations.
    std::function<unsigned()> items;
    /// The fields of one record in their order, as stored.
    std::function<QCborMap(unsigned index)> record;
};

/// A finished scan: the kinds of records that may be in it.
struct ScanResults
{
    QVector<RecordKind> kinds;
};

/// The kinds of records that a scan of `type` can find in this version; none when there is none.
/// They are read from the object, which must outlive the results.
ScanResults resultsOf(ScanType type, SqliteRecovery &recovery);
ScanResults resultsOf(ScanType type, WalRecovery &recovery);

/// The names of all kinds.
QStringList kindNames();

/// All records of a kind begin with the field "kind".
QCborMap recordAt(const RecordKind &kind, unsigned index);
