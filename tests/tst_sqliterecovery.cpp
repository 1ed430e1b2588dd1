#include "api/backupindex.h"
#include "api/databasecheck.h"
#include "api/sqliterecovery.h"
#include "samples/callsamples.h"
#include "tests/support/kindsamples.h"
#include "tests/support/scanprobe.h"
#include "tests/support/testfiles.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>

#include <sys/stat.h>

namespace {

const QString CallsName = QStringLiteral("2b2b0084a1bc3a5ac8c27afdf14afb42c61a19ca");

/// Makes a call history in which the call of 42 seconds was deleted.
bool makeCallHistory(const QString &path)
{
    SampleDatabase db;
    const QString insert =
        QStringLiteral("insert into call (address, date, duration, flags, id, name, country_code)"
                       " values ('5551234', %1, %2, 5, -1, null, '310');");
    return db.create(path) && createCallTables(&db, CallLayout::Ios4)
           && db.exec(insert.arg(1300000000).arg(42) + insert.arg(1300001000).arg(43))
           && db.exec(QStringLiteral("delete from call where duration = 42")) && db.close();
}

/// The first sample of the type.
const KindSample &sampleOf(ScanType type)
{
    return *std::find_if(kindSamples().cbegin(), kindSamples().cend(),
                         [type](const KindSample &kind) { return kind.type == type; });
}

/// All twelve counts, in the order of the arrays.
QVector<unsigned> counts(SqliteRecovery &recovery)
{
    return {recovery.getBookmarkCount(),      recovery.getNoteCount(),
            recovery.getCallhistoryCount(),   recovery.getReminderCount(),
            recovery.getCalendarCount(),      recovery.getMessageGroupCount(),
            recovery.getContactCount(),       recovery.getWhatsappCount(),
            recovery.getHiddenContactCount(), recovery.getSafariHistoryCount(),
            recovery.getIos9NoteCount(),      recovery.getWeiChatCount()};
}

} // namespace

/// The public interface, through the shared library.
class TestSqliteRecovery : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void freshObjectIsEmpty();
    void scansOneDatabase();
    void typeCodes();
    void unopenableFilesAreSkippedInSilence();
    void listOverloadPicksTheFile();
    void dbFileForType_data();
    void dbFileForType();
    void wholeBackup();
    void wholeBackupOfManyKinds();
    void checkDatabase_data();
    void checkDatabase();

private:
    QString path(const char *name) const { return m_dir.filePath(QString::fromLatin1(name)); }
    QString write(const char *name, const QByteArray &bytes)
    {
        return writeFile(path(name), bytes) ? path(name) : QString();
    }

    QTemporaryDir m_dir;
};

void TestSqliteRecovery::freshObjectIsEmpty()
{
    SqliteRecovery recovery;
    QCOMPARE(counts(recovery), QVector<unsigned>(12, 0));
    QVERIFY(!recovery.getBookmark(0) && !recovery.getNote(0) && !recovery.getCallhistory(0)
            && !recovery.getReminder(0) && !recovery.getCalendar(0) && !recovery.getMessageGroup(0)
            && !recovery.getContact(0) && !recovery.getWhatsapp(0) && !recovery.getHiddenContact(0)
            && !recovery.getSafariHistory(0) && !recovery.getIos9Note(0)
            && !recovery.getWeiChat(0));
}

void TestSqliteRecovery::scansOneDatabase()
{
    QVERIFY(makeCallHistory(path("calls.db")));
    SqliteRecovery recovery;
    QCOMPARE(recovery.scanRecoveryForType(ScanTypeCallHistory, path("calls.db"), nullptr), 0);
    QCOMPARE(counts(recovery), (QVector<unsigned>{0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    const CallhistoryRecord *call = recovery.getCallhistory(0);
    QVERIFY(call);
    QCOMPARE(call->address, QStringLiteral("5551234"));
    QCOMPARE(call->date, 1300000000);
    QCOMPARE(call->duration, 42);
    QCOMPARE(call->flags, 5);
    QVERIFY(!recovery.getCallhistory(1) && !recovery.getCallhistory(0xFFFFFFFF));
}

void TestSqliteRecovery::typeCodes()
{
    QVERIFY(makeCallHistory(path("types.db")));
    for (int type = -2; type <= 12; ++type) {
        const bool isKnown = (type >= 0 && type <= 8) || type == 10;
        for (const QString &file : {path("types.db"), path("missing.db")}) {
            SqliteRecovery recovery;
            ScanProbe probe;
            QCOMPARE(recovery.scanRecoveryForType(type, file, &probe), isKnown ? 0 : -1);
            QCOMPARE(probe.doneCalls, 1);
        }
    }
}

void TestSqliteRecovery::unopenableFilesAreSkippedInSilence()
{
    SqliteRecovery recovery;
    const QString text = write("text.db", "no database at all");
    // A pipe would make a reader wait for a writer.
    QCOMPARE(::mkfifo(QFile::encodeName(path("pipe.db")).constData(), 0600), 0);
    for (const QString &file :
         {path("missing.db"), text, m_dir.path(), QString(), path("pipe.db")}) {
        QCOMPARE(recovery.scanRecoveryForType(ScanTypeCallHistory, file, nullptr), 0);
        QCOMPARE(recovery.scanRecoveryForType(ScanTypeContacts, file, nullptr), 0);
    }
    QCOMPARE(counts(recovery), QVector<unsigned>(12, 0));
    QVERIFY(!QFileInfo::exists(path("missing.db")));
}

void TestSqliteRecovery::listOverloadPicksTheFile()
{
    QVERIFY(makeCallHistory(path("call_history.db")));
    SqliteRecovery recovery;
    ScanProbe probe;
    QCOMPARE(recovery.scanRecoveryForType(2, QStringList{path("sms.db")}, &probe), -1);
    QCOMPARE(probe.doneCalls + probe.reports, 0);
    const QStringList files{path("sms.db"), path("call_history.db")};
    QCOMPARE(recovery.scanRecoveryForType(2, files, &probe), 0);
    QCOMPARE(probe.doneCalls, 1);
    QCOMPARE(recovery.getCallhistoryCount(), 1u);
}

void TestSqliteRecovery::dbFileForType_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("files");
    QTest::addColumn<QString>("picked");
    const auto row = [](int type, const char *files, const char *picked) {
        QTest::addRow("%d %s", type, files)
            << type << QString::fromLatin1(files) << QString::fromLatin1(picked);
    };
    row(0, "/a/AddressBook.sqlitedb /b/AddressBook.sqlitedb", "/b/AddressBook.sqlitedb");
    row(0, "/a/addressbook.sqlitedb", "");
    row(0, "/a/AddressBook.old.sqlitedb", "");
    row(1, "/a/sms.db /a/sms /a/call_history.db", "/a/sms");
    row(2, "/a/sms.db /a/call_history.db", "/a/call_history.db");
    row(3, "/a/Calendar.sqlitedb /a/Calendar.sqlitedb-wal", "/a/Calendar.sqlitedb-wal");
    row(3, "/a/calendar.sqlitedb /a/Calendar.sqlitedb /a/Calendar.sqlitedb.bak",
        "/a/Calendar.sqlitedb");
    row(4, "/a/notes.sqlite /b/notes.sqlite /b/NoteStore.sqlite", "/b/notes.sqlite");
    row(4, "/a/Notes.sqlite", "");
    row(5, "/a/Bookmarks.db /a/History.db", "/a/Bookmarks.db");
    row(6, "/a/ChatStorage.sqlite", "/a/ChatStorage.sqlite");
    row(7, "/a/History.db", "");
    row(7, "/a/History.db /a/.db", "/a/.db");
    row(8, "/a/NoteStore.sqlite", "");
    row(8, "/a/NoteStore.sqlite /a/.sqlite", "/a/.sqlite");
    row(9, "/a/History.db", "");
    // Any name but "mm" will do for WeChat.
    row(10, "/w/MM.sqlite", "");
    row(10, "/w/message_1.sqlite /w/MM.sqlite", "/w/message_1.sqlite");
    row(10, "/w/MM.sqlite /w/other.db /w/mM.db", "/w/other.db");
}

void TestSqliteRecovery::dbFileForType()
{
    QFETCH(int, type);
    QFETCH(QString, files);
    QTEST(SqliteRecovery().dbFileForType(type, files.split(QLatin1Char(' '))), "picked");
}

void TestSqliteRecovery::wholeBackup()
{
    const QString backup = path("backup");
    SqliteRecovery recovery;
    QCOMPARE(recovery.scanRecovery(backup), -1);
    QVERIFY(QDir().mkpath(backup));
    QCOMPARE(recovery.scanRecovery(backup), 0);
    QVERIFY(makeCallHistory(backup + QLatin1Char('/') + CallsName));
    // The same database where the backup keeps the address book is no address book.
    QVERIFY(makeCallHistory(backup + QStringLiteral("/31bb7ba8914766d4ba40d6dfb6113c8b614be442")));
    QCOMPARE(recovery.scanRecovery(backup + QLatin1Char('/') + CallsName), -1);
    QCOMPARE(recovery.scanRecovery(backup), 0);
    QCOMPARE(counts(recovery), (QVector<unsigned>{0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

/// Each database comes from where a backup keeps it; what a second scan finds is added.
void TestSqliteRecovery::wholeBackupOfManyKinds()
{
    const QString backup = path("many/");
    QVERIFY(QDir().mkpath(backup));
    QVector<unsigned> single(12, 0);
    for (const BackupLocation &place : backupLocations()) {
        const QString file = backup + backupFileName(place.domain, place.relativePath);
        QVERIFY(makeKindSample(sampleOf(place.type), file));
        SqliteRecovery recovery;
        recovery.scanRecoveryForType(place.type, file, nullptr);
        const QVector<unsigned> found = counts(recovery);
        for (int i = 0; i < found.size(); ++i) {
            single[i] += place.isInWholeScan ? found[i] : 0;
        }
    }
    // Some kinds come from other places alone, and only few samples have hidden contacts.
    QVERIFY(int(std::count(single.cbegin(), single.cend(), 0U)) <= 3);

    SqliteRecovery recovery;
    QCOMPARE(recovery.scanRecovery(backup), 0);
    QCOMPARE(counts(recovery), single);
    const QString firstPage = recovery.getSafariHistory(0)->url;
    QCOMPARE(recovery.scanRecovery(backup), 0);
    for (unsigned &count : single) {
        count *= 2;
    }
    QCOMPARE(counts(recovery), single);
    QCOMPARE(recovery.getSafariHistory(single.at(9) / 2)->url, firstPage);
}

void TestSqliteRecovery::checkDatabase_data()
{
    QVERIFY(makeCallHistory(path("sound.db")));
    const QByteArray bytes = readFile(path("sound.db"));
    const QByteArray noise = randomBytes(4096);
    QTest::addColumn<QString>("file");
    QTest::addColumn<int>("state");
    const auto row = [](const char *name, const QString &file, DatabaseState state) {
        QTest::newRow(name) << file << int(state);
    };
    row("sound", path("sound.db"), DatabaseState::Readable);
    row("missing", path("missing.db"), DatabaseState::Missing);
    row("folder", m_dir.path(), DatabaseState::Unreadable);
    row("empty", write("empty.db", ""), DatabaseState::NotADatabase);
    row("text", write("text.db", QByteArray("plain text ").repeated(500)),
        DatabaseState::NotADatabase);
    row("encrypted", write("encrypted.db", noise), DatabaseState::LooksEncrypted);
    row("a few random bytes", write("short.db", noise.left(500)), DatabaseState::NotADatabase);
    row("cut in the header", write("cut.db", bytes.left(60)), DatabaseState::Damaged);
    row("schema lost", write("schema.db", QByteArray(bytes).replace(100, 400, QByteArray(400, 0))),
        DatabaseState::Damaged);
}

void TestSqliteRecovery::checkDatabase()
{
    QFETCH(QString, file);
    QTEST(int(::checkDatabase(file)), "state");
}

QTEST_APPLESS_MAIN(TestSqliteRecovery)
#include "tst_sqliterecovery.moc"
