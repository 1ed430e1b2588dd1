#pragma once

#include "samples/messagegenerator.h"

#include <QVariant>

class SampleDatabase;

/// Writes people, conversations and messages into a database as a device of the layout does.
/// Operations return false when SQLite refuses a step.
class MessageStore
{
public:
    MessageStore(SampleDatabase *db, MessageLayout layout)
        : m_db(db)
        , m_layout(layout)
    {
    }

    bool createTables();
    /// Inserts the handles and conversations, and gives them their row identifiers.
    bool insertParties(MessageGenerator *parties);
    /// Inserts the message and gives it its row identifier.
    bool insertMessage(const MessageGenerator &parties, SampleMessage *message);
    bool markRead(const SampleMessage &message, qint64 seconds, bool isTextMessage);
    /// Writes another text into the row.
    bool rewrite(const SampleMessage &message, qint64 seconds);
    bool deleteMessage(const SampleMessage &message);
    bool deleteAllMessages();
    /// Deletes the conversation itself, without its messages.
    bool deleteConversation(const SampleConversation &conversation);
    bool deleteHandle(const SampleHandle &handle);

private:
    struct Value
    {
        const char *column;
        QVariant value;
    };
    bool insertRow(const char *table, const QVector<Value> &values);
    QVector<Value> messageRow(const MessageGenerator &parties, const SampleMessage &message) const;
    QVector<Value> textMessageRow(const MessageGenerator &parties,
                                  const SampleMessage &message) const;
    QVector<Value> madridRow(const MessageGenerator &parties, const SampleMessage &message) const;
    bool insertChat(const MessageGenerator &parties, SampleConversation *conversation);
    bool insertGroup(const MessageGenerator &parties, SampleConversation *conversation);
    bool insertMadridChat(const MessageGenerator &parties, SampleConversation *conversation);

    SampleDatabase *m_db;
    MessageLayout m_layout;
};
