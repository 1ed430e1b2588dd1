#pragma once

#include "api/messagegrouprecord.h"

#include <QHash>
#include <QSet>
#include <QVector>

/// Conversations under construction.
class Conversations
{
public:
    /// Returns the place of the conversation `key`, -1 when there is none yet.
    int find(const QString &key) const { return m_places.value(key, -1); }

    /// Adds a conversation and returns its place. Of participants that are spellings of one address
    /// only the first is kept.
    int add(const QString &key, const MessageGroupRecord &record);

    /// Adds the participant unless it is among them in some spelling, or has no address.
    void addParticipant(int place, const MessageParticipant &participant);

    /// Where a message stands among the others.
    struct Order
    {
        qint64 date; ///< in a unit that all messages share
        int found;   ///< the how manieth it was in the file
        bool operator<(const Order &other) const
        {
            return date != other.date ? date < other.date : found < other.found;
        }
    };

    void addMessage(int place, const MessageItem &message, const Order &order);

    /// The conversations by the date of their first message, the messages of each by date; where
    /// dates are equal, in the order found. Each conversation has the service of
    /// its first message.
    QVector<MessageGroupRecord> sorted();

private:
    struct Item
    {
        MessageItem message;
        Order order;
    };
    struct Conversation
    {
        MessageGroupRecord record;
        QSet<QString> addresses; ///< of the participants, normalised
        QVector<Item> items;
    };

    QHash<QString, int> m_places;
    QVector<Conversation> m_conversations;
};
