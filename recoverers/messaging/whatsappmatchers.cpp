#include "recoverers/messaging/whatsappmatchers.h"

#include "engine/fieldreader.h"
#include "engine/serialtype.h"
#include "engine/varint.h"

namespace {

// Serial types of the anchors.
constexpr char Real[] = "\x07";            // a date, a latitude
constexpr char FourByteInteger[] = "\x04"; // the same where it is a whole number
constexpr char TwoByteInteger[] = "\x02";  // the size of a picture, in place of a latitude
constexpr char OneByteInteger[] = "\x01";
constexpr char ConstantZero[] = "\x08";
constexpr char ConstantOne[] = "\x09";

template<typename... Patterns> QList<QByteArrayMatcher> matchersOf(const Patterns &...patterns)
{
    return {QByteArrayMatcher(patterns, 1)...};
}

constexpr WhatsappColumn<WhatsappSession> SessionColumns[] = {
    {"zcontactabid", &WhatsappSession::contactId, nullptr},
    {"zsessiontype", &WhatsappSession::type, nullptr},
    {"zhidden", &WhatsappSession::isHidden, nullptr},
    {"zcontactjid", nullptr, &WhatsappSession::contactJid},
    {"zpartnername", nullptr, &WhatsappSession::partnerName},
    {"zlastmessage", &WhatsappSession::lastMessage, nullptr},
};

constexpr WhatsappColumn<WhatsappMember> MemberColumns[] = {
    {"zcontactabid", &WhatsappMember::contactId, nullptr},
    {"zchatsession", &WhatsappMember::session, nullptr},
    {"zcontactname", nullptr, &WhatsappMember::contactName},
    {"zmemberjid", nullptr, &WhatsappMember::memberJid},
};

constexpr WhatsappColumn<WhatsappMedia> MediaColumns[] = {
    {"zfilesize", &WhatsappMedia::fileSize, nullptr},
    {"zmessage", &WhatsappMedia::message, nullptr},
    {"zmovieduration", &WhatsappMedia::movieDuration, nullptr},
    {"zmedialocalpath", nullptr, &WhatsappMedia::localPath},
    {"zmediaurl", nullptr, &WhatsappMedia::url},
    {"zvcardname", nullptr, &WhatsappMedia::vcardName},
    {"zvcardstring", nullptr, &WhatsappMedia::vcardString},
    {"ztitle", nullptr, &WhatsappMedia::title},
};

constexpr WhatsappColumn<WhatsappMessage> MessageColumns[] = {
    {"zgroupeventtype", &WhatsappMessage::groupEventType, nullptr},
    {"zisfromme", &WhatsappMessage::isFromMe, nullptr},
    {"zmessagestatus", &WhatsappMessage::status, nullptr},
    {"zmessagetype", &WhatsappMessage::type, nullptr},
    {"zchatsession", &WhatsappMessage::session, nullptr},
    {"zgroupmember", &WhatsappMessage::member, nullptr},
    {"zmediaitem", &WhatsappMessage::media, nullptr},
    {"zparentmessage", &WhatsappMessage::parent, nullptr},
    {"zmessagedate", &WhatsappMessage::date, nullptr},
    {"zstanzaid", nullptr, &WhatsappMessage::stanzaId},
    {"ztext", nullptr, &WhatsappMessage::text},
    {"zfromjid", nullptr, &WhatsappMessage::fromJid},
    {"zpushname", nullptr, &WhatsappMessage::pushName},
    {"ztojid", nullptr, &WhatsappMessage::toJid},
};

/// The bytes of most keys of a table.
int usualKeyLength(qint64 highest)
{
    return highest >= 1 && highest != UnknownHighestKey ? varintLength(highest) : 1;
}

/// In the order in which a row holds them.
constexpr QString WhatsappMessage::*MessageTexts[] = {
    &WhatsappMessage::fromJid, &WhatsappMessage::pushName, &WhatsappMessage::stanzaId,
    &WhatsappMessage::text, &WhatsappMessage::toJid};

/// Keeps of a message's texts what stands in front of the first character that nobody writes:
/// something else lies over the row from there on. Returns false when there is none.
bool cutAtDamage(WhatsappMessage *message)
{
    bool isDamaged = false;
    for (const auto field : MessageTexts) {
        QString &text = message->*field;
        const int damage = isDamaged ? 0 : firstUnwritableCharacter(text);
        if (damage >= 0) {
            isDamaged = true;
            text.truncate(field == &WhatsappMessage::text ? damage : 0);
        }
    }
    return isDamaged;
}

} // namespace

template<typename Fields>
bool WhatsappMatcher<Fields>::matchHeader(const TableSchema &table, const QByteArray &region,
                                          int anchorPos)
{
    const int columnCount = table.columns.size();
    decodeAround(region, anchorPos, m_anchor - 1, columnCount - m_anchor);
    takeEntityAsByte();
    if (serialTypes.size() != columnCount - 1 || !isRow() || isCellOfOtherLayout(region)) {
        return false;
    }
    keepRowid(region);
    return true;
}

/// The type of the entity's number is one byte; where it seems longer, the rest is the header of a
/// freeblock.
template<typename Fields> void WhatsappMatcher<Fields>::takeEntityAsByte()
{
    if (m_entity == 1 && !serialTypes.isEmpty() && varintLength(serialTypes[0]) > 1) {
        takeFirstType(serialTypes[0] & 0x7f, 1 - varintLength(serialTypes[0]));
    }
}

template<typename Fields>
void WhatsappMatcher<Fields>::readField(RecordFields &fields, CarvedWhatsappRow<Fields> *carved,
                                        QString Fields::*prose) const
{
    const int index = fields.index() + 1;
    const Column *column = m_columns.at(index);
    if (index == m_entity) {
        carved->entity = fields.uncoveredInteger();
    } else if (column && column->number) {
        carved->row.*column->number = fields.uncoveredInteger();
    } else if (column) {
        const bool isProse = column->text == prose;
        carved->row.*column->text = isProse ? fields.textBeforeLimit() : fields.uncoveredText();
    }
}

template<typename Fields>
bool WhatsappMatcher<Fields>::readFields(const Row &row, CarvedWhatsappRow<Fields> *carved) const
{
    RecordFields fields = fieldsOf(row);
    while (fields.nextOfAll()) {
        readField(fields, carved);
    }
    for (const Column *column : m_columns) {
        if (column && column->text && hasUnwritableCharacters(carved->row.*column->text)) {
            (carved->row.*column->text).clear();
            carved->isIncomplete = true;
        }
    }
    carved->isIncomplete = carved->isIncomplete || fields.isCovered() || fields.isCut();
    carved->key = keptRowid();
    return !isCut(row, fields);
}

template<typename Fields>
void WhatsappMatcher<Fields>::numberKept(CarvedWhatsappRow<Fields> *kept, const Row &row)
{
    const qint64 registered = m_knownEntity.registered;
    if (!kept->isIncomplete && (registered == 0 || kept->entity == registered)) {
        number(&kept->key, row);
    }
}

WhatsappDbFile::SessionMatcher::SessionMatcher(WhatsappDbFile *recoverer)
    : WhatsappMatcher(recoverer->m_liveSessions, recoverer->m_live.sessionEntity)
    , m_owner(recoverer)
{
    owner = recoverer;
    signatures = matchersOf(Real, FourByteInteger);
}

bool WhatsappDbFile::SessionMatcher::bindColumns(const TableSchema &table)
{
    bindFields(table, SessionColumns);
    m_anchor = table.columnIndex(QLatin1String("zlastmessagedate"));
    m_lastMessage = table.columnIndex(QLatin1String("zlastmessage"));
    m_contactJid = table.columnIndex(QLatin1String("zcontactjid"));
    m_partnerName = table.columnIndex(QLatin1String("zpartnername"));
    m_hidden = table.columnIndex(QLatin1String("zhidden"));
    return m_anchor >= 1 && m_lastMessage >= 1 && m_contactJid >= 1 && m_partnerName >= 1
           && m_hidden >= 1;
}

bool WhatsappDbFile::SessionMatcher::isRow() const
{
    return isIntegerSerialType(columnType(m_lastMessage), false)
           && isTextSerialType(columnType(m_contactJid), false)
           && isTextSerialType(columnType(m_partnerName), false)
           && isBooleanSerialType(columnType(m_hidden));
}

void WhatsappDbFile::SessionMatcher::readRow(const TableSchema &, const Row &row)
{
    CarvedWhatsappRow<WhatsappSession> carved;
    if (!readFields(row, &carved)) {
        return;
    }
    m_owner->m_carved.sessions.push_back(carved);
    numberKept(&m_owner->m_carved.sessions.back(), row);
}

WhatsappDbFile::MemberMatcher::MemberMatcher(WhatsappDbFile *recoverer)
    : WhatsappMatcher(recoverer->m_liveMembers, recoverer->m_live.memberEntity)
    , m_owner(recoverer)
{
    owner = recoverer;
    signatures = matchersOf(OneByteInteger, ConstantZero, ConstantOne);
}

bool WhatsappDbFile::MemberMatcher::bindColumns(const TableSchema &table)
{
    bindFields(table, MemberColumns);
    m_anchor = table.columnIndex(QLatin1String("zisactive"));
    m_contactId = table.columnIndex(QLatin1String("zcontactabid"));
    m_chatSession = table.columnIndex(QLatin1String("zchatsession"));
    m_contactName = table.columnIndex(QLatin1String("zcontactname"));
    m_firstName = table.columnIndex(QLatin1String("zfirstname"));
    m_memberJid = table.columnIndex(QLatin1String("zmemberjid"));
    return m_anchor >= 1 && m_contactId >= 1 && m_chatSession >= 1 && m_contactName >= 1
           && m_firstName >= 1 && m_memberJid >= 1;
}

bool WhatsappDbFile::MemberMatcher::isRow() const
{
    return isIntegerSerialType(columnType(m_contactId), false)
           && isIntegerSerialType(columnType(m_chatSession), false)
           && isTextSerialType(columnType(m_contactName), false)
           && isTextSerialType(columnType(m_firstName), true)
           && isTextSerialType(columnType(m_memberJid), false);
}

void WhatsappDbFile::MemberMatcher::readRow(const TableSchema &, const Row &row)
{
    CarvedWhatsappRow<WhatsappMember> carved;
    // A member whose name is lost must not stand for one without a name.
    if (!readFields(row, &carved) || carved.isIncomplete) {
        return;
    }
    m_owner->m_carved.members.push_back(carved);
    numberKept(&m_owner->m_carved.members.back(), row);
}

WhatsappDbFile::MediaMatcher::MediaMatcher(WhatsappDbFile *recoverer)
    : WhatsappMatcher(recoverer->m_liveMedia, recoverer->m_live.mediaEntity)
    , m_owner(recoverer)
{
    owner = recoverer;
    signatures = matchersOf(Real, ConstantZero, FourByteInteger, TwoByteInteger, OneByteInteger);
}

bool WhatsappDbFile::MediaMatcher::bindColumns(const TableSchema &table)
{
    bindFields(table, MediaColumns);
    m_anchor = table.columnIndex(QLatin1String("zlatitude"));
    m_message = table.columnIndex(QLatin1String("zmessage"));
    m_origin = table.columnIndex(QLatin1String("zmediaorigin"));
    m_localPath = table.columnIndex(QLatin1String("zmedialocalpath"));
    m_aspectRatio = table.columnIndex(QLatin1String("zaspectratio"));
    m_accuracy = table.columnIndex(QLatin1String("zhaccuracy"));
    return m_anchor >= 1 && m_message >= 1 && m_origin >= 1 && m_localPath >= 1
           && m_aspectRatio >= 1 && m_accuracy >= 1;
}

bool WhatsappDbFile::MediaMatcher::isRow() const
{
    return isBooleanSerialType(columnType(m_origin))
           && isIntegerSerialType(columnType(m_message), false)
           && isRealSerialType(columnType(m_aspectRatio), false)
           && isRealSerialType(columnType(m_accuracy), false)
           && isTextSerialType(columnType(m_localPath), true);
}

void WhatsappDbFile::MediaMatcher::readRow(const TableSchema &, const Row &row)
{
    CarvedWhatsappRow<WhatsappMedia> carved;
    if (!readFields(row, &carved)) {
        return;
    }
    m_owner->m_carved.media.push_back(carved);
    numberKept(&m_owner->m_carved.media.back(), row);
}

WhatsappDbFile::MessageMatcher::MessageMatcher(WhatsappDbFile *recoverer)
    : WhatsappMatcher(recoverer->m_live.messageKeys, recoverer->m_live.messageEntity)
    , m_owner(recoverer)
{
    owner = recoverer;
    rowidLength = usualKeyLength(recoverer->m_live.highestMessage);
    signatures = matchersOf(Real, FourByteInteger);
}

bool WhatsappDbFile::MessageMatcher::bindColumns(const TableSchema &table)
{
    bindFields(table, MessageColumns);
    m_anchor = table.columnIndex(QLatin1String("zmessagedate"));
    m_isFromMe = table.columnIndex(QLatin1String("zisfromme"));
    m_status = table.columnIndex(QLatin1String("zmessagestatus"));
    m_type = table.columnIndex(QLatin1String("zmessagetype"));
    m_fromJid = table.columnIndex(QLatin1String("zfromjid"));
    m_pushName = table.columnIndex(QLatin1String("zpushname"));
    m_stanzaId = table.columnIndex(QLatin1String("zstanzaid"));
    m_text = table.columnIndex(QLatin1String("ztext"));
    m_toJid = table.columnIndex(QLatin1String("ztojid"));
    return m_anchor >= 1 && m_isFromMe >= 1 && m_status >= 1 && m_type >= 1 && m_fromJid >= 1
           && m_pushName >= 1 && m_stanzaId >= 1 && m_text >= 1 && m_toJid >= 1;
}

bool WhatsappDbFile::MessageMatcher::isRow() const
{
    return isBooleanSerialType(columnType(m_isFromMe)) && isBooleanSerialType(columnType(m_status))
           && isBooleanSerialType(columnType(m_type))
           && isTextSerialType(columnType(m_fromJid), true)
           && isTextSerialType(columnType(m_pushName), true)
           && isTextSerialType(columnType(m_stanzaId), false)
           && isTextSerialType(columnType(m_text), true)
           && isTextSerialType(columnType(m_toJid), true);
}

void WhatsappDbFile::MessageMatcher::readRow(const TableSchema &, const Row &row)
{
    CarvedWhatsappMessage carved;
    bool isDateLost = false;
    RecordFields fields = proseFieldsOf(row);
    while (fields.nextOfAll()) {
        readField(fields, &carved, &WhatsappMessage::text);
        isDateLost = isDateLost || (fields.index() + 1 == m_anchor && fields.isFieldLost());
    }
    const bool isDamaged = cutAtDamage(&carved.row);
    carved.isIncomplete = isDamaged || fields.isCovered() || fields.isCut();
    const WhatsappMessage &message = carved.row;
    const bool isEmpty = message.stanzaId.isEmpty() && message.text.isEmpty()
                         && message.fromJid.isEmpty() && message.toJid.isEmpty();
    if (isCut(row, fields) || isDateLost || isEmpty) {
        return;
    }
    carved.key = keptRowid();
    m_owner->m_carved.messages.push_back(carved);
    numberKept(&m_owner->m_carved.messages.back(), row);
}
