#include "recoverers/communication/messagematchers.h"

#include "engine/address.h"
#include "engine/fieldreader.h"
#include "engine/serialtype.h"
#include "engine/varint.h"
#include "recoverers/communication/messagetext.h"

#include <algorithm>

namespace {

// Serial types of the anchors.
constexpr char FourByteInteger[] = "\x04";    // a date in seconds
constexpr char Text36[] = "\x55";             // a guid, an account identifier
constexpr char CountryThenSms[] = "\x11\x13"; // a country of two letters, a service of three
constexpr char CountryThenIMessage[] = "\x11\x1D";

constexpr int Text2Type = 17; // a country
constexpr int Text3Type = 19; // "SMS"
constexpr int Text6Type = 25; // "Madrid"
constexpr int Text8Type = 29; // "iMessage"

bool isServiceType(qint64 st)
{
    return st == Text3Type || st == Text8Type;
}

bool isServiceName(const QString &service)
{
    return std::all_of(service.cbegin(), service.cend(), [](QChar c) { return c.isLetter(); });
}

/// Something else covers the row behind its text; what is read there is not this message's. The
/// flags are constants that stand in the header.
void forgetFieldsBehindTheText(CarvedMessage *message)
{
    message->date = 0;
    message->handleId = 0;
    message->subject.clear();
    message->service.clear();
    message->roomName.clear();
    message->isIncomplete = true;
    message->isPlaceLost = true;
}

void forgetFieldsBehindTheText(CarvedOldMessage *message)
{
    message->groupId = 0;
    message->subject.clear();
    message->madridHandle.clear();
    message->madridRoomName.clear();
    message->madridFlags = 0;
    message->isIncomplete = true;
    message->isPlaceLost = true;
}

/// Makes the best of a row whose guid is not one: it may have been read from a wrong place.
void repairMisreadRow(CarvedMessage *message)
{
    if (takeGuidOutOfText(&message->guid, &message->text)) {
        message->isTextCut = true;
        forgetFieldsBehindTheText(message);
    }
    if (!isReadableGuid(message->guid) || hasUnwritableCharacters(message->text)) {
        message->text.clear();
    }
}

} // namespace

SMSDbFile::Message5Matcher::Message5Matcher(SMSDbFile *recoverer)
    : m_owner(recoverer)
{
    owner = recoverer;
    signatures = {QByteArrayMatcher(FourByteInteger, 1)};
}

bool SMSDbFile::Message5Matcher::bindColumns(const TableSchema &table)
{
    m_date = table.columnIndex(QLatin1String("date"));
    m_country = table.columnIndex(QLatin1String("country"));
    return m_date >= 1 && m_country >= 1;
}

bool SMSDbFile::Message5Matcher::matchHeader(const TableSchema &table, const QByteArray &region,
                                             int anchorPos)
{
    // Counted from the date, as every generation has these columns there.
    const int text = m_date + 1;
    const int group = m_date + 5;
    const int association = m_date + 6;
    const int columnCount = table.columns.size();
    if (association >= columnCount) {
        return false;
    }
    decodeAround(region, anchorPos, m_date - 1, columnCount - m_date);
    return serialTypes.size() == columnCount - 1 && isTextSerialType(columnType(text), true)
           && isIntegerSerialType(columnType(group), false)
           && isIntegerSerialType(columnType(association), false)
           && (columnType(m_country) == Text2Type || isNullSerialType(columnType(m_country)));
}

void SMSDbFile::Message5Matcher::readRow(const TableSchema &table, const Row &row)
{
    CarvedOldMessage message;
    RecordFields fields = fieldsOf(row);
    while (fields.nextOfAll()) {
        const QString &column = table.columns[fields.index() + 1].name;
        if (column == QLatin1String("address")) {
            message.address = fields.uncoveredText();
        } else if (column == QLatin1String("date")) {
            message.date = fields.uncoveredInteger();
        } else if (column == QLatin1String("text")) {
            message.text = fields.textBeforeLimit();
        } else if (column == QLatin1String("flags")) {
            message.flags = fields.uncoveredInteger();
        } else if (column == QLatin1String("group_id")) {
            message.groupId = fields.uncoveredInteger();
            message.isPlaceLost = message.isPlaceLost || fields.isFieldLost();
        } else if (column == QLatin1String("subject")) {
            message.subject = fields.textBeforeLimit();
        } else if (column == QLatin1String("is_madrid")) {
            message.isMadrid = fields.uncoveredInteger() != 0;
        } else if (column == QLatin1String("madrid_handle")) {
            message.madridHandle = fields.uncoveredText();
            message.isPlaceLost = message.isPlaceLost || fields.isFieldLost();
        } else if (column == QLatin1String("madrid_roomname")) {
            message.madridRoomName = fields.uncoveredText();
            message.isPlaceLost = message.isPlaceLost || fields.isFieldLost();
        } else if (column == QLatin1String("madrid_flags")) {
            message.madridFlags = fields.uncoveredInteger();
        } else if (column == QLatin1String("country")) {
            message.country = fields.uncoveredText();
        }
    }
    message.isIncomplete = fields.isCovered() || fields.isCut();
    const QString behindText = message.subject + message.madridHandle + message.madridRoomName;
    if (hasUnwritableCharacters(behindText)) {
        forgetFieldsBehindTheText(&message);
    }
    if (!hasUnwritableCharacters(message.text + message.address) && !isCut(row, fields)) {
        m_owner->m_carved.oldMessages.push_back(message);
    }
}

SMSDbFile::MadridChatMatcher::MadridChatMatcher(SMSDbFile *recoverer)
    : m_owner(recoverer)
{
    owner = recoverer;
    signatures = {QByteArrayMatcher(Text36, 1)};
}

bool SMSDbFile::MadridChatMatcher::bindColumns(const TableSchema &table)
{
    m_accountId = table.columnIndex(QLatin1String("account_id"));
    m_chatIdentifier = table.columnIndex(QLatin1String("chat_identifier"));
    m_serviceName = table.columnIndex(QLatin1String("service_name"));
    return m_accountId >= 1 && m_chatIdentifier >= 1 && m_serviceName >= 1;
}

bool SMSDbFile::MadridChatMatcher::matchHeader(const TableSchema &table, const QByteArray &region,
                                               int anchorPos)
{
    const int properties = m_accountId + 1;
    const int columnCount = table.columns.size();
    if (properties >= columnCount) {
        return false;
    }
    decodeAround(region, anchorPos, m_accountId - 1, columnCount - m_accountId);
    return serialTypes.size() == columnCount - 1 && isBlobSerialType(columnType(properties), true)
           && isTextSerialType(columnType(m_chatIdentifier), false)
           && columnType(m_serviceName) == Text6Type;
}

void SMSDbFile::MadridChatMatcher::readRow(const TableSchema &table, const Row &row)
{
    Chat chat;
    RecordFields fields = fieldsOf(row);
    while (fields.nextOfAll()) {
        const QString &column = table.columns[fields.index() + 1].name;
        if (column == QLatin1String("chat_identifier")) {
            chat.identifier = fields.uncoveredText();
        } else if (column == QLatin1String("room_name")) {
            chat.roomName = fields.uncoveredText();
        }
    }
    if (!fields.isCut() && !fields.isCovered()) {
        m_owner->m_carved.oldChats.push_back(chat);
    }
}

SMSDbFile::Message6Matcher::Message6Matcher(SMSDbFile *recoverer)
    : m_owner(recoverer)
{
    owner = recoverer;
    signatures = {QByteArrayMatcher(Text36, 1)};
}

bool SMSDbFile::Message6Matcher::bindColumns(const TableSchema &table)
{
    struct NamedField
    {
        const char *column;
        Field field;
    };
    static constexpr NamedField namedFields[] = {
        {"date", DateField},           {"text", TextField},       {"subject", SubjectField},
        {"handle_id", HandleField},    {"service", ServiceField}, {"cache_roomnames", RoomField},
        {"is_from_me", IsFromMeField}, {"is_sent", IsSentField},  {"guid", GuidField},
    };
    m_fields.fill(NoField, table.columns.size());
    for (const NamedField &named : namedFields) {
        const int column = table.columnIndex(QLatin1String(named.column));
        if (column >= 0) {
            m_fields[column] = named.field;
        }
    }
    m_guid = table.columnIndex(QLatin1String("guid"));
    m_handleId = table.columnIndex(QLatin1String("handle_id"));
    m_service = table.columnIndex(QLatin1String("service"));
    m_text = table.columnIndex(QLatin1String("text"));
    m_attributedBody = table.columnIndex(QLatin1String("attributedbody"));
    m_version = table.columnIndex(QLatin1String("version"));
    m_type = table.columnIndex(QLatin1String("type"));
    return m_guid >= 1 && m_handleId >= 1 && m_service >= 1 && m_text >= 1 && m_attributedBody >= 1
           && m_version >= 1 && m_type >= 1;
}

bool SMSDbFile::Message6Matcher::matchHeader(const TableSchema &table, const QByteArray &region,
                                             int anchorPos)
{
    // The text follows the guid. Looking at its type first spares the decoding of a whole header
    // behind most letters "U" of texts.
    const auto *bytes = reinterpret_cast<const uchar *>(region.constData());
    qint64 textType = 0;
    if (decodeVarint(bytes + anchorPos + 1, bytes + region.size(), textType) == 0
        || !isTextSerialType(textType, false)) {
        return false;
    }
    // A row that was found before matters only where it may cover the one that is held back.
    const qint64 place = m_owner->regionOffset() + anchorPos;
    if (!isHolding() && m_anchors.isRepeated(place)) {
        return false;
    }
    const int columnCount = table.columns.size();
    decodeAround(region, anchorPos, m_guid - 1, columnCount - m_guid);
    if (serialTypes.size() != columnCount - 1 || !isTextSerialType(columnType(m_text), false)
        || !isIntegerSerialType(columnType(m_handleId), false)
        || !isBlobSerialType(columnType(m_attributedBody), true)
        || !isIntegerSerialType(columnType(m_version), false)
        || !isBooleanSerialType(columnType(m_type)) || !isServiceType(columnType(m_service))) {
        return false;
    }
    alignToGuid(region, 0, m_service); // the body begins with the guid
    m_isNew = m_anchors.add(place);
    return true;
}

void SMSDbFile::Message6Matcher::startSecondSearch()
{
    finish();
    m_anchors.startSecondSearch();
}

void SMSDbFile::Message6Matcher::extractRecord(const TableSchema &table, const QByteArray &payload,
                                               bool isDeleted, int limit)
{
    RowMatcher::extractRecord(table, payload, isDeleted, limit);
    m_isHeldNew = m_isNew;
}

void SMSDbFile::Message6Matcher::readRow(const TableSchema &, const Row &row)
{
    if (!m_isHeldNew) {
        return;
    }
    CarvedMessage message;
    RecordFields fields = fieldsOf(row);
    while (fields.nextOfAll()) {
        readField(fields, &message);
    }
    if (isCut(row, fields) || !isPlausibleText(message.text)) {
        return;
    }
    message.isIncomplete = fields.isCovered() || fields.isCut();
    if (!isServiceName(message.service)) {
        forgetFieldsBehindTheText(&message);
    }
    if (!isStandardGuid(message.guid)) {
        message.text = cleanedMessageText(message.text);
        repairMisreadRow(&message);
    }
    if (!message.text.isEmpty()) {
        m_owner->m_carved.messages.push_back(message);
    }
}

void SMSDbFile::Message6Matcher::readField(RecordFields &fields, CarvedMessage *message) const
{
    switch (m_fields.at(fields.index() + 1)) {
    case NoField:
        break;
    case DateField:
        message->date = fields.uncoveredInteger();
        break;
    case TextField:
        message->text = fields.textBeforeLimit();
        message->isTextCut = fields.isFieldCovered();
        break;
    case SubjectField:
        message->subject = fields.textBeforeLimit();
        break;
    case HandleField:
        message->handleId = fields.uncoveredInteger();
        message->isPlaceLost = message->isPlaceLost || fields.isFieldLost();
        break;
    case ServiceField:
        message->service = fields.uncoveredText();
        break;
    case RoomField:
        message->roomName = fields.uncoveredText();
        message->isPlaceLost = message->isPlaceLost || fields.isFieldLost();
        break;
    case IsFromMeField:
        message->isFromMe = fields.uncoveredInteger() != 0;
        break;
    case IsSentField:
        message->isSent = fields.uncoveredInteger() != 0;
        break;
    case GuidField:
        message->guid = fields.uncoveredText();
        break;
    }
}

SMSDbFile::Handle6Matcher::Handle6Matcher(SMSDbFile *recoverer)
    : NumberedMatcher(recoverer->m_liveHandleIds)
    , m_owner(recoverer)
{
    owner = recoverer;
    signatures = {QByteArrayMatcher(CountryThenSms, 2), QByteArrayMatcher(CountryThenIMessage, 2)};
}

bool SMSDbFile::Handle6Matcher::bindColumns(const TableSchema &table)
{
    m_country = table.columnIndex(QLatin1String("country"));
    m_id = table.columnIndex(QLatin1String("id"));
    m_service = table.columnIndex(QLatin1String("service"));
    return m_country >= 1 && m_id >= 1 && m_service >= 1;
}

bool SMSDbFile::Handle6Matcher::matchHeader(const TableSchema &table, const QByteArray &region,
                                            int anchorPos)
{
    const int columnCount = table.columns.size();
    decodeAround(region, anchorPos, m_country - 1, columnCount - m_country);
    if (serialTypes.size() != columnCount - 1 || !isTextSerialType(columnType(m_id), false)
        || !isServiceType(columnType(m_service))) {
        return false;
    }
    keepRowid(region);
    return true;
}

void SMSDbFile::Handle6Matcher::readRow(const TableSchema &, const Row &row)
{
    CarvedHandle carved;
    RecordFields fields = fieldsOf(row);
    while (fields.nextOfAll()) {
        const int column = fields.index() + 1;
        if (column == m_id) {
            carved.handle.id = cutName(fields.uncoveredText());
        } else if (column == m_service) {
            carved.handle.service = cutName(fields.uncoveredText());
        } else if (column == m_country) {
            carved.handle.country = cutName(fields.uncoveredText());
        }
    }
    const bool isKnownService = carved.handle.service == QLatin1String("SMS")
                                || carved.handle.service == QLatin1String("iMessage");
    if (carved.handle.id.isEmpty() || !isKnownService || fields.isCut() || fields.isCovered()) {
        return;
    }
    carved.rowid = keptRowid();
    carved.handle.normalizedId = normalizedAddress(carved.handle.id);
    m_owner->m_carved.handles.push_back(carved);
    number(&m_owner->m_carved.handles.back().rowid, row);
}
