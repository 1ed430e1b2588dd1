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
        m_isHeld = !coversHeldHeader();
        coverHeldRow();
    }
    readHeldRow(table);
}

/// True when the candidate at hand is a whole cell that begins among the held row's types, which
/// are then partly its own.
bool RowMatcher::coversHeldHeader() const
{
    return hasCellPrefix() && recordStart() > m_held.typesStart
           && recordStart() <= m_held.bodyStart;
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
    return payloadOf(region, device, header, BrokenChain());
}

QByteArray RowMatcher::payloadOf(const QByteArray &region, QIODevice &device,
                                 const DatabaseHeader &header, const BrokenChain &broken)
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
    const QByteArray bytes = rebuildPayload(region, device, header, payload, broken);
    m_rebuilt += bytes.size();
    return bytes;
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
                              int typesAfter)
{
    m_anchorPos = anchorPos;
    m_typesLength = decodeHeaderAt(region, anchorPos, typesBefore, typesAfter, m_cellPrefix,
                                   CellPrefix, NoExpectedClass);
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

bool RowMatcher::isHeaderOfOtherSize(const QByteArray &region) const
{
    constexpr int mostInOneByte = 127;
    // The types, the NULL of the rowid alias and the size itself.
    const int size = m_typesLength + 3;
    const qint64 start = typesStart();
    if (size - 1 <= mostInOneByte || start < 2 || region[int(start - 1)] != 0) {
        return false;
    }
    return region[int(start - 2)] != char(size & mostInOneByte);
}

void RowMatcher::dropLastTypes(int count, int length)
{
    serialTypes.resize(serialTypes.size() - count);
    m_typesLength -= length;
    bodyStart -= length;
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
