#include "samples/messagescan.h"
#include "samples/messagetruth.h"
#include "samples/sampledatabase.h"
#include "tests/support/samplechecks.h"
#include "tests/support/testfiles.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

/// A row of the table "message" of the newer layouts.
struct Row
{
    QString text = QStringLiteral("Hello");
    qint64 date = 568000000000000000;
    QString guid = QStringLiteral("4F7C1B62-90AE-4D53-8E11-0C5D6A7B8E91");
    QVariant room;

    bool insert(SampleDatabase *db) const
    {
        return db->run(
            QStringLiteral("INSERT INTO message (guid, text, handle_id, date, cache_roomnames, "
                           "service, attributedBody, version, type) VALUES (?1, ?2, 1, ?3, ?4, "
                           "'iMessage', x'776f726473', 10, 0)"),
            {guid, text, date, room});
    }
};

QString guidWithDigit(int number)
{
    return QStringLiteral("4F7C1B62-90AE-4D53-8E11-0C5D6A7B%1")
        .arg(number, 4, 10, QLatin1Char('0'));
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

/// Messages as SQLite itself deletes them, in every layout, through the public interface.
class TestMessages : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void everyLayoutAndDeletion_data()
    {
        addSampleRows(allMessageLayouts(), allMessageDeletions());
    }
    void everyLayoutAndDeletion();
    void wholeTableComesBack_data()
    {
        addSampleRows(allMessageLayouts(), QVector{MessageDeletion::WholeTable},
                      {1024, 4096, 16384});
    }
    void wholeTableComesBack();
    void rowsFromBeforeTheTableWasWidened();
    void texts_data();
    void texts();
    void conversationsOfTheLayoutWithGroups();
    void rewrittenRows();
    void groupMembersMakeTheOlderLayout();
    void missingTables_data();
    void missingTables();

private:
    QString path(const char *name) const { return m_dir.filePath(QString::fromLatin1(name)); }
    bool makeSample(const MessagePlan &plan, const SampleOptions &options, MessageSample *sample)
    {
        return makeSampleFile(path("sms.db"), options, makeMessageSample, plan, sample);
    }

    /// Makes the tables of the layout with the handles and chats of two people.
    bool makeTables(SampleDatabase *db, MessageLayout layout)
    {
        return db->create(path("sms.db"), deviceOptions(layout)) && db->exec(messageTables(layout))
               && (hasGroups(layout)
                   || db->exec(QStringLiteral(
                       "INSERT INTO handle (id, country, service) VALUES"
                       " ('+15550001', 'us', 'SMS'), ('+15550001', 'us', 'iMessage'),"
                       " ('ada@example.com', NULL, 'iMessage');"
                       "INSERT INTO chat (guid, style, chat_identifier, service_name, room_name)"
                       " VALUES ('SMS;-;+15550001', 45, '+15550001', 'SMS', NULL),"
                       " ('iMessage;-;+15550001', 45, '+15550001', 'iMessage', NULL),"
                       " ('iMessage;-;ada@example.com', 45, 'ada@example.com', 'iMessage', NULL),"
                       " ('iMessage;+;chat77', 43, 'chat77', 'iMessage', 'chat77');"
                       "INSERT INTO chat_handle_join VALUES (1,1), (2,2), (3,3), (4,2), (4,3)")));
    }
    /// Holds for every sample of `messages` messages, however they were deleted.
    void verify(const MessageResult &result, int messages)
    {
        const int notDeleted = result.liveCopies + result.liveDamaged + result.invented;
        const int wrong = result.incomplete + result.wrongFields + result.twice;
        // A freeblock of 128 to 255 bytes with a successor hides its row where the first type
        // follows it directly.
        QVERIFY2(result.missedWhole <= messages / 100, detailsOf(result).constData());
        QVERIFY2(notDeleted <= messages / 40, detailsOf(result).constData());
        QVERIFY2(wrong + result.damaged <= messages / 15, detailsOf(result).constData());
        QVERIFY2(result.wrongConversation == 0, detailsOf(result).constData());
        QVERIFY2(result.splits + result.wrongGroups <= 3, detailsOf(result).constData());
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

void TestMessages::everyLayoutAndDeletion()
{
    QFETCH(int, layout);
    QFETCH(int, deletion);
    const MessagePlan plan{MessageLayout(layout), MessageDeletion(deletion), 400, 11};
    MessageSample sample;
    QVERIFY(makeSample(plan, deviceOptions(plan.layout), &sample));
    const MessageResult result = compareMessages(sample, readFile(path("sms.db")), scan());
    verify(result, plan.messages);
    // The file of the oldest layout is cut off where pages become free.
    const bool isCutOff = hasGroups(plan.layout)
                          && (plan.deletion == MessageDeletion::Contiguous
                              || plan.deletion == MessageDeletion::WholeTable);
    const int fitting = result.deleted - result.refused;
    QVERIFY2(isCutOff || result.recovered * 10 > fitting * 6, detailsOf(result).constData());
}

void TestMessages::wholeTableComesBack()
{
    QFETCH(int, layout);
    QFETCH(int, pageSize);
    const MessagePlan plan{MessageLayout(layout), MessageDeletion::WholeTable, 300, 3};
    MessageSample sample;
    SampleOptions options; // without auto-vacuum, which would cut the free pages off
    options.pageSize = pageSize;
    QVERIFY(makeSample(plan, options, &sample));
    const MessageResult result = compareMessages(sample, readFile(path("sms.db")), scan());
    verify(result, plan.messages);
    QVERIFY2(result.overwritten <= result.deleted / 100, detailsOf(result).constData());
}

void TestMessages::rowsFromBeforeTheTableWasWidened()
{
    const MessagePlan plan{MessageLayout::Ios14, MessageDeletion::WholeTable, 200, 9};
    MessageSample sample;
    QVERIFY(makeSample(plan, SampleOptions(), &sample));
    SampleDatabase db;
    QVERIFY(db.open(path("sms.db")));
    QVERIFY(db.exec(QStringLiteral("ALTER TABLE message ADD COLUMN syndication_ranges TEXT;"
                                   "ALTER TABLE message ADD COLUMN date_edited INTEGER;")));
    QVERIFY(db.close());
    const MessageResult result = compareMessages(sample, readFile(path("sms.db")), scan());
    QVERIFY2(result.recovered == result.deleted - result.refused, detailsOf(result).constData());
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

/// Names and members stand in tables of their own, of which the messages say nothing.
void TestMessages::conversationsOfTheLayoutWithGroups()
{
    SampleDatabase db;
    QVERIFY(makeTables(&db, MessageLayout::Ios5));
    QVERIFY(db.exec(QStringLiteral(
        "INSERT INTO group_member (group_id, address) VALUES (1, 'ann'), (2, 'ann'), (2, 'ben');"
        "INSERT INTO madrid_chat (chat_identifier, room_name) VALUES ('our room', 'chat77');"
        "INSERT INTO message (address, date, text, flags, group_id, association_id, country) "
        "VALUES ('ann', 1326000000, 'one', 2, 1, 0, 'us'), ('ann', 1326000009, 'two', 2, 2, 0, "
        "'us');"
        "INSERT INTO message (date, text, flags, group_id, association_id, madrid_handle, "
        "madrid_roomname, madrid_flags, is_madrid) VALUES "
        "(347692800, 'three', 0, 0, 0, 'ann', NULL, 36869, 1), "
        "(347692801, 'four', 0, 0, 0, 'cem', 'chat77', 36869, 1), "
        "(347692802, 'stays', 0, 0, 0, 'eve', 'chat77', 36869, 1);"
        "DELETE FROM message WHERE text <> 'stays'")));
    QVERIFY(db.close());
    QStringList found;
    for (const MessageGroupRecord &group : scan()) {
        found << group.chatIdentifier + QLatin1Char('/') + group.messages.first().text;
        for (const MessageParticipant &member : group.participants) {
            found.last() += QLatin1Char(' ') + member.id;
        }
    }
    found.sort(); // the dates of the two services cannot be compared
    QCOMPARE(found.join(QLatin1String(", ")),
             QStringLiteral("/two ann ben, ann/one ann, ann/three ann, our room/four eve cem"));
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
    QCOMPARE(readFile(path("sms.db")).count(Row().guid.toLatin1() + "Hello"), 2);
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
    QVERIFY(makeSample(plan, deviceOptions(plan.layout), &sample));
    const QStringList before = textsOf(scan());
    SampleDatabase db;
    QVERIFY(db.open(path("sms.db")));
    QVERIFY(db.exec(QStringLiteral("CREATE TABLE handle (ROWID INTEGER PRIMARY KEY, id TEXT, "
                                   "country TEXT, service TEXT)")));
    QVERIFY(db.close());
    QVERIFY(before.size() > 3);
    QCOMPARE(textsOf(scan()), before);
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

QTEST_APPLESS_MAIN(TestMessages)
#include "tst_messages.moc"
