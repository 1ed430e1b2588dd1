#include "samples/messagestore.h"

#include "samples/messagetext.h"
#include "samples/sampledatabase.h"

#include <QStringList>

namespace {

const QString account = QStringLiteral("p:+15551234567");
const QString accountGuid = QStringLiteral("7A1E5C0B-3A61-4C0E-9B57-2D7F0C6E1A55");
constexpr int flagsReceived = 2;
constexpr int flagsSent = 3;
constexpr int madridFlagsReceived = 36869;
constexpr int madridFlagsSent = 12289;
constexpr int errorNotSent = 22;
constexpr int styleRoom = 43;
constexpr int styleAlone = 45;

QVariant textOrNull(const QString &text)
{
    return text.isEmpty() ? QVariant() : QVariant(text);
}

QString senderId(const MessageGenerator &parties, const SampleMessage &message)
{
    return message.sender < 0 ? QString() : parties.handles.at(message.sender).id;
}

const SampleConversation &conversationOf(const MessageGenerator &parties,
                                         const SampleMessage &message)
{
    return parties.conversations.at(message.conversation);
}

/// A list of addresses as devices keep it beside a message to several.
QByteArray recipientList(const MessageGenerator &parties, const SampleConversation &conversation)
{
    QByteArray list = "<plist version=\"1.0\"><array>";
    for (const int member : conversation.members) {
        list += "<string>" + parties.handles.at(member).id.toUtf8() + "</string>";
    }
    return list + "</array></plist>";
}

QString chatIdentifier(const MessageGenerator &parties, const SampleConversation &conversation)
{
    return conversation.room.isEmpty() ? parties.handles.at(conversation.members.first()).id
                                       : conversation.room;
}

QString chatGuid(const MessageGenerator &parties, const SampleConversation &conversation)
{
    return conversation.service + QLatin1String(conversation.room.isEmpty() ? ";-;" : ";+;")
           + chatIdentifier(parties, conversation);
}

int style(const SampleConversation &conversation)
{
    return conversation.room.isEmpty() ? styleAlone : styleRoom;
}

} // namespace

bool MessageStore::createTables()
{
    return m_db->exec(messageTables(m_layout));
}

bool MessageStore::insertParties(MessageGenerator *parties)
{
    bool ok = true;
    if (!hasGroups(m_layout)) {
        for (SampleHandle &handle : parties->handles) {
            ok = ok
                 && insertRow("handle", {{"id", handle.id},
                                         {"country", handle.country},
                                         {"service", handle.service},
                                         {"uncanonicalized_id", QVariant()}});
            handle.rowid = m_db->lastRowid();
        }
    }
    for (SampleConversation &conversation : parties->conversations) {
        const bool isTextGroup =
            hasGroups(m_layout) && conversation.service == QLatin1String("SMS");
        ok = ok
             && (isTextGroup           ? insertGroup(*parties, &conversation)
                 : hasGroups(m_layout) ? insertMadridChat(*parties, &conversation)
                                       : insertChat(*parties, &conversation));
    }
    return ok;
}

bool MessageStore::insertMessage(const MessageGenerator &parties, SampleMessage *message)
{
    const SampleConversation &conversation = conversationOf(parties, *message);
    if (hasGroups(m_layout)) {
        const bool isText = conversation.service == QLatin1String("SMS");
        const bool ok = insertRow("message", isText ? textMessageRow(parties, *message)
                                                    : madridRow(parties, *message));
        message->rowid = m_db->lastRowid();
        return ok
               && (!isText
                   || m_db->run(
                       QStringLiteral("UPDATE msg_group SET newest_message=? WHERE ROWID=?"),
                       {message->rowid, conversation.rowid}));
    }
    if (!m_db->exec(QStringLiteral("BEGIN"))
        || !insertRow("message", messageRow(parties, *message))) {
        return false;
    }
    message->rowid = m_db->lastRowid();
    QVector<Value> join = {{"chat_id", conversation.rowid}, {"message_id", message->rowid}};
    if (m_layout >= MessageLayout::Ios12) {
        join << Value{"message_date", storedDate(m_layout, true, message->seconds)};
    }
    return insertRow("chat_message_join", join) && m_db->exec(QStringLiteral("COMMIT"));
}

bool MessageStore::markRead(const SampleMessage &message, qint64 seconds, bool isTextMessage)
{
    if (hasGroups(m_layout) && isTextMessage) {
        return m_db->run(QStringLiteral("UPDATE message SET read=1 WHERE ROWID=?"),
                         {message.rowid});
    }
    const QString update =
        QStringLiteral("UPDATE message SET %1 WHERE ROWID=?")
            .arg(hasGroups(m_layout) ? QStringLiteral("madrid_date_read=?, read=1")
                                     : QStringLiteral("date_read=?, is_read=1"));
    return m_db->run(update, {storedDate(m_layout, false, seconds), message.rowid});
}

bool MessageStore::rewrite(const SampleMessage &message, qint64 seconds)
{
    return m_db->run(QStringLiteral("UPDATE message SET text=?, attributedBody=?, date_edited=?, "
                                    "message_summary_info=? WHERE ROWID=?"),
                     {message.text, attributedBody(message.text),
                      storedDate(m_layout, false, seconds), QByteArray(40, 'b'), message.rowid});
}

bool MessageStore::deleteMessage(const SampleMessage &message)
{
    bool ok = m_db->exec(QStringLiteral("BEGIN"))
              && m_db->run(QStringLiteral("DELETE FROM message WHERE ROWID=?"), {message.rowid});
    if (!hasGroups(m_layout)) {
        ok = ok
             && m_db->run(QStringLiteral("DELETE FROM chat_message_join WHERE message_id=?"),
                          {message.rowid});
    }
    if (m_layout == MessageLayout::Ios12) {
        ok = ok && insertRow("deleted_messages", {{"guid", message.guid}})
             && insertRow("sync_deleted_messages", {{"guid", message.guid}});
    }
    return ok && m_db->exec(QStringLiteral("COMMIT"));
}

bool MessageStore::deleteAllMessages()
{
    return m_db->exec(QStringLiteral("DELETE FROM message"))
           && (hasGroups(m_layout) || m_db->exec(QStringLiteral("DELETE FROM chat_message_join")));
}

bool MessageStore::deleteConversation(const SampleConversation &conversation)
{
    static const char *const groupDeletes[] = {"DELETE FROM group_member WHERE group_id=?",
                                               "DELETE FROM msg_group WHERE ROWID=?"};
    static const char *const chatDeletes[] = {"DELETE FROM chat_handle_join WHERE chat_id=?",
                                              "DELETE FROM chat WHERE ROWID=?"};
    if (hasGroups(m_layout) && conversation.service != QLatin1String("SMS")) {
        return m_db->run(QStringLiteral("DELETE FROM madrid_chat WHERE ROWID=?"),
                         {conversation.rowid});
    }
    bool ok = true;
    for (const char *sql : hasGroups(m_layout) ? groupDeletes : chatDeletes) {
        ok = ok && m_db->run(QString::fromLatin1(sql), {conversation.rowid});
    }
    return ok;
}

bool MessageStore::deleteHandle(const SampleHandle &handle)
{
    return hasGroups(m_layout)
           || m_db->run(QStringLiteral("DELETE FROM handle WHERE ROWID=?"), {handle.rowid});
}

bool MessageStore::insertRow(const char *table, const QVector<Value> &values)
{
    QStringList columns;
    QStringList places;
    QVariantList bound;
    for (const Value &value : values) {
        columns << QLatin1String(value.column);
        places << QStringLiteral("?");
        bound << value.value;
    }
    return m_db->run(QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                         .arg(QLatin1String(table), columns.join(QLatin1Char(',')),
                              places.join(QLatin1Char(','))),
                     bound);
}

QVector<MessageStore::Value> MessageStore::messageRow(const MessageGenerator &parties,
                                                      const SampleMessage &message) const
{
    const SampleConversation &conversation = conversationOf(parties, message);
    const bool failed = message.own && !message.sent;
    QVector<Value> row = {
        {"guid", message.guid},
        {"text", message.text},
        {"handle_id", message.sender < 0 ? 0 : parties.handles.at(message.sender).rowid},
        {"subject", message.subject},
        {"attributedBody", message.itemType ? QVariant() : attributedBody(message.body)},
        {"version", 10},
        {"service", conversation.service},
        {"account", account},
        {"account_guid", accountGuid},
        {"error", failed ? errorNotSent : 0},
        {"date", storedDate(m_layout, true, message.seconds)},
        {"date_read", 0},
        {"date_delivered", message.sent ? storedDate(m_layout, true, message.seconds + 2) : 0},
        {"is_delivered", !message.own || message.sent},
        {"is_finished", 1},
        {"is_from_me", message.own},
        {"is_read", message.read},
        {"is_sent", message.sent},
        {"cache_roomnames", textOrNull(conversation.room)},
        {"was_data_detected", 1}};
    if (m_layout >= MessageLayout::Ios12) {
        row << Value{"item_type", message.itemType}
            << Value{"group_title", message.itemType ? QVariant(message.body.left(30)) : QVariant()}
            << Value{"ck_sync_state", 1}
            << Value{"destination_caller_id", QStringLiteral("+15551234567")};
    }
    if (m_layout == MessageLayout::Ios17) {
        row << Value{"part_count", 1};
    }
    return row;
}

QVector<MessageStore::Value> MessageStore::textMessageRow(const MessageGenerator &parties,
                                                          const SampleMessage &message) const
{
    const SampleConversation &conversation = conversationOf(parties, message);
    const bool toGroup = message.own && conversation.isGroup();
    return {{"address", textOrNull(senderId(parties, message))},
            {"date", storedDate(m_layout, true, message.seconds)},
            {"text", message.text},
            {"flags", message.own ? flagsSent : flagsReceived},
            {"replace", 0},
            {"group_id", conversation.rowid},
            {"association_id", 0},
            {"height", 0},
            {"UIFlags", 4},
            {"version", 0},
            {"subject", message.subject},
            {"country", QStringLiteral("us")},
            {"recipients", toGroup ? recipientList(parties, conversation) : QVariant()},
            {"read", message.read},
            {"madrid_error", 0},
            {"is_madrid", 0}};
}

QVector<MessageStore::Value> MessageStore::madridRow(const MessageGenerator &parties,
                                                     const SampleMessage &message) const
{
    const SampleConversation &conversation = conversationOf(parties, message);
    return {{"date", storedDate(m_layout, false, message.seconds)},
            {"text", message.text},
            {"flags", 0},
            {"replace", 0},
            {"group_id", 0},
            {"association_id", 0},
            {"height", 0},
            {"UIFlags", 0},
            {"version", 0},
            {"subject", message.subject},
            {"read", message.read},
            {"madrid_attributedBody", attributedBody(message.body)},
            {"madrid_handle", textOrNull(senderId(parties, message))},
            {"madrid_version", 10},
            {"madrid_guid", message.guid},
            {"madrid_type", 0},
            {"madrid_roomname", textOrNull(conversation.room)},
            {"madrid_service", QStringLiteral("Madrid")},
            {"madrid_account", account},
            {"madrid_account_guid", accountGuid},
            {"madrid_flags", message.own ? madridFlagsSent : madridFlagsReceived},
            {"madrid_error", 0},
            {"is_madrid", 1},
            {"madrid_date_read", 0},
            {"madrid_date_delivered", 0}};
}

bool MessageStore::insertChat(const MessageGenerator &parties, SampleConversation *conversation)
{
    bool ok = insertRow("chat", {{"guid", chatGuid(parties, *conversation)},
                                 {"style", style(*conversation)},
                                 {"state", 3},
                                 {"account_id", accountGuid},
                                 {"properties", QByteArray(60, 'p')},
                                 {"chat_identifier", chatIdentifier(parties, *conversation)},
                                 {"service_name", conversation->service},
                                 {"room_name", textOrNull(conversation->room)},
                                 {"account_login", account}});
    conversation->rowid = m_db->lastRowid();
    for (const int member : conversation->members) {
        ok = ok
             && insertRow("chat_handle_join", {{"chat_id", conversation->rowid},
                                               {"handle_id", parties.handles.at(member).rowid}});
    }
    return ok;
}

bool MessageStore::insertGroup(const MessageGenerator &parties, SampleConversation *conversation)
{
    bool ok = insertRow(
        "msg_group", {{"type", 0}, {"newest_message", 0}, {"unread_count", 0}, {"hash", 1234567}});
    conversation->rowid = m_db->lastRowid();
    for (const int member : conversation->members) {
        ok = ok
             && insertRow("group_member", {{"group_id", conversation->rowid},
                                           {"address", parties.handles.at(member).id},
                                           {"country", QStringLiteral("us")}});
    }
    return ok;
}

bool MessageStore::insertMadridChat(const MessageGenerator &parties,
                                    SampleConversation *conversation)
{
    const bool ok =
        insertRow("madrid_chat", {{"style", style(*conversation)},
                                  {"state", 3},
                                  {"account_id", accountGuid},
                                  {"properties", QByteArray(60, 'p')},
                                  {"chat_identifier", chatIdentifier(parties, *conversation)},
                                  {"service_name", QStringLiteral("Madrid")},
                                  {"guid", chatGuid(parties, *conversation)},
                                  {"room_name", textOrNull(conversation->room)},
                                  {"account_login", account},
                                  {"participants", recipientList(parties, *conversation)}});
    conversation->rowid = m_db->lastRowid();
    return ok;
}
