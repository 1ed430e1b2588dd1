#include "recoverers/messaging/weixinmatcher.h"

#include "engine/fieldreader.h"
#include "engine/serialtype.h"

namespace {

constexpr char FourByteInteger[] = "\x04"; ///< the anchor's: a time
constexpr qint64 ConstantOne = 9;

/// Rowid and header size; the NULL that follows them elsewhere is one of the types here.
constexpr int PrefixLength = 2;

/// In seconds since 1970. Years before the program, so that a wrong clock does no harm, and yet
/// most bytes that are no time are told from one.
constexpr qint64 EarliestTime = 1000000000;

} // namespace

weixinDBFile::MsgMatcher::MsgMatcher(weixinDBFile *recoverer)
    : m_owner(recoverer)
    , m_usualFirstType(ConstantOne)
{
    owner = recoverer;
    m_aliasTypes = 0;
    signatures = {QByteArrayMatcher(FourByteInteger, 1)};
}

bool weixinDBFile::MsgMatcher::bindColumns(const TableSchema &table)
{
    m_columnCount = table.columns.size();
    m_createTime = table.columnIndex(QLatin1String("createtime"));
    m_message = table.columnIndex(QLatin1String("message"));
    m_type = table.columnIndex(QLatin1String("type"));
    m_des = table.columnIndex(QLatin1String("des"));
    m_alias = -1;
    for (int i = 0; i < table.columns.size(); ++i) {
        if (table.columns[i].definition.contains(QLatin1String(" integer primary key"))) {
            m_alias = i;
        }
    }
    // The time may come first, as in the newer layout; no other column does.
    return m_createTime >= 0 && m_message >= 1 && m_type >= 1 && m_des >= 1;
}

bool weixinDBFile::MsgMatcher::matchHeader(const TableSchema &table, const QByteArray &region,
                                           int anchorPos)
{
    const int columnCount = table.columns.size();
    decodeAround(region, anchorPos, m_createTime, columnCount - m_createTime, PrefixLength);
    if (serialTypes.size() != columnCount || !isIntegerSerialType(serialTypes[m_createTime], true)
        || !isTextSerialType(serialTypes[m_message], true)
        || !isIntegerSerialType(serialTypes[m_type], true)
        || !isIntegerSerialType(serialTypes[m_des], true)) {
        return false;
    }
    // What stands for the rowid alias is always NULL, in whatever row.
    if (m_alias > 0 && !isNullSerialType(serialTypes[m_alias])) {
        return false;
    }
    settleFirstType(region);
    m_rowid = intactRowid(region);
    return true;
}

/// Where a freeblock header overwrote the front of the cell, the first type is a byte of it. Of the
/// types that rows have there, takes the one with which the time makes sense.
void weixinDBFile::MsgMatcher::settleFirstType(const QByteArray &region)
{
    if (m_createTime == 0 || m_alias == 0 || hasCellPrefix()) {
        return;
    }
    const qint64 read = serialTypes[0];
    for (const qint64 type : {m_usualFirstType, ConstantOne, qint64(1), read}) {
        serialTypes[0] = type;
        if (isTimeAt(region, bodyStart + bodyOffset(m_createTime + 1))) {
            return;
        }
    }
}

bool weixinDBFile::MsgMatcher::isTimeAt(const QByteArray &region, qint64 pos) const
{
    const qint64 size = serialTypeSize(serialTypes[m_createTime]);
    return pos >= 0 && pos + size <= region.size()
           && decodeInteger(region.constData() + pos, int(size)) >= EarliestTime;
}

void weixinDBFile::MsgMatcher::extractRecord(const TableSchema &table, const QByteArray &payload,
                                             bool isDeleted, int limit)
{
    RowMatcher::extractRecord(table, payload, isDeleted, limit);
    if (!isDeleted) {
        m_usualFirstType = serialTypes[0];
        return;
    }
    m_held.conversation = m_conversation;
    m_held.rowid = m_rowid;
}

void weixinDBFile::MsgMatcher::readRow(const TableSchema &, const Row &row)
{
    CarvedWeixinMessage message = m_held;
    RecordFields fields = proseFieldsOf(row);
    while (fields.nextOfAll()) {
        const int column = fields.index();
        if (column == m_createTime) {
            message.createTime = qint32(fields.uncoveredInteger());
        } else if (column == m_message) {
            message.text = fields.textBeforeLimit();
        } else if (column == m_type) {
            message.type = qint32(fields.uncoveredInteger());
        } else if (column == m_des) {
            message.isFromMe = fields.uncoveredInteger() == 0 && !fields.isFieldLost();
        }
    }
    const int damage = firstUnwritableCharacter(message.text);
    if (damage >= 0) {
        message.text.truncate(damage);
        // What overwrote the text goes on behind it.
        message.type =
            m_type > m_message && serialTypeSize(row.serialTypes[m_type]) > 0 ? 0 : message.type;
    }
    message.isIncomplete = fields.isCovered() || fields.isCut() || damage >= 0;
    const bool saysNothing = message.text.isEmpty() && (message.isIncomplete || message.type == 0);
    // A whole cell is a row, whatever it holds; other bytes must make some sense.
    const bool isBelievable = message.rowid > 0
                                  ? !message.isIncomplete || !message.text.isEmpty()
                                  : message.createTime >= EarliestTime && !saysNothing;
    if (isBelievable && !isCut(row, fields)) {
        m_owner->m_deleted.add(message);
    }
}
