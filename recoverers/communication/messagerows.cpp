#include "recoverers/communication/messagerows.h"

#include "engine/address.h"
#include "engine/fieldreader.h"
#include "recoverers/livequery.h"

#include <QRegularExpression>

namespace {

void readChats(LiveQuery &query, LiveMessages *live)
{
    query.forEachRow(QStringLiteral("select rowid, chat_identifier, room_name from chat"),
                     [live](const LiveRow &row) {
                         live->chats.insert(row.integer(0), {row.text(1), row.text(2)});
                     });
    query.forEachRow(QStringLiteral("select rowid, id, service, country from handle"),
                     [live](const LiveRow &row) {
                         live->handles.insert(row.integer(0),
                                              {row.text(1), row.text(2), row.text(3),
                                               normalizedAddress(row.text(1))});
                     });
    query.forEachRow(
        QStringLiteral("select chat_id, handle_id from chat_handle_join"),
        [live](const LiveRow &row) { live->chatHandles[row.integer(0)].append(row.integer(1)); });
}

void readOldChats(LiveQuery &query, LiveMessages *live)
{
    query.forEachRow(
        QStringLiteral("select madrid_handle, madrid_roomname from message where "
                       "is_madrid = 1 and madrid_roomname != ''"),
        [live](const LiveRow &row) { live->roomHandles[row.text(1)].append(row.text(0)); });
    query.forEachRow(
        QStringLiteral("select group_id, address from group_member"),
        [live](const LiveRow &row) { live->groupMembers[row.integer(0)].append(row.text(1)); });
    query.forEachRow(QStringLiteral("select chat_identifier, room_name from madrid_chat"),
                     [live](const LiveRow &row) {
                         live->oldChats.append({row.text(0), row.text(1)});
                     });
}

qint64 readSequence(LiveQuery &query, const QString &statement)
{
    qint64 highest = 0;
    query.forEachRow(statement, [&highest](const LiveRow &row) { highest = row.integer(0); });
    return highest;
}

bool isTextOf(const CarvedMessage &message, const QString &liveText)
{
    return message.isTextCut ? liveText.startsWith(message.text) : liveText == message.text;
}

void markByGuid(LiveQuery &query, CarvedMessages *carved)
{
    QMultiHash<QString, CarvedMessage *> byGuid;
    QMultiHash<qint64, CarvedMessage *> byDate; // of those without a guid
    for (CarvedMessage &message : carved->messages) {
        if (isReadableGuid(message.guid)) {
            byGuid.insert(message.guid, &message);
        } else {
            byDate.insert(message.date, &message);
        }
    }
    query.forEachRow(
        QStringLiteral("select guid, text, date, handle_id from message"), [&](const LiveRow &row) {
            const auto sameGuid = byGuid.equal_range(row.text(0));
            for (auto it = sameGuid.first; it != sameGuid.second; ++it) {
                (*it)->isLiveCopy = (*it)->isLiveCopy || isTextOf(**it, row.text(1));
            }
            const auto sameDate = byDate.equal_range(byDate.isEmpty() ? 0 : row.integer(2));
            for (auto it = sameDate.first; it != sameDate.second; ++it) {
                (*it)->isLiveCopy =
                    (*it)->isLiveCopy
                    || ((*it)->handleId == row.integer(3) && isTextOf(**it, row.text(1)));
            }
        });
}

void markByDate(LiveQuery &query, CarvedMessages *carved)
{
    QMultiHash<qint64, CarvedOldMessage *> byDate;
    for (CarvedOldMessage &message : carved->oldMessages) {
        byDate.insert(message.date, &message);
    }
    const auto mark = [&byDate](const LiveRow &row) {
        const auto sameDate = byDate.equal_range(row.integer(0));
        for (auto it = sameDate.first; it != sameDate.second; ++it) {
            CarvedOldMessage &message = **it;
            // The same words in the same second are the same message; without words the party
            // counts.
            const bool isSame = !message.text.isEmpty() || message.address == row.text(2);
            const bool isCopy = message.isIncomplete ? row.text(1).startsWith(message.text)
                                                     : isSame && message.text == row.text(1);
            message.isLiveCopy = message.isLiveCopy || isCopy;
        }
    };
    query.forEachRow(QStringLiteral("select date, text, address from message"), mark);
}

} // namespace

LiveMessages readMessages(LiveQuery &query)
{
    LiveMessages live;
    readChats(query, &live);
    readOldChats(query, &live);
    live.highestGroupId = readSequence(
        query, QStringLiteral("select seq from sqlite_sequence where name = 'msg_group'"));
    live.highestHandleId = readSequence(
        query, QStringLiteral("select seq from sqlite_sequence where name = 'handle'"));
    return live;
}

void markLiveCopies(LiveQuery &query, CarvedMessages *carved)
{
    if (!carved->messages.empty()) {
        markByGuid(query, carved);
    }
    if (!carved->oldMessages.empty()) {
        markByDate(query, carved);
    }
}

bool isStandardGuid(const QString &guid)
{
    static const QRegularExpression pattern(
        QStringLiteral("\\A[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}\\z"));
    return pattern.match(guid).hasMatch();
}

bool isReadableGuid(const QString &guid)
{
    constexpr int guidLength = 36;
    return guid.size() == guidLength && !hasUnwritableCharacters(guid);
}
