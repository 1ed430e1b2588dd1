#include "recoverers/communication/messageassembler.h"

#include "engine/address.h"
#include "recoverers/communication/conversations.h"

#include <algorithm>

namespace {

MessageParticipant participantOf(const Handle &handle)
{
    return {handle.id, handle.service, handle.country};
}

/// The handles by row identifier: the live ones, and the carved ones whose identifier is known and
/// was ever given out.
class HandleBook
{
public:
    HandleBook(const LiveMessages &live, const CarvedMessages &carved);

    /// Returns null for a handle that is nowhere known.
    const Handle *find(qint64 rowid) const;

private:
    const LiveMessages &m_live;
    QHash<qint64, const CarvedHandle *> m_carved;
};

HandleBook::HandleBook(const LiveMessages &live, const CarvedMessages &carved)
    : m_live(live)
{
    for (const CarvedHandle &handle : carved.handles) {
        const qint64 rowid = handle.rowid.believed();
        const bool wasGivenOut = rowid > 0
                                 && (handle.rowid.isIntact || live.highestHandleId == 0
                                     || rowid <= live.highestHandleId);
        const CarvedHandle *known = m_carved.value(rowid);
        if (wasGivenOut && (!known || (handle.rowid.isIntact && !known->rowid.isIntact))) {
            m_carved.insert(rowid, &handle);
        }
    }
}

const Handle *HandleBook::find(qint64 rowid) const
{
    const auto live = m_live.handles.constFind(rowid);
    if (live != m_live.handles.cend()) {
        return &*live;
    }
    const CarvedHandle *carved = m_carved.value(rowid);
    return carved ? &carved->handle : nullptr;
}

/// Joins the messages of iOS 6 and later.
class MessageJoiner
{
public:
    MessageJoiner(const LiveMessages &live, const CarvedMessages &carved);
    QVector<MessageGroupRecord> join();

private:
    void add(const CarvedMessage &message, int found);
    bool isNew(const CarvedMessage &message);
    int conversationOf(const CarvedMessage &message, const Handle *handle, int found);
    MessageGroupRecord room(const QString &roomName) const;

    const LiveMessages &m_live;
    const CarvedMessages &m_carved;
    const HandleBook m_handles;
    QHash<QString, QVector<qint64>> m_chatsOfRooms;
    QHash<QString, QSet<QString>> m_textsOfGuids;
    QSet<QString> m_seenEvents; ///< date, party, direction and text
    Conversations m_conversations;
};

MessageJoiner::MessageJoiner(const LiveMessages &live, const CarvedMessages &carved)
    : m_live(live)
    , m_carved(carved)
    , m_handles(live, carved)
{
    for (auto chat = live.chats.cbegin(); chat != live.chats.cend(); ++chat) {
        if (!chat->roomName.isEmpty()) {
            m_chatsOfRooms[chat->roomName].append(chat.key());
        }
    }
}

QVector<MessageGroupRecord> MessageJoiner::join()
{
    // Of several copies the most complete one is to stay, and one without a guid, which can be
    // compared with others by its content only, must not stand in for one that has it.
    for (const int wanted : {0, 1, 2, 3}) {
        int found = 0;
        for (const CarvedMessage &message : m_carved.messages) {
            const int rank = (isReadableGuid(message.guid) ? 0 : 2) + int(message.isIncomplete);
            if (rank == wanted && !message.isLiveCopy
                && (m_carved.isFromVersions || isNew(message))) {
                add(message, found);
            }
            ++found;
        }
    }
    return m_conversations.sorted();
}

void MessageJoiner::add(const CarvedMessage &message, int found)
{
    const Handle *handle = m_handles.find(message.handleId);
    MessageItem item;
    item.guid = message.guid;
    item.date = message.date;
    item.text = message.text;
    item.subject = message.subject;
    item.address = handle ? handle->id : QString();
    item.service = message.service;
    item.isFromMe = message.isFromMe;
    item.isSent = message.isSent;
    m_conversations.addMessage(conversationOf(message, handle, found), item, {message.date, found});
}

bool MessageJoiner::isNew(const CarvedMessage &message)
{
    const QString event = QStringLiteral("%1|%2|%3|")
                              .arg(message.date)
                              .arg(message.handleId)
                              .arg(int(message.isFromMe))
                          + message.text;
    const bool hasGuid = isReadableGuid(message.guid);
    QSet<QString> &texts = m_textsOfGuids[hasGuid ? message.guid : QString()];
    const bool isKnown = !hasGuid            ? m_seenEvents.contains(event)
                         : message.isTextCut ? !texts.isEmpty()
                                             : texts.contains(message.text);
    m_seenEvents.insert(event);
    if (hasGuid && !isKnown) {
        texts.insert(message.text);
    }
    return !isKnown;
}

int MessageJoiner::conversationOf(const CarvedMessage &message, const Handle *handle, int found)
{
    // What cannot be placed stands alone: under anybody's name it would be a false statement.
    const bool isAlone = message.isPlaceLost && message.roomName.isEmpty();
    const QString key = isAlone ? QStringLiteral("message ") + QString::number(found)
                        : !message.roomName.isEmpty() ? QStringLiteral("room ") + message.roomName
                        : handle ? QStringLiteral("address ") + handle->normalizedId
                                 : QStringLiteral("handle ") + QString::number(message.handleId);
    int place = m_conversations.find(key);
    if (place < 0) {
        MessageGroupRecord record;
        if (!message.roomName.isEmpty()) {
            record = room(message.roomName);
        } else if (handle && !isAlone) {
            record.chatIdentifier = handle->id;
        }
        place = m_conversations.add(key, record);
    }
    // Who wrote in a room was a member, also when the list of members is gone.
    if (handle) {
        m_conversations.addParticipant(place, participantOf(*handle));
    }
    return place;
}

MessageGroupRecord MessageJoiner::room(const QString &roomName) const
{
    MessageGroupRecord record;
    record.chatIdentifier = roomName;
    record.roomName = roomName;
    const QVector<qint64> chats = m_chatsOfRooms.value(roomName);
    for (const qint64 chat : chats) {
        record.chatIdentifier = m_live.chats.value(chat).identifier;
        const QVector<qint64> members = m_live.chatHandles.value(chat);
        for (const qint64 member : members) {
            if (const Handle *handle = m_handles.find(member)) {
                record.participants.append(participantOf(*handle));
            }
        }
    }
    return record;
}

constexpr qint64 SecondsFrom1970To2001 = 978307200;

/// Direction bits of the flags of the two kinds of messages. Of an SMS 3 is sent and 2 received; of
/// an iMessage 12289 is sent and 36869 received.
constexpr qint64 SmsIsFromMe = 0x1;
constexpr qint64 SmsSent = 3;
constexpr qint64 MadridIsReceived = 0x4;

/// True when the row tells neither what was written nor to whom and when.
bool isEmpty(const CarvedOldMessage &message)
{
    const bool isDated = message.date != 0;
    const QString text = message.text + message.subject;
    const QString party = message.address + message.madridHandle + message.madridRoomName;
    return text.isEmpty() && (!isDated || party.isEmpty());
}

/// Joins the messages of iOS 5 and earlier.
class OldMessageJoiner
{
public:
    OldMessageJoiner(const LiveMessages &live, const CarvedMessages &carved);
    QVector<MessageGroupRecord> join();

private:
    bool isNew(const CarvedOldMessage &message);
    void addSms(const CarvedOldMessage &message, int found);
    void addMadrid(const CarvedOldMessage &message, int found);
    int groupOf(const CarvedOldMessage &message, int found);
    int chatOf(const CarvedOldMessage &message, int found);
    MessageGroupRecord group(qint64 groupId) const;
    MessageGroupRecord room(const QString &roomName) const;

    const LiveMessages &m_live;
    const CarvedMessages &m_carved;
    QHash<QString, QString> m_chatsOfRooms; ///< identifier by room name
    QSet<QString> m_seen;
    QHash<qint64, QVector<const CarvedOldMessage *>> m_byDate; ///< those that were added
    Conversations m_conversations;
};

OldMessageJoiner::OldMessageJoiner(const LiveMessages &live, const CarvedMessages &carved)
    : m_live(live)
    , m_carved(carved)
{
    const auto addChat = [this](const Chat &chat) {
        if (!chat.roomName.isEmpty() && !m_chatsOfRooms.contains(chat.roomName)) {
            m_chatsOfRooms.insert(chat.roomName, chat.identifier);
        }
    };
    std::for_each(live.oldChats.cbegin(), live.oldChats.cend(), addChat);
    std::for_each(carved.oldChats.cbegin(), carved.oldChats.cend(), addChat);
}

QVector<MessageGroupRecord> OldMessageJoiner::join()
{
    // Of several copies the complete one is to stay.
    for (const bool isIncomplete : {false, true}) {
        int found = 0;
        for (const CarvedOldMessage &message : m_carved.oldMessages) {
            ++found;
            if (message.isIncomplete != isIncomplete || message.isLiveCopy || isEmpty(message)
                || (!m_carved.isFromVersions && !isNew(message))) {
                continue;
            }
            if (message.isMadrid) {
                addMadrid(message, found);
            } else {
                addSms(message, found);
            }
        }
    }
    return m_conversations.sorted();
}

bool OldMessageJoiner::isNew(const CarvedOldMessage &message)
{
    constexpr int MostOfOneSecond = 20; // a hostile file may hold any number
    QVector<const CarvedOldMessage *> &sameDate = m_byDate[message.date];
    const QString key = QStringLiteral("%1|%2|").arg(message.date).arg(message.groupId)
                        + message.address + QLatin1Char('|') + message.madridHandle
                        + QLatin1Char('|') + message.madridRoomName + QLatin1Char('|')
                        + message.text;
    const bool isPart = message.isIncomplete
                        && std::any_of(sameDate.cbegin(), sameDate.cend(),
                                       [&message](const CarvedOldMessage *other) {
                                           return other->text.startsWith(message.text);
                                       });
    if (isPart || m_seen.contains(key)) {
        return false;
    }
    m_seen.insert(key);
    if (sameDate.size() < MostOfOneSecond) {
        sameDate.append(&message);
    }
    return true;
}

void OldMessageJoiner::addSms(const CarvedOldMessage &message, int found)
{
    const MessageItem item = messageItemOf(message);
    const int place = groupOf(message, found);
    m_conversations.addParticipant(place, {message.address, item.service, message.country});
    m_conversations.addMessage(place, item, {message.date, found});
}

void OldMessageJoiner::addMadrid(const CarvedOldMessage &message, int found)
{
    const MessageItem item = messageItemOf(message);
    const int place = chatOf(message, found);
    m_conversations.addParticipant(place, {message.madridHandle, item.service, message.country});
    // Unlike SMS, iMessages are dated from 2001 on. Unsigned, since a damaged date may be any
    // number.
    const quint64 since1970 = quint64(message.date) + quint64(SecondsFrom1970To2001);
    m_conversations.addMessage(place, item, {qint64(since1970), found});
}

int OldMessageJoiner::groupOf(const CarvedOldMessage &message, int found)
{
    if (message.isPlaceLost) {
        return m_conversations.add(QStringLiteral("message ") + QString::number(found), {});
    }
    const bool isGroup =
        message.groupId > 0
        && (m_live.highestGroupId == 0 || message.groupId <= m_live.highestGroupId);
    const QString key = isGroup ? QStringLiteral("group ") + QString::number(message.groupId)
                                : QStringLiteral("address ") + normalizedAddress(message.address);
    const int known = m_conversations.find(key);
    return known >= 0
               ? known
               : m_conversations.add(key, isGroup ? group(message.groupId) : MessageGroupRecord());
}

MessageGroupRecord OldMessageJoiner::group(qint64 groupId) const
{
    MessageGroupRecord record;
    const QVector<QString> members = m_live.groupMembers.value(groupId);
    for (const QString &member : members) {
        record.participants.append({member, QStringLiteral("SMS"), QString()});
    }
    return record;
}

int OldMessageJoiner::chatOf(const CarvedOldMessage &message, int found)
{
    if (message.isPlaceLost && message.madridRoomName.isEmpty()) {
        return m_conversations.add(QStringLiteral("message ") + QString::number(found), {});
    }
    const bool isRoom = !message.madridRoomName.isEmpty();
    const QString key = isRoom
                            ? QStringLiteral("room ") + message.madridRoomName
                            : QStringLiteral("handle ") + normalizedAddress(message.madridHandle);
    const int known = m_conversations.find(key);
    if (known >= 0) {
        return known;
    }
    MessageGroupRecord record = isRoom ? room(message.madridRoomName) : MessageGroupRecord();
    if (!isRoom) {
        record.chatIdentifier = message.madridHandle;
    }
    return m_conversations.add(key, record);
}

MessageGroupRecord OldMessageJoiner::room(const QString &roomName) const
{
    MessageGroupRecord record;
    record.chatIdentifier = m_chatsOfRooms.value(roomName, roomName);
    record.roomName = roomName;
    const QVector<QString> members = m_live.roomHandles.value(roomName);
    for (const QString &member : members) {
        record.participants.append({member, QStringLiteral("iMessage"), QString()});
    }
    return record;
}

} // namespace

MessageItem messageItemOf(const CarvedOldMessage &message)
{
    MessageItem item;
    item.date = message.date;
    item.text = message.text;
    item.subject = message.subject;
    if (message.isMadrid) {
        item.address = message.madridHandle;
        item.service = QStringLiteral("iMessage");
        item.isFromMe = message.madridFlags != 0 && (message.madridFlags & MadridIsReceived) == 0;
        item.isSent = item.isFromMe;
    } else {
        item.address = message.address;
        item.service = QStringLiteral("SMS");
        item.isFromMe = (message.flags & SmsIsFromMe) != 0;
        item.isSent = message.flags == SmsSent;
    }
    return item;
}

QVector<MessageGroupRecord> assembleMessages(const LiveMessages &live, const CarvedMessages &carved)
{
    return MessageJoiner(live, carved).join();
}

QVector<MessageGroupRecord> assembleOldMessages(const LiveMessages &live,
                                                const CarvedMessages &carved)
{
    QVector<MessageGroupRecord> groups = OldMessageJoiner(live, carved).join();
    for (MessageGroupRecord &group : groups) {
        // A group of several has no identifier but its number, which nobody knows it by.
        if (group.chatIdentifier.isEmpty() && group.participants.size() == 1) {
            group.chatIdentifier = group.participants.first().id;
        }
    }
    return groups;
}
