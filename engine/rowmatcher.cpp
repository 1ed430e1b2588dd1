#include "engine/rowmatcher.h"

#include "engine/databaseheader.h"
#include "engine/serialtype.h"
#include "engine/spilledpayload.h"
#include "engine/sqlitedbfile.h"
#include "engine/varint.h"

#include <algorithm>
#include <cctype>
#include <climits>

namespace {

/// Overflow pages belong to one row each, and copies of a row are few. A hostile file, in which any
/// number of rows claim the same pages, gets no more than so many times its own size: what is
/// rebuilt has still to be kept, and to be made text of.
constexpr qint64 MostRebuilds = 2;

constexpr int GuidLength = 36;

bool isGuidAt(const QByteArray &region, qint64 pos)
{
    if (!hasGuidDashesAt(region, pos)) {
        return false;
    }
    const char *bytes = region.constData() + pos;
    return std::all_of(bytes, bytes + GuidLength,
                       [](char c) { return c == '-' || std::isxdigit(uchar(c)) != 0; });
}

} // namespace

bool hasGuidDashesAt(const QByteArray &region, qint64 pos)
{
    if (pos < 0 || pos > region.size() - GuidLength) {
        return false;
    }
    const char *bytes = region.constData() + pos;
    return bytes[8] == '-' && bytes[13] == '-' && bytes[18] == '-' && bytes[23] == '-';
}

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
    // Where the candidate's own prefix is overwritten its identifier is taken for as long as most
    // are: what is read backwards there may reach far into the row in front of it.
    const qint64 usualStart =
        std::max<qint64>(recordStart(), typesStart() - CellPrefix) - (rowidLength - 1);
    const qint64 start = hasCellPrefix() ? std::min<qint64>(recordStart(), usualStart) : usualStart;
    if (typesStart() < m_held.bodyStart || start >= m_held.localEnd) {
        return;
    }
    const qint64 cellStart = start - varintLength(payloadSize());
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
    return payloadOf(region, device, header, BrokenChain());
}

QByteArray RowMatcher::payloadOf(const QByteArray &region, QIODevice &device,
                                 const DatabaseHeader &header, const BrokenChain &broken)
{
    const CandidatePayload payload = candidatePayload();
    m_localEnd = localEnd();
    m_isRebuilt = spills(payload, header);
    if (!m_isRebuilt) {
        return region;
    }
    if (m_rebuilt > MostRebuilds * device.size()) {
        return region.left(int(std::max<qint64>(m_localEnd - OverflowPointerSize, 0)));
    }
    m_rebuilt += payload.size;
    return rebuildPayload(region, device, header, payload, broken);
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

RecordFields RowMatcher::proseFieldsOf(const Row &row) const
{
    const bool endsWithPayload = row.isRebuilt && row.limit == 0;
    return RecordFields(row.payload, row.bodyStart, row.serialTypes,
                        endsWithPayload ? row.payload.size() : row.limit,
                        owner->headerInfo().textEncoding);
}

RowMatcher::Row RowMatcher::ownPart(const Row &row, int count)
{
    Row part = row;
    if (row.isRebuilt) {
        part.payload.truncate(int(std::max<qint64>(row.localEnd - OverflowPointerSize, 0)));
        return part;
    }
    qint64 end = row.bodyStart;
    for (int i = 0; i < count; ++i) {
        end += serialTypeSize(row.serialTypes[i]);
    }
    part.limit = int(std::min<qint64>(end, row.payload.size()));
    return part;
}

void RowMatcher::decodeAround(const QByteArray &region, int anchorPos, int typesBefore,
                              int typesAfter, int lookBack, int expectedClass)
{
    m_anchorPos = anchorPos;
    m_typesLength = decodeHeaderAt(region, anchorPos, typesBefore, typesAfter, m_cellPrefix,
                                   lookBack, expectedClass);
}

void RowMatcher::widenFirstType(const QByteArray &region)
{
    const auto *first = reinterpret_cast<const uchar *>(region.constData()) + typesStart();
    if (serialTypes.isEmpty() || typesStart() < 2 || first[-1] < 0x81 || first[-2] != 0
        || *first >= 0x80) {
        return;
    }
    const qint64 type = qint64(first[-1] & 0x7f) << 7 | *first;
    if (isTextSerialType(type, false)) {
        takeFirstType(type, 1);
    }
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

void RowMatcher::alignToGuid(const QByteArray &region, qint64 offset, int columns)
{
    const qint64 expected = bodyStart + offset;
    if (offset < 0 || hasGuidDashesAt(region, expected)) {
        return;
    }
    int length = 0;
    for (int i = serialTypes.size() - 1; i >= columns; --i) {
        length += varintLength(serialTypes[i]);
        if (bodyStart - length <= m_anchorPos) {
            return;
        }
        if (isGuidAt(region, expected - length)) {
            dropLastTypes(serialTypes.size() - i, length);
            return;
        }
    }
}

void RowMatcher::dropLastTypes(int count, int length)
{
    serialTypes.resize(serialTypes.size() - count);
    m_typesLength -= length;
    bodyStart -= length;
}

/// Bytes of a body need not be varints of the shortest form, so the value does not tell the length.
int RowMatcher::varintLengthAt(const QByteArray &region, qint64 pos)
{
    const auto *begin = reinterpret_cast<const uchar *>(region.constData());
    qint64 value = 0;
    return decodeVarint(begin + pos, begin + region.size(), value);
}

qint64 RowMatcher::bodyOffset(int column) const
{
    qint64 offset = 0;
    for (int i = 0; i < column - 1; ++i) {
        // A header of types that are all absurd must not overflow.
        offset =
            std::min(offset + std::max<qint64>(serialTypeSize(serialTypes[i]), 0), qint64(INT_MAX));
    }
    return offset;
}

CandidatePayload RowMatcher::candidatePayload() const
{
    return CandidatePayload(bodyStart, m_typesLength + m_aliasTypes - 1, serialTypes);
}

qint64 RowMatcher::intactRowid(const QByteArray &region) const
{
    const auto *begin = reinterpret_cast<const uchar *>(region.constData());
    const bool isIntact = hasCellPrefix() && recordStart() > 0 && payloadSize() > 0
                          && endsInVarint(begin, begin + recordStart(), payloadSize());
    return isIntact ? std::max<qint64>(m_cellPrefix[0], 0) : 0;
}

qint64 RowMatcher::localEnd() const
{
    const CandidatePayload payload = candidatePayload();
    return payload.start + localPayloadSize(payload.size, owner->headerInfo());
}

qint64 RowMatcher::payloadSize() const
{
    return candidatePayload().size;
}
