#pragma once

#include "engine/databasereader.h"
#include "wal/tablepages.h"
#include "wal/tableversion.h"
#include "wal/walfile.h"

#include <QCache>
#include <QFile>
#include <QString>
#include <QVector>

#include <map>
#include <memory>

class SqliteSnapshotReader;

/// Stands for a commit index: the database file without its log.
constexpr int DatabaseFileVersion = -1;

/// A database with its log, of which every commit is a version. Both are opened for reading only.
class SnapshotContext
{
public:
    /// Opens nothing yet.
    SnapshotContext(const QString &dbPath, const QString &walPath);
    ~SnapshotContext();
    Q_DISABLE_COPY(SnapshotContext)

    /// Reads the log, then opens the database and reads its header. Returns false at the first of
    /// these that fails, and when nothing is committed in the log.
    bool load();

    const QString &dbPath() const { return m_dbPath; }
    QString walPath() const { return m_wal.path(); }
    const WalFile &wal() const { return m_wal; }

    /// Returns the reader of the database file without its log. Only after load() returned true.
    DatabaseReader *database() { return m_database.get(); }

    /// Returns the reader of the version that the commit made, with its header read. Null when that
    /// fails; it is tried again the next time. Readers live as long as the context.
    DatabaseReader *snapshotAt(int commitIndex);

    /// Returns a table of a version. It does not exist when the version or its schema cannot be
    /// read, when the page sizes of the log and of the database differ, or when the last page of
    /// the commit is cut off: what such a version lacks says nothing about deletions.
    TableVersion table(const QString &name, int commitIndex);

    /// Spends what comparing costs: bytes of pages that are looked at, and of rows that are kept.
    /// Returns false when it is more than files of this size may cost.
    bool spendOnPages(qint64 bytes) { return m_pageBudget.spend(bytes); }
    bool spendOnRows(qint64 bytes) { return m_rowBudget.spend(bytes); }

    /// The last commit that is whole; DatabaseFileVersion when there is none.
    int lastWholeCommit() const;

private:
    struct Snapshot
    {
        std::unique_ptr<SqliteSnapshotReader> device;
        std::unique_ptr<DatabaseReader> reader;
    };
    using Schema = QVector<TableSchema>;

    DatabaseReader *readerOf(int commitIndex);
    const Schema *schemaOf(int commitIndex);
    bool spendOnSchema(int commitIndex);
    bool readSchema(int commitIndex, Schema *schema);
    void setBudgets();
    bool followSchema(int commitIndex);
    bool wroteHeaderOnly(int commitIndex, const QVector<quint32> &written);
    QIODevice *deviceOf(int commitIndex);

    QString m_dbPath;
    QFile m_dbFile;
    WalFile m_wal;
    std::unique_ptr<DatabaseReader> m_database;
    std::map<int, Snapshot> m_snapshots;

    WorkBudget m_payloadBudget;
    WorkBudget m_pageBudget;
    WorkBudget m_rowBudget;
    WorkBudget m_schemaBudget;
    bool m_isSchemaSpent = false; ///< on telling in which versions it changed

    /// For each version, beginning with the file alone: the first version that has its schema.
    QVector<int> m_schemaSince;
    TablePages m_schemaPages; ///< of the last of those versions
    QCache<int, Schema> m_schemas;
};
