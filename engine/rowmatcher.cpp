#include "engine/rowmatcher.h"

#include "engine/databaseheader.h"
#include "engine/spilledpayload.h"
#include "engine/sqlitedbfile.h"
#include "engine/varint.h"

#include <algorithm>

void RowMatcher::trackRowid(const TableSchema &table, bool restart, bool)
{
    if (m_isHeld && !restart) {
        coverHeldRow();
    }
    readHeldRow(table);
}

/// Notes from where on the candidate at hand covers the held row. Cells side by side do not touch:
/// in front of a record there is at least its payload size.
void RowMatcher::coverHeldRow()
{
    const int start = recordStart();
    if (start <= m_held.bodyStart || start >= m_held.localEnd) {
        return;
    }
    const int cellStart = start - varintLength(payloadSize());
    m_held.limit = m_held.limit == 0 ? cellStart : std::min(m_held.limit, cellStart);
}

void RowMatcher::readHeldRow(const TableSchema &table)
{
    if (m_isHeld) {
        m_isHeld = false;
        readRow(table, m_held);
        m_held.payload.clear(); // so that the next region need not be read into another buffer
    }
}

void RowMatcher::finish()
{
    if (m_table) {
        readHeldRow(*m_table);
    }
}

QByteArray RowMatcher::readPayload(const QByteArray &region, QIODevice &device,
                                   const DatabaseHeader &header, qint64, int)
{
    const CandidatePayload payload(bodyStart, m_typesLength, serialTypes);
    m_localEnd = payload.start + payload.size;
    m_isRebuilt = spills(payload, header);
    return m_isRebuilt ? rebuildPayload(region, device, header, payload, &m_localEnd) : region;
}

void RowMatcher::extractRecord(const TableSchema &table, const QByteArray &payload, bool isDeleted,
                               int limit)
{
    if (!isDeleted) {
        ++liveMatches;
        return;
    }
    ++deletedMatches;
    m_isHeld = true;
    m_table = &table;
    m_held.payload = payload;
    m_held.serialTypes = serialTypes;
    m_held.bodyStart = bodyStart;
    m_held.localEnd = m_localEnd;
    // Overflow bytes lie behind the local part, where no cell of the page can cover them.
    m_held.limit = m_isRebuilt && limit >= m_localEnd ? 0 : limit;
    m_held.isRebuilt = m_isRebuilt;
}

RecordFields RowMatcher::fieldsOf(const Row &row) const
{
    return RecordFields(row.payload, row.bodyStart, row.serialTypes, row.limit,
                        owner->headerInfo().textEncoding);
}

void RowMatcher::decodeAround(const QByteArray &region, int anchorPos, int typesBefore,
                              int typesAfter)
{
    m_anchorPos = anchorPos;
    m_typesLength = decodeHeaderAt(region, anchorPos, typesBefore, typesAfter, m_cellPrefix,
                                   CellPrefix, NoExpectedClass);
}

qint64 RowMatcher::payloadSize() const
{
    return CandidatePayload(bodyStart, m_typesLength, serialTypes).size;
}
