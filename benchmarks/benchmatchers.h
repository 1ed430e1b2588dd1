#pragma once

#include "engine/recordmatcher.h"
#include "engine/sqlitedbfile.h"

/// Opens any database; finds nothing of its own.
class BenchDbFile : public SqliteDbFile
{
public:
    int scanDeletedRecords(SqliteRecovery *) override { return 0; }
};

/// Matches rows of the table "message" by their identifier and reads their texts: a stand-in with
/// the work of a real matcher of messages.
class BenchMessageMatcher : public RecordMatcher
{
public:
    explicit BenchMessageMatcher(SqliteDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;
    bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) override;
    void extractRecord(const TableSchema &table, const QByteArray &payload, bool isDeleted,
                       int limit) override;

    qint64 textLength = 0; ///< of all deleted messages found

private:
    int m_guid = -1;
    int m_text = -1;
    int m_handle = -1;
    int m_service = -1;
    QVector<qint64> m_cellPrefix;
};
