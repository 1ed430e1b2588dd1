#pragma once

#include "wal/recordparser.h"
#include "wal/tablehistory.h"

#include <QHash>
#include <QVector>

#include <limits>

constexpr int NoVersion = std::numeric_limits<int>::min();

/// Reads a row as a record; a default one when it cannot be decoded.
template<typename Parser, typename Record>
Record parsed(const TableVersion &table, const TableRow &row)
{
    Parser parser;
    Record record;
    parseRow(parser, table, row, &record);
    return record;
}

/// Rows of a table of names by their identifier. While the table stays as it is, each is read once.
template<typename Parser, typename Record> class IdentifiedRows
{
public:
    /// Finds the row in the version.
    bool find(const TableVersion &table, qint64 rowid, Record *record)
    {
        if (!table.exists()) {
            return false;
        }
        const int since = m_history.since(table);
        if (since != m_since) {
            m_known.clear();
            m_since = since;
        }
        auto known = m_known.constFind(rowid);
        if (known == m_known.cend()) {
            TableRow row;
            Parser parser;
            Known found{false, Record()};
            found.isThere =
                table.findRow(rowid, &row) && parseRow(parser, table, row, &found.record);
            known = m_known.insert(rowid, found);
        }
        if (known->isThere) {
            *record = known->record;
        }
        return known->isThere;
    }

    /// Remembers a row that went away, for versions that lack it.
    void addFormer(const TableVersion &table, const TableRow &row)
    {
        m_former.insert(row.rowid, parsed<Parser, Record>(table, row));
    }

    /// Finds the row among those that went away, then in the given versions.
    bool findElsewhere(const QVector<TableVersion> &versions, qint64 rowid, Record *record)
    {
        const auto former = m_former.constFind(rowid);
        if (former != m_former.cend()) {
            *record = *former;
            return true;
        }
        for (const TableVersion &version : versions) {
            if (find(version, rowid, record)) {
                return true;
            }
        }
        return false;
    }

private:
    struct Known
    {
        bool isThere;
        Record record;
    };
    TableHistory m_history;
    int m_since = NoVersion;
    QHash<qint64, Known> m_known; ///< in the versions from `m_since` on
    QHash<qint64, Record> m_former;
};

/// A row that is looked for by something else than its identifier.
template<typename Key, typename Value> struct KeyedRow
{
    Key key{};
    Value value{};
};

/// All rows of a small table by a key, which several may share. While the table stays as it is, it
/// is read once. `Parser` makes a KeyedRow of a row.
template<typename Parser, typename Key, typename Value> class KeyedRows
{
public:
    /// The first version that holds the same rows; NoVersion when there is no such table.
    int since(const TableVersion &table)
    {
        return table.exists() ? m_history.since(table) : NoVersion;
    }

    QVector<Value> find(const TableVersion &table, const Key &key)
    {
        if (!table.exists()) {
            return {};
        }
        const int version = m_history.since(table);
        if (!m_tables.contains(version)) {
            if (m_tables.size() == KeptTables) {
                m_tables.clear();
            }
            m_tables.insert(version, read(table));
        }
        return m_tables.value(version).value(key);
    }

    /// Remembers a row that went away, for versions that lack it.
    void addFormer(const TableVersion &table, const TableRow &row) { add(table, row, &m_former); }

    /// Finds rows among those that went away, then in the given versions.
    QVector<Value> findElsewhere(const QVector<TableVersion> &versions, const Key &key)
    {
        QVector<Value> found = m_former.value(key);
        for (int i = 0; i < versions.size() && found.isEmpty(); ++i) {
            found = find(versions.at(i), key);
        }
        return found;
    }

private:
    using Rows = QHash<Key, QVector<Value>>;
    static constexpr int KeptTables = 2; ///< in the end two versions are asked by turns

    static void add(const TableVersion &table, const TableRow &row, Rows *rows)
    {
        const auto keyed = parsed<Parser, KeyedRow<Key, Value>>(table, row);
        (*rows)[keyed.key].append(keyed.value);
    }

    static Rows read(const TableVersion &table)
    {
        Rows rows;
        table.forEachRow([&](const TableRow &row) {
            add(table, row, &rows);
            return true;
        });
        return rows;
    }

    TableHistory m_history;
    QHash<int, Rows> m_tables; ///< by the version since which they are so
    Rows m_former;
};
