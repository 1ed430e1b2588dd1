#include "samples/messagescan.h"
#include "samples/messagetruth.h"
#include "samples/sampledatabase.h"
#include "tests/support/testfiles.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

int countMessages(const QVector<MessageGroupRecord> &groups)
{
    int count = 0;
    for (const MessageGroupRecord &group : groups) {
        count += group.messages.size();
    }
    return count;
}

/// A row of the table "message" of the newer layouts.
struct Row
{
    QString text = QStringLiteral("Hello");
    QVariant handle = 1;
    qint64 date = 568000000000000000;
    QVariant guid = QStringLiteral("4F7C1B62-90AE-4D53-8E11-0C5D6A7B8E91");
    QVariant room;
    bool own = false;
    QVariant service = QStringLiteral("iMessage");
    QVariant body = QByteArray("words");
    QVariant version = 10;
    QVariant type = 0;

    bool insert(SampleDatabase *db) const
    {
        return db->run(QStringLiteral("INSERT INTO message (guid, text, handle_id, date, "
                                      "cache_roomnames, is_from_me, is_sent, service, "
                                      "attributedBody, version, type) VALUES "
                                      "(?,?,?,?,?,?,?,?,?,?,?)"),
                       {guid, text, handle, date, room, own, own, service, body, version, type});
    }
};

QString guidWithDigit(int number)
{
    return QStringLiteral("4F7C1B62-90AE-4D53-8E11-0C5D6A7B%1")
        .arg(number, 4, 10, QLatin1Char('0'));
}

QString text(const char *words)
{
    return QString::fromLatin1(words);
}

QString toText(const MessageGroupRecord &group)
{
    QStringList members;
    for (const MessageParticipant &participant : group.participants) {
        members << participant.id + QLatin1Char(' ') + participant.service;
    }
    members.sort();
    QStringList lines{
        QStringLiteral("%1/%2/%3")
            .arg(group.chatIdentifier, group.roomName, members.join(QLatin1String(", ")))};
    for (const MessageItem &message : group.messages) {
        lines << QStringLiteral("%1 %2 %3%4")
                     .arg(message.address, message.service, message.text,
                          QLatin1String(message.isFromMe ? " own" : ""));
    }
    return lines.join(QLatin1String("; "));
}

QStringList toText(const QVector<MessageGroupRecord> &groups)
{
    QStringList texts;
    for (const MessageGroupRecord &group : groups) {
        texts << toText(group);
    }
    return texts;
}

QStringList textsOf(const QVector<MessageGroupRecord> &groups)
{
    QStringList texts;
    for (const MessageGroupRecord &group : groups) {
        for (const MessageItem &message : group.messages) {
            texts << message.text;
        }
    }
    return texts;
}

const QString DeleteAll = QStringLiteral("DELETE FROM message");

} // namespace

Q_DECLARE_METATYPE(Row)

/// Messages as SQLite itself deletes them, in every layout, through the public interface.
class TestMessages : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void samplesHoldWhatTheySay_data();
    void samplesHoldWhatTheySay();
    void everyLayoutAndDeletion_data() { samplesHoldWhatTheySay_data(); }
    void everyLayoutAndDeletion();
    void wholeTableComesBack_data();
    void wholeTableComesBack();
    void rowsFromBeforeTheTableWasWidened();
    void texts_data();
    void texts();
    void rows_data();
    void rows();
    void conversationsOfTheNewerLayouts();
    void conversationsOfTheLayoutWithGroups();
    void copiesAreOneMessage();
    void rewrittenRows();
    void groupMembersMakeTheOlderLayout();
    void missingTables_data();
    void missingTables();
    void handlesInTheLogCount();

private:
    QString path(const char *name) const { return m_dir.filePath(QString::fromLatin1(name)); }
    bool makeSample(const MessagePlan &plan, const SampleOptions &options, const QString &path,
                    MessageSample *sample)
    {
        SampleDatabase db;
        const bool made =
            db.create(path, options) && makeMessageSample(&db, plan, sample) && db.close();
        if (!made) {
            qWarning() << db.errorText();
        }
        return made;
    }

    /// Makes the tables of the layout with the handles and chats of two people.
    bool makeTables(SampleDatabase *db, MessageLayout layout)
    {
        return db->create(path("sms.db"), deviceOptions(layout)) && db->exec(messageTables(layout))
               && (hasGroups(layout)
                   || db->exec(QStringLiteral(
                       "INSERT INTO handle (id, country, service) VALUES ('+15550001', 'us', "
                       "'SMS'),"
                       " ('+15550001', 'us', 'iMessage'), ('ada@example.com', NULL, 'iMessage');"
                       "INSERT INTO chat (guid, style, chat_identifier, service_name, room_name) "
                       "VALUES"
                       " ('SMS;-;+15550001', 45, '+15550001', 'SMS', NULL),"
                       " ('iMessage;-;+15550001', 45, '+15550001', 'iMessage', NULL),"
                       " ('iMessage;-;ada@example.com', 45, 'ada@example.com', 'iMessage', NULL),"
                       " ('iMessage;+;chat77', 43, 'chat77', 'iMessage', 'chat77');"
                       "INSERT INTO chat_handle_join VALUES (1,1), (2,2), (3,3), (4,2), (4,3)")));
    }
    static QString report(const MessageResult &result)
    {
        return result.summary() + QLatin1Char('\n') + result.details.join(QLatin1Char('\n'));
    }
    /// Holds for every sample of `messages` messages, however they were deleted.
    void verify(const MessageResult &result, int messages)
    {
        const int notDeleted = result.liveCopies + result.liveDamaged + result.invented;
        const int wrong = result.incomplete + result.wrongFields + result.twice;
        // A freeblock of 128 to 255 bytes with a successor hides its row where the first type
        // follows it directly.
        QVERIFY2(result.missedWhole <= messages / 100, qPrintable(report(result)));
        QVERIFY2(notDeleted <= messages / 40, qPrintable(report(result)));
        QVERIFY2(wrong + result.damaged <= messages / 15, qPrintable(report(result)));
        QVERIFY2(result.wrongConversation == 0, qPrintable(report(result)));
        QVERIFY2(result.splits + result.wrongGroups <= 3, qPrintable(report(result)));
    }
    /// Returns the texts that come back when the row is the only one and is deleted.
    QStringList scanRow(const Row &row)
    {
        SampleDatabase db;
        const bool made = makeTables(&db, MessageLayout::Ios12) && row.insert(&db)
                          && db.exec(DeleteAll) && db.close();
        return made ? textsOf(scan()) : QStringList(db.errorText());
    }
    QVector<MessageGroupRecord> scan() { return scanMessages(path("sms.db")); }

    QTemporaryDir m_dir;
};

void TestMessages::samplesHoldWhatTheySay_data()
{
    QTest::addColumn<int>("layout");
    QTest::addColumn<int>("deletion");
    for (const MessageLayout layout : allMessageLayouts()) {
        for (const MessageDeletion deletion : allMessageDeletions()) {
            QTest::addRow("%s, %s", qPrintable(layoutName(layout)),
                          qPrintable(deletionName(deletion)))
                << int(layout) << int(deletion);
        }
    }
}

void TestMessages::samplesHoldWhatTheySay()
{
    QFETCH(int, layout);
    QFETCH(int, deletion);
    const MessagePlan plan{MessageLayout(layout), MessageDeletion(deletion), 400, 5};
    MessageSample sample;
    QVERIFY(makeSample(plan, deviceOptions(plan.layout), path("sms.db"), &sample));
    SampleDatabase db;
    QVERIFY(db.open(path("sms.db")));
    QCOMPARE(db.scalar(QStringLiteral("PRAGMA integrity_check")).toString(), QStringLiteral("ok"));
    const QString count = QStringLiteral("SELECT count(*) FROM message");
    QCOMPARE(db.scalar(count).toInt(), countMessages(sample.live));
    QVERIFY(countMessages(sample.live) + countMessages(sample.deleted) >= plan.messages);
    QVERIFY(countMessages(sample.deleted) >= plan.messages / 7);
    for (const MessageGroupRecord &group : qAsConst(sample.live)) {
        for (const MessageItem &message : group.messages) {
            QCOMPARE(db.scalar(count + QStringLiteral(" WHERE date=? AND text IS ?"),
                               {message.date, message.text})
                         .toInt(),
                     1);
        }
    }
}

void TestMessages::everyLayoutAndDeletion()
{
    QFETCH(int, layout);
    QFETCH(int, deletion);
    const MessagePlan plan{MessageLayout(layout), MessageDeletion(deletion), 400, 11};
    MessageSample sample;
    QVERIFY(makeSample(plan, deviceOptions(plan.layout), path("sms.db"), &sample));
    const MessageResult result = compareMessages(sample, readFile(path("sms.db")), scan());
    verify(result, plan.messages);
    // The file of the oldest layout is cut off where pages become free.
    const bool isCutOff = hasGroups(plan.layout)
                          && (plan.deletion == MessageDeletion::Contiguous
                              || plan.deletion == MessageDeletion::WholeTable);
    const int fitting = result.deleted - result.refused;
    QVERIFY2(isCutOff || result.recovered * 10 > fitting * 6, qPrintable(report(result)));
}

void TestMessages::wholeTableComesBack_data()
{
    QTest::addColumn<int>("layout");
    QTest::addColumn<int>("pageSize");
    for (const MessageLayout layout : allMessageLayouts()) {
        for (const int pageSize : {1024, 4096, 16384}) {
            QTest::addRow("%s, pages of %d bytes", qPrintable(layoutName(layout)), pageSize)
                << int(layout) << pageSize;
        }
    }
}

void TestMessages::wholeTableComesBack()
{
    QFETCH(int, layout);
    QFETCH(int, pageSize);
    const MessagePlan plan{MessageLayout(layout), MessageDeletion::WholeTable, 300, 3};
    MessageSample sample;
    SampleOptions options; // without auto-vacuum, which would cut the free pages off
    options.pageSize = pageSize;
    QVERIFY(makeSample(plan, options, path("sms.db"), &sample));
    const MessageResult result = compareMessages(sample, readFile(path("sms.db")), scan());
    verify(result, plan.messages);
    QVERIFY2(result.overwritten <= result.deleted / 100, qPrintable(report(result)));
}

void TestMessages::rowsFromBeforeTheTableWasWidened()
{
    const MessagePlan plan{MessageLayout::Ios14, MessageDeletion::WholeTable, 200, 9};
    MessageSample sample;
    QVERIFY(makeSample(plan, SampleOptions(), path("sms.db"), &sample));
    SampleDatabase db;
    QVERIFY(db.open(path("sms.db")));
    QVERIFY(db.exec(QStringLiteral("ALTER TABLE message ADD COLUMN syndication_ranges TEXT;"
                                   "ALTER TABLE message ADD COLUMN date_edited INTEGER;")));
    QVERIFY(db.close());
    const MessageResult result = compareMessages(sample, readFile(path("sms.db")), scan());
    QVERIFY2(result.recovered == result.deleted - result.refused, qPrintable(report(result)));
    QCOMPARE(result.twice + result.wrongConversation, 0);
}

void TestMessages::texts_data()
{
    QTest::addColumn<bool>("standardGuid");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected"); // null when the row is not to come back
    const auto row = [](const char *name, bool standardGuid, const char *text,
                        const char *expected) {
        QTest::newRow(name) << standardGuid << QString::fromUtf8(text)
                            << QString::fromUtf8(expected);
    };
    row("ordinary", true, "Hello", "Hello");
    row("a standard guid answers for its text", true, "ABCD-1234-5678", "ABCD-1234-5678");
    row("archive marker under a standard guid", true, "Hello\x04\x0Bstreamtyped",
        "Hello\x04\x0Bstreamtyped");
    row("NULL", true, nullptr, nullptr);
    row("empty", true, "", nullptr);
    row("a letter and two halves of an emoji", true, u8"a\U0001F600", nullptr);
    row("more letters than emoji", true, u8"abcd\U0001F600", u8"abcd\U0001F600");
    row("lower-case guid", false, "Hello", "Hello");
    row("part of a guid", false, "ABCD-1234-5678", nullptr);
    row("in a sentence", false, "Call me ABCD-1234-5678", "Call me ABCD-1234-5678");
    row("with four letters", false, "abcdABCD-1234-5678", nullptr);
    row("with five letters", false, "abcdeABCD-1234-5678", "abcdeABCD-1234-5678");
    row("with a space", false, "ABCD-1234-5678 a", "ABCD-1234-5678 a");
    row("parts of guids, 39 bytes", false, "ABCD-1234-5678-ABCD-1234-5678-ABCD-1234", nullptr);
    row("parts of guids, 40 bytes", false, "ABCD-1234-5678-ABCD-1234-5678-ABCD-1234-",
        "ABCD-1234-5678-ABCD-1234-5678-ABCD-1234-");
    row("archive marker", false, "Hello\x04\x0Bstreamtyped\x04junk", "Hello");
    row("short archive marker", false, "Hello\x0Bstreamtyped", "Hello");
    row("nothing but an archive", false, "\x04\x0Bstreamtyped", nullptr);
    row("part of a guid, archive", false, "ABCD-1234-5678\x04\x0Bstreamtyped", nullptr);
}

void TestMessages::texts()
{
    QFETCH(bool, standardGuid);
    QFETCH(QString, text);
    QFETCH(QString, expected);
    Row row;
    row.guid = standardGuid ? guidWithDigit(1) : guidWithDigit(1).toLower();
    row.text = text;
    QCOMPARE(scanRow(row), expected.isNull() ? QStringList() : QStringList(expected));
}

void TestMessages::rows_data()
{
    QTest::addColumn<Row>("row");
    QTest::addColumn<bool>("isFound");
    const auto test = [](const char *name, QVariant Row::*field, const QVariant &value,
                         bool isFound) {
        Row row;
        row.*field = value;
        QTest::newRow(name) << row << isFound;
    };
    test("guid of another length", &Row::guid, text("M:4F7C1B62"), false);
    test("service of three bytes", &Row::service, text("RCS"), true);
    test("service of nine bytes", &Row::service, text("Telegraph"), false);
    test("no attributed body", &Row::body, QVariant(), true);
    test("attributed body as a text", &Row::body, text("words"), false);
    test("handle NULL", &Row::handle, QVariant(), false);
    test("version NULL", &Row::version, QVariant(), false);
    test("type 1", &Row::type, 1, true);
    test("type of two bytes", &Row::type, 300, false);
}

void TestMessages::rows()
{
    QFETCH(Row, row);
    QFETCH(bool, isFound);
    QCOMPARE(scanRow(row), isFound ? QStringList(row.text) : QStringList());
}

void TestMessages::conversationsOfTheNewerLayouts()
{
    SampleDatabase db;
    QVERIFY(makeTables(&db, MessageLayout::Ios12));
    const QVariant room = QStringLiteral("chat77");
    int number = 0;
    const auto insert = [&](const char *word, int handle, qint64 date, const QVariant &inRoom,
                            bool own) {
        Row row;
        row.guid = guidWithDigit(++number);
        row.text = text(word);
        row.handle = handle;
        row.date = date;
        row.room = inRoom;
        row.own = own;
        return row.insert(&db);
    };
    QVERIFY(insert("six", 2, 6, {}, false) && insert("one", 1, 1, {}, false));
    QVERIFY(insert("three", 0, 3, room, true) && insert("two", 3, 2, room, false));
    QVERIFY(insert("five", 3, 5, {}, true) && insert("seven", 88, 7, {}, false));
    QVERIFY(insert("four", 77, 4, {}, false) && insert("eight", 88, 8, {}, false));
    QVERIFY(insert("nine", 0, 9, text("chat99"), true));
    QVERIFY(db.exec(DeleteAll) && db.close());
    QCOMPARE(toText(scan()),
             (QStringList{text("+15550001//+15550001 SMS; +15550001 iMessage one; "
                               "+15550001 iMessage six"),
                          text("chat77/chat77/+15550001 iMessage, ada@example.com iMessage; "
                               "ada@example.com iMessage two;  iMessage three own"),
                          text("//;  iMessage four"),
                          text("ada@example.com//ada@example.com iMessage; "
                               "ada@example.com iMessage five own"),
                          text("//;  iMessage seven;  iMessage eight"),
                          text("chat99/chat99/;  iMessage nine own")}));
}

void TestMessages::conversationsOfTheLayoutWithGroups()
{
    SampleDatabase db;
    QVERIFY(makeTables(&db, MessageLayout::Ios5));
    QVERIFY(db.exec(QStringLiteral(
        "INSERT INTO msg_group (type) VALUES (0), (0);"
        "INSERT INTO group_member (group_id, address, country) VALUES (1, '+15550001', 'us'), "
        "(2, '+15550001', 'us'), (2, '+15550002', 'us');"
        "INSERT INTO message (address, date, text, flags, group_id, association_id, country, "
        "is_madrid) VALUES ('+15550001', 1326000000, 'one', 2, 1, 0, 'us', 0), "
        "('+15550002', 1326000009, 'three', 2, 2, 0, 'us', 0), "
        "('+15550001', 1326000001, 'two', 3, 1, 0, 'us', 0);"
        "INSERT INTO message (date, text, flags, group_id, association_id, madrid_handle, "
        "madrid_roomname, madrid_flags, is_madrid) VALUES "
        "(347692800, 'four', 0, 0, 0, '+15550001', NULL, 36869, 1), "
        "(347692801, 'five', 0, 0, 0, '+15550003', 'chat77', 36869, 1), "
        "(347692802, 'six', 0, 0, 0, '+15550001', NULL, 12289, 1), "
        "(347692803, 'seven', 0, 0, 0, NULL, 'chat77', 12289, 1);")));
    QVERIFY(db.exec(DeleteAll) && db.close());
    QStringList found = toText(scan());
    found.sort(); // the dates of the two services cannot be compared
    QCOMPARE(found, (QStringList{
                        text("+15550001//+15550001 SMS; +15550001 SMS one; +15550001 SMS two own"),
                        text("+15550001//+15550001 iMessage; +15550001 iMessage four; "
                             "+15550001 iMessage six own"),
                        text("//+15550001 SMS, +15550002 SMS; +15550002 SMS three"),
                        text("chat77/chat77/+15550003 iMessage; +15550003 iMessage five; "
                             " iMessage seven own"),
                    }));
}

void TestMessages::copiesAreOneMessage()
{
    SampleDatabase db;
    QVERIFY(makeTables(&db, MessageLayout::Ios14));
    Row row;
    QVERIFY(row.insert(&db) && db.exec(DeleteAll));
    const int pageSize = db.scalar(QStringLiteral("PRAGMA page_size")).toInt();
    QVERIFY(db.close());
    QByteArray bytes = readFile(path("sms.db"));
    const int at = bytes.indexOf(row.guid.toByteArray() + row.text.toUtf8());
    QVERIFY(at > 0);
    QFile file(path("sms.db"));
    QVERIFY(file.open(QIODevice::Append));
    file.write(bytes.mid(at / pageSize * pageSize, pageSize));
    file.close();
    QCOMPARE(textsOf(scan()), QStringList(row.text));
}

void TestMessages::rewrittenRows()
{
    SampleDatabase db;
    QVERIFY(makeTables(&db, MessageLayout::Ios17));
    Row other;
    other.guid = guidWithDigit(1);
    QVERIFY(Row().insert(&db) && other.insert(&db));
    // The row grows, and its place becomes free.
    QVERIFY(
        db.exec(QStringLiteral("UPDATE message SET date_read=568000000000000000 WHERE ROWID=1")));
    QVERIFY(db.close());
    QCOMPARE(readFile(path("sms.db")).count(Row().guid.toByteArray() + "Hello"), 2);
    QCOMPARE(textsOf(scan()), QStringList());
    QVERIFY(db.open(path("sms.db")) && db.exec(QStringLiteral("PRAGMA secure_delete=OFF")));
    QVERIFY(db.exec(QStringLiteral("UPDATE message SET text='Good bye for now' WHERE ROWID=1"))
            && db.close());
    QCOMPARE(textsOf(scan()), QStringList(QStringLiteral("Hello")));
}

void TestMessages::groupMembersMakeTheOlderLayout()
{
    const MessagePlan plan{MessageLayout::Ios5, MessageDeletion::SingleMessages, 100, 3};
    MessageSample sample;
    QVERIFY(makeSample(plan, deviceOptions(plan.layout), path("sms.db"), &sample));
    const QStringList before = toText(scan());
    SampleDatabase db;
    QVERIFY(db.open(path("sms.db")));
    QVERIFY(db.exec(QStringLiteral("CREATE TABLE handle (ROWID INTEGER PRIMARY KEY, id TEXT, "
                                   "country TEXT, service TEXT)")));
    QVERIFY(db.close());
    QVERIFY(before.size() > 3);
    QCOMPARE(toText(scan()), before);
}

void TestMessages::missingTables_data()
{
    QTest::addColumn<QString>("table");
    for (const char *table : {"handle", "chat", "chat_handle_join", "sqlite_sequence"}) {
        QTest::newRow(table) << QString::fromLatin1(table);
    }
}

void TestMessages::missingTables()
{
    QFETCH(QString, table);
    SampleDatabase db;
    QVERIFY(makeTables(&db, MessageLayout::Ios7));
    Row alone;
    Row inRoom;
    inRoom.guid = guidWithDigit(2);
    inRoom.room = QStringLiteral("chat77");
    inRoom.date += 1;
    QVERIFY(alone.insert(&db) && inRoom.insert(&db) && db.exec(DeleteAll));
    if (table == QLatin1String("sqlite_sequence")) {
        QVERIFY(db.exec(QStringLiteral("DELETE FROM sqlite_sequence")));
    } else {
        QVERIFY(db.exec(QStringLiteral("DROP TABLE ") + table));
    }
    QVERIFY(db.close());
    const QVector<MessageGroupRecord> groups = scan();
    QCOMPARE(groups.size(), 2);
    // Who wrote in a room was a member of it.
    const bool known = table != QLatin1String("handle");
    const int members = table == QLatin1String("sqlite_sequence") ? 2 : known ? 1 : 0;
    QCOMPARE(groups[0].messages.first().address, known ? QStringLiteral("+15550001") : QString());
    QCOMPARE(groups[1].roomName, QStringLiteral("chat77"));
    QCOMPARE(groups[1].participants.size(), members);
}

/// The log holds the handle of the deleted message.
void TestMessages::handlesInTheLogCount()
{
    SampleDatabase db;
    QVERIFY(makeTables(&db, MessageLayout::Ios17));
    Row row;
    row.handle = 4;
    QVERIFY(row.insert(&db) && db.exec(DeleteAll));
    QVERIFY(db.exec(QStringLiteral("PRAGMA journal_mode=WAL;"
                                   "INSERT INTO handle (id, country, service) VALUES "
                                   "('bob@example.com', 'us', 'iMessage')")));
    const QString folder = path("evidence");
    QVERIFY(QDir().mkpath(folder));
    const QString name = QStringLiteral("/3d0d7e5fb2ce288813306e4d4636395e047a3d28");
    QVERIFY(QFile::copy(path("sms.db"), folder + name));
    QVERIFY(QFile::copy(path("sms.db-wal"), folder + name + QLatin1String("-wal")));
    QVERIFY(db.close());
    SqliteRecovery recovery;
    QCOMPARE(recovery.scanRecovery(folder), 0);
    QCOMPARE(recovery.getMessageGroupCount(), 1u);
    QCOMPARE(recovery.getMessageGroup(0)->chatIdentifier, QStringLiteral("bob@example.com"));
}

QTEST_APPLESS_MAIN(TestMessages)
#include "tst_messages.moc"
