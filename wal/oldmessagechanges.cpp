#include "wal/oldmessagechanges.h"

#include "engine/address.h"
#include "recoverers/communication/messageassembler.h"

#include <QCryptographicHash>
#include <QSet>

namespace {

const QString MessageTable = QStringLiteral("message");
const QString MemberTable = QStringLiteral("group_member");
const QString ChatTable = QStringLiteral("madrid_chat");

class OldMessageParser : public RecordParser<CarvedOldMessage>
{
public:
    void parseColumn(CarvedOldMessage &message, const QString &name,
                     const ColumnValue &column) override
    {
        if (name == QLatin1String("address")) {
            message.address = column.text();
        } else if (name == QLatin1String("date")) {
            message.date = column.integer();
        } else if (name == QLatin1String("text")) {
            message.text = column.text();
        } else if (name == QLatin1String("flags")) {
            message.flags = column.integer();
        } else if (name == QLatin1String("group_id")) {
            message.groupId = column.integer();
        } else if (name == QLatin1String("subject")) {
            message.subject = column.text();
        } else if (name == QLatin1String("country")) {
            message.country = column.text();
        } else if (name == QLatin1String("is_madrid")) {
            message.isMadrid = column.integer() != 0;
        } else if (name == QLatin1String("madrid_handle")) {
            message.madridHandle = column.text();
        } else if (name == QLatin1String("madrid_roomname")) {
            message.madridRoomName = column.text();
        } else if (name == QLatin1String("madrid_flags")) {
            message.madridFlags = column.integer();
        }
    }
};

CarvedOldMessage messageOf(const TableVersion &table, const TableRow &row)
{
    return parsed<OldMessageParser, CarvedOldMessage>(table, row);
}

QByteArray itemContent(const CarvedOldMessage &message)
{
    const MessageItem item = messageItemOf(message);
    return contentOf(item.date, item.text, item.subject, item.address, item.service, item.isFromMe,
                     item.isSent, message.madridRoomName);
}

bool hasGroup(const CarvedOldMessage &message)
{
    return !message.isMadrid && message.groupId > 0;
}

bool hasRoom(const CarvedOldMessage &message)
{
    return message.isMadrid && !message.madridRoomName.isEmpty();
}

/// Bytes that are equal for equal groups, whatever their number. Each message of a group has them:
/// they must not grow with it.
QByteArray comparable(const QStringList &members)
{
    if (members.isEmpty()) {
        return QByteArray();
    }
    QStringList addresses;
    for (const QString &member : members) {
        addresses.append(normalizedAddress(member));
    }
    addresses.sort();
    addresses.removeDuplicates();
    return QCryptographicHash::hash(contentOf(addresses), QCryptographicHash::Sha1);
}

} // namespace

void GroupMemberParser::parseColumn(KeyedRow<qint64, QString> &row, const QString &columnName,
                                    const ColumnValue &column)
{
    if (columnName == QLatin1String("group_id")) {
        row.key = column.integer();
    } else if (columnName == QLatin1String("address")) {
        row.value = column.text();
    }
}

void OldRoomParser::parseColumn(KeyedRow<QString, QString> &row, const QString &columnName,
                                const ColumnValue &column)
{
    if (columnName == QLatin1String("room_name")) {
        row.key = column.text();
    } else if (columnName == QLatin1String("chat_identifier")) {
        row.value = column.text();
    }
}

QByteArray contentKey(const LostOldMessage &lost)
{
    return itemContent(lost.message) + lost.group;
}

QStringList OldMessageChanges::tableNames()
{
    return {MessageTable, MemberTable, ChatTable};
}

void OldMessageChanges::addLostRow(const TableVersion &table, const TableRow &row)
{
    const QString &name = table.schema().name;
    if (name == MessageTable) {
        addLost(table, messageOf(table, row));
    } else if (name == MemberTable) {
        m_groupMembers.addFormer(table, row);
    } else if (name == ChatTable) {
        m_chats.addFormer(table, row);
    }
}

void OldMessageChanges::addChangedMessage(const TableVersion &earlier, const TableRow &earlierRow,
                                          const TableVersion &later, const TableRow &laterRow)
{
    const CarvedOldMessage message = messageOf(earlier, earlierRow);
    const CarvedOldMessage changed = messageOf(later, laterRow);
    if (itemContent(message) != itemContent(changed) || message.groupId != changed.groupId) {
        addLost(earlier, message);
    }
}

void OldMessageChanges::addLost(const TableVersion &table, const CarvedOldMessage &message)
{
    m_lost.push_back(message);
    if (hasGroup(message)) {
        findGroup(table, message.groupId);
    } else if (hasRoom(message)) {
        findRoom(table, message.madridRoomName);
    }
}

void OldMessageChanges::findGroup(const TableVersion &messages, qint64 groupId)
{
    const TableVersion table = messages.sibling(MemberTable);
    const int since = m_groupMembers.since(table);
    KnownGroup &group = m_groups[groupId];
    if (since != group.since) {
        group.since = since;
        group.members += m_groupMembers.find(table, groupId).toList();
        group.members.removeDuplicates();
    }
}

void OldMessageChanges::findRoom(const TableVersion &messages, const QString &name)
{
    QString &identifier = m_rooms[name];
    if (identifier.isNull()) {
        identifier = m_chats.find(messages.sibling(ChatTable), name).value(0);
    }
}

QVector<MessageGroupRecord> OldMessageChanges::conversations(const TableVersion &last,
                                                             const TableVersion &first)
{
    findNamesElsewhere(last, first);
    for (auto group = m_groups.cbegin(); group != m_groups.cend(); ++group) {
        m_groupContents.insert(group.key(), comparable(group->members));
    }
    for (const CarvedOldMessage &message : m_lost) {
        const bool isOfGroup = hasGroup(message);
        m_distinct.add(
            {message, isOfGroup ? m_groupContents.value(message.groupId) : QByteArray()});
    }
    readLast(last);
    LiveMessages live;
    for (auto group = m_groups.cbegin(); group != m_groups.cend(); ++group) {
        live.groupMembers.insert(group.key(), group->members.toVector());
    }
    for (auto room = m_rooms.cbegin(); room != m_rooms.cend(); ++room) {
        if (!room->isNull()) {
            live.oldChats.append({*room, room.key()});
        }
    }
    live.roomHandles = m_roomHandles;
    CarvedMessages carved;
    carved.isFromVersions = true;
    const QVector<LostOldMessage> messages = m_distinct.records();
    for (const LostOldMessage &lost : messages) {
        carved.oldMessages.push_back(lost.message);
    }
    return assembleOldMessages(live, carved);
}

void OldMessageChanges::findNamesElsewhere(const TableVersion &last, const TableVersion &first)
{
    for (auto group = m_groups.begin(); group != m_groups.end(); ++group) {
        if (group->members.isEmpty()) {
            group->members =
                m_groupMembers
                    .findElsewhere({last.sibling(MemberTable), first.sibling(MemberTable)},
                                   group.key())
                    .toList();
        }
    }
    for (auto room = m_rooms.begin(); room != m_rooms.end(); ++room) {
        if (room->isNull()) {
            *room =
                m_chats
                    .findElsewhere({last.sibling(ChatTable), first.sibling(ChatTable)}, room.key())
                    .value(0);
        }
    }
}

/// Takes out what the last version holds, and gathers who wrote in the rooms: those whose messages
/// all went away are among the lost ones. These messages have no identifier that would tell two of
/// them apart, so that all rows have to be compared.
void OldMessageChanges::readLast(const TableVersion &last)
{
    if (!last.exists() || m_distinct.isEmpty()) {
        return;
    }
    QSet<qint64> dates;
    for (const CarvedOldMessage &message : m_lost) {
        dates.insert(message.date);
    }
    QSet<QByteArray> seen;
    const int date = last.schema().columnIndex(QLatin1String("date"));
    const int room = last.schema().columnIndex(QLatin1String("madrid_roomname"));
    last.forEachRow([&](const TableRow &row) {
        const bool isInRoom = room >= 0 && !m_rooms.isEmpty()
                              && m_rooms.contains(decodeColumn(row, last, room).text());
        if (date < 0 || isInRoom || dates.contains(decodeColumn(row, last, date).integer())) {
            const CarvedOldMessage message = messageOf(last, row);
            removeLive(last, message);
            const QByteArray writer = contentOf(message.madridRoomName, message.madridHandle);
            if (hasRoom(message) && m_rooms.contains(message.madridRoomName)
                && !seen.contains(writer)) {
                seen.insert(writer);
                m_roomHandles[message.madridRoomName].append(message.madridHandle);
            }
        }
        return !m_distinct.isEmpty();
    });
}

void OldMessageChanges::removeLive(const TableVersion &last, const CarvedOldMessage &message)
{
    QByteArray group;
    if (hasGroup(message)) {
        auto known = m_groupContents.constFind(message.groupId);
        if (known == m_groupContents.cend()) {
            const QVector<QString> members =
                m_groupMembers.find(last.sibling(MemberTable), message.groupId);
            known = m_groupContents.insert(message.groupId, comparable(members.toList()));
        }
        group = *known;
    }
    m_distinct.remove({message, group});
}
