#pragma once

#include "engine/tableschema.h"

#include <QByteArray>

#include <functional>

class DatabaseReader;
class SnapshotContext;

/// One row as stored: its identifier and its record.
struct TableRow
{
    qint64 rowid = 0;
    QByteArray record;
};

/// One table as it stood in one version of the database. Cheap to copy; valid as long as the
/// context that it comes from.
class TableVersion
{
public:
    /// A table that does not exist.
    TableVersion() = default;
    TableVersion(SnapshotContext *context, DatabaseReader *reader, const TableSchema &schema,
                 int commitIndex);

    /// False when the version does not have the table; nothing but sibling() may then be called.
    bool exists() const { return m_reader != nullptr; }

    const TableSchema &schema() const { return m_schema; }
    /// The commit that made the version; DatabaseFileVersion for the file without its log.
    int commitIndex() const { return m_commitIndex; }
    int textEncoding() const;
    /// The column whose values are the row identifier, and NULL in records; -1 when there is none.
    int rowidColumn() const { return m_rowidColumn; }

    /// Returns another table of the same version of the database.
    TableVersion sibling(const QString &name) const;

    /// Finds the row by its identifier; takes a few page reads. False when there is none.
    bool findRow(qint64 rowid, TableRow *row) const;

    /// Calls `visit` for every row, until it returns false, page by page and not in the order of
    /// the identifiers. Rows and pages that cannot be read are passed over.
    void forEachRow(const std::function<bool(const TableRow &)> &visit) const;

private:
    friend class TableDiff;
    friend class TableHistory;

    SnapshotContext *m_context = nullptr;
    DatabaseReader *m_reader = nullptr;
    TableSchema m_schema;
    int m_commitIndex = 0;
    int m_rowidColumn = -1;
};

/// A row whose record is longer is passed over: far above what devices store.
constexpr int MaxRecordSize = 8 * 1024 * 1024;

/// Reads the record of the row `ref` on the leaf page of which `page` holds the bytes, and across
/// its overflow pages. Returns false when it cannot be read or is too long.
bool readRecord(DatabaseReader &reader, const QByteArray &page, const struct RowRef &ref,
                TableRow *row);
