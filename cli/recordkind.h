#pragma once

#include "api/scantype.h"
#include "cli/recordrows.h"

#include <QCborMap>
#include <QStringList>
#include <QVector>

class SqliteRecovery;

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
    /// Whether a row of the text table is what its heading counts; else a record is.
    bool rowsAreItems;
    /// Names of the record's fields after "kind".
    QStringList fields;
    /// Headings of the text table's columns; empty for a table without such a line.
    QStringList columns;
    /// The number of such records.
    unsigned (*count)(SqliteRecovery &results);
    /// The fields of one record in their order, as stored.
    QCborMap (*record)(SqliteRecovery &results, unsigned index);
    /// The record's rows of the text table.
    TextRows (*rows)(const QCborMap &record);
};

/// The kinds of records that a scan of `type` can find in this version; empty when there is none.
QVector<RecordKind> recordKinds(ScanType type);

/// A finished scan and what may be in it.
struct ScanResults
{
    SqliteRecovery &recovery;
    QVector<RecordKind> kinds;
};

/// All records of a kind begin with the field "kind".
QCborMap recordAt(const ScanResults &results, const RecordKind &kind, unsigned index);

/// Number of records of a kind.
unsigned recordCount(const ScanResults &results, const RecordKind &kind);
