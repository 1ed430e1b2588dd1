#include "wal/tablechangecollector.h"

#include "wal/snapshotcontext.h"

TableChangeCollector::~TableChangeCollector() = default;

void TableChangeCollector::beginCommit(int commitIndex)
{
    m_currentCommit = commitIndex;
}

void TableChangeCollector::finishCollection()
{
    m_currentCommit = -1;
}

void TableChangeCollector::publishResults() {}

TableVersion TableChangeCollector::lastVersion(const QString &table) const
{
    return m_context ? m_context->table(table, m_context->lastWholeCommit()) : TableVersion();
}

TableVersion TableChangeCollector::firstVersion(const QString &table) const
{
    return m_context ? m_context->table(table, DatabaseFileVersion) : TableVersion();
}
