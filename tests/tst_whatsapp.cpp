#include "samples/sampledatabase.h"
#include "samples/whatsappscan.h"
#include "tests/support/testfiles.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <cmath>
#include <cstring>
#include <limits>

namespace {

using Row = QVariantMap;

QString report(const WhatsappResult &result)
{
    return result.summary() + QLatin1Char('\n') + result.details.join(QLatin1Char('\n'));
}

QStringList toText(const QVector<FoundWhatsappMessage> &messages)
{
    QStringList texts;
    for (const FoundWhatsappMessage &message : messages) {
        texts << QStringLiteral("%1|%2|%3")
                     .arg(message.chatName, message.item.senderName, message.item.text);
    }
    return texts;
}

const QString Ida = QStringLiteral("4915@s.whatsapp.net");
const QString Group = QStringLiteral("49-16@g.us");

} // namespace

/// WhatsApp messages as SQLite itself deletes them, through the public interface.
class TestWhatsapp : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void everyDeletion_data();
    void everyDeletion();
    void deletedChatWithMembersAndMedia();
    void revokedMessagesComeAsTheyWere();
    void spilledTexts_data();
    void spilledTexts();
    void dates_data();
    void dates();
    void entitiesThatAreNotRecorded_data();
    void entitiesThatAreNotRecorded();
    void missingTables_data();
    void missingTables();
    void memberPagesOfOtherTablesAreNotSearched();
    void wholeBackup();
    void damagedFiles();

private:
    QString path(const char *name) const { return m_dir.filePath(QString::fromLatin1(name)); }
    bool makeSample(const WhatsappPlan &plan, const QString &path, WhatsappSample *sample)
    {
        SampleDatabase db;
        return db.create(path, deviceOptions(plan.layout)) && makeWhatsappSample(&db, plan, sample)
               && db.close();
    }
    bool create(SampleDatabase *db)
    {
        return db->create(path("chat.db"), deviceOptions(WhatsappLayout::Ios15))
               && db->exec(whatsappTables());
    }
    static bool insert(SampleDatabase *db, const char *table, const Row &row)
    {
        QStringList marks;
        for (int i = 0; i < row.size(); ++i) {
            marks << QStringLiteral("?");
        }
        return db->run(QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                           .arg(QLatin1String(table),
                                QStringList(row.keys()).join(QLatin1Char(',')),
                                marks.join(QLatin1Char(','))),
                       row.values());
    }
    /// A received message of the chat 1 in a group.
    static Row message(const char *text)
    {
        return {{QStringLiteral("Z_ENT"), 9},
                {QStringLiteral("Z_OPT"), 1},
                {QStringLiteral("ZISFROMME"), 0},
                {QStringLiteral("ZMESSAGESTATUS"), 8},
                {QStringLiteral("ZMESSAGETYPE"), 0},
                {QStringLiteral("ZCHATSESSION"), 1},
                {QStringLiteral("ZMESSAGEDATE"), 650000000.5},
                {QStringLiteral("ZFROMJID"), Group},
                {QStringLiteral("ZSTANZAID"), QStringLiteral("3A00112233445566")},
                {QStringLiteral("ZTEXT"), QString::fromUtf8(text)}};
    }
    /// A group with one member, and a message of hers with a picture that has a title.
    bool insertGroup(SampleDatabase *db)
    {
        Row withPicture = message("X");
        withPicture[QStringLiteral("ZGROUPMEMBER")] = 1;
        withPicture[QStringLiteral("ZMEDIAITEM")] = 1;
        return insert(db, "ZWACHATSESSION",
                      {{QStringLiteral("Z_ENT"), 4},
                       {QStringLiteral("Z_OPT"), 1},
                       {QStringLiteral("ZHIDDEN"), 0},
                       {QStringLiteral("ZLASTMESSAGE"), 1},
                       {QStringLiteral("ZLASTMESSAGEDATE"), 650000000.5},
                       {QStringLiteral("ZCONTACTJID"), Group},
                       {QStringLiteral("ZPARTNERNAME"), QStringLiteral("Choir")}})
               && insert(db, "ZWAGROUPMEMBER",
                         {{QStringLiteral("Z_ENT"), 6},
                          {QStringLiteral("Z_OPT"), 1},
                          {QStringLiteral("ZCONTACTABID"), 7},
                          {QStringLiteral("ZISACTIVE"), 1},
                          {QStringLiteral("ZCHATSESSION"), 1},
                          {QStringLiteral("ZCONTACTNAME"), QStringLiteral("Ida Becker")},
                          {QStringLiteral("ZMEMBERJID"), Ida}})
               && insert(db, "ZWAMEDIAITEM",
                         {{QStringLiteral("Z_ENT"), 8},
                          {QStringLiteral("Z_OPT"), 1},
                          {QStringLiteral("ZMEDIAORIGIN"), 0},
                          {QStringLiteral("ZMESSAGE"), 1},
                          {QStringLiteral("ZASPECTRATIO"), 1.25},
                          {QStringLiteral("ZHACCURACY"), 0.0},
                          {QStringLiteral("ZLATITUDE"), 1200.0},
                          {QStringLiteral("ZTITLE"), QStringLiteral("T")}})
               && insert(db, "ZWAMESSAGE", withPicture);
    }
    QStringList scan() { return toText(scanWhatsapp(path("chat.db"))); }

    QTemporaryDir m_dir;
};

void TestWhatsapp::everyDeletion_data()
{
    QTest::addColumn<int>("deletion");
    for (const WhatsappDeletion deletion : allWhatsappDeletions()) {
        QTest::newRow(qPrintable(deletionName(deletion))) << int(deletion);
    }
}

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
    QVERIFY2(result.invented + result.liveCopies + result.twice <= 2, qPrintable(report(result)));
    QVERIFY2(result.wrongFields + result.wrongChats == 0, qPrintable(report(result)));
    QVERIFY2(result.missedWhole <= 4, qPrintable(report(result)));
    QVERIFY2((result.recovered + result.incomplete) * 5 > result.deleted * 3,
             qPrintable(report(result)));
    QVERIFY2(result.incomplete * 4 < result.recovered, qPrintable(report(result)));
    QVERIFY2(result.lostSenders * 5 < result.deleted, qPrintable(report(result)));
}

void TestWhatsapp::deletedChatWithMembersAndMedia()
{
    const QString delivered = QStringLiteral("Choir|Ida Becker|T\n\nX");
    for (const bool isWholeChat : {true, false}) {
        SampleDatabase db;
        QVERIFY(create(&db) && insertGroup(&db) && db.exec(QStringLiteral("DELETE FROM ZWAMESSAGE"))
                && (!isWholeChat
                    || db.exec(QStringLiteral("DELETE FROM ZWAMEDIAITEM; DELETE FROM "
                                              "ZWAGROUPMEMBER; DELETE FROM ZWACHATSESSION")))
                && db.close());
        QCOMPARE(scan(), QStringList(delivered));
        const FoundWhatsappMessage found = scanWhatsapp(path("chat.db")).first();
        QCOMPARE(found.chatJids, QStringList(Group));
        QCOMPARE(found.item.date, 650000000);
        QCOMPARE(found.item.messageStatus, 8);
    }
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

void TestWhatsapp::spilledTexts_data()
{
    QTest::addColumn<int>("size");
    // Around the largest row of a cell, and one that takes many pages.
    for (const int size : {3900, 3960, 3970, 3980, 3990, 4000, 4061, 8200, 60000}) {
        QTest::addRow("%d", size) << size;
    }
}

void TestWhatsapp::spilledTexts()
{
    QFETCH(int, size);
    QString text;
    for (int i = 0; text.size() < size; ++i) {
        text += QStringLiteral("line%1 ").arg(i);
    }
    text.truncate(size);
    SampleDatabase db;
    // Something else is deleted first: the first page that is freed gets the list of the others.
    QVERIFY(create(&db) && insert(&db, "ZWAMESSAGE", message(qPrintable(text)))
            && db.exec(QStringLiteral("INSERT INTO Z_MODELCACHE VALUES (zeroblob(9000));"
                                      "DELETE FROM Z_MODELCACHE; DELETE FROM ZWAMESSAGE"))
            && db.close());
    QCOMPARE(scan(), QStringList(Group + QStringLiteral("||") + text));
}

void TestWhatsapp::dates_data()
{
    QTest::addColumn<double>("date");
    QTest::addColumn<qint32>("expected");
    QTest::newRow("fraction") << 650000000.75 << 650000000;
    QTest::newRow("whole") << 650000000.0 << 650000000;
    QTest::newRow("before 2001") << -5.5 << -5;
    QTest::newRow("of 33 bits") << 4294967296.0 + 7.5 << 7;
    QTest::newRow("of 32 bits") << 3000000000.5 << -1294967296;
    QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN() << 0;
    QTest::newRow("infinite") << std::numeric_limits<double>::infinity() << 0;
    QTest::newRow("huge") << 1e300 << 0;
}

void TestWhatsapp::dates()
{
    QFETCH(double, date);
    SampleDatabase db;
    const double marker = 650001234.5;
    Row row = message("X");
    row[QStringLiteral("ZMESSAGEDATE")] = date == std::floor(date) && std::abs(date) < 1e9
                                              ? QVariant(qint64(date))
                                              : QVariant(marker);
    QVERIFY(create(&db) && insert(&db, "ZWAMESSAGE", row)
            && db.exec(QStringLiteral("DELETE FROM ZWAMESSAGE")) && db.close());
    // SQLite would store no number that is none.
    QByteArray bytes = readFile(path("chat.db"));
    const auto bytesOf = [](double number) {
        quint64 bits = 0;
        std::memcpy(&bits, &number, sizeof bits);
        QByteArray stored(sizeof bits, '\0');
        qToBigEndian(bits, stored.data());
        return stored;
    };
    bytes.replace(bytesOf(marker), bytesOf(date));
    QFile file(path("chat.db"));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    file.close();
    const QVector<FoundWhatsappMessage> found = scanWhatsapp(path("chat.db"));
    QCOMPARE(found.size(), 1);
    QTEST(found.first().item.date, "expected");
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

void TestWhatsapp::damagedFiles()
{
    const WhatsappPlan plan{WhatsappLayout::Ios15, WhatsappDeletion::ThenMessages, 120, 2};
    WhatsappSample sample;
    QVERIFY(makeSample(plan, path("sound.db"), &sample));
    const QByteArray sound = readFile(path("sound.db"));
    QRandomGenerator random(7);
    int found = 0;
    for (int round = 0; round < 40; ++round) {
        QByteArray bytes = sound;
        for (int i = random.bounded(1, 2000); i > 0; --i) {
            bytes[random.bounded(100, bytes.size())] = char(random.bounded(256));
        }
        QFile file(path("damaged.db"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        file.close();
        const QVector<FoundWhatsappMessage> messages = scanWhatsapp(path("damaged.db"));
        found += messages.size();
        for (const FoundWhatsappMessage &message : messages) {
            QVERIFY(message.item.text.size() < bytes.size());
        }
    }
    QVERIFY(found > 100);
}

QTEST_APPLESS_MAIN(TestWhatsapp)
#include "tst_whatsapp.moc"
