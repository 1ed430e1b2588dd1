#include "engine/address.h"
#include "recoverers/communication/messageassembler.h"

#include <QtTest>

namespace {

QString guid(int number)
{
    return QStringLiteral("%1-0000-4000-8000-AAAAAAAAAAAA")
        .arg(number, 8, 16, QLatin1Char('0'))
        .toUpper();
}

Handle handle(const char *id, const char *service = "iMessage")
{
    return {QString::fromLatin1(id), QString::fromLatin1(service), QStringLiteral("us"),
            normalizedAddress(QString::fromLatin1(id))};
}

/// Identifier, members and texts of every conversation; "-" stands for an empty text.
QStringList toTexts(const QVector<MessageGroupRecord> &groups)
{
    const auto orDash = [](const QString &text) {
        return text.isEmpty() ? QStringLiteral("-") : text;
    };
    QStringList texts;
    for (const MessageGroupRecord &group : groups) {
        QStringList members;
        for (const MessageParticipant &member : group.participants) {
            members.append(member.id);
        }
        QString text = orDash(group.chatIdentifier) + QLatin1Char(' ') + group.service
                       + QStringLiteral(" [") + members.join(QLatin1Char(' ')) + QLatin1Char(']');
        for (const MessageItem &item : group.messages) {
            text += QLatin1Char(item.isFromMe != 0 ? '>' : '<') + item.text;
        }
        texts.append(text);
    }
    return texts;
}

} // namespace

/// The rules by which carved messages become conversations. Messages as SQLite leaves them are in
/// tst_messages.
class TestMessageAssembler : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void handlesOfOneAddressShareAConversation();
    void unknownHandlesAreNotMixed();
    void liveHandlesComeBeforeCarvedOnes();
    void roomsTakeTheirMembersFromTheLiveChat();
    void roomWithoutLiveChat();
    void noMessageTwice();
    void damagedGuids();
    void lostPlaces();
    void orderOfConversationsAndMessages();
    void fieldsOfAMessage();
    void oldGroups();
    void oldChats();
    void oldDirections_data();
    void oldDirections();
    void oldMessagesOnceAndNotEmpty();
    void joiningIsLinear();

private:
    CarvedMessage &message(const char *text, qint64 handleId, const char *room = "")
    {
        CarvedMessage carved;
        carved.guid = guid(++m_count);
        carved.date = 1000 + m_count;
        carved.text = QString::fromUtf8(text);
        carved.handleId = handleId;
        carved.service = QStringLiteral("iMessage");
        carved.roomName = QString::fromLatin1(room);
        m_carved.messages.push_back(carved);
        return m_carved.messages.back();
    }
    void carvedHandle(qint64 rowid, const Handle &fields, bool isIntact)
    {
        m_carved.handles.push_back({{rowid, isIntact, true}, fields});
    }
    CarvedOldMessage &sms(const char *text, qint64 groupId, const char *address)
    {
        CarvedOldMessage carved;
        carved.date = 1300000000 + ++m_count;
        carved.text = QString::fromUtf8(text);
        carved.groupId = groupId;
        carved.address = QString::fromLatin1(address);
        carved.flags = 2;
        m_carved.oldMessages.push_back(carved);
        return m_carved.oldMessages.back();
    }
    CarvedOldMessage &madrid(const char *text, const char *party, const char *room = "")
    {
        CarvedOldMessage carved;
        carved.date = 340000000 + ++m_count;
        carved.text = QString::fromUtf8(text);
        carved.isMadrid = true;
        carved.madridHandle = QString::fromLatin1(party);
        carved.madridRoomName = QString::fromLatin1(room);
        carved.madridFlags = 36869;
        m_carved.oldMessages.push_back(carved);
        return m_carved.oldMessages.back();
    }
    QStringList joined() const { return toTexts(assembleMessages(m_live, m_carved)); }
    QStringList joinedOld() const { return toTexts(assembleOldMessages(m_live, m_carved)); }
    QStringList list(std::initializer_list<const char *> texts) const
    {
        QStringList result;
        for (const char *text : texts) {
            result.append(QString::fromUtf8(text));
        }
        return result;
    }

    LiveMessages m_live;
    CarvedMessages m_carved;
    int m_count = 0;
};

void TestMessageAssembler::init()
{
    m_live = LiveMessages();
    m_carved = CarvedMessages();
    m_count = 0;
    m_live.handles = {{1, handle("+15550001")},
                      {2, handle("+1 (555) 0001", "SMS")},
                      {3, handle("Anna@example.com")},
                      {4, handle("+15550004")}};
    m_live.highestHandleId = 20;
    m_live.highestGroupId = 9;
}

void TestMessageAssembler::handlesOfOneAddressShareAConversation()
{
    carvedHandle(7, handle("anna@EXAMPLE.com", "SMS"), true);
    message("a", 1).service = QStringLiteral("SMS");
    message("b", 3);
    message("c", 2);
    message("d", 7);
    QCOMPARE(joined(), list({"+15550001 SMS [+15550001]<a<c",
                             "Anna@example.com iMessage [Anna@example.com]<b<d"}));
}

void TestMessageAssembler::unknownHandlesAreNotMixed()
{
    message("a", 15);
    message("b", 16);
    message("c", 15);
    message("d", 0).isFromMe = true;
    QCOMPARE(joined(), list({"- iMessage []<a<c", "- iMessage []<b", "- iMessage []>d"}));
}

void TestMessageAssembler::liveHandlesComeBeforeCarvedOnes()
{
    carvedHandle(4, handle("+15559999"), true);
    carvedHandle(8, handle("+15558888"), false); // concluded
    carvedHandle(8, handle("+15557777"), true);
    carvedHandle(21, handle("+15556666"), false); // concluded, and never given out
    message("a", 4);
    message("b", 8);
    message("c", 21);
    QCOMPARE(joined(), list({"+15550004 iMessage [+15550004]<a", "+15557777 iMessage [+15557777]<b",
                             "- iMessage []<c"}));
}

void TestMessageAssembler::roomsTakeTheirMembersFromTheLiveChat()
{
    m_live.chats.insert(5, {QStringLiteral("chat77"), QStringLiteral("chat77")});
    m_live.chats.insert(6, {QStringLiteral("+15550004"), QString()});
    m_live.chatHandles[5] = {3, 1, 2};
    message("a", 0, "chat77").isFromMe = true;
    message("b", 3, "chat77");
    message("c", 4, "chat77"); // has left since
    message("d", 4);
    const QVector<MessageGroupRecord> groups = assembleMessages(m_live, m_carved);
    QCOMPARE(toTexts(groups), list({"chat77 iMessage [Anna@example.com +15550001 +15550004]>a<b<c",
                                    "+15550004 iMessage [+15550004]<d"}));
    QCOMPARE(groups[0].roomName, QStringLiteral("chat77"));
    QCOMPARE(groups[1].roomName, QString());
    QCOMPARE(groups[0].messages[0].address, QString());
    QCOMPARE(groups[0].messages[1].address, QStringLiteral("Anna@example.com"));
}

void TestMessageAssembler::roomWithoutLiveChat()
{
    message("a", 1, "chat78");
    message("b", 15, "chat78");
    QCOMPARE(joined(), list({"chat78 iMessage [+15550001]<a<b"}));
}

void TestMessageAssembler::noMessageTwice()
{
    CarvedMessage copy = message("a", 1);
    m_carved.messages.push_back(copy);
    copy.isSent = true; // another version of the row, but the same message
    m_carved.messages.push_back(copy);
    copy.text = QStringLiteral("edited");
    m_carved.messages.push_back(copy);
    CarvedMessage cut = message("b whole", 1);
    cut.text = QStringLiteral("b w");
    cut.isTextCut = cut.isIncomplete = true;
    m_carved.messages.push_front(cut);
    CarvedMessage undated = message("c", 1);
    undated.date = 0;
    undated.isIncomplete = true;
    m_carved.messages.push_front(undated);
    message("d", 1).isLiveCopy = true;
    const QVector<MessageGroupRecord> groups = assembleMessages(m_live, m_carved);
    QCOMPARE(toTexts(groups), list({"+15550001 iMessage [+15550001]<a<edited<b whole<c"}));
    QVERIFY(groups[0].messages[3].date != 0);
}

void TestMessageAssembler::damagedGuids()
{
    CarvedMessage damaged = message("a", 1);
    damaged.guid = QStringLiteral("garbage");
    m_carved.messages.push_front(damaged); // the same message, found before the sound one
    m_carved.messages.push_front(damaged);
    damaged.text = QStringLiteral("b");
    m_carved.messages.push_back(damaged);
    QCOMPARE(joined(), list({"+15550001 iMessage [+15550001]<a<b"}));
}

/// A message that does not tell any more where it belongs comes under nobody's name.
void TestMessageAssembler::lostPlaces()
{
    message("a", 1);
    message("b", 1).isPlaceLost = true;
    message("c", 1, "chat1").isPlaceLost = true;
    sms("d", 1, "+15550001");
    sms("e", 1, "+15550001").isPlaceLost = true;
    madrid("f", "").isPlaceLost = true;
    QCOMPARE(joined(), list({"+15550001 iMessage [+15550001]<a", "- iMessage [+15550001]<b",
                             "chat1 iMessage [+15550001]<c"}));
    QCOMPARE(joinedOld().size(), 3);
}

void TestMessageAssembler::orderOfConversationsAndMessages()
{
    message("late", 1).date = 50;
    message("first", 4).date = 20;
    message("early", 1).date = 30;
    message("tie 1", 4).date = 60;
    message("tie 2", 4).date = 60;
    message("same first date", 3).date = 30;
    QCOMPARE(joined(), list({"+15550004 iMessage [+15550004]<first<tie 1<tie 2",
                             "+15550001 iMessage [+15550001]<early<late",
                             "Anna@example.com iMessage [Anna@example.com]<same first date"}));
}

void TestMessageAssembler::fieldsOfAMessage()
{
    CarvedMessage &carved = message("text", 4);
    carved.subject = QStringLiteral("subject");
    carved.service = QStringLiteral("SMS");
    carved.isFromMe = true;
    const QVector<MessageGroupRecord> groups = assembleMessages(m_live, m_carved);
    QCOMPARE(groups.size(), 1);
    const MessageItem &item = groups[0].messages[0];
    QCOMPARE(item.guid, guid(1));
    QCOMPARE(item.date, 1001);
    QCOMPARE(item.subject, QStringLiteral("subject"));
    QCOMPARE(item.address, QStringLiteral("+15550004"));
    QCOMPARE(item.service, QStringLiteral("SMS"));
    QCOMPARE(item.isFromMe, 1);
    QCOMPARE(item.isSent, 0);
    QCOMPARE(groups[0].participants[0].service, QStringLiteral("iMessage"));
    QCOMPARE(groups[0].participants[0].country, QStringLiteral("us"));
}

void TestMessageAssembler::oldGroups()
{
    m_live.groupMembers[1] = {QStringLiteral("+15550001")};
    m_live.groupMembers[2] = {QStringLiteral("+15550001"), QStringLiteral("+15550002")};
    sms("a", 1, "+15550001");
    sms("b", 2, "+15550002");
    sms("c", 3, "+15550003").country = QStringLiteral("us"); // the group is gone
    sms("d", 3, "");
    sms("e", 10, "+15550005"); // no such group was ever made
    sms("f", 0, "+1 555 0005");
    sms("g", 4, "+15550001"); // another group with the same person
    const QVector<MessageGroupRecord> groups = assembleOldMessages(m_live, m_carved);
    QCOMPARE(toTexts(groups),
             list({"+15550001 SMS [+15550001]<a", "- SMS [+15550001 +15550002]<b",
                   "+15550003 SMS [+15550003]<c<d", "+15550005 SMS [+15550005]<e<f",
                   "+15550001 SMS [+15550001]<g"}));
    QCOMPARE(groups[2].participants[0].country, QStringLiteral("us"));
}

void TestMessageAssembler::oldChats()
{
    m_live.roomHandles[QStringLiteral("chat5")] = {QStringLiteral("a@example.com"),
                                                   QStringLiteral("a@example.com")};
    m_live.oldChats.append({QStringLiteral("identifier 5"), QStringLiteral("chat5")});
    m_carved.oldChats.push_back({QStringLiteral("identifier 6"), QStringLiteral("chat6")});
    sms("an SMS of August 2011", 1, "+15550001").date = 1312200000; // the others: October
    madrid("a", "b@example.com", "chat5");
    madrid("b", "c@example.com", "chat6");
    madrid("c", "b@example.com");
    madrid("d", "d@example.com", "chat7");
    QCOMPARE(joinedOld(), list({"+15550001 SMS [+15550001]<an SMS of August 2011",
                                "identifier 5 iMessage [a@example.com b@example.com]<a",
                                "identifier 6 iMessage [c@example.com]<b",
                                "b@example.com iMessage [b@example.com]<c",
                                "chat7 iMessage [d@example.com]<d"}));
}

void TestMessageAssembler::oldDirections_data()
{
    QTest::addColumn<bool>("isMadrid");
    QTest::addColumn<qint64>("flags");
    QTest::addColumn<bool>("isFromMe");
    QTest::addColumn<bool>("isSent");
    QTest::newRow("SMS received") << false << qint64(2) << false << false;
    QTest::newRow("SMS sent") << false << qint64(3) << true << true;
    QTest::newRow("SMS not sent") << false << qint64(33) << true << false;
    QTest::newRow("iMessage received") << true << qint64(36869) << false << false;
    QTest::newRow("iMessage of unknown direction") << true << qint64(0) << false << false;
    QTest::newRow("iMessage sent") << true << qint64(12289) << true << true;
}

void TestMessageAssembler::oldDirections()
{
    QFETCH(bool, isMadrid);
    QFETCH(qint64, flags);
    QFETCH(bool, isFromMe);
    QFETCH(bool, isSent);
    CarvedOldMessage &carved = isMadrid ? madrid("a", "+15550001") : sms("a", 1, "+15550001");
    (isMadrid ? carved.madridFlags : carved.flags) = flags;
    const QVector<MessageGroupRecord> groups = assembleOldMessages(m_live, m_carved);
    QCOMPARE(groups.size(), 1);
    QCOMPARE(groups[0].messages[0].isFromMe, int(isFromMe));
    QCOMPARE(groups[0].messages[0].isSent, int(isSent));
}

void TestMessageAssembler::oldMessagesOnceAndNotEmpty()
{
    CarvedOldMessage copy = sms("a", 1, "+15550001");
    copy.flags = 3;
    m_carved.oldMessages.push_back(copy);
    sms("", 1, ""); // nothing but a date
    sms("", 1, "+15550002");
    sms("b", 1, "+15550001").isLiveCopy = true;
    QCOMPARE(joinedOld(), list({"- SMS [+15550001 +15550002]<a<"}));
}

void TestMessageAssembler::joiningIsLinear()
{
    constexpr int count = 100000;
    for (int i = 0; i < count; ++i) {
        CarvedMessage &carved = message("always the same text", i % 5, i % 7 ? "" : "chat1");
        carved.date = 1;
        if (i % 3 == 0) {
            carved.guid = guid(1);
            carved.text += QString::number(i);
        }
        sms("text", i, "+15550001");
    }
    m_live.highestGroupId = 10 * count;
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!joined().isEmpty());
    QCOMPARE(joinedOld().size(), count);
    QVERIFY2(timer.elapsed() < 20000, qPrintable(QString::number(timer.elapsed())));
}

QTEST_APPLESS_MAIN(TestMessageAssembler)
#include "tst_messageassembler.moc"
