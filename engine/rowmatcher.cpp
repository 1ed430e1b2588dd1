#include "engine/rowmatcher.h"

#include "engine/databaseheader.h"
#include "engine/serialtype.h"
#include "engine/spilledpayload.h"
#include "engine/sqlitedbfile.h"
#include "engine/varint.h"

#include <algorithm>

namespace {

/// Overflow pages belong to one row each, and copies of a row are few. A hostile file, in which any
/// number of rows claim the same pages, gets no more than so many times its own size.
constexpr qint64 MostRebuilds = 16;

} // namespace

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
    if (typesStart() < m_held.bodyStart || recordStart() >= m_held.localEnd) {
        return;
    }
    const qint64 cellStart = recordStart() - varintLength(payloadSize());
    const int covered = int(std::max(cellStart, m_held.bodyStart));
    m_held.limit = m_held.limit == 0 ? covered : std::min(m_held.limit, covered);
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
    m_localEnd = localEnd();
    m_isRebuilt = spills(payload, header);
    if (!m_isRebuilt) {
        return region;
    }
    if (m_rebuilt > MostRebuilds * device.size()) {
        return region.left(int(std::max<qint64>(m_localEnd - OverflowPointerSize, 0)));
    }
    m_rebuilt += payload.size;
    return rebuildPayload(region, device, header, payload);
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
    m_held.typesStart = typesStart();
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
                              int typesAfter, int lookBack)
{
    m_anchorPos = anchorPos;
    m_typesLength = decodeHeaderAt(region, anchorPos, typesBefore, typesAfter, m_cellPrefix,
                                   lookBack, NoExpectedClass);
}

bool RowMatcher::isCellOfOtherLayout(const QByteArray &region) const
{
    const auto *begin = reinterpret_cast<const uchar *>(region.constData());
    const qint64 types =
        m_cellPrefix.size() == CellPrefix && m_cellPrefix[2] == 0 ? m_cellPrefix[1] - 2 : 0;
    // The NULL of the rowid alias, the first of the types, stands just in front of the decoded
    // ones.
    const uchar *first = begin + typesStart();
    if (types <= 0 || types >= m_typesLength) {
        return false;
    }
    qint64 size = types + 2;
    for (const uchar *pos = first; pos < first + types;) {
        qint64 type = 0;
        const int length = decodeVarint(pos, first + types, type);
        if (length == 0 || serialTypeSize(type) < 0 || size > region.size()) {
            return false;
        }
        size += serialTypeSize(type);
        pos += length;
    }
    return recordStart() > 0 && endsInVarint(begin, begin + recordStart(), size);
}

void RowMatcher::dropLastTypes(int count, int length)
{
    serialTypes.resize(serialTypes.size() - count);
    m_typesLength -= length;
    bodyStart -= length;
}

/// Walks from the anchor on, because bytes of a body need not be varints of the shortest form.
int RowMatcher::lengthOfTypesFrom(int index, const QByteArray &region, int anchorColumn) const
{
    const auto *begin = reinterpret_cast<const uchar *>(region.constData());
    const uchar *end = begin + bodyStart;
    const uchar *pos = begin + m_anchorPos;
    for (int i = anchorColumn - 1; i < index; ++i) {
        qint64 type = 0;
        pos += decodeVarint(pos, end, type);
    }
    return int(end - pos);
}

qint64 RowMatcher::sizeBefore(int column) const
{
    qint64 size = 0;
    for (int i = 0; i < column - 1; ++i) {
        size += std::max<qint64>(serialTypeSize(serialTypes[i]), 0);
    }
    return size;
}

qint64 RowMatcher::localEnd() const
{
    const CandidatePayload payload(bodyStart, m_typesLength, serialTypes);
    return payload.start + localPayloadSize(payload.size, owner->headerInfo());
}

qint64 RowMatcher::payloadSize() const
{
    return CandidatePayload(bodyStart, m_typesLength, serialTypes).size;
}
