#include "recoverers/numberedmatcher.h"

void NumberedMatcher::trackRowid(const TableSchema &table, bool restart, bool isDeleted)
{
    RowMatcher::trackRowid(table, restart, isDeleted);
    if (restart) {
        m_numbering.restart();
    }
    if (!isDeleted) {
        m_numbering.addLive(m_rowid.value, {typesStart(), localEnd()});
    }
}

void NumberedMatcher::extractRecord(const TableSchema &table, const QByteArray &payload,
                                    bool isDeleted, int limit)
{
    RowMatcher::extractRecord(table, payload, isDeleted, limit);
    m_heldRowid = m_rowid;
}

void NumberedMatcher::finish()
{
    RowMatcher::finish();
    m_numbering.restart();
}

void NumberedMatcher::keepRowid(const QByteArray &region)
{
    // The stored header size counts itself and the NULL of the rowid alias as well.
    const bool isPrefix = m_cellPrefix.size() == CellPrefix && m_cellPrefix[0] != 0
                          && m_cellPrefix[1] == m_typesLength + 2 && m_cellPrefix[2] == 0;
    m_rowid.value = isPrefix ? m_cellPrefix[0] : 0;
    m_rowid.isIntact = m_rowid.value > 0 && intactRowid(region) != 0;
}
