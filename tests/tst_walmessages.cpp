#include "api/walrecovery.h"
#include "samples/messagesamples.h"
#include "samples/messagetruth.h"
#include "samples/sampledatabase.h"
#include "tests/support/logversions.h"
#include "tests/support/samplechecks.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

/// Messages as lists of texts, sorted.
using Contents = QVector<QStringList>;

constexpr int ColumnCount = 9;

QString messageSql(MessageLayout layout)
{
    return hasGroups(layout)
               ? QStringLiteral("SELECT '', date, ifnull(text, ''), ifnull(subject, ''), "
                                "iif(is_madrid, madrid_handle, address), "
                                "iif(is_madrid, 'iMessage', 'SMS'), iif(is_madrid, "
                                "madrid_flags = 12289, flags = 3), '', madrid_roomname "
                                "FROM message")
               : QStringLiteral("SELECT m.guid, m.date, m.text, m.subject, h.id, m.service, "
                                "m.is_from_me, m.is_sent, m.cache_roomnames FROM message m "
                                "LEFT JOIN handle h ON h.rowid = m.handle_id "
                                "WHERE m.text <> ''");
}

QVector<MessageGroupRecord> groupsOf(WalRecovery *recovery)
{
    QVector<MessageGroupRecord> groups;
    for (unsigned i = 0; i < recovery->getMessageGroupCount(); ++i) {
        groups << *recovery->getMessageGroup(i);
    }
    return groups;
}

Contents contentsOf(const QVector<MessageGroupRecord> &groups, bool isOld)
{
    Contents contents;
    for (const MessageGroupRecord &group : groups) {
        for (const MessageItem &item : group.messages) {
            contents.append({item.guid, QString::number(item.date), item.text, item.subject,
                             item.address, item.service, QString::number(item.isFromMe),
                             isOld ? QString() : QString::number(item.isSent), group.roomName});
        }
    }
    std::sort(contents.begin(), contents.end());
    return contents;
}

/// What some version has and the last one has not.
Contents lostMessages(const LogVersions &versions, MessageLayout layout)
{
    QSet<QStringList> lost;
    for (int i = 0; i < versions.count(); ++i) {
        for (const QStringList &row : versions.rows(i, messageSql(layout), ColumnCount)) {
            lost.insert(row);
        }
    }
    for (const QStringList &row :
         versions.rows(versions.count() - 1, messageSql(layout), ColumnCount)) {
        lost.remove(row);
    }
    Contents sorted(lost.cbegin(), lost.cend());
    std::sort(sorted.begin(), sorted.end());
    return sorted;
}

/// Each message as "conversation (members): address text", in the order delivered.
QStringList linesOf(const QVector<MessageGroupRecord> &groups)
{
    QStringList lines;
    for (const MessageGroupRecord &group : groups) {
        QStringList members;
        for (const MessageParticipant &member : group.participants) {
            members.append(member.id);
        }
        members.sort();
        for (const MessageItem &item : group.messages) {
            lines.append(QStringLiteral("%1 (%2): %3 %4")
                             .arg(group.chatIdentifier, members.join(QLatin1Char(' ')),
                                  item.address, item.text));
        }
    }
    return lines;
}

} // namespace

/// Messages databases with their logs as SQLite itself writes them, through the facade.
class TestWalMessages : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void everyLayout_data() { addSampleRows(allMessageLayouts(), allMessageDeletions()); }
    void everyLayout();
    void otherFiles();
    void whatCountsAsDeleted();
    void namesComeFromAnyVersion();
    void oldNamesComeFromAnyVersion();
    void changesOfNoField_data();
    void changesOfNoField();
    void putBackUnderOtherIdentifiers_data();
    void putBackUnderOtherIdentifiers();
    void longTextsAndOldRows();
    void firstLayout();

private:
    QString path(const char *name) const { return m_dir.filePath(QString::fromLatin1(name)); }
    bool make(SampleDatabase *db, MessageLayout layout)
    {
        return db->create(path("device.db"), deviceOptions(layout))
               && db->exec(messageTables(layout)) && db->startLog();
    }
    bool insert(SampleDatabase *db, int rowid, const char *text, int handle,
                const QString &room = QString())
    {
        return db->run(
            QStringLiteral("INSERT INTO message (rowid, guid, text, handle_id, service, "
                           "date, cache_roomnames, is_sent) VALUES (?1, "
                           "'0A3F570A-7DB8-4368-983E-0000000000' || (10 + ?1), ?2, ?3, "
                           "'iMessage', 500000000 + ?1, ?4, 0)"),
            {rowid, QString::fromUtf8(text), handle, room.isEmpty() ? QVariant() : QVariant(room)});
    }
    QVector<MessageGroupRecord> scan(const char *name)
    {
        WalRecovery recovery;
        recovery.scanRecoveryForType(ScanTypeMessages, path(name),
                                     path(name) + QStringLiteral("-wal"), nullptr);
        return groupsOf(&recovery);
    }
    QStringList textsFound()
    {
        QStringList texts;
        for (const MessageGroupRecord &group : scan("case.db")) {
            for (const MessageItem &item : group.messages) {
                texts.append(item.text);
            }
        }
        texts.sort();
        return texts;
    }
    void compareWithVersions(const MessagePlan &plan, const SampleOptions &options);
    QTemporaryDir m_dir;
};

void TestWalMessages::compareWithVersions(const MessagePlan &plan, const SampleOptions &options)
{
    SampleDatabase db;
    MessageSample sample;
    QVERIFY(db.create(path("device.db"), options) && db.startLog());
    QVERIFY(makeMessageSample(&db, plan, &sample) && db.copyWithLog(path("case.db")));
    const QVector<MessageGroupRecord> found = scan("case.db");
    const Contents expected = lostMessages(LogVersions(path("case.db")), plan.layout);
    QVERIFY(!expected.isEmpty() || sample.deleted.isEmpty());
    QCOMPARE(contentsOf(found, hasGroups(plan.layout)), expected);
    const MessageResult result = compareMessages(sample, QByteArray(), found);
    const QByteArray details = detailsOf(result);
    QVERIFY2(result.recovered + result.refused == result.deleted, details.constData());
    // Of the rooms of iOS 5 those are known who wrote there.
    const int wrongGroups = hasGroups(plan.layout) ? 0 : result.wrongGroups;
    QVERIFY2(result.damaged + result.liveCopies + result.liveDamaged + result.twice
                     + result.invented + result.incomplete + result.wrongFields
                     + result.wrongConversation + result.splits + wrongGroups
                 == 0,
             details.constData());
}

/// The messages of each version that are not in the last, and their conversations.
void TestWalMessages::everyLayout()
{
    QFETCH(int, layout);
    QFETCH(int, deletion);
    const MessagePlan plan{MessageLayout(layout), MessageDeletion(deletion), 60, 2};
    compareWithVersions(plan, deviceOptions(plan.layout));
}

void TestWalMessages::otherFiles()
{
    SampleOptions options;
    for (const MessageLayout layout : {MessageLayout::Ios5, MessageLayout::Ios12}) {
        const MessagePlan plan{layout, MessageDeletion::WholeConversations, 60, 5};
        options.pageSize = 4096;
        options.encoding = QByteArray("UTF-16le");
        compareWithVersions(plan, options);
        options.pageSize = 1024;
        options.encoding = QByteArray("UTF-16be");
        compareWithVersions(plan, options);
    }
}

void TestWalMessages::whatCountsAsDeleted()
{
    SampleDatabase db;
    QVERIFY(make(&db, MessageLayout::Ios12));
    QVERIFY(db.exec(QStringLiteral("INSERT INTO handle (rowid, id, service) VALUES "
                                   "(1, '+15550001', 'iMessage');")));
    for (int i = 1; i <= 8; ++i) {
        QVERIFY(insert(&db, i, qPrintable(QStringLiteral("text %1").arg(i)), 1));
    }
    QVERIFY(db.exec(
        QStringLiteral("DELETE FROM message WHERE rowid = 1;"
                       "DELETE FROM message WHERE rowid = 2;" // to be put back
                       "DELETE FROM message WHERE rowid = 3;" // twice
                       "UPDATE message SET is_read = 1, date_read = 7 WHERE rowid = 4;"
                       "UPDATE message SET is_sent = 1 WHERE rowid = 5;"
                       "UPDATE message SET text = 'second' WHERE rowid = 6;"
                       "UPDATE message SET text = 'third' WHERE rowid = 6;"
                       "UPDATE message SET text = 'second' WHERE rowid = 6;"
                       "UPDATE message SET text = 'third' WHERE rowid = 6;"
                       "UPDATE message SET text = 'away' WHERE rowid = 7;"
                       "UPDATE message SET text = 'text 7' WHERE rowid = 7;" // is as it was
                       "UPDATE message SET text = NULL WHERE rowid = 8;" // taken back by its writer
                       "DELETE FROM message WHERE rowid = 8;")));
    QVERIFY(insert(&db, 2, "text 2", 1) && insert(&db, 3, "text 3", 1));
    QVERIFY(db.exec(QStringLiteral("DELETE FROM message WHERE rowid = 3;")));
    QVERIFY(db.copyWithLog(path("case.db")));
    QCOMPARE(textsFound().join(QLatin1Char('|')),
             QStringLiteral("away|second|text 1|text 3|text 5|text 6|text 8"));
}

void TestWalMessages::namesComeFromAnyVersion()
{
    SampleDatabase db;
    QVERIFY(make(&db, MessageLayout::Ios12));
    QVERIFY(db.exec(
        QStringLiteral("INSERT INTO handle (rowid, id, service) VALUES (1, 'ann', 'iMessage'), "
                       "(2, 'ben', 'iMessage'), (3, 'cem', 'SMS'), (4, 'dan', 'iMessage');"
                       "INSERT INTO chat (rowid, guid, chat_identifier, room_name) VALUES "
                       "(1, 'g1', 'room one', 'chat1'), (2, 'g2', 'room two', 'chat2');"
                       "INSERT INTO chat_handle_join (chat_id, handle_id) VALUES (1, 1), (1, 2), "
                       "(2, 3), (2, 4);")));
    QVERIFY(insert(&db, 1, "first", 1) && insert(&db, 2, "second", 1) && insert(&db, 3, "third", 3)
            && insert(&db, 4, "fourth", 9) && insert(&db, 5, "fifth", 8)
            && insert(&db, 6, "sixth", 0) && insert(&db, 7, "own", 0, QStringLiteral("chat1"))
            && insert(&db, 8, "there", 4, QStringLiteral("chat2"))
            && insert(&db, 9, "elsewhere", 2, QStringLiteral("chat3")));
    QVERIFY(db.exec(QStringLiteral(
        "DELETE FROM message WHERE rowid = 1;"
        "UPDATE handle SET id = 'ann new' WHERE rowid = 1;"
        "DELETE FROM message WHERE rowid = 2;"
        "DELETE FROM handle WHERE rowid = 3;"
        "DELETE FROM message WHERE rowid = 3;" // the handle is gone already
        "DELETE FROM message WHERE rowid = 4;"
        "INSERT INTO handle (rowid, id, service) VALUES (9, 'late', 'SMS');" // it comes afterwards
        "DELETE FROM message WHERE rowid = 5;"                               // nobody knows it
        "DELETE FROM message WHERE rowid = 6;"
        "DELETE FROM chat_handle_join WHERE chat_id = 2;"
        "DELETE FROM chat WHERE rowid = 2;"
        "DELETE FROM message WHERE rowid = 8;" // the room is gone already
        "BEGIN; DELETE FROM message WHERE rowid = 7; DELETE FROM chat WHERE rowid = 1; "
        "DELETE FROM chat_handle_join; DELETE FROM handle WHERE rowid = 2; COMMIT;"
        "DELETE FROM message WHERE rowid = 9;")));
    QVERIFY(db.copyWithLog(path("case.db")));
    QCOMPARE(linesOf(scan("case.db")).join(QLatin1Char('\n')),
             QStringLiteral("ann (ann): ann first\n"
                            "ann new (ann new): ann new second\n"
                            "cem (cem): cem third\n"
                            "late (late): late fourth\n"
                            " ():  fifth\n"
                            " ():  sixth\n"
                            "room one (ann new ben):  own\n"
                            "room two (cem dan): dan there\n"
                            "chat3 (ben): ben elsewhere"));
}

void TestWalMessages::oldNamesComeFromAnyVersion()
{
    SampleDatabase db;
    QVERIFY(make(&db, MessageLayout::Ios5));
    QVERIFY(db.exec(QStringLiteral(
        "INSERT INTO group_member (group_id, address) VALUES (1, 'ann'), (2, 'ben'), (2, 'cem');"
        "INSERT INTO madrid_chat (chat_identifier, room_name) VALUES ('room one', 'chat1'), "
        "('room two', 'chat2');"
        "INSERT INTO message (rowid, address, date, text, flags, group_id, is_madrid) VALUES "
        "(1, 'ann', 1300000001, 'first', 2, 1, 0), (2, NULL, 1300000002, 'to both', 3, 2, 0), "
        "(3, 'ben', 1300000003, 'from ben', 2, 2, 0), (4, 'dan', 1300000004, 'no group', 2, 7, 0);"
        "INSERT INTO message (rowid, date, text, is_madrid, madrid_handle, madrid_roomname, "
        "madrid_flags) VALUES (5, 400000005, 'in room', 1, 'eve', 'chat1', 36869), "
        "(6, 400000006, 'stays', 1, 'fay', 'chat1', 36869), "
        "(7, 400000007, 'other room', 1, 'gus', 'chat2', 36869);"
        "DELETE FROM message WHERE rowid = 3;"
        "DELETE FROM group_member WHERE group_id = 2;"
        "DELETE FROM message WHERE rowid = 2;"
        "DELETE FROM madrid_chat WHERE room_name = 'chat2';"
        "DELETE FROM message WHERE rowid = 7;"
        "BEGIN; DELETE FROM group_member; DELETE FROM message WHERE rowid IN (1, 4, 5); COMMIT;")));
    QVERIFY(db.copyWithLog(path("case.db")));
    QCOMPARE(linesOf(scan("case.db")).join(QLatin1Char('\n')),
             QStringLiteral("ann (ann): ann first\n"
                            " (ben cem):  to both\n"
                            " (ben cem): ben from ben\n"
                            "dan (dan): dan no group\n"
                            "room one (eve fay): eve in room\n"
                            "room two (gus): gus other room"));
}

void TestWalMessages::changesOfNoField_data()
{
    QTest::addColumn<int>("layout");
    QTest::addColumn<QString>("change");
    QTest::addColumn<int>("found");
    const int recent = int(MessageLayout::Ios17);
    const int old = int(MessageLayout::Ios5);
    QTest::newRow("date of reading") << recent << QStringLiteral("date_read = 5") << 0;
    QTest::newRow("delivered") << recent << QStringLiteral("is_delivered = 1") << 0;
    QTest::newRow("archive of the text") << recent << QStringLiteral("attributedBody = x'00'") << 0;
    QTest::newRow("subject") << recent << QStringLiteral("subject = 'new'") << 3;
    QTest::newRow("handle") << recent << QStringLiteral("handle_id = 2") << 3;
    QTest::newRow("guid") << recent << QStringLiteral("guid = 'p:' || guid") << 3;
    QTest::newRow("old: read") << old << QStringLiteral("read = 1, UIFlags = 6") << 0;
    QTest::newRow("old: marks of no direction") << old << QStringLiteral("flags = flags + 32") << 0;
    QTest::newRow("old: direction") << old << QStringLiteral("flags = 3") << 3;
    QTest::newRow("old: date") << old << QStringLiteral("date = date + 1") << 3;
}

void TestWalMessages::changesOfNoField()
{
    QFETCH(int, layout);
    QFETCH(QString, change);
    QFETCH(int, found);
    SampleDatabase db;
    QVERIFY(make(&db, MessageLayout(layout)));
    for (int i = 1; i <= 3; ++i) {
        QVERIFY(hasGroups(MessageLayout(layout))
                    ? db.run(QStringLiteral("INSERT INTO message (address, date, text, flags, "
                                            "group_id, is_madrid) VALUES ('ann', 1300000000 + ?1 "
                                            "* 10, 'text', 2, 1, 0)"),
                             {i})
                    : insert(&db, i, "text", 1));
    }
    QVERIFY(db.exec(QStringLiteral("UPDATE message SET ") + change)
            && db.copyWithLog(path("case.db")));
    QCOMPARE(textsFound().size(), found);
}

void TestWalMessages::putBackUnderOtherIdentifiers_data()
{
    QTest::addColumn<int>("layout");
    QTest::newRow("guid and handle") << int(MessageLayout::Ios14);
    QTest::newRow("groups") << int(MessageLayout::Ios5);
}

/// All rows come back under other numbers, those of their handle or group among them; one stays
/// away.
void TestWalMessages::putBackUnderOtherIdentifiers()
{
    QFETCH(int, layout);
    SampleDatabase db;
    QVERIFY(make(&db, MessageLayout(layout)));
    const bool isOld = hasGroups(MessageLayout(layout));
    const QString party =
        isOld ? QStringLiteral("INSERT INTO group_member (group_id, address) VALUES (%1, 'ann')")
              : QStringLiteral("INSERT INTO handle (rowid, id, service) VALUES (%1, 'ann', 'SMS')");
    const auto fill = [&](int first, int number) {
        bool isDone = db.exec(party.arg(number));
        for (int i = 0; i < 4; ++i) {
            isDone = isDone
                     && (isOld ? db.run(QStringLiteral("INSERT INTO message (rowid, address, date, "
                                                       "text, flags, group_id, is_madrid) VALUES "
                                                       "(?1, 'ann', ?2, 'text ' || ?2, 2, ?3, 0)"),
                                        {first + i, 1300000000 + i, number})
                               : db.run(QStringLiteral(
                                            "INSERT INTO message (rowid, guid, text, handle_id, "
                                            "service, date) VALUES (?1, 'guid ' || ?2, 'text ' || "
                                            "?2, ?3, 'SMS', ?2)"),
                                        {first + i, 1300000000 + i, number}));
        }
        return isDone;
    };
    const QString clear = isOld ? QStringLiteral("DELETE FROM group_member; DELETE FROM message;")
                                : QStringLiteral("DELETE FROM handle; DELETE FROM message;");
    QVERIFY(fill(1, 1) && db.exec(clear) && fill(11, 2));
    QVERIFY(db.exec(QStringLiteral("DELETE FROM message WHERE rowid = 12;")));
    QVERIFY(db.copyWithLog(path("case.db")));
    QCOMPARE(textsFound(), QStringList{QStringLiteral("text 1300000001")});
}

/// Texts on overflow pages, and rows that are older than the last columns of the table.
void TestWalMessages::longTextsAndOldRows()
{
    SampleDatabase db;
    QVERIFY(db.create(path("device.db"))
            && db.exec(QStringLiteral("CREATE TABLE message (ROWID INTEGER PRIMARY KEY, guid TEXT, "
                                      "text TEXT, handle_id INTEGER DEFAULT 0);"
                                      "CREATE TABLE handle (ROWID INTEGER PRIMARY KEY, id TEXT);"
                                      "INSERT INTO handle VALUES (1, 'ann');"))
            && db.startLog());
    const QString text = QStringLiteral("word ").repeated(4000);
    QVERIFY(db.run(QStringLiteral("INSERT INTO message VALUES (1, 'a', ?, 1)"), {text})
            && db.exec(QStringLiteral("INSERT INTO message VALUES (2, 'b', 'old', 1);"
                                      "ALTER TABLE message ADD COLUMN is_sent INTEGER DEFAULT 0;"
                                      "ALTER TABLE message ADD COLUMN cache_roomnames TEXT;"
                                      "UPDATE message SET guid = 'c' WHERE rowid = 1;"
                                      "DELETE FROM message WHERE rowid = 2;")));
    QVERIFY(db.copyWithLog(path("case.db")));
    QCOMPARE(textsFound(), (QStringList{QStringLiteral("old"), text}));
    QCOMPARE(scan("case.db").first().chatIdentifier, QStringLiteral("ann"));
}

/// The first generation has neither subjects nor iMessages.
void TestWalMessages::firstLayout()
{
    SampleDatabase db;
    QVERIFY(
        db.create(path("device.db"))
        && db.exec(QStringLiteral(
            "CREATE TABLE message (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, address TEXT, date "
            "INTEGER, text TEXT, flags INTEGER, replace INTEGER, svc_center TEXT, group_id "
            "INTEGER, association_id INTEGER, height INTEGER, UIFlags INTEGER, version INTEGER);"
            "CREATE TABLE group_member (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, group_id INTEGER, "
            "address TEXT);"
            "INSERT INTO group_member (group_id, address) VALUES (1, 'ann');"
            "INSERT INTO message (address, date, text, flags, group_id) VALUES "
            "('ann', 1200000000, 'first', 2, 1), ('ann', 1200000001, 'second', 3, 1);"))
        && db.startLog() && db.exec(QStringLiteral("DELETE FROM message WHERE text = 'second'"))
        && db.copyWithLog(path("case.db")));
    QCOMPARE(linesOf(scan("case.db")), QStringList{QStringLiteral("ann (ann): ann second")});
}

QTEST_GUILESS_MAIN(TestWalMessages)
#include "tst_walmessages.moc"
