#include "samples/messagegenerator.h"

#include "samples/messagetext.h"

namespace {

/// When devices of the layout were in use, in seconds since 1970.
qint64 firstDate(MessageLayout layout)
{
    static const qint64 dates[] = {1326000000, 1359700000, 1388600000,
                                   1546400000, 1609500000, 1704100000};
    return dates[int(layout)];
}

constexpr int personCount = 14;
constexpr int longestGap = 20000;

} // namespace

MessageGenerator::MessageGenerator(MessageLayout layout, quint32 seed)
    : m_layout(layout)
    , m_random(seed)
    , m_seconds(firstDate(layout))
{
    const auto number = [this] { return QStringLiteral("+1555") + m_random.digits(7); };
    addPerson(number(), "iMessage", "us");
    addPerson(number(), "SMS", "us");
    addPerson(QStringLiteral("+4477009") + m_random.digits(5), "SMS", "GB");
    addPerson(m_random.digits(5), "SMS", "us");
    const QString both = number();
    addPerson(both, "SMS", "us");
    addPerson(both, "iMessage", "us");
    addPerson(m_random.mailAddress(), "iMessage", "us");
    addPerson(m_random.mailAddress(), "iMessage", nullptr);
    addPerson(number(), "SMS", nullptr);
    if (layout == MessageLayout::Ios17) {
        addPerson(number(), "RCS", "us");
    }
    while (handles.size() < personCount) {
        addPerson(number(), m_random.chance(60) ? "iMessage" : "SMS", "us");
    }
    for (const int size : {3, 4, 5}) {
        addRoom(size, "iMessage");
    }
    if (hasGroups(layout)) {
        addGroup(3);
    } else {
        addRoom(3, "SMS");
    }
}

SampleMessage MessageGenerator::next()
{
    m_seconds += m_random.number(30, longestGap);
    SampleMessage message;
    message.seconds = m_seconds;
    message.guid = guid();
    message.conversation = m_random.number(0, conversations.size());
    const SampleConversation &conversation = conversations.at(message.conversation);
    message.own = m_random.chance(45);
    message.sent = message.own && m_random.chance(97);
    message.read = message.own;
    const bool alone = conversation.members.size() == 1;
    if (alone || !message.own) {
        message.sender = conversation.members.at(m_random.number(0, conversation.members.size()));
    }
    message.body = messageText(&m_random);
    message.text = message.body;
    if (m_random.chance(4)) {
        message.subject = m_random.city();
    }
    if (!alone && m_layout >= MessageLayout::Ios12 && m_random.chance(4)) {
        message.itemType = 2; // the room got another name
        message.text = QString();
    }
    if (m_layout == MessageLayout::Ios17 && m_random.chance(12)) {
        message.text = QString();
    }
    return message;
}

QString MessageGenerator::otherText()
{
    return messageText(&m_random) + QStringLiteral(" (edited)");
}

int MessageGenerator::addHandle(const QString &id, const char *service, const char *country)
{
    SampleHandle handle;
    handle.id = id;
    handle.service = QString::fromLatin1(service);
    handle.country = QString::fromLatin1(country);
    handles << handle;
    return handles.size() - 1;
}

void MessageGenerator::addPerson(const QString &id, const char *service, const char *country)
{
    SampleConversation conversation;
    conversation.service = QString::fromLatin1(service);
    conversation.members << addHandle(id, service, country);
    conversations << conversation;
}

/// Some members are people whom the owner also writes to alone, the others are strangers.
void MessageGenerator::addRoom(int size, const char *service)
{
    SampleConversation room;
    room.service = QString::fromLatin1(service);
    room.room = QStringLiteral("chat") + QString::number(m_random.number(100000000, 999999999));
    const int firstKnown = m_random.number(0, personCount / 2);
    for (int i = firstKnown; room.members.size() < size - 1 && i < personCount; ++i) {
        if (handles.at(i).service == room.service) {
            room.members << i;
        }
    }
    while (room.members.size() < size) {
        room.members << addHandle(QStringLiteral("+1555") + m_random.digits(7), service, "us");
    }
    conversations << room;
}

void MessageGenerator::addGroup(int size)
{
    SampleConversation group;
    group.service = QStringLiteral("SMS");
    while (group.members.size() < size) {
        group.members << addHandle(QStringLiteral("+1555") + m_random.digits(7), "SMS", "us");
    }
    conversations << group;
}

/// Devices write 36 characters in upper case; what other devices and older versions left behind
/// looks otherwise now and then.
QString MessageGenerator::guid()
{
    const QString guid = m_random.guid();
    if (m_random.chance(1)) {
        return guid.toLower();
    }
    return m_random.chance(1) ? QStringLiteral("M:") + guid : guid;
}
