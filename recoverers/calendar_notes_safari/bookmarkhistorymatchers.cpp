#include "recoverers/calendar_notes_safari/bookmarkhistorymatchers.h"

#include "engine/fieldreader.h"
#include "engine/serialtype.h"
#include "engine/varint.h"
#include "recoverers/calendar_notes_safari/webaddress.h"

#include <QtEndian>

#include <algorithm>
#include <cstring>

namespace {

// Serial types of the anchors.
constexpr int MostCounters = 14; ///< of four bytes each, in one blob
constexpr char EightByteReal[] = "\x07";
constexpr char FourByteInteger[] = "\x04"; // as which a real that is whole is stored

QList<QByteArrayMatcher> counterSignatures()
{
    QList<QByteArrayMatcher> matchers;
    for (int counters = 1; counters <= MostCounters; ++counters) {
        matchers.append(QByteArrayMatcher(QByteArray(1, char(12 + 2 * 4 * counters))));
    }
    return matchers;
}

/// In seconds since 2001: from the first days of the browser on until 2069.
bool isPlausibleTime(double time)
{
    return time > 50000000 && time < 2147483648.0;
}

/// True when the type in front of the anchor may be that of an integer. The anchors are letters and
/// bytes that occur everywhere, and one look rules most of them out.
bool isIntegerTypeBefore(const QByteArray &region, int anchorPos)
{
    return anchorPos > 0 && isIntegerSerialType(uchar(region[anchorPos - 1]), false);
}

double timeAt(const char *bytes, qint64 serialType)
{
    if (serialType != 7) {
        return double(decodeInteger(bytes, int(serialTypeSize(serialType))));
    }
    const auto bits = qFromBigEndian<quint64>(bytes);
    double value = 0;
    std::memcpy(&value, &bits, sizeof(value));
    return value;
}

} // namespace

BookmarkHistoryDbFile::BookmarHistoryMatcher::BookmarHistoryMatcher(
    BookmarkHistoryDbFile *recoverer)
    : NumberedMatcher(recoverer->m_liveItemIds)
    , m_owner(recoverer)
{
    owner = recoverer;
    signatures = counterSignatures();
}

bool BookmarkHistoryDbFile::BookmarHistoryMatcher::bindColumns(const TableSchema &table)
{
    m_dailyVisitCounts = table.columnIndex(QLatin1String("daily_visit_counts"));
    m_url = table.columnIndex(QLatin1String("url"));
    m_visitCount = table.columnIndex(QLatin1String("visit_count"));
    m_domainExpansion = table.columnIndex(QLatin1String("domain_expansion"));
    m_weeklyVisitCounts = table.columnIndex(QLatin1String("weekly_visit_counts"));
    m_autocompleteTriggers = table.columnIndex(QLatin1String("autocomplete_triggers"));
    m_shouldRecompute = table.columnIndex(QLatin1String("should_recompute_derived_visit_counts"));
    return m_dailyVisitCounts >= 1 && m_url >= 1 && m_visitCount >= 1;
}

bool BookmarkHistoryDbFile::BookmarHistoryMatcher::matchHeader(const TableSchema &table,
                                                               const QByteArray &region,
                                                               int anchorPos)
{
    const int columnCount = table.columns.size();
    if (m_visitCount == m_dailyVisitCounts - 1 && !isIntegerTypeBefore(region, anchorPos)) {
        return false;
    }
    decodeAround(region, anchorPos, m_dailyVisitCounts - 1, columnCount - m_dailyVisitCounts);
    if (serialTypes.size() != columnCount - 1
        || !isIntegerSerialType(columnType(m_visitCount), false) || !areOtherTypesUsual()) {
        return false;
    }
    const qint64 url = bodyOffset(m_url);
    const bool isAligned =
        alignBody(region, m_dailyVisitCounts, std::max(m_dailyVisitCounts, m_shouldRecompute),
                  [&](qint64 body) { return isWebAddressAt(region, body + url); });
    if (!isAligned && isCellOfOtherLayout(region)) {
        return false;
    }
    if (!settleUrlType(region) || !isTextSerialType(columnType(m_url), false)) {
        return false;
    }
    keepRowid(region);
    m_isNew = m_anchors.add(m_owner->regionOffset() + anchorPos);
    return true;
}

/// The anchor may be any of many letters, and the cells of indexes of addresses look much like the
/// rows: the other columns tell them apart.
bool BookmarkHistoryDbFile::BookmarHistoryMatcher::areOtherTypesUsual() const
{
    return (m_domainExpansion < 1 || isTextSerialType(columnType(m_domainExpansion), true))
           && (m_weeklyVisitCounts < 1 || isBlobSerialType(columnType(m_weeklyVisitCounts), true))
           && (m_autocompleteTriggers < 1
               || isBlobSerialType(columnType(m_autocompleteTriggers), true))
           && (m_shouldRecompute < 1 || isBooleanSerialType(columnType(m_shouldRecompute)));
}

/// The address comes first, and its type takes two bytes from 58 characters on. The header of a
/// freeblock in front of it makes doubtful whether it does, and so whether the address is long or
/// short. Behind a short one stand its main word and numbers; behind the beginning of a long one it
/// goes on. Returns false when neither can be seen.
bool BookmarkHistoryDbFile::BookmarHistoryMatcher::settleUrlType(const QByteArray &region)
{
    constexpr qint64 LastShortType = 0x7F;
    const qint64 type = columnType(m_url);
    if (m_url != 1) {
        return true;
    }
    if (type > LastShortType) {
        if (!isLongAddress(region, type) && isShortAddress(region, type & LastShortType)) {
            takeFirstType(type & LastShortType, 1 - varintLength(type));
        }
        return true;
    }
    const qint64 before = typesStart() - 1;
    const uchar byte = before >= 0 ? uchar(region[int(before)]) : 0;
    if (byte <= 0x80) {
        return true;
    }
    const qint64 longType = qint64(byte & 0x7F) * 128 + type;
    if (isLongAddress(region, longType)) {
        takeFirstType(longType, 1);
        return true;
    }
    return isShortAddress(region, type);
}

bool BookmarkHistoryDbFile::BookmarHistoryMatcher::isLongAddress(const QByteArray &region,
                                                                 qint64 type) const
{
    constexpr qint64 BehindShortAddress = 128; // far enough to meet a number
    const qint64 size = std::min(serialTypeSize(type), BehindShortAddress);
    const char *address = region.constData() + bodyStart;
    return isTextSerialType(type, false) && bodyStart + size <= region.size()
           && std::all_of(address, address + size, isAddressByte);
}

/// True when the main word of the address stands behind it.
bool BookmarkHistoryDbFile::BookmarHistoryMatcher::isShortAddress(const QByteArray &region,
                                                                  qint64 type) const
{
    if (!isTextSerialType(type, false) || m_domainExpansion != m_url + 1) {
        return false;
    }
    const qint64 size = serialTypeSize(type);
    const qint64 wordSize = serialTypeSize(columnType(m_domainExpansion));
    const char *address = region.constData() + bodyStart;
    const char *word = address + size;
    return wordSize > 0 && bodyStart + size + wordSize <= region.size()
           && std::search(address, word, word, word + wordSize) != word;
}

void BookmarkHistoryDbFile::BookmarHistoryMatcher::extractRecord(const TableSchema &table,
                                                                 const QByteArray &payload,
                                                                 bool isDeleted, int limit)
{
    NumberedMatcher::extractRecord(table, payload, isDeleted, limit);
    m_isHeldNew = m_isNew;
}

void BookmarkHistoryDbFile::BookmarHistoryMatcher::readRow(const TableSchema &, const Row &row)
{
    if (!m_isHeldNew) {
        number(nullptr, row);
        return;
    }
    CarvedHistoryItem carved;
    RecordFields fields = fieldsOf(row);
    while (fields.nextOfAll()) {
        if (fields.index() + 1 == m_url) {
            carved.url = fields.uncoveredText();
        }
    }
    // Half an address leads nowhere.
    if (fields.isCut() || fields.isCovered() || hasUnwritableCharacters(carved.url)) {
        return;
    }
    carved.id = keptRowid();
    m_owner->m_carved.items.push_back(carved);
    number(&m_owner->m_carved.items.back().id, row);
}

void BookmarkHistoryDbFile::BookmarHistoryMatcher::startSecondSearch()
{
    finish();
    m_anchors.startSecondSearch();
}

BookmarkHistoryDbFile::BookmarHistoryVisitMatcher::BookmarHistoryVisitMatcher(
    BookmarkHistoryDbFile *recoverer)
    : m_owner(recoverer)
{
    owner = recoverer;
    signatures = {QByteArrayMatcher(EightByteReal, 1), QByteArrayMatcher(FourByteInteger, 1)};
}

bool BookmarkHistoryDbFile::BookmarHistoryVisitMatcher::bindColumns(const TableSchema &table)
{
    m_historyItem = table.columnIndex(QLatin1String("history_item"));
    m_visitTime = table.columnIndex(QLatin1String("visit_time"));
    m_title = table.columnIndex(QLatin1String("title"));
    m_loadSuccessful = table.columnIndex(QLatin1String("load_successful"));
    m_httpNonGet = table.columnIndex(QLatin1String("http_non_get"));
    m_synthesized = table.columnIndex(QLatin1String("synthesized"));
    return m_historyItem >= 1 && m_visitTime >= 1 && m_title >= 1 && m_loadSuccessful >= 1
           && m_httpNonGet >= 1 && m_synthesized >= 1;
}

bool BookmarkHistoryDbFile::BookmarHistoryVisitMatcher::matchHeader(const TableSchema &table,
                                                                    const QByteArray &region,
                                                                    int anchorPos)
{
    const int columnCount = table.columns.size();
    if (m_historyItem == m_visitTime - 1 && !isIntegerTypeBefore(region, anchorPos)) {
        return false;
    }
    decodeAround(region, anchorPos, m_visitTime - 1, columnCount - m_visitTime);
    if (serialTypes.size() != columnCount - 1
        || !isIntegerSerialType(columnType(m_historyItem), false)
        || !isTextSerialType(columnType(m_title), false)
        || !isBooleanSerialType(columnType(m_loadSuccessful))
        || !isBooleanSerialType(columnType(m_httpNonGet))
        || !isBooleanSerialType(columnType(m_synthesized))) {
        return false;
    }
    // Newer systems add columns to the table: rows with fewer types are told by the time that they
    // hold.
    const qint64 time = bodyOffset(m_visitTime);
    return alignBody(region, m_visitTime, std::max(m_synthesized, m_title),
                     [&](qint64 body) { return isTimeAt(region, body + time); })
           || !isCellOfOtherLayout(region);
}

/// True when the bytes are a time at which there were visits.
bool BookmarkHistoryDbFile::BookmarHistoryVisitMatcher::isTimeAt(const QByteArray &region,
                                                                 qint64 pos) const
{
    const qint64 type = columnType(m_visitTime);
    return pos + serialTypeSize(type) <= region.size()
           && isPlausibleTime(timeAt(region.constData() + pos, type));
}

void BookmarkHistoryDbFile::BookmarHistoryVisitMatcher::readRow(const TableSchema &, const Row &row)
{
    CarvedVisit visit;
    RecordFields fields = fieldsOf(row);
    while (fields.nextOfAll()) {
        const int column = fields.index() + 1;
        if (column == m_historyItem) {
            visit.item = fields.uncoveredInteger();
        } else if (column == m_visitTime) {
            visit.time = fields.uncoveredInteger();
        } else if (column == m_title) {
            visit.title = fields.uncoveredText();
        }
    }
    if (!fields.isCut() && !fields.isCovered() && !hasUnwritableCharacters(visit.title)) {
        m_owner->m_carved.visits.append(visit);
    }
}
