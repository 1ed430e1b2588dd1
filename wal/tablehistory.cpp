#include "wal/tablehistory.h"

#include "wal/snapshotcontext.h"

int TableHistory::since(const TableVersion &table)
{
    const int version = table.commitIndex();
    if (m_since.isEmpty()) {
        m_first = version;
        follow(table);
        m_since.append(version);
    }
    if (version < m_first) {
        return version;
    }
    while (m_first + m_since.size() <= version) {
        const int next = m_first + m_since.size();
        const bool hasChanged = follow(table.m_context->table(table.schema().name, next));
        m_since.append(hasChanged ? next : m_since.last());
    }
    return m_since.at(version - m_first);
}

/// Returns true when the table differs from the version before.
bool TableHistory::follow(const TableVersion &table)
{
    if (!table.exists()) {
        m_pages.clear(); // read as a whole when it is back
        return true;
    }
    const auto root = quint32(table.schema().rootPage);
    const int columnCount = table.schema().columns.size();
    QVector<quint32> written;
    if (!m_pages.isEmpty()) {
        written = table.m_context->wal().pagesOf(table.commitIndex());
        if (root == m_root && columnCount == m_columnCount && !m_pages.containsAny(written)) {
            return false;
        }
    }
    m_pages.update(*table.m_reader, root, written);
    m_root = root;
    m_columnCount = columnCount;
    return true;
}
