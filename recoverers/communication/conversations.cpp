#include "recoverers/communication/conversations.h"

#include "engine/address.h"

#include <algorithm>

int Conversations::add(const QString &key, const MessageGroupRecord &record)
{
    const int place = m_conversations.size();
    m_places.insert(key, place);
    Conversation conversation;
    conversation.record = record;
    conversation.record.participants.clear();
    m_conversations.append(conversation);
    for (const MessageParticipant &participant : record.participants) {
        addParticipant(place, participant);
    }
    return place;
}

void Conversations::addParticipant(int place, const MessageParticipant &participant)
{
    Conversation &conversation = m_conversations[place];
    const QString address = normalizedAddress(participant.id);
    if (!address.isEmpty() && !conversation.addresses.contains(address)) {
        conversation.addresses.insert(address);
        conversation.record.participants.append(participant);
    }
}

void Conversations::addMessage(int place, const MessageItem &message, const Order &order)
{
    m_conversations[place].items.append({message, order});
}

QVector<MessageGroupRecord> Conversations::sorted()
{
    const auto isEmpty = [](const Conversation &conversation) {
        return conversation.items.isEmpty();
    };
    m_conversations.erase(std::remove_if(m_conversations.begin(), m_conversations.end(), isEmpty),
                          m_conversations.end());
    for (Conversation &conversation : m_conversations) {
        std::sort(conversation.items.begin(), conversation.items.end(),
                  [](const Item &a, const Item &b) { return a.order < b.order; });
    }
    std::sort(m_conversations.begin(), m_conversations.end(),
              [](const Conversation &a, const Conversation &b) {
                  return a.items.first().order < b.items.first().order;
              });
    QVector<MessageGroupRecord> records;
    records.reserve(m_conversations.size());
    for (Conversation &conversation : m_conversations) {
        conversation.record.service = conversation.items.first().message.service;
        for (const Item &item : qAsConst(conversation.items)) {
            conversation.record.messages.append(item.message);
        }
        records.append(conversation.record);
    }
    m_conversations.clear();
    m_places.clear();
    return records;
}
