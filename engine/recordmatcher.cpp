#include "engine/recordmatcher.h"

#include "engine/serialtype.h"
#include "engine/varint.h"

#include <algorithm>

namespace {

/// Forgets what was decoded of a candidate that cannot be decoded whole.
int noHeader(QVector<qint64> &types, QVector<qint64> &cellPrefix)
{
    types.clear();
    cellPrefix.clear();
    return 0;
}

/// What precedes the serial types in a sound cell: the rowid's last byte, header size and NULL.
constexpr int CellRemains = 3;

} // namespace

void RecordMatcher::trackRowid(const TableSchema &, bool, bool) {}

QByteArray RecordMatcher::readPayload(const QByteArray &region, QIODevice &, const DatabaseHeader &,
                                      qint64, int)
{
    return region;
}

bool RecordMatcher::wantsLiveCells()
{
    return false;
}

void RecordMatcher::inspectLiveCell(const QByteArray &, int) {}

int RecordMatcher::readSerialTypes(QIODevice &device, int count, QVector<qint64> &out)
{
    if (&device != &m_region || &out != &serialTypes) {
        return readVarints(device, count, out, false, true);
    }
    // The same for the candidate at hand, whose bytes are in memory: this runs for every hit, and
    // leaves the device where it is, since a seek takes longer than all the rest.
    const int known = out.size();
    out.resize(known + count);
    const int consumed = decodeVarints(m_region.begin(), m_region.end(), count, out.data() + known);
    if (consumed <= 0) {
        out.clear();
        return 0;
    }
    return consumed;
}

int RecordMatcher::decodeHeaderAt(const QByteArray &region, int anchorPos, int typesBefore,
                                  int typesAfter, QVector<qint64> &out, int lookBack,
                                  int expectedClass)
{
    const uchar *begin = reinterpret_cast<const uchar *>(region.constData());
    serialTypes.resize(std::max(typesBefore, 0));
    // All but the first column's, which comes after them.
    const int before = typesBefore > 1 ? decodeVarintsBackward(
                           begin, begin + anchorPos, typesBefore - 1, serialTypes.data() + 1)
                                       : 0;
    if (before < 0) {
        return noHeader(serialTypes, out);
    }
    int decoded = before;
    if (typesBefore >= 1) {
        const int first = readFirstType(begin, begin + anchorPos - before, lookBack, expectedClass);
        if (first == 0) {
            return noHeader(serialTypes, out);
        }
        decoded += first;
    }
    out.resize(lookBack);
    const int prefix =
        decodeVarintsBackward(begin, begin + anchorPos - decoded, lookBack, out.data());
    if (prefix < 0) {
        out.clear();
    }
    m_region.setBytes(region, anchorPos);
    const int after = typesAfter > 0 ? readSerialTypes(m_region, typesAfter, serialTypes) : 0;
    if (typesAfter > 0 && after == 0) {
        return noHeader(serialTypes, out);
    }
    headerStart = std::max(prefix, lookBack) + decoded;
    bodyStart = qint64(anchorPos) + after;
    if (trimTrailingNull) {
        trimOverrun(out, decoded + after);
    }
    return decoded + after;
}

/// Reads the type that ends at `pos`. A varint of two bytes or more is believed only when the three
/// bytes in front of it look like the remains of a cell; these are compared as bytes, not as
/// varints, since little may be left of them. Otherwise the last byte alone is taken, because in
/// front of a freed cell's types stands a freeblock header, whose last byte may have its high bit
/// set. Returns the type's bytes, 0 when there are none.
int RecordMatcher::readFirstType(const uchar *begin, const uchar *pos, int lookBack,
                                 int expectedClass)
{
    qint64 type = 0;
    const int length = lookBack >= CellRemains ? decodeVarintBackward(begin, pos, type) : 0;
    if (length >= 2 && pos - begin > length + CellRemains) {
        const uchar *remains = pos - length - CellRemains;
        const bool isCell = remains[0] < 0x80 && remains[1] >= 1 && remains[2] == 0;
        const bool isExpected =
            expectedClass >= 0 && remains[2] == 0 && serialTypeClass(type) == expectedClass;
        if (isCell || isExpected) {
            serialTypes[0] = type;
            return length;
        }
    }
    if (pos == begin) {
        return 0;
    }
    serialTypes[0] = pos[-1];
    return 1;
}

/// Moves bodyStart back where the stored header size shows that NULLs behind the header's end were
/// taken for types. `decoded` is the size of the types read.
void RecordMatcher::trimOverrun(const QVector<qint64> &cellPrefix, int decoded)
{
    if (cellPrefix.size() <= 2 || cellPrefix.last() != 0) {
        return;
    }
    const qint64 stored = cellPrefix[cellPrefix.size() - 2];
    const qint64 overrun = decoded + 2 - stored;
    if (stored >= 1 && overrun > 0 && overrun < 10) {
        bodyStart -= overrun;
    }
}

RecordFields::RecordFields(const QByteArray &payload, qint64 bodyStart,
                           const QVector<qint64> &serialTypes, int limit, int encoding)
    : m_payload(payload)
    , m_serialTypes(serialTypes)
    , m_size(payload.size())
    , m_next(std::clamp<qint64>(bodyStart, 0, m_size))
    , m_limit(limit)
    , m_encoding(encoding)
{
}

bool RecordFields::next()
{
    while (nextOfAll()) {
        if (m_limit == 0 || m_start < m_limit || serialTypeSize(serialType()) == 0) {
            return true;
        }
        m_next = m_start;
    }
    return false;
}

bool RecordFields::nextOfAll()
{
    if (++m_index >= m_serialTypes.size()) {
        return false;
    }
    const qint64 size = serialTypeSize(serialType());
    m_start = m_next;
    // The invalid types 10 and 11 count as -1 bytes, but no position leaves the payload.
    m_next = size > m_size - m_start ? m_size : std::max<qint64>(m_start + size, 0);
    return true;
}

qint64 RecordFields::integer()
{
    m_isCut = m_isCut || serialTypeSize(serialType()) > m_size - m_start;
    return decodeIntegerField(m_payload.constData() + m_start, m_size - m_start, serialType(),
                              m_encoding);
}

QString RecordFields::text()
{
    m_isCut = m_isCut || serialTypeSize(serialType()) > m_size - m_start;
    return decodeTextField(m_payload.constData() + m_start, m_size - m_start, serialType(),
                           m_encoding);
}

qint64 RecordFields::uncoveredInteger()
{
    return noteLimit() ? 0 : integer();
}

QString RecordFields::uncoveredText()
{
    return noteLimit() ? QString() : text();
}

QString RecordFields::textBeforeLimit()
{
    if (!noteLimit()) {
        return text();
    }
    const qint64 left = std::max<qint64>(std::min<qint64>(m_limit, m_size) - m_start, 0);
    QString part = decodeText(m_payload.constData() + m_start, left, m_encoding);
    // The limit may fall into the middle of a character.
    while (part.endsWith(QChar(QChar::ReplacementCharacter))) {
        part.chop(1);
    }
    return part;
}

bool RecordFields::isFieldCovered() const
{
    const qint64 size = serialTypeSize(serialType());
    return m_limit != 0 && size > 0 && m_start + size > m_limit;
}

bool RecordFields::isFieldLost() const
{
    return isFieldCovered() || serialTypeSize(serialType()) > m_size - m_start;
}

bool RecordFields::noteLimit()
{
    m_isCovered = m_isCovered || isFieldCovered();
    return isFieldCovered();
}
