#include "recoverers/messaging/weixinassembler.h"
#include "tests/support/words.h"

#include <QElapsedTimer>
#include <QtTest>

namespace {

constexpr int Free = CarvedWeixinMessage::NoConversation;

CarvedWeixinMessage message(const char *text, qint32 time, qint64 rowid = 0)
{
    CarvedWeixinMessage carved;
    carved.text = QString::fromUtf8(text);
    carved.createTime = time;
    carved.type = 1;
    carved.rowid = rowid;
    return carved;
}

CarvedWeixinMessage part(const char *text, qint32 time)
{
    CarvedWeixinMessage carved = message(text, time);
    carved.isIncomplete = true;
    return carved;
}

QStringList texts(const QVector<CarvedWeixinMessage> &messages)
{
    QStringList list;
    for (const CarvedWeixinMessage &carved : messages) {
        list << carved.text;
    }
    return list;
}

} // namespace

/// Which carved messages are deleted ones, and to which conversation those of free pages belong.
class TestWeixinAssembler : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void copiesAreDropped();
    void liveMessagesAreDropped_data();
    void liveMessagesAreDropped();
    void partsOfWholeMessagesAreDropped();
    void partsOfOneMomentAreBounded();
    void conversationsOfFreePages_data();
    void conversationsOfFreePages();
    void firstOfSeveralConversations();
    void messagesOfAConversationStay();
    void findingIsLinear();

private:
    /// Three conversations: the first was written to now and then, the second early, the third has
    /// been emptied.
    static QVector<WeixinNumbers> conversations()
    {
        return {{{{1, 100}, {2, 200}, {10, 1000}, {11, 1100}}, 11},
                {{{1, 10}, {5, 50}, {9, 90}}, 20},
                {{}, 30}};
    }
};

void TestWeixinAssembler::copiesAreDropped()
{
    DeletedWeixinMessages deleted;
    CarvedWeixinMessage own = message("hello", 1);
    own.isFromMe = true;
    CarvedWeixinMessage otherType = message("hello", 1);
    otherType.type = 3;
    for (const CarvedWeixinMessage &carved :
         {message("hello", 1), message("hello", 2), own, otherType, message("hello", 1, 7)}) {
        deleted.add(carved);
    }
    const QVector<CarvedWeixinMessage> left = deleted.take();
    QCOMPARE(left.size(), 3);
    QCOMPARE(left[0].rowid, 0); // the one that was found first
    QVERIFY(!left[1].isFromMe && left[1].createTime == 2 && left[2].isFromMe);
    QCOMPARE(deleted.take().size(), 0);
}

void TestWeixinAssembler::liveMessagesAreDropped_data()
{
    QTest::addColumn<int>("time");
    QTest::addColumn<bool>("isFromMe");
    QTest::addColumn<QString>("live");
    QTest::addColumn<QStringList>("left");
    const auto row = [](const char *name, int time, bool isFromMe, const char *live,
                        const char *left) {
        QTest::newRow(name) << time << isFromMe << QString::fromLatin1(live) << words(left);
    };
    row("the same", 5, false, "whole", "pa");
    row("another time", 6, false, "whole", "whole pa");
    row("another direction", 5, true, "whole", "whole pa");
    row("another text", 5, false, "whole.", "whole pa");
    row("what a part belongs to", 5, false, "pack", "whole");
    row("an equal part", 5, false, "pa", "whole");
    row("a part of the part", 5, false, "p", "whole pa");
}

void TestWeixinAssembler::liveMessagesAreDropped()
{
    QFETCH(int, time);
    QFETCH(bool, isFromMe);
    QFETCH(QString, live);
    DeletedWeixinMessages deleted;
    deleted.add(message("whole", 5));
    deleted.add(part("pa", 5));
    deleted.dropLive(time, isFromMe, live);
    QTEST(texts(deleted.take()), "left");
}

void TestWeixinAssembler::partsOfWholeMessagesAreDropped()
{
    DeletedWeixinMessages deleted;
    deleted.add(part("see y", 5));
    deleted.add(part("see y", 6));
    deleted.add(part("hello", 5));
    deleted.add(message("see you", 5));
    deleted.add(message("hello", 5)); // the same row on another page, where it is whole
    QCOMPARE(texts(deleted.take()), (QStringList{QStringLiteral("see y"), QStringLiteral("hello"),
                                                 QStringLiteral("see you")}));
}

/// Any number of parts may claim one moment in a hostile file.
void TestWeixinAssembler::partsOfOneMomentAreBounded()
{
    constexpr int Count = 20000;
    DeletedWeixinMessages deleted;
    for (int i = 0; i < Count; ++i) {
        deleted.add(part(QByteArray::number(i).constData(), 5));
    }
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < Count; ++i) {
        deleted.dropLive(5, false, QStringLiteral("x%1").arg(i));
    }
    QVERIFY(timer.elapsed() < 5000);
    QCOMPARE(deleted.take().size(), Count);
}

void TestWeixinAssembler::conversationsOfFreePages_data()
{
    QTest::addColumn<qint64>("rowid");
    QTest::addColumn<int>("time");
    QTest::addColumn<int>("conversation");
    const auto row = [](const char *name, int rowid, int time, int conversation) {
        QTest::newRow(name) << qint64(rowid) << time << conversation;
    };
    row("between two of the first", 4, 300, 0);
    row("between two of the second", 4, 40, 1);
    row("at the same time as its neighbour", 3, 200, 0);
    row("behind the last of the second", 15, 95, 1);
    row("behind the last, before its time", 15, 80, 2);
    row("between two by number, not by time", 4, 5000, 2);
    row("higher than the second ever had", 21, 95, 2);
    row("a number that exists in both", 1, 100, 2);
    row("higher than any ever had", 31, 2000, 0);
    row("in front of all of them", 0, 5, 0); // no number at all
    row("a number that exists in the first", 10, 1000, 1);
}

void TestWeixinAssembler::conversationsOfFreePages()
{
    QFETCH(qint64, rowid);
    QFETCH(int, time);
    QVector<CarvedWeixinMessage> messages{message("x", time, rowid)};
    findConversations(conversations(), &messages);
    QTEST(messages.first().conversation, "conversation");

    findConversations({}, &(messages = {message("x", time, rowid)}));
    QCOMPARE(messages.first().conversation, Free);
}

/// Of several conversations that a row fits in the first one in the schema gets it, of emptied ones
/// the first that had so many messages.
void TestWeixinAssembler::firstOfSeveralConversations()
{
    const QVector<WeixinNumbers> alike{
        {{}, 0}, {{}, 8}, {{}, 9}, {{{1, 10}, {5, 50}}, 9}, {{{1, 10}, {5, 50}}, 9}};
    QVector<CarvedWeixinMessage> messages{message("both", 30, 3), message("neither", 5, 8),
                                          message("neither", 5, 9), message("no number", 30, 0)};
    QVector<int> found;
    findConversations(alike, &messages);
    for (const CarvedWeixinMessage &carved : qAsConst(messages)) {
        found << carved.conversation;
    }
    QCOMPARE(found, (QVector<int>{3, 1, 2, 0}));
}

void TestWeixinAssembler::messagesOfAConversationStay()
{
    QVector<CarvedWeixinMessage> messages{message("x", 300, 4), message("y", 300, 4)};
    messages[0].conversation = 2;
    findConversations(conversations(), &messages);
    QCOMPARE(messages[0].conversation, 2);
    QCOMPARE(messages[1].conversation, 0);
}

void TestWeixinAssembler::findingIsLinear()
{
    constexpr int Conversations = 500;
    constexpr int Messages = 20000;
    QVector<WeixinNumbers> numbers(Conversations);
    QVector<CarvedWeixinMessage> messages;
    for (int i = 0; i < Messages; ++i) {
        const int time = i % Conversations * 1000 + i / Conversations; // one after the other
        numbers[i % Conversations].messages.append({i / Conversations * 2 + 1, time});
        messages.append(message("x", time, i / Conversations * 2 + 2));
    }
    QElapsedTimer timer;
    timer.start();
    findConversations(numbers, &messages);
    QVERIFY(timer.elapsed() < 5000);
    QCOMPARE(messages[250].conversation, 250 % Conversations);
}

QTEST_APPLESS_MAIN(TestWeixinAssembler)
#include "tst_weixinassembler.moc"
