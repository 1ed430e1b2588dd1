#include "recoverers/communication/messagerows.h"

#include "engine/address.h"
#include "engine/fieldreader.h"
#include "recoverers/livequery.h"

#include <QRegularExpression>
#include <QSet>

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
                                              {row.name(1), row.name(2), row.name(3),
                                               normalizedAddress(row.name(1))});
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

QString keyOf(const QString &first, const QString &second)
{
    return first + QChar(0x1F) + second; // a separator that nobody writes
}

/// Carved messages by what makes a live one the same. Each is found once, so that the number of
/// rows which are alike costs nothing.
template<typename Message> class CopyFinder
{
public:
    /// `whole` is compared as it is; of a message that is incomplete only `part`, and then the text
    /// must begin like that of the live one.
    void add(Message *message, const QString &whole, const QString &part)
    {
        if (!message->isIncomplete) {
            m_whole[whole].append(message);
        } else if (m_parts[part].size() < MostAlike) {
            m_parts[part].append(message);
        }
    }

    template<typename IsBeginning>
    void mark(const QString &whole, const QString &part, IsBeginning isBeginning)
    {
        const QVector<Message *> copies = m_whole.take(whole);
        for (Message *message : copies) {
            message->isLiveCopy = true;
        }
        const QVector<Message *> candidates = m_parts.value(part);
        for (Message *message : candidates) {
            message->isLiveCopy = message->isLiveCopy || isBeginning(*message);
        }
    }

    bool knows(const QString &part) const { return m_known.contains(part); }
    void remember(const QString &part) { m_known.insert(part); }

private:
    static constexpr int MostAlike = 20; // a hostile file may hold any number

    QHash<QString, QVector<Message *>> m_whole;
    QHash<QString, QVector<Message *>> m_parts;
    QSet<QString> m_known;
};

void markByGuid(LiveQuery &query, CarvedMessages *carved)
{
    CopyFinder<CarvedMessage> byGuid;
    for (CarvedMessage &message : carved->messages) {
        byGuid.add(&message, keyOf(message.guid, message.text), message.guid);
        byGuid.remember(message.guid);
    }
    query.forEachRow(QStringLiteral("select guid, text from message"), [&](const LiveRow &row) {
        const QString guid = row.text(0);
        if (byGuid.knows(guid)) {
            const QString text = row.text(1);
            byGuid.mark(keyOf(guid, text), guid, [&text](const CarvedMessage &message) {
                return message.isTextCut ? text.startsWith(message.text) : text == message.text;
            });
        }
    });
}

/// Without a guid the same words in the same second are the same message; without words the party
/// counts.
void markByDate(LiveQuery &query, CarvedMessages *carved)
{
    CopyFinder<CarvedOldMessage> byDate;
    const auto contentOf = [](const QString &text, const QString &address) {
        return text.isEmpty() ? QChar(0x1F) + address : text;
    };
    for (CarvedOldMessage &message : carved->oldMessages) {
        const QString date = QString::number(message.date);
        byDate.add(&message, keyOf(date, contentOf(message.text, message.address)), date);
    }
    query.forEachRow(
        QStringLiteral("select date, text, address from message"), [&](const LiveRow &row) {
            const QString date = QString::number(row.integer(0));
            const QString text = row.text(1);
            const QString address = row.text(2);
            byDate.mark(keyOf(date, contentOf(text, address)), date,
                        [&](const CarvedOldMessage &message) {
                            return message.text.isEmpty() ? message.address == address
                                                          : text.startsWith(message.text);
                        });
        });
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
