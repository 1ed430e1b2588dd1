#include "recoverers/messaging/weixinmatcher.h"
#include "samples/weixinscan.h"
#include "tests/support/matcherharness.h"
#include "tests/support/samplechecks.h"
#include "tests/support/scanprobe.h"
#include "tests/support/testfiles.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

namespace {

constexpr int Time = 1500000000;

const QString Hash = QStringLiteral("b026324c6904b2a9cb4b88d6d61c81d1");

const QString NewColumns = QStringLiteral(
    "CreateTime INTEGER DEFAULT 0, Des INTEGER, ImgStatus INTEGER DEFAULT 0, MesLocalID INTEGER "
    "PRIMARY KEY AUTOINCREMENT, Message TEXT, MesSvrID INTEGER DEFAULT 0, Status INTEGER DEFAULT "
    "0, TableVer INTEGER DEFAULT 1, Type INTEGER");
const QString OldColumns = QStringLiteral(
    "TableVer INTEGER DEFAULT 1, MesLocalID INTEGER PRIMARY KEY AUTOINCREMENT, MesSvrID BIGINT "
    "DEFAULT 0, CreateTime INTEGER DEFAULT 0, Message TEXT, Status INTEGER DEFAULT 0, ImgStatus "
    "INTEGER DEFAULT 0, Type INTEGER, Des INTEGER");

QStringList toText(const QVector<FoundWeixinMessage> &messages)
{
    QStringList lines;
    for (const FoundWeixinMessage &found : messages) {
        lines << QStringLiteral("%1 %2 %3 %4 %5")
                     .arg(found.chatId)
                     .arg(found.message.createTime)
                     .arg(found.message.type)
                     .arg(found.message.isFromMe ? QLatin1String("sent")
                                                 : QLatin1String("received"),
                          found.message.message);
    }
    return lines;
}

QVector<FoundWeixinMessage> messagesOf(SqliteRecovery *recovery)
{
    QVector<FoundWeixinMessage> found;
    for (unsigned i = 0; i < recovery->getWeiChatCount(); ++i) {
        for (const WeiChatMessage *message : recovery->getWeiChat(i)->messages) {
            found.append({recovery->getWeiChat(i)->chatId, *message});
        }
    }
    return found;
}

/// Conversations that a test writes by hand. Texts are long enough for their rows to keep the type
/// of the time when they are deleted one by one.
class ChatFile
{
public:
    bool create(const QString &path, const QStringList &chatIds = {Hash},
                const QString &columns = NewColumns)
    {
        bool ok = m_db.create(path);
        for (const QString &chatId : chatIds) {
            ok = ok && m_db.exec(QStringLiteral("CREATE TABLE Chat_%1(%2)").arg(chatId, columns));
        }
        return ok;
    }
    bool insert(const QString &text, int time, int des = 1, const QString &chatId = Hash)
    {
        return m_db.run(QStringLiteral("INSERT INTO Chat_%1 (CreateTime, Des, ImgStatus, Message, "
                                       "MesSvrID, Status, TableVer, Type) VALUES "
                                       "(?,?,1,?,12345678901,4,1,1)")
                            .arg(chatId),
                        {time, des, text});
    }
    bool exec(const QString &sql) { return m_db.exec(sql); }
    bool close() { return m_db.close(); }

private:
    SampleDatabase m_db;
};

QString longText(const char *start)
{
    return QString::fromUtf8(start) + QString(130, QLatin1Char('.'));
}

} // namespace

/// WeChat messages as SQLite itself deletes them.
class TestWeixin : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void samplesComeBack_data();
    void samplesComeBack();
    void headers_data();
    void headers();
    void neededColumns();
    void timeMayComeFirst();
    void wholeCellsAreBelieved_data();
    void wholeCellsAreBelieved();
    void directionAndConversation();
    void messagesStandInOrder();
    void liveMessagesOfAnyConversationExclude();
    void firstTypeBehindAFreeblockHeader();
    void otherTablesAreNoConversations();
    void manyLayoutsTakeLittleTime();
    void namesOfAnyCharacters();
    void secondScanAddsToTheSameChats();
    void progressIsDividedOnce();

private:
    QString path(const char *name) const { return m_dir.filePath(QString::fromLatin1(name)); }
    bool makeSample(const WeixinPlan &plan, WeixinSample *sample)
    {
        return makeSampleFile(path("sample.db"), deviceOptions(plan.layout), makeWeixinSample, plan,
                              sample);
    }

    QTemporaryDir m_dir;
};

void TestWeixin::samplesComeBack_data()
{
    QTest::addColumn<int>("layout");
    QTest::addColumn<int>("deletion");
    QTest::addColumn<int>("percent"); // of the deleted messages, at least
    constexpr int percents[][6] = {{75, 60, 99, 100, 66, 50}, {50, 50, 99, 100, 38, 50}};
    for (const WeixinLayout layout : allWeixinLayouts()) {
        for (const WeixinDeletion deletion : allWeixinDeletions()) {
            QTest::newRow(
                qPrintable(layoutName(layout) + QLatin1Char(' ') + deletionName(deletion)))
                << int(layout) << int(deletion) << percents[int(layout)][int(deletion)];
        }
    }
}

void TestWeixin::samplesComeBack()
{
    QFETCH(int, layout);
    QFETCH(int, deletion);
    QFETCH(int, percent);
    WeixinSample sample;
    QVERIFY(makeSample({WeixinLayout(layout), WeixinDeletion(deletion), 1500, 11}, &sample));
    const WeixinResult result =
        compareWeixin(sample, readFile(path("sample.db")), scanWeixin(path("sample.db")));
    const QByteArray details = detailsOf(result);
    QVERIFY2(result.recovered * 100 >= result.deleted * percent, details.constData());
    QVERIFY2(result.liveCopies == 0 && result.twice == 0 && result.missedWhole == 0,
             details.constData());
    // Where rows meet, a time may be mixed of two.
    QVERIFY2(result.invented <= 2 && result.wrongFields <= 2, details.constData());
    // Nothing tells apart the pages of several conversations that were cleared.
    const bool isTold = deletion != int(WeixinDeletion::Cleared)
                        && deletion != int(WeixinDeletion::ClearedThenInserts);
    QVERIFY2(!isTold || result.wrongChats * 10 <= result.recovered, details.constData());
}

void TestWeixin::headers_data()
{
    addValueColumns();
    QTest::addColumn<bool>("isOld");
    for (const bool isOld : {false, true}) {
        const auto row = [isOld](const char *name, const char *column, const QVariant &value,
                                 bool isTaken) {
            QTest::newRow(
                qPrintable(QLatin1String(isOld ? "old, " : "new, ") + QLatin1String(name)))
                << QString::fromLatin1(column) << value << isTaken << isOld;
        };
        row("as written", "type", 1, true);
        row("no text", "message", QVariant(), true);
        row("text of bytes", "message", QByteArray("abc"), false);
        row("text of 1048575 bytes", "message", letters(1048575), true);
        row("text of 1048576 bytes", "message", letters(1048576), false);
        row("no type", "type", QVariant(), true);
        row("type is a real", "type", 1.5, false);
        row("type is a large number", "type", qint64(1) << 40, true);
        row("no direction", "des", QVariant(), true);
        row("direction is a text", "des", letters(3), false);
        row("time of another size", "createtime", 5, false);
        row("untested column", "status", letters(4), true);
        row("rowid alias is not NULL", "meslocalid", 5, false);
    }
}

void TestWeixin::headers()
{
    QFETCH(bool, isOld);
    MatcherHarness<weixinDBFile> harness;
    QVERIFY(harness.open(
        QStringLiteral("chat_x"),
        QStringLiteral("CREATE TABLE Chat_x(%1)").arg(isOld ? OldColumns : NewColumns)));
    QVariantMap row = rowFromJson(R"({"tablever": 1, "messvrid": 12345678901, "status": 3,
        "createtime": 1500000000, "message": "FFFFFFFFFFFFFFFFFFFF", "imgstatus": 1, "type": 1,
        "des": 1})");
    harness.compare<weixinDBFile::MsgMatcher>(row);
}

void TestWeixin::neededColumns()
{
    using Matcher = weixinDBFile::MsgMatcher;
    MatcherHarness<weixinDBFile> harness;
    const QString statement = QStringLiteral("CREATE TABLE Chat_x(%1)");
    QVERIFY(harness.open(QStringLiteral("chat_x"), statement.arg(NewColumns)));
    QCOMPARE(harness.neededColumns<Matcher>(), QStringLiteral("createtime des message type"));
    const QString textFirst = QStringLiteral("Message TEXT, CreateTime, Type, Des");
    QVERIFY(harness.open(QStringLiteral("chat_x"), statement.arg(textFirst)));
    QCOMPARE(harness.matches<Matcher>(QByteArray()), -1);
}

/// Of all columns that recoverers ask for only this one may be the first.
void TestWeixin::timeMayComeFirst()
{
    ChatFile file;
    QVERIFY(file.create(path("one.db")) && file.insert(longText("hello"), Time)
            && file.exec(QStringLiteral("DELETE FROM Chat_") + Hash) && file.close());
    QCOMPARE(toText(scanWeixin(path("one.db"))),
             QStringList(
                 QStringLiteral("%1 %2 1 received %3").arg(Hash).arg(Time).arg(longText("hello"))));
}

void TestWeixin::wholeCellsAreBelieved_data()
{
    QTest::addColumn<QString>("values");
    QTest::addColumn<QString>("found");
    const auto row = [](const char *name, const char *values, const char *found) {
        QTest::newRow(name) << QString::fromLatin1(values) << QString::fromLatin1(found);
    };
    row("wrong clock", "100000000,1,'hello',1", "100000000 1 received hello");
    row("before 1970", "-1400000000,1,'hello',1", "-1400000000 1 received hello");
    row("nothing but the time", "1500000000,0,NULL,NULL", "1500000000 0 sent ");
    row("no direction", "1500000000,NULL,'hello',3", "1500000000 3 sent hello");
    row("a large type", "1500000000,1,'hello',16777265", "1500000000 16777265 received hello");
}

/// Freed rows of which nothing is overwritten need not make sense.
void TestWeixin::wholeCellsAreBelieved()
{
    QFETCH(QString, values);
    QFETCH(QString, found);
    for (const QString &columns : {OldColumns, NewColumns}) {
        ChatFile file;
        QVERIFY(file.create(path("one.db"), {Hash}, columns));
        QVERIFY(file.exec(QStringLiteral("INSERT INTO Chat_%1 (CreateTime, Des, Message, Type) "
                                         "VALUES (%2); DELETE FROM Chat_%1")
                              .arg(Hash, values))
                && file.close());
        QCOMPARE(toText(scanWeixin(path("one.db"))), QStringList(Hash + QLatin1Char(' ') + found));
    }
}

void TestWeixin::directionAndConversation()
{
    ChatFile file;
    const QStringList chatIds{QString(32, QLatin1Char('B')), QString(32, QLatin1Char('a'))};
    QVERIFY(file.create(path("one.db"), chatIds));
    for (const int des : {0, 1, 2}) {
        for (const QString &chatId : chatIds) {
            QVERIFY(file.insert(longText("to ") + chatId, Time + des, des, chatId));
        }
    }
    for (const QString &chatId : chatIds) {
        QVERIFY(file.insert(longText("live"), Time, 1, chatId)
                && file.exec(QStringLiteral("DELETE FROM Chat_%1 WHERE MesLocalID<4").arg(chatId)));
    }
    QVERIFY(file.close());
    SqliteRecovery recovery;
    recovery.scanRecoveryForType(ScanTypeWeChat, path("one.db"), nullptr);
    QCOMPARE(recovery.getWeiChatCount(), 2u);
    for (unsigned i = 0; i < 2; ++i) {
        // The rows of the schema are read as they lie, the last one first.
        const WeiChatChat *chat = recovery.getWeiChat(1 - i);
        QCOMPARE(chat->chatId, chatIds[int(i)].toLower()); // names of tables have no case
        QCOMPARE(chat->messages.size(), 3);
        for (int des = 0; des < 3; ++des) {
            QCOMPARE(chat->messages[des]->isFromMe, des == 0);
            QCOMPARE(chat->messages[des]->message, longText("to ") + chatIds[int(i)]);
        }
    }
}

void TestWeixin::messagesStandInOrder()
{
    ChatFile file;
    QVERIFY(file.create(path("one.db")));
    for (const int time : {Time + 30, Time + 10, Time + 20, Time + 10}) {
        QVERIFY(file.insert(longText("at ") + QString::number(time), time, time % 4));
    }
    QVERIFY(file.exec(QStringLiteral("DELETE FROM Chat_") + Hash) && file.close());
    QStringList times;
    for (const FoundWeixinMessage &found : scanWeixin(path("one.db"))) {
        times << QString::number(found.message.createTime - Time);
    }
    // The two at one time are of one direction and text, and so one message.
    QCOMPARE(times.join(QLatin1Char(' ')), QStringLiteral("10 20 30"));
}

void TestWeixin::liveMessagesOfAnyConversationExclude()
{
    ChatFile file;
    const QStringList chatIds{QStringLiteral("aa"), QStringLiteral("bb")};
    QVERIFY(file.create(path("one.db"), chatIds));
    QVERIFY(file.insert(longText("moved"), Time, 1, chatIds[0])
            && file.insert(longText("sent"), Time, 1, chatIds[0])
            && file.insert(longText("gone"), Time, 1, chatIds[0])
            && file.insert(longText("moved"), Time, 1, chatIds[1])
            && file.insert(longText("sent"), Time, 0, chatIds[1])
            && file.insert(longText("gone"), Time + 1, 1, chatIds[1])
            && file.exec(QStringLiteral("DELETE FROM Chat_aa")) && file.close());
    QStringList found;
    for (const FoundWeixinMessage &message : scanWeixin(path("one.db"))) {
        found << message.message.message;
    }
    found.sort();
    QCOMPARE(found, (QStringList{longText("gone"), longText("sent")}));
}

/// A freeblock header ends where the first type stands, whose size would shift all other fields.
void TestWeixin::firstTypeBehindAFreeblockHeader()
{
    ChatFile file;
    QVERIFY(file.create(path("one.db"), {Hash}, OldColumns));
    for (int i = 0; i < 6; ++i) {
        QVERIFY(file.insert(QStringLiteral("short %1").arg(i), Time + i, i % 2));
    }
    QVERIFY(file.exec(QStringLiteral("DELETE FROM Chat_%1 WHERE MesLocalID=2;"
                                     "DELETE FROM Chat_%1 WHERE MesLocalID=5")
                          .arg(Hash))
            && file.close());
    QCOMPARE(toText(scanWeixin(path("one.db"))),
             (QStringList{QStringLiteral("%1 %2 1 received short 1").arg(Hash).arg(Time + 1),
                          QStringLiteral("%1 %2 1 sent short 4").arg(Hash).arg(Time + 4)}));
}

void TestWeixin::otherTablesAreNoConversations()
{
    ChatFile file;
    QVERIFY(file.create(path("one.db"), {}));
    QVERIFY(file.exec(QStringLiteral("CREATE TABLE ChatExt2_%1(%2); CREATE TABLE Friend(%2);"
                                     "INSERT INTO ChatExt2_%1 (CreateTime, Message) VALUES "
                                     "(1500000000, 'text'); DELETE FROM ChatExt2_%1")
                          .arg(Hash, NewColumns))
            && file.close());
    ScanProbe probe;
    SqliteRecovery recovery;
    QCOMPARE(recovery.scanRecoveryForType(ScanTypeWeChat, path("one.db"), &probe), 0);
    QCOMPARE(recovery.getWeiChatCount(), 0u);
    QCOMPARE(probe.doneCalls, 1);
}

/// Every table of a hostile file may have columns of its own.
void TestWeixin::manyLayoutsTakeLittleTime()
{
    ChatFile file;
    QVERIFY(file.create(path("one.db")));
    QString tables = QStringLiteral("PRAGMA writable_schema=1;");
    for (int i = 0; i < 1000; ++i) {
        QString columns = QStringLiteral("c%1").arg(i);
        for (int more = i % 200; more > 0; --more) {
            columns += QLatin1String(",x");
        }
        tables += QStringLiteral("INSERT INTO sqlite_master VALUES ('table','Chat_%1','Chat_%1',2,"
                                 "'create table Chat_%1(%2,CreateTime,Message,Type,Des)');")
                      .arg(i)
                      .arg(columns);
    }
    QVERIFY(file.exec(QStringLiteral("BEGIN")));
    for (int i = 0; i < 2000; ++i) {
        QVERIFY(file.insert(QString(300, QLatin1Char('\x04')), Time + i));
    }
    QVERIFY(file.exec(QStringLiteral("DELETE FROM Chat_%1;").arg(Hash) + tables
                      + QStringLiteral("COMMIT"))
            && file.close());
    QElapsedTimer timer;
    timer.start();
    scanWeixin(path("one.db"));
    QVERIFY(timer.elapsed() < 20000);
}

void TestWeixin::namesOfAnyCharacters()
{
    ChatFile file;
    QVERIFY(file.create(path("one.db"), {}));
    const QStringList chatIds{QStringLiteral("a\"b"), QStringLiteral("%"),
                              QStringLiteral("'; drop table x; --"), QString()};
    for (const QString &chatId : chatIds) {
        const QString name =
            QStringLiteral("\"Chat_%1\"")
                .arg(QString(chatId).replace(QLatin1Char('"'), QLatin1String("\"\"")));
        QVERIFY(file.exec(QStringLiteral("CREATE TABLE %1(%2)").arg(name, NewColumns)));
        for (int i = 0; i < 3; ++i) { // the last one stays, and must be known as live
            QVERIFY(
                file.exec(QStringLiteral("INSERT INTO %1 (CreateTime, Des, Message, Type) "
                                         "VALUES (%2,1,'%3',1)")
                              .arg(name)
                              .arg(Time + i)
                              .arg(longText("in ") + QString::number(chatIds.indexOf(chatId)))));
        }
        QVERIFY(file.exec(QStringLiteral("DELETE FROM %1 WHERE MesLocalID<3").arg(name)));
    }
    QVERIFY(file.close());
    QHash<QString, int> found;
    for (const FoundWeixinMessage &message : scanWeixin(path("one.db"))) {
        QCOMPARE(message.message.message,
                 longText("in ") + QString::number(chatIds.indexOf(message.chatId)));
        ++found[message.chatId];
    }
    for (const QString &chatId : chatIds) {
        QCOMPARE(found[chatId], 2);
    }
}

/// The files of one account share conversations, and are scanned one after the other.
void TestWeixin::secondScanAddsToTheSameChats()
{
    WeixinSample sample;
    QVERIFY(makeSample({WeixinLayout::Wcdb, WeixinDeletion::Cleared, 200, 5}, &sample));
    SqliteRecovery recovery;
    recovery.scanRecoveryForType(ScanTypeWeChat, path("sample.db"), nullptr);
    const int messages = messagesOf(&recovery).size();
    const unsigned chats = recovery.getWeiChatCount();
    QVERIFY(messages > 20 && chats > 1);
    recovery.scanRecoveryForType(ScanTypeWeChat, path("sample.db"), nullptr);
    QCOMPARE(recovery.getWeiChatCount(), chats);
    QCOMPARE(messagesOf(&recovery).size(), 2 * messages);
    const QList<WeiChatMessage *> &first = recovery.getWeiChat(0)->messages;
    QVERIFY(std::is_sorted(first.begin(), first.end(),
                           [](auto *a, auto *b) { return a->createTime < b->createTime; }));
}

void TestWeixin::progressIsDividedOnce()
{
    WeixinSample sample;
    QVERIFY(makeSample({WeixinLayout::Wcdb, WeixinDeletion::Dropped, 900, 5, 40}, &sample));
    SqliteRecovery recovery;
    ScanProbe probe;
    recovery.scanRecoveryForType(ScanTypeWeChat, path("sample.db"), &probe);
    QVERIFY(qAbs(probe.total - probe.progressValue()) < 1e-6);
    // The free pages are searched once, not once for each conversation.
    const int pages = readFile(path("sample.db")).size() / 4096;
    QVERIFY(probe.reports <= pages);
}

QTEST_APPLESS_MAIN(TestWeixin)
#include "tst_weixin.moc"
