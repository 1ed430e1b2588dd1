#include "recoverers/calendar_notes_safari/bookmarkmatchers.h"

#include "api/bookmarkrecord.h"
#include "engine/fieldreader.h"
#include "engine/serialtype.h"
#include "engine/varint.h"
#include "recoverers/calendar_notes_safari/webaddress.h"

namespace {

constexpr qint64 LastShortType = 0x7F;
constexpr char Text36[] = "\x55"; // serial type of the anchor, a unique identifier

/// The number of varints from `pos` on, up to `most`.
int countVarints(const QByteArray &region, int pos, int most)
{
    const auto *begin = reinterpret_cast<const uchar *>(region.constData());
    for (int count = 0; count < most; ++count) {
        qint64 value = 0;
        const int length = decodeVarint(begin + pos, begin + region.size(), value);
        if (length == 0) {
            return count;
        }
        pos += length;
    }
    return most;
}

} // namespace

BookmarkDbFile::BookmarMatcher::BookmarMatcher(BookmarkDbFile *recoverer)
    : m_owner(recoverer)
{
    owner = recoverer;
    signatures = {QByteArrayMatcher(Text36, 1)};
}

bool BookmarkDbFile::BookmarMatcher::bindColumns(const TableSchema &table)
{
    m_externalUuid = table.columnIndex(QLatin1String("external_uuid"));
    m_numChildren = table.columnIndex(QLatin1String("num_children"));
    m_editable = table.columnIndex(QLatin1String("editable"));
    m_deletable = table.columnIndex(QLatin1String("deletable"));
    m_specialId = table.columnIndex(QLatin1String("special_id"));
    m_title = table.columnIndex(QLatin1String("title"));
    m_url = table.columnIndex(QLatin1String("url"));
    m_parent = table.columnIndex(QLatin1String("parent"));
    return m_externalUuid >= 1 && m_numChildren >= 1 && m_editable >= 1 && m_deletable >= 1;
}

bool BookmarkDbFile::BookmarMatcher::matchHeader(const TableSchema &table, const QByteArray &region,
                                                 int anchorPos)
{
    const int columnCount = table.columns.size();
    decodeRow(region, anchorPos, columnCount - m_externalUuid);
    if (serialTypes.size() < m_externalUuid
        || !isIntegerSerialType(columnType(m_numChildren), false)
        || !isBooleanSerialType(columnType(m_editable))
        || !isBooleanSerialType(columnType(m_deletable))) {
        return false;
    }
    const bool isWhole = serialTypes.size() == columnCount - 1;
    return alignToContents(region) || (isWhole && !isCellOfOtherLayout(region));
}

/// Decodes as many types as the table has, or fewer when the bytes behind them, which may be those
/// of a title, are none.
void BookmarkDbFile::BookmarMatcher::decodeRow(const QByteArray &region, int anchorPos,
                                               int typesAfter)
{
    decodeAround(region, anchorPos, m_externalUuid - 1, typesAfter);
    if (serialTypes.isEmpty()) {
        decodeAround(region, anchorPos, m_externalUuid - 1,
                     countVarints(region, anchorPos, typesAfter));
    }
    // The first column holds small numbers: a longer type begins in a freeblock header.
    if (m_specialId == 1 && !serialTypes.isEmpty() && columnType(m_specialId) > LastShortType) {
        takeFirstType(columnType(m_specialId) & LastShortType,
                      1 - varintLength(columnType(m_specialId)));
    }
}

/// Newer systems add columns to the table, and one of them a table constraint that counts as a
/// column. Rows with fewer types are told by where the unique identifier stands, or else, when
/// something covers it, the address.
bool BookmarkDbFile::BookmarMatcher::alignToContents(const QByteArray &region)
{
    const qint64 uuid = bodyOffset(m_externalUuid);
    if (alignBody(region, m_externalUuid, m_externalUuid,
                  [&](qint64 body) { return hasGuidDashesAt(region, body + uuid); })) {
        return true;
    }
    const qint64 url = bodyOffset(m_url);
    return m_url >= 1 && m_url < m_externalUuid
           && alignBody(region, m_externalUuid, m_externalUuid,
                        [&](qint64 body) { return isWebAddressAt(region, body + url); });
}

void BookmarkDbFile::BookmarMatcher::readRow(const TableSchema &, const Row &row)
{
    BookmarkRecord record;
    RecordFields fields = fieldsOf(row);
    while (fields.nextOfAll()) {
        const int column = fields.index() + 1;
        if (column == m_title) {
            record.title = fields.uncoveredText();
        } else if (column == m_url) {
            record.url = fields.uncoveredText();
        } else if (column == m_parent) {
            record.parent = fields.uncoveredInteger();
        }
    }
    // Signs that nobody writes show a row read at a wrong place. An address that is not all there
    // is empty, and so none.
    if (!hasUnwritableCharacters(record.title + record.url)) {
        m_owner->addRecord(record);
    }
}
