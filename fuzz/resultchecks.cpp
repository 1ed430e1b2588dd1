#include "fuzz/resultchecks.h"

#include "api/sqliterecovery.h"
#include "api/walrecovery.h"
#include "fuzz/fuzzsupport.h"

namespace {

/// Bytes of a row are read by several searches, rows overlap where one covers another, and what
/// belongs to several records stands in each of them.
constexpr qint64 MostCharactersPerByte = 64;
constexpr qint64 SmallestBound = 4096;

qint64 sizeOfTexts(const QStringList &texts)
{
    qint64 size = 0;
    for (const QString &text : texts) {
        size += text.size();
    }
    return size;
}

qint64 sizeOf(const BookmarkRecord &record)
{
    return record.title.size() + record.url.size();
}

qint64 sizeOf(const NoteRecord &record)
{
    return record.title.size() + record.content.size();
}

qint64 sizeOf(const CallhistoryRecord &record)
{
    require(!record.address.isEmpty(), "a call has an address");
    return record.address.size();
}

qint64 sizeOf(const ReminderRecord &record)
{
    return sizeOfTexts({record.title, record.location, record.calendar, record.notes});
}

qint64 sizeOf(const CalendarRecord &record)
{
    return sizeOfTexts({record.title, record.location, record.notes});
}

qint64 sizeOf(const MessageGroupRecord &record)
{
    require(!record.messages.isEmpty(), "a conversation has messages");
    qint64 size = sizeOfTexts({record.chatIdentifier, record.roomName, record.service});
    for (const MessageParticipant &member : record.participants) {
        size += sizeOfTexts({member.id, member.service, member.country});
    }
    for (const MessageItem &item : record.messages) {
        size += 1 + sizeOfTexts({item.guid, item.text, item.subject, item.address, item.service});
    }
    return size;
}

qint64 sizeOf(const PersonRecord &record)
{
    qint64 size =
        sizeOfTexts({record.prefix, record.first, record.middle, record.last, record.suffix,
                     record.firstPhonetic, record.middlePhonetic, record.lastPhonetic,
                     record.nickname, record.organization, record.department, record.jobTitle,
                     record.birthday, record.alternateBirthday, record.note});
    for (const PersonValue &value : record.values) {
        size += 1 + sizeOfTexts({value.label, value.value});
        for (const PersonValueEntry &entry : value.entries) {
            size += 1 + sizeOfTexts({entry.key, entry.value});
        }
    }
    return size;
}

qint64 sizeOf(const WhatsappChatRecord &record)
{
    qint64 size =
        record.chatName.size() + sizeOfTexts(record.memberNames) + sizeOfTexts(record.chatJids);
    for (const WhatsappMessageItem *item : record.messages) {
        require(item, "a message is there");
        size += 1 + sizeOfTexts({item->text, item->senderName, item->vcardText, item->toJid});
    }
    return size;
}

qint64 sizeOf(const WeiChatChat &record)
{
    qint64 size = record.chatId.size();
    for (const WeiChatMessage *item : record.messages) {
        require(item, "a message is there");
        size += 1 + item->message.size();
    }
    return size;
}

/// Asks for every record of an array; returns how much they are together.
template<typename Facade, typename Record>
qint64 sizeOfAll(Facade &found, unsigned (Facade::*count)(),
                 const Record *(Facade::*record)(unsigned))
{
    const unsigned all = (found.*count)();
    qint64 size = all;
    for (unsigned i = 0; i < all; ++i) {
        const Record *one = (found.*record)(i);
        require(one, "a record is there");
        size += sizeOf(*one);
    }
    require(!(found.*record)(all), "no record is behind the last");
    return size;
}

/// The kinds that both roads find.
template<typename Facade> qint64 sizeOfCommon(Facade &found)
{
    return sizeOfAll(found, &Facade::getBookmarkCount, &Facade::getBookmark)
           + sizeOfAll(found, &Facade::getReminderCount, &Facade::getReminder)
           + sizeOfAll(found, &Facade::getCalendarCount, &Facade::getCalendar)
           + sizeOfAll(found, &Facade::getMessageGroupCount, &Facade::getMessageGroup)
           + sizeOfAll(found, &Facade::getContactCount, &Facade::getContact);
}

qint64 checkedSize(qint64 size, qint64 bytes)
{
    require(size <= SmallestBound + MostCharactersPerByte * bytes,
            "no more is found than the bytes can hold");
    return size;
}

} // namespace

qint64 checkResults(SqliteRecovery &found, qint64 bytes)
{
    using Facade = SqliteRecovery;
    return checkedSize(
        sizeOfCommon(found) + sizeOfAll(found, &Facade::getNoteCount, &Facade::getNote)
            + sizeOfAll(found, &Facade::getCallhistoryCount, &Facade::getCallhistory)
            + sizeOfAll(found, &Facade::getWhatsappCount, &Facade::getWhatsapp)
            + sizeOfAll(found, &Facade::getHiddenContactCount, &Facade::getHiddenContact)
            + sizeOfAll(found, &Facade::getSafariHistoryCount, &Facade::getSafariHistory)
            + sizeOfAll(found, &Facade::getIos9NoteCount, &Facade::getIos9Note)
            + sizeOfAll(found, &Facade::getWeiChatCount, &Facade::getWeiChat),
        bytes);
}

qint64 checkResults(WalRecovery &found, qint64 bytes)
{
    return checkedSize(sizeOfCommon(found), bytes);
}
