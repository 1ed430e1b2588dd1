#include "samples/sampledatabase.h"
#include "samples/whatsappscan.h"
#include "tests/support/jsonrow.h"
#include "tests/support/samplechecks.h"
#include "tests/support/testfiles.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

using Row = QVariantMap;

QStringList toText(const QVector<FoundWhatsappMessage> &messages)
{
    QStringList texts;
    for (const FoundWhatsappMessage &message : messages) {
        texts << QStringLiteral("%1|%2|%3")
                     .arg(message.chatName, message.item.senderName, message.item.text);
    }
    return texts;
}

const QString Group = QStringLiteral("49-16@g.us");

} // namespace

/// WhatsApp messages as SQLite itself deletes them, through the public interface.
class TestWhatsapp : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void everyDeletion_data()
    {
        addSampleRows(QVector{WhatsappLayout::Ios15}, allWhatsappDeletions());
    }
    void everyDeletion();
    void revokedMessagesComeAsTheyWere();
    void entitiesThatAreNotRecorded_data();
    void entitiesThatAreNotRecorded();
    void missingTables_data();
    void missingTables();
    void memberPagesOfOtherTablesAreNotSearched();
    void wholeBackup();

private:
    QString path(const char *name) const { return m_dir.filePath(QString::fromLatin1(name)); }
    bool makeSample(const WhatsappPlan &plan, const QString &path, WhatsappSample *sample)
    {
        return makeSampleFile(path, deviceOptions(plan.layout), makeWhatsappSample, plan, sample);
    }
    bool create(SampleDatabase *db)
    {
        return db->create(path("chat.db"), deviceOptions(WhatsappLayout::Ios15))
               && db->exec(whatsappTables());
    }
    static bool insert(SampleDatabase *db, const char *table, const Row &row)
    {
        return db->run(QStringLiteral("INSERT INTO %1 (%2) VALUES (?%3)")
                           .arg(QLatin1String(table),
                                QStringList(row.keys()).join(QLatin1Char(',')),
                                QStringLiteral(",?").repeated(row.size() - 1)),
                       row.values());
    }
    /// A received message of the chat 1 in a group.
    static Row message(const char *text)
    {
        Row row = rowFromJson(R"({"Z_ENT": 9, "Z_OPT": 1, "ZISFROMME": 0, "ZMESSAGESTATUS": 8,
            "ZMESSAGETYPE": 0, "ZCHATSESSION": 1, "ZMESSAGEDATE": 650000000.5,
            "ZFROMJID": "49-16@g.us", "ZSTANZAID": "3A00112233445566"})");
        row[QStringLiteral("ZTEXT")] = QString::fromUtf8(text);
        return row;
    }
    /// A group with one member, and a message of hers with a picture that has a title.
    bool insertGroup(SampleDatabase *db)
    {
        Row withPicture = message("X");
        withPicture[QStringLiteral("ZGROUPMEMBER")] = 1;
        withPicture[QStringLiteral("ZMEDIAITEM")] = 1;
        return insert(db, "ZWACHATSESSION", rowFromJson(R"({"Z_ENT": 4, "Z_OPT": 1, "ZHIDDEN": 0,
                   "ZLASTMESSAGE": 1, "ZLASTMESSAGEDATE": 650000000.5,
                   "ZCONTACTJID": "49-16@g.us", "ZPARTNERNAME": "Choir"})"))
               && insert(db, "ZWAGROUPMEMBER", rowFromJson(R"({"Z_ENT": 6, "Z_OPT": 1,
                   "ZCONTACTABID": 7, "ZISACTIVE": 1, "ZCHATSESSION": 1,
                   "ZCONTACTNAME": "Ida Becker", "ZMEMBERJID": "4915@s.whatsapp.net"})"))
               && insert(db, "ZWAMEDIAITEM", rowFromJson(R"({"Z_ENT": 8, "Z_OPT": 1,
                   "ZMEDIAORIGIN": 0, "ZMESSAGE": 1, "ZASPECTRATIO": 1.25, "ZHACCURACY": 0,
                   "ZLATITUDE": 1200, "ZTITLE": "T"})"))
               && insert(db, "ZWAMESSAGE", withPicture);
    }
    QStringList scan() { return toText(scanWhatsapp(path("chat.db"))); }

    QTemporaryDir m_dir;
};

void TestWhatsapp::everyDeletion()
{
    QFETCH(int, deletion);
    const WhatsappPlan plan{WhatsappLayout::Ios15, WhatsappDeletion(deletion), 600, 11};
    WhatsappSample sample;
    QVERIFY(makeSample(plan, path("chat.db"), &sample));
    const QVector<FoundWhatsappMessage> found = scanWhatsapp(path("chat.db"));
    const WhatsappResult result = compareWhatsapp(sample, readFile(path("chat.db")), found);
    QVERIFY(result.deleted >= plan.messages / 6);
    QCOMPARE(result.found(), found.size());
    QVERIFY2(result.invented + result.liveCopies + result.twice <= 2,
             detailsOf(result).constData());
    QVERIFY2(result.wrongFields + result.wrongChats == 0, detailsOf(result).constData());
    QVERIFY2(result.missedWhole <= 4, detailsOf(result).constData());
    QVERIFY2((result.recovered + result.incomplete) * 5 > result.deleted * 3,
             detailsOf(result).constData());
    QVERIFY2(result.incomplete * 4 < result.recovered, detailsOf(result).constData());
    QVERIFY2(result.lostSenders * 5 < result.deleted, detailsOf(result).constData());
}

void TestWhatsapp::revokedMessagesComeAsTheyWere()
{
    SampleDatabase db;
    QVERIFY(create(&db));
    for (int i = 0; i < 8; ++i) {
        Row row = message(qPrintable(QStringLiteral("message number %1").arg(i)));
        row[QStringLiteral("ZSTANZAID")] = QStringLiteral("3A0011223344556%1").arg(i);
        QVERIFY(insert(&db, "ZWAMESSAGE", row));
    }
    // Delivered: the row is written again, somewhere else on the page. Revoked: without its text.
    QVERIFY(db.exec(QStringLiteral("UPDATE ZWAMESSAGE SET ZMESSAGESTATUS=6, ZPUSHNAME='Ida Becker' "
                                   "WHERE Z_PK=3;"
                                   "UPDATE ZWAMESSAGE SET ZMESSAGETYPE=14, ZTEXT=NULL, "
                                   "ZPHASH='2:0123456789012345' WHERE Z_PK=6"))
            && db.close());
    QCOMPARE(readFile(path("chat.db")).count("message number 2"), 2);
    QCOMPARE(scan(), QStringList(Group + QStringLiteral("||message number 5")));
}

void TestWhatsapp::entitiesThatAreNotRecorded_data()
{
    QTest::addColumn<QString>("change");
    QTest::newRow("nothing recorded") << QString();
    QTest::newRow("no table of entities") << QStringLiteral("DROP TABLE Z_PRIMARYKEY");
    QTest::newRow("recorded") << QStringLiteral("INSERT INTO Z_PRIMARYKEY VALUES "
                                                "(4,'WAChatSession',0,1),(6,'WAGroupMember',0,1),"
                                                "(8,'WAMediaItem',0,1),(9,'WAMessage',0,1)");
    QTest::newRow("recorded under other numbers")
        << QStringLiteral("INSERT INTO Z_PRIMARYKEY VALUES (1,'WAChatSession',0,1),"
                          "(2,'WAGroupMember',0,1),(3,'WAMediaItem',0,1),(5,'WAMessage',0,1)");
}

void TestWhatsapp::entitiesThatAreNotRecorded()
{
    QFETCH(QString, change);
    for (const bool isAnythingLeft : {true, false}) {
        SampleDatabase db;
        QVERIFY(create(&db) && insertGroup(&db) && db.exec(change)
                && db.exec(QStringLiteral("DELETE FROM ZWAMESSAGE"))
                && (isAnythingLeft
                    || db.exec(QStringLiteral("DELETE FROM ZWAMEDIAITEM; DELETE FROM "
                                              "ZWAGROUPMEMBER; DELETE FROM ZWACHATSESSION")))
                && db.close());
        QCOMPARE(scan(), QStringList(QStringLiteral("Choir|Ida Becker|T\n\nX")));
    }
}

void TestWhatsapp::missingTables_data()
{
    QTest::addColumn<QString>("change");
    QTest::addColumn<QStringList>("expected");
    const auto renamed = [](const char *table) {
        return QStringLiteral("ALTER TABLE %1 RENAME TO Z1").arg(QLatin1String(table));
    };
    QTest::newRow("none") << QString() << QStringList(QStringLiteral("Choir|Ida Becker|T\n\nX"));
    QTest::newRow("no chats") << renamed("ZWACHATSESSION")
                              << QStringList(Group + QStringLiteral("|Ida Becker|T\n\nX"));
    QTest::newRow("no members") << renamed("ZWAGROUPMEMBER")
                                << QStringList(QStringLiteral("Choir|Unknown member|T\n\nX"));
    QTest::newRow("no media") << renamed("ZWAMEDIAITEM")
                              << QStringList(QStringLiteral("Choir|Ida Becker|X"));
    QTest::newRow("no titles") << QStringLiteral(
        "ALTER TABLE ZWAMEDIAITEM RENAME COLUMN ZTITLE TO Z1")
                               << QStringList(QStringLiteral("Choir|Ida Becker|X"));
    QTest::newRow("no messages") << renamed("ZWAMESSAGE") << QStringList();
    QTest::newRow("no identifiers")
        << QStringLiteral("ALTER TABLE ZWAMESSAGE RENAME COLUMN ZSTANZAID TO Z1") << QStringList();
}

void TestWhatsapp::missingTables()
{
    QFETCH(QString, change);
    SampleDatabase db;
    QVERIFY(create(&db) && insertGroup(&db)
            && db.exec(QStringLiteral("DELETE FROM ZWAMESSAGE;") + change) && db.close());
    QTEST(scan(), "expected");
}

void TestWhatsapp::memberPagesOfOtherTablesAreNotSearched()
{
    // A page that members left and another table took keeps their rows at its end.
    SampleDatabase db;
    QVERIFY(create(&db) && insertGroup(&db));
    const QString statement =
        db.scalar(QStringLiteral("SELECT sql FROM sqlite_master WHERE name='ZWAGROUPMEMBER'"))
            .toString();
    QVERIFY(db.exec(QStringLiteral("ALTER TABLE ZWAGROUPMEMBER RENAME TO other;") + statement
                    + QStringLiteral(";DELETE FROM other; DELETE FROM ZWAMESSAGE"))
            && db.close());
    QVERIFY(readFile(path("chat.db")).count("Ida Becker") >= 1);
    QCOMPARE(scan(), QStringList(QStringLiteral("Choir|Unknown member|T\n\nX")));
}

void TestWhatsapp::wholeBackup()
{
    const QString folder = path("backup/");
    QVERIFY(QDir().mkpath(folder));
    const QString name = QStringLiteral("1b6b187a1b60b9ae8b720c79e2c67f472bab09c0");
    WhatsappSample sample;
    QVERIFY(makeSample({WhatsappLayout::Ios15, WhatsappDeletion::DeletedChats, 100, 4},
                       folder + name, &sample));
    SqliteRecovery recovery;
    QCOMPARE(recovery.scanRecovery(folder), 0);
    QVERIFY(recovery.getWhatsappCount() > 3);
}

QTEST_APPLESS_MAIN(TestWhatsapp)
#include "tst_whatsapp.moc"
