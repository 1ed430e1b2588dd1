#include "cli/recordmaps.h"

#include "api/bookmarkrecord.h"
#include "api/calendarrecord.h"
#include "api/callhistoryrecord.h"
#include "api/messagegrouprecord.h"
#include "api/noterecord.h"
#include "api/personrecord.h"
#include "api/reminderrecord.h"
#include "api/weichatchat.h"
#include "api/whatsappchatrecord.h"
#include "cli/displaydate.h"

#include <QCborArray>

namespace {

template<typename Record>
QCborArray arrayOf(const QList<Record> &records, QCborMap (*mapOf)(const Record &))
{
    QCborArray array;
    for (const Record &record : records) {
        array.append(mapOf(record));
    }
    return array;
}

/// What stands beside a stored number: its time, or null where it is none.
QCborValue utcOrNull(const QString &utc)
{
    return utc.isNull() ? QCborValue(nullptr) : QCborValue(utc);
}

QCborMap entryMap(const PersonValueEntry &entry)
{
    return {{QStringLiteral("key"), entry.key}, {QStringLiteral("value"), entry.value}};
}

QCborMap valueMap(const PersonValue &value)
{
    return {{QStringLiteral("property"), value.property},
            {QStringLiteral("label"), value.label},
            {QStringLiteral("value"), value.value},
            {QStringLiteral("entries"), arrayOf(value.entries, entryMap)}};
}

QCborMap participantMap(const MessageParticipant &participant)
{
    return {{QStringLiteral("id"), participant.id},
            {QStringLiteral("service"), participant.service},
            {QStringLiteral("country"), participant.country}};
}

QCborMap messageMap(const MessageItem &message)
{
    return {{QStringLiteral("guid"), message.guid},
            {QStringLiteral("date"), message.date},
            {QStringLiteral("dateUtc"), utcOrNull(utcOfMessage(message.date))},
            {QStringLiteral("text"), message.text},
            {QStringLiteral("subject"), message.subject},
            {QStringLiteral("address"), message.address},
            {QStringLiteral("service"), message.service},
            {QStringLiteral("isFromMe"), message.isFromMe},
            {QStringLiteral("isSent"), message.isSent}};
}

QCborMap weChatMessageMap(const WeiChatMessage &message)
{
    return {{QStringLiteral("message"), message.message},
            {QStringLiteral("createTime"), message.createTime},
            {QStringLiteral("createTimeUtc"), utcOrNull(utcSince1970(message.createTime))},
            {QStringLiteral("type"), message.type},
            {QStringLiteral("isFromMe"), message.isFromMe}};
}

QCborMap whatsappMessageMap(const WhatsappMessageItem &message)
{
    return {{QStringLiteral("messageType"), message.messageType},
            {QStringLiteral("isFromMe"), message.isFromMe},
            {QStringLiteral("messageStatus"), message.messageStatus},
            {QStringLiteral("groupEventType"), message.groupEventType},
            {QStringLiteral("date"), message.date},
            {QStringLiteral("dateUtc"), utcOrNull(utcSince2001(message.date))},
            {QStringLiteral("hasParent"), message.hasParent},
            {QStringLiteral("text"), message.text},
            {QStringLiteral("senderName"), message.senderName},
            {QStringLiteral("vcardText"), message.vcardText},
            {QStringLiteral("toJid"), message.toJid}};
}

} // namespace

QCborMap callMap(const CallhistoryRecord &call)
{
    return {{QStringLiteral("address"), call.address},
            {QStringLiteral("date"), call.date},
            {QStringLiteral("dateUtc"), utcOrNull(utcSince1970(call.date))},
            {QStringLiteral("duration"), call.duration},
            {QStringLiteral("flags"), call.flags}};
}

QCborMap noteMap(const NoteRecord &note)
{
    return {{QStringLiteral("date"), note.date},
            {QStringLiteral("dateUtc"), utcOrNull(utcSince2001(note.date))},
            {QStringLiteral("title"), note.title},
            {QStringLiteral("content"), note.content}};
}

QCborMap personMap(const PersonRecord &person)
{
    return {
        {QStringLiteral("rowId"), person.rowId},
        {QStringLiteral("prefix"), person.prefix},
        {QStringLiteral("first"), person.first},
        {QStringLiteral("middle"), person.middle},
        {QStringLiteral("last"), person.last},
        {QStringLiteral("suffix"), person.suffix},
        {QStringLiteral("firstPhonetic"), person.firstPhonetic},
        {QStringLiteral("middlePhonetic"), person.middlePhonetic},
        {QStringLiteral("lastPhonetic"), person.lastPhonetic},
        {QStringLiteral("nickname"), person.nickname},
        {QStringLiteral("organization"), person.organization},
        {QStringLiteral("department"), person.department},
        {QStringLiteral("jobTitle"), person.jobTitle},
        {QStringLiteral("birthday"), person.birthday},
        {QStringLiteral("birthdayUtc"), utcOrNull(utcOfDay(person.birthday))},
        {QStringLiteral("alternateBirthday"), person.alternateBirthday},
        {QStringLiteral("note"), person.note},
        {QStringLiteral("modificationDate"), person.modificationDate},
        {QStringLiteral("modificationDateUtc"), utcOrNull(utcSince2001(person.modificationDate))},
        {QStringLiteral("values"), arrayOf(person.values, valueMap)}};
}

QCborMap messageGroupMap(const MessageGroupRecord &group)
{
    return {{QStringLiteral("chatIdentifier"), group.chatIdentifier},
            {QStringLiteral("roomName"), group.roomName},
            {QStringLiteral("service"), group.service},
            {QStringLiteral("participants"), arrayOf(group.participants, participantMap)},
            {QStringLiteral("messages"), arrayOf(group.messages, messageMap)}};
}

QCborMap calendarMap(const CalendarRecord &event)
{
    return {{QStringLiteral("title"), event.title},
            {QStringLiteral("location"), event.location},
            {QStringLiteral("notes"), event.notes},
            {QStringLiteral("startDate"), event.startDate},
            {QStringLiteral("startDateUtc"), utcOrNull(utcOfCalendar(event.startDate))},
            {QStringLiteral("endDate"), event.endDate},
            {QStringLiteral("endDateUtc"), utcOrNull(utcOfCalendar(event.endDate))},
            {QStringLiteral("allDay"), event.allDay}};
}

QCborMap reminderMap(const ReminderRecord &reminder)
{
    return {
        {QStringLiteral("title"), reminder.title},
        {QStringLiteral("location"), reminder.location},
        {QStringLiteral("calendar"), reminder.calendar},
        {QStringLiteral("notes"), reminder.notes},
        {QStringLiteral("startDate"), reminder.startDate},
        {QStringLiteral("startDateUtc"), utcOrNull(utcOfCalendar(reminder.startDate))},
        {QStringLiteral("completionDate"), reminder.completionDate},
        {QStringLiteral("completionDateUtc"), utcOrNull(utcOfCalendar(reminder.completionDate))},
        {QStringLiteral("priority"), reminder.priority}};
}

QCborMap bookmarkMap(const BookmarkRecord &bookmark)
{
    return {{QStringLiteral("title"), bookmark.title},
            {QStringLiteral("url"), bookmark.url},
            {QStringLiteral("parent"), bookmark.parent}};
}

QCborMap historyMap(const BookmarkRecord &entry)
{
    return {{QStringLiteral("title"), entry.title}, {QStringLiteral("url"), entry.url}};
}

QCborMap weChatMap(const WeiChatChat &chat)
{
    QCborArray messages;
    for (const WeiChatMessage *message : chat.messages) {
        messages.append(weChatMessageMap(*message));
    }
    return {{QStringLiteral("chatId"), chat.chatId}, {QStringLiteral("messages"), messages}};
}

QCborMap whatsappMap(const WhatsappChatRecord &chat)
{
    QCborArray messages;
    for (const WhatsappMessageItem *message : chat.messages) {
        messages.append(whatsappMessageMap(*message));
    }
    return {{QStringLiteral("chatName"), chat.chatName},
            {QStringLiteral("memberNames"), QCborArray::fromStringList(chat.memberNames)},
            {QStringLiteral("chatJids"), QCborArray::fromStringList(chat.chatJids)},
            {QStringLiteral("messages"), messages}};
}

QCborMap recordOfKind(const char *kind, const QCborMap &fields)
{
    QCborMap record{{QStringLiteral("kind"), QLatin1String(kind)}};
    for (const auto &field : fields) {
        record.insert(field.first, field.second);
    }
    return record;
}
