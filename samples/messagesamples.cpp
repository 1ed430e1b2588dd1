#include "samples/messagesamples.h"

#include "samples/messagegenerator.h"
#include "samples/messagestore.h"
#include "samples/sampledatabase.h"

#include <QHash>

#include <algorithm>

namespace {

using Messages = QVector<SampleMessage>;

/// Groups messages into conversations as recovery is to return them.
class Grouping
{
public:
    Grouping(MessageLayout layout, const MessageGenerator &parties)
        : m_layout(layout)
        , m_parties(parties)
    {
    }

    QVector<MessageGroupRecord> groups(Messages messages) const
    {
        std::stable_sort(
            messages.begin(), messages.end(),
            [](const SampleMessage &a, const SampleMessage &b) { return a.seconds < b.seconds; });
        QVector<MessageGroupRecord> groups;
        QHash<QString, int> places;
        for (const SampleMessage &message : qAsConst(messages)) {
            const QString key = keyOf(message.conversation);
            if (!places.contains(key)) {
                places.insert(key, groups.size());
                groups << emptyGroup(message.conversation);
            }
            groups[places.value(key)].messages << item(message);
        }
        return groups;
    }

    MessageParticipant participant(const SampleHandle &handle) const
    {
        // Groups know the country of each member, iMessage chats of the same time know none.
        const bool isText = handle.service == QLatin1String("SMS");
        const QString ofGroups = isText ? QStringLiteral("us") : QString();
        return {handle.id, handle.service, hasGroups(m_layout) ? ofGroups : handle.country};
    }

private:
    const SampleConversation &at(int conversation) const
    {
        return m_parties.conversations.at(conversation);
    }

    /// What two conversations have in common that are one for recovery.
    QString keyOf(int conversation) const
    {
        if (hasGroups(m_layout)) {
            return QString::number(conversation);
        }
        const QString room = at(conversation).room;
        return room.isEmpty() ? m_parties.handles.at(at(conversation).members.first()).id : room;
    }

    MessageGroupRecord emptyGroup(int conversation) const
    {
        MessageGroupRecord group;
        group.roomName = at(conversation).room;
        group.service = at(conversation).service;
        if (!at(conversation).isGroup()) {
            group.chatIdentifier = group.roomName.isEmpty()
                                       ? m_parties.handles.at(at(conversation).members.first()).id
                                       : group.roomName;
        }
        for (int other = 0; other < m_parties.conversations.size(); ++other) {
            if (keyOf(other) == keyOf(conversation)) {
                for (const int member : at(other).members) {
                    group.participants << participant(m_parties.handles.at(member));
                }
            }
        }
        return group;
    }

    MessageItem item(const SampleMessage &message) const
    {
        const SampleConversation &conversation = at(message.conversation);
        const bool isText = conversation.service == QLatin1String("SMS");
        MessageItem item;
        item.guid = hasGroups(m_layout) ? QString() : message.guid;
        item.date = storedDate(m_layout, isText, message.seconds);
        item.text = message.text;
        item.subject = message.subject;
        item.address = message.sender < 0 ? QString() : m_parties.handles.at(message.sender).id;
        item.service = conversation.service;
        item.isFromMe = message.own;
        // The layout with groups knows no messages that failed but by flags of their own.
        item.isSent = hasGroups(m_layout) ? message.own : message.sent;
        return item;
    }

    MessageLayout m_layout;
    const MessageGenerator &m_parties;
};

/// Lives one plan through in the database, keeping the truth up to date.
class PlanRunner
{
public:
    PlanRunner(SampleDatabase *db, const MessagePlan &plan)
        : m_plan(plan)
        , m_parties(plan.layout, plan.seed)
        , m_store(db, plan.layout)
        , m_random(plan.seed ^ 0x5eed)
    {
    }

    bool run();
    void fill(MessageSample *sample) const;

private:
    bool live();
    bool insert(int count);
    bool readConversation(int conversation, qint64 seconds);
    bool removeAt(int index);
    bool removeScattered(int percent);
    bool removeRange();
    bool removeAll();
    bool removeConversations();
    bool removeConversation(int index);
    bool isMemberElsewhere(int handle) const;
    bool edit(int percent);
    bool rewrite(SampleMessage *message);

    MessagePlan m_plan;
    MessageGenerator m_parties;
    MessageStore m_store;
    SampleRandom m_random;
    Messages m_live;
    Messages m_deleted;
    Messages m_former;
    QVector<int> m_goneConversations;
    QVector<int> m_goneHandles;
};

bool PlanRunner::run()
{
    return m_store.createTables() && m_store.insertParties(&m_parties) && insert(m_plan.messages)
           && live();
}

bool PlanRunner::live()
{
    switch (m_plan.deletion) {
    case MessageDeletion::SingleMessages:
        return removeScattered(30);
    case MessageDeletion::WholeConversations:
        return removeConversations();
    case MessageDeletion::Contiguous:
        return removeRange();
    case MessageDeletion::WholeTable:
        return removeAll();
    case MessageDeletion::ThenInserts:
        return removeScattered(30) && insert(m_plan.messages / 12);
    case MessageDeletion::Edited:
        return edit(25) && removeScattered(20);
    }
    return false;
}

void PlanRunner::fill(MessageSample *sample) const
{
    const Grouping grouping(m_plan.layout, m_parties);
    *sample = MessageSample();
    sample->layout = m_plan.layout;
    sample->deleted = grouping.groups(m_deleted);
    sample->live = grouping.groups(m_live);
    sample->formerVersions = grouping.groups(m_former);
    for (const int handle : m_goneHandles) {
        sample->deletedHandles << grouping.participant(m_parties.handles.at(handle));
    }
    for (const int conversation : m_goneConversations) {
        const QString room = m_parties.conversations.at(conversation).room;
        if (!room.isEmpty()) {
            sample->deletedRooms << room;
        }
    }
}

bool PlanRunner::insert(int count)
{
    for (int i = 0; i < count; ++i) {
        SampleMessage message = m_parties.next();
        // Whoever answers has read what came before.
        if (message.own && !readConversation(message.conversation, message.seconds)) {
            return false;
        }
        if (!m_store.insertMessage(m_parties, &message)) {
            return false;
        }
        m_live << message;
    }
    return true;
}

bool PlanRunner::readConversation(int conversation, qint64 seconds)
{
    const bool isText = m_parties.conversations.at(conversation).service == QLatin1String("SMS");
    for (SampleMessage &message : m_live) {
        if (message.conversation == conversation && !message.read) {
            message.read = true;
            if (!m_store.markRead(message, seconds, isText)) {
                return false;
            }
        }
    }
    return true;
}

bool PlanRunner::removeAt(int index)
{
    const SampleMessage message = m_live.takeAt(index);
    m_deleted << message;
    return m_store.deleteMessage(message);
}

bool PlanRunner::removeScattered(int percent)
{
    for (int left = m_live.size() * percent / 100; left > 0; --left) {
        if (!removeAt(m_random.number(0, m_live.size()))) {
            return false;
        }
    }
    return true;
}

bool PlanRunner::removeRange()
{
    const int first = m_live.size() / 3;
    for (int left = m_live.size() / 3; left > 0; --left) {
        if (!removeAt(first)) {
            return false;
        }
    }
    return true;
}

bool PlanRunner::removeAll()
{
    m_deleted << m_live;
    m_live.clear();
    return m_store.deleteAllMessages();
}

/// One of each kind: iMessage, text messages, a service, both ways to one person, handles without
/// country, a room, and the last room or group, whose members nobody else knows.
bool PlanRunner::removeConversations()
{
    const int last = m_parties.conversations.size() - 1;
    for (const int index : {0, 2, 3, 4, 5, 7, 8, last - 2, last}) {
        if (!removeConversation(index)) {
            return false;
        }
    }
    return true;
}

bool PlanRunner::removeConversation(int index)
{
    for (int i = m_live.size() - 1; i >= 0; --i) {
        if (m_live.at(i).conversation == index && !removeAt(i)) {
            return false;
        }
    }
    m_goneConversations << index;
    const SampleConversation &conversation = m_parties.conversations.at(index);
    bool ok = m_store.deleteConversation(conversation);
    for (const int member : conversation.members) {
        if (ok && !isMemberElsewhere(member)) {
            m_goneHandles << member;
            ok = m_store.deleteHandle(m_parties.handles.at(member));
        }
    }
    return ok;
}

bool PlanRunner::isMemberElsewhere(int handle) const
{
    for (int i = 0; i < m_parties.conversations.size(); ++i) {
        if (m_parties.conversations.at(i).members.contains(handle)
            && !m_goneConversations.contains(i)) {
            return true;
        }
    }
    return false;
}

bool PlanRunner::edit(int percent)
{
    for (SampleMessage &message : m_live) {
        if (m_random.chance(percent) && !rewrite(&message)) {
            return false;
        }
    }
    return true;
}

/// Texts can be rewritten since iOS 16; before that only the marks of a row change.
bool PlanRunner::rewrite(SampleMessage *message)
{
    const qint64 seconds = message->seconds + 60;
    if (m_plan.layout < MessageLayout::Ios17) {
        const SampleConversation &conversation = m_parties.conversations.at(message->conversation);
        return m_store.markRead(*message, seconds, conversation.service == QLatin1String("SMS"));
    }
    if (message->itemType != 0) {
        return true;
    }
    m_former << *message;
    message->body = m_parties.otherText();
    message->text = message->body;
    return m_store.rewrite(*message, seconds);
}

} // namespace

QVector<MessageDeletion> allMessageDeletions()
{
    return {MessageDeletion::SingleMessages, MessageDeletion::WholeConversations,
            MessageDeletion::Contiguous,     MessageDeletion::WholeTable,
            MessageDeletion::ThenInserts,    MessageDeletion::Edited};
}

QString deletionName(MessageDeletion deletion)
{
    static const char *const names[] = {"single messages", "whole conversations", "contiguous",
                                        "whole table",     "then inserts",        "edited"};
    return QString::fromLatin1(names[int(deletion)]);
}

bool makeMessageSample(SampleDatabase *db, const MessagePlan &plan, MessageSample *sample)
{
    PlanRunner runner(db, plan);
    const bool ok = runner.run();
    runner.fill(sample);
    return ok;
}
