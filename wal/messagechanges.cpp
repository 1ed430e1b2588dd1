#include "wal/messagechanges.h"

#include "engine/address.h"
#include "recoverers/communication/messageassembler.h"

namespace {

const QString MessageTable = QStringLiteral("message");
const QString HandleTable = QStringLiteral("handle");
const QString ChatTable = QStringLiteral("chat");
const QString MemberTable = QStringLiteral("chat_handle_join");

/// For more messages than these one pass over the table costs less than looking each one up.
constexpr int MostLookups = 1000;

class MessageParser : public RecordParser<CarvedMessage>
{
public:
    void parseColumn(CarvedMessage &message, const QString &name,
                     const ColumnValue &column) override
    {
        if (name == QLatin1String("guid")) {
            message.guid = column.text();
        } else if (name == QLatin1String("text")) {
            message.text = column.text();
        } else if (name == QLatin1String("handle_id")) {
            message.handleId = column.integer();
        } else if (name == QLatin1String("subject")) {
            message.subject = column.text();
        } else if (name == QLatin1String("service")) {
            message.service = column.text();
        } else if (name == QLatin1String("date")) {
            message.date = column.integer();
        } else if (name == QLatin1String("is_from_me")) {
            message.isFromMe = column.integer() != 0;
        } else if (name == QLatin1String("is_sent")) {
            message.isSent = column.integer() != 0;
        } else if (name == QLatin1String("cache_roomnames")) {
            message.roomName = column.text();
        }
    }
};

/// What the row itself says, the other party as a number.
QByteArray rowContent(const CarvedMessage &message)
{
    return contentOf(message.guid, message.date, message.text, message.subject, message.handleId,
                     message.service, message.roomName, message.isFromMe, message.isSent);
}

QVector<TableVersion> siblings(const QVector<TableVersion> &tables, const QString &name)
{
    QVector<TableVersion> found;
    for (const TableVersion &table : tables) {
        found.append(table.sibling(name));
    }
    return found;
}

} // namespace

void HandleParser::parseColumn(Handle &handle, const QString &columnName, const ColumnValue &column)
{
    if (columnName == QLatin1String("id")) {
        handle.id = column.name();
        handle.normalizedId = normalizedAddress(handle.id);
    } else if (columnName == QLatin1String("service")) {
        handle.service = column.name();
    } else if (columnName == QLatin1String("country")) {
        handle.country = column.name();
    }
}

void RoomParser::parseColumn(KeyedRow<QString, Room> &row, const QString &columnName,
                             const ColumnValue &column)
{
    if (columnName == QLatin1String("rowid")) {
        row.value.chat = column.integer();
    } else if (columnName == QLatin1String("chat_identifier")) {
        row.value.identifier = column.text();
    } else if (columnName == QLatin1String("room_name")) {
        row.key = column.text();
    }
}

void ChatMemberParser::parseColumn(KeyedRow<qint64, qint64> &row, const QString &columnName,
                                   const ColumnValue &column)
{
    if (columnName == QLatin1String("chat_id")) {
        row.key = column.integer();
    } else if (columnName == QLatin1String("handle_id")) {
        row.value = column.integer();
    }
}

QByteArray contentKey(const LostMessage &lost)
{
    const CarvedMessage &message = lost.message;
    const QString party =
        lost.isHandleKnown ? lost.handle.id : QChar(0x1F) + QString::number(message.handleId);
    return contentOf(message.guid, message.date, message.text, message.subject, party,
                     message.service, message.roomName, message.isFromMe, message.isSent);
}

QStringList MessageChanges::tableNames()
{
    return {MessageTable, HandleTable, ChatTable, MemberTable};
}

void MessageChanges::addLostRow(const TableVersion &table, const TableRow &row)
{
    const QString &name = table.schema().name;
    if (name == MessageTable) {
        addLost(table, row.rowid, parsed<MessageParser, CarvedMessage>(table, row));
    } else if (name == HandleTable) {
        m_handles.addFormer(table, row);
    } else if (name == ChatTable) {
        m_chats.addFormer(table, row);
    } else if (name == MemberTable) {
        m_chatMembers.addFormer(table, row);
    }
}

void MessageChanges::addChangedMessage(const TableVersion &earlier, const TableRow &earlierRow,
                                       const TableVersion &later, const TableRow &laterRow)
{
    const auto message = parsed<MessageParser, CarvedMessage>(earlier, earlierRow);
    const auto changed = parsed<MessageParser, CarvedMessage>(later, laterRow);
    if (rowContent(message) != rowContent(changed)) {
        addLost(earlier, earlierRow.rowid, message);
    }
}

void MessageChanges::addLost(const TableVersion &table, qint64 rowid, const CarvedMessage &message)
{
    if (message.text.isEmpty()) {
        return;
    }
    LostMessage lost;
    lost.rowid = rowid;
    lost.message = message;
    findHandle(table, &lost);
    m_lost.push_back(lost);
    if (!message.roomName.isEmpty()) {
        findRoom(table, message.roomName);
    }
}

LostMessage MessageChanges::messageOf(const TableVersion &table, const TableRow &row)
{
    LostMessage message;
    message.rowid = row.rowid;
    message.message = parsed<MessageParser, CarvedMessage>(table, row);
    findHandle(table, &message);
    return message;
}

void MessageChanges::findHandle(const TableVersion &messages, LostMessage *lost)
{
    lost->isHandleKnown =
        m_handles.find(messages.sibling(HandleTable), lost->message.handleId, &lost->handle);
}

void MessageChanges::findHandleElsewhere(LostMessage *lost)
{
    lost->isHandleKnown =
        lost->isHandleKnown
        || m_handles.findElsewhere(m_handleTables, lost->message.handleId, &lost->handle);
}

/// Looks the room up in the version of the messages. Its chat changes with every message that is
/// read, but neither its identifier nor its number: it is looked for until it was found.
void MessageChanges::findRoom(const TableVersion &messages, const QString &name)
{
    KnownRoom &room = m_rooms[name];
    if (!room.isKnown) {
        const QVector<Room> chats = m_chats.find(messages.sibling(ChatTable), name);
        for (const Room &chat : chats) {
            room.isKnown = true;
            room.identifier = chat.identifier;
            room.chats.append(chat.chat);
        }
    }
    findMembers(messages, &room);
}

void MessageChanges::findMembers(const TableVersion &messages, KnownRoom *room)
{
    const TableVersion members = messages.sibling(MemberTable);
    const int since = m_chatMembers.since(members);
    if (since == room->membersSince || !room->isKnown) {
        return;
    }
    room->membersSince = since;
    for (const qint64 chat : qAsConst(room->chats)) {
        const QVector<qint64> handles = m_chatMembers.find(members, chat);
        for (const qint64 rowid : handles) {
            Handle handle;
            if (m_handles.find(messages.sibling(HandleTable), rowid, &handle)) {
                addMember(handle, room);
            } else {
                room->unknownMembers.append(rowid);
            }
        }
    }
}

void MessageChanges::addMember(const Handle &handle, KnownRoom *room) const
{
    if (!room->addresses.contains(handle.normalizedId)) {
        room->addresses.insert(handle.normalizedId);
        room->members.append(handle);
    }
}

QVector<MessageGroupRecord> MessageChanges::conversations(const TableVersion &last,
                                                          const TableVersion &first)
{
    findNamesElsewhere(last, first);
    for (const LostMessage &lost : m_lost) {
        m_distinct.add(lost);
    }
    removeLive(last);
    LiveMessages live = liveMessages();
    CarvedMessages carved;
    carved.isFromVersions = true;
    const QVector<LostMessage> messages = m_distinct.records();
    for (const LostMessage &lost : messages) {
        carved.messages.push_back(lost.message);
        Handle handle = lost.handle;
        if (!lost.isHandleKnown) {
            // A number of its own, under which nobody is listed.
            handle.id = QChar(0x1F) + QString::number(lost.message.handleId);
        }
        const bool hasParty = lost.isHandleKnown || lost.message.handleId != 0;
        carved.messages.back().handleId =
            hasParty ? numberOf(handle, lost.isHandleKnown ? &live : nullptr) : 0;
    }
    return assembleMessages(live, carved);
}

void MessageChanges::findNamesElsewhere(const TableVersion &last, const TableVersion &first)
{
    const QVector<TableVersion> versions = {last, first};
    m_handleTables = siblings(versions, HandleTable);
    for (LostMessage &lost : m_lost) {
        findHandleElsewhere(&lost);
    }
    for (auto room = m_rooms.begin(); room != m_rooms.end(); ++room) {
        completeRoom(versions, room.key(), &*room);
    }
}

void MessageChanges::completeRoom(const QVector<TableVersion> &messages, const QString &name,
                                  KnownRoom *room)
{
    if (!room->isKnown) {
        const QVector<Room> chats = m_chats.findElsewhere(siblings(messages, ChatTable), name);
        for (const Room &chat : chats) {
            room->isKnown = true;
            room->identifier = chat.identifier;
            room->chats.append(chat.chat);
        }
    }
    if (room->members.isEmpty() && room->unknownMembers.isEmpty()) {
        for (const qint64 chat : qAsConst(room->chats)) {
            room->unknownMembers +=
                m_chatMembers.findElsewhere(siblings(messages, MemberTable), chat);
        }
    }
    for (const qint64 rowid : qAsConst(room->unknownMembers)) {
        Handle handle;
        if (m_handles.findElsewhere(m_handleTables, rowid, &handle)) {
            addMember(handle, room);
        }
    }
}

/// Takes out what the last version holds, whatever the identifiers of its rows are.
void MessageChanges::removeLive(const TableVersion &last)
{
    if (last.exists() && !m_distinct.isEmpty() && !removeByIdentifier(last)) {
        removeByContent(last);
    }
}

/// Returns true when every message was found under its identifier, at least as another version of
/// it: there is none of its guid elsewhere then.
bool MessageChanges::removeByIdentifier(const TableVersion &last)
{
    const QVector<LostMessage> messages = m_distinct.records();
    if (messages.size() > MostLookups) {
        return false;
    }
    for (const LostMessage &lost : messages) {
        TableRow row;
        if (!last.findRow(lost.rowid, &row)) {
            return false;
        }
        LostMessage live = messageOf(last, row);
        findHandleElsewhere(&live);
        if (live.message.guid != lost.message.guid || lost.message.guid.isEmpty()) {
            return false;
        }
        m_distinct.remove(live);
    }
    return true;
}

void MessageChanges::removeByContent(const TableVersion &last)
{
    QSet<QString> guids;
    for (const LostMessage &lost : m_lost) {
        guids.insert(lost.message.guid);
    }
    const int guid = last.schema().columnIndex(QLatin1String("guid"));
    last.forEachRow([&](const TableRow &row) {
        // Most rows are of no concern, and are told by their guid.
        if (guid < 0 || guids.contains(decodeColumn(row, last, guid).text())) {
            LostMessage live = messageOf(last, row);
            findHandleElsewhere(&live);
            m_distinct.remove(live);
        }
        return !m_distinct.isEmpty();
    });
}

/// The rooms as the assembler looks them up.
LiveMessages MessageChanges::liveMessages()
{
    LiveMessages live;
    qint64 chat = 0;
    for (auto room = m_rooms.cbegin(); room != m_rooms.cend(); ++room) {
        if (room->isKnown) {
            live.chats.insert(++chat, {room->identifier, room.key()});
            for (const Handle &member : room->members) {
                live.chatHandles[chat].append(numberOf(member, &live));
            }
        }
    }
    return live;
}

/// Returns the number of the handle's content: a handle may have been another one in another
/// version. Lists it under that number, where `live` is given.
qint64 MessageChanges::numberOf(const Handle &handle, LiveMessages *live)
{
    const QByteArray content = contentOf(handle.id, handle.service, handle.country);
    auto number = m_numbers.constFind(content);
    if (number == m_numbers.cend()) {
        number = m_numbers.insert(content, m_numbers.size() + 1);
    }
    if (live) {
        live->handles.insert(*number, handle);
    }
    return *number;
}
