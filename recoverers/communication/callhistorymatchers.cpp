#include "recoverers/communication/callhistorymatchers.h"

#include "api/callhistoryrecord.h"
#include "engine/serialtype.h"

#include <algorithm>

namespace {

// Serial types of the anchors.
constexpr char FourByteInteger[] = "\x04"; // a date since 1970
constexpr char Text36[] = "\x55";          // a unique identifier
constexpr char Text48[] = "\x6D";          // a longer one, seldom seen

constexpr int Text2Type = 17; // a country in two letters
constexpr int Text3Type = 19; // a country in three digits

constexpr qint64 SecondsFrom1970To2001 = 978307200;
constexpr qint32 OutgoingFlag = 1;
constexpr qint32 FaceTimeFlag = 16;

bool isTextOrBlob(qint64 st)
{
    return isTextSerialType(st, true) || isBlobSerialType(st, false);
}

/// Goes back over digits that stand directly in front of the body, so that a number which runs on
/// in front of the place where the header seems to end is read from its beginning. Where the header
/// itself ends in a byte that is a digit, this reads one byte too many; that price is accepted.
qint64 stepBackOverDigits(const QByteArray &payload, qint64 bodyStart)
{
    qint64 pos = std::min<qint64>(bodyStart, payload.size());
    while (pos > 0 && QChar(QLatin1Char(payload[int(pos - 1)])).isDigit()) {
        --pos;
    }
    return pos;
}

/// Shifts a date from 2001 to 1970; 0 means unknown and stays. Unsigned, since a damaged date may
/// be any number and must not overflow.
qint64 since1970(qint64 date)
{
    return date == 0 ? 0 : qint64(quint64(date) + quint64(SecondsFrom1970To2001));
}

} // namespace

CallHistoryDbFile::CallhistoryMatcher::CallhistoryMatcher(CallHistoryDbFile *recoverer)
    : m_owner(recoverer)
{
    owner = recoverer;
    signatures = {QByteArrayMatcher(FourByteInteger, 1)};
}

bool CallHistoryDbFile::CallhistoryMatcher::bindColumns(const TableSchema &table)
{
    m_address = table.columnIndex(QLatin1String("address"));
    m_date = table.columnIndex(QLatin1String("date"));
    m_duration = table.columnIndex(QLatin1String("duration"));
    m_flags = table.columnIndex(QLatin1String("flags"));
    m_countryCode = table.columnIndex(QLatin1String("country_code"));
    return m_address >= 1 && m_date >= 1 && m_duration >= 1 && m_flags >= 1;
}

bool CallHistoryDbFile::CallhistoryMatcher::matchHeader(const TableSchema &table,
                                                        const QByteArray &region, int anchorPos)
{
    // The anchor is the date, and the date is always the third column: the place is fixed, not
    // taken from the bound column.
    constexpr int TypesBeforeDate = 1;
    const int columnCount = table.columns.size();
    decodeHeaderAt(region, anchorPos, TypesBeforeDate, columnCount - 2, m_cellPrefix, CellPrefix,
                   NoExpectedClass);
    if (serialTypes.size() != columnCount - 1) {
        return false;
    }
    return isTextSerialType(columnType(m_address), false)
           && isIntegerSerialType(columnType(m_date), false)
           && isIntegerSerialType(columnType(m_duration), false)
           && isIntegerSerialType(columnType(m_flags), false)
           && (m_countryCode < 1 || columnType(m_countryCode) == Text3Type
               || isNullSerialType(columnType(m_countryCode)));
}

void CallHistoryDbFile::CallhistoryMatcher::extractRecord(const TableSchema &,
                                                          const QByteArray &payload, bool isDeleted,
                                                          int limit)
{
    if (!isDeleted) {
        ++liveMatches;
        return;
    }
    ++deletedMatches;
    CallhistoryRecord record;
    RecordFields fields(payload, stepBackOverDigits(payload, bodyStart), serialTypes, limit,
                        m_owner->headerInfo().textEncoding);
    while (fields.next()) {
        const int column = fields.index() + 1;
        if (column == m_address) {
            record.address = fields.text();
        } else if (column == m_date) {
            record.date = fields.integer();
        } else if (column == m_duration) {
            record.duration = qint32(fields.integer());
        } else if (column == m_flags) {
            record.flags = qint32(fields.integer());
        }
    }
    if (!fields.isCut()) {
        m_owner->addRecord(record);
    }
}

CallHistoryDbFile::NewCallhistoryMatcher::NewCallhistoryMatcher(CallHistoryDbFile *recoverer)
    : m_owner(recoverer)
{
    owner = recoverer;
    signatures = {QByteArrayMatcher(Text36, 1), QByteArrayMatcher(Text48, 1)};
}

bool CallHistoryDbFile::NewCallhistoryMatcher::bindColumns(const TableSchema &table)
{
    m_answered = table.columnIndex(QLatin1String("zanswered"));
    m_faceTimeData = table.columnIndex(QLatin1String("zface_time_data"));
    m_originated = table.columnIndex(QLatin1String("zoriginated"));
    m_date = table.columnIndex(QLatin1String("zdate"));
    m_address = table.columnIndex(QLatin1String("zaddress"));
    m_isoCountryCode = table.columnIndex(QLatin1String("ziso_country_code"));
    m_uniqueId = table.columnIndex(QLatin1String("zunique_id"));
    m_duration = table.columnIndex(QLatin1String("zduration"));
    return m_answered >= 1 && m_faceTimeData >= 1 && m_originated >= 1 && m_date >= 1
           && m_address >= 1 && m_isoCountryCode >= 1 && m_uniqueId >= 1;
}

bool CallHistoryDbFile::NewCallhistoryMatcher::matchHeader(const TableSchema &table,
                                                           const QByteArray &region, int anchorPos)
{
    const int columnCount = table.columns.size();
    decodeHeaderAt(region, anchorPos, m_uniqueId - 1, columnCount - m_uniqueId, m_cellPrefix,
                   CellPrefix, NoExpectedClass);
    if (serialTypes.size() != columnCount - 1) {
        return false;
    }
    return isBooleanSerialType(columnType(m_answered))
           && isIntegerSerialType(columnType(m_faceTimeData), true)
           && isBooleanSerialType(columnType(m_originated))
           && (isIntegerSerialType(columnType(m_date), false)
               || isRealSerialType(columnType(m_date), false))
           && isTextOrBlob(columnType(m_address))
           && (columnType(m_isoCountryCode) == Text2Type
               || isNullSerialType(columnType(m_isoCountryCode)));
}

void CallHistoryDbFile::NewCallhistoryMatcher::extractRecord(const TableSchema &,
                                                             const QByteArray &payload,
                                                             bool isDeleted, int limit)
{
    if (!isDeleted) {
        ++liveMatches;
        return;
    }
    ++deletedMatches;
    CallhistoryRecord record;
    qint32 originated = 0;
    RecordFields fields(payload, bodyStart, serialTypes, limit, m_owner->headerInfo().textEncoding);
    while (fields.next()) {
        const int column = fields.index() + 1;
        if (column == m_address) {
            record.address = fields.text();
        } else if (column == m_date) {
            record.date = since1970(fields.integer());
        } else if (column == m_duration) {
            record.duration = qint32(fields.integer());
        } else if (column == m_originated) {
            originated = qint32(fields.integer());
        }
    }
    // The type alone decides: an integer 0 stored there, which means no bytes moved, is a FaceTime
    // call as well.
    const bool isFaceTime = !isNullSerialType(columnType(m_faceTimeData));
    record.flags = (originated != 0 ? OutgoingFlag : 0) | (isFaceTime ? FaceTimeFlag : 0);
    if (!fields.isCut()) {
        m_owner->addRecord(record);
    }
}
