#include "api/walrecovery.h"
#include "samples/calendarsamples.h"
#include "samples/safarisamples.h"
#include "samples/sampledatabase.h"
#include "tests/support/folderstate.h"
#include "tests/support/logversions.h"
#include "tests/support/scanprobe.h"
#include "tests/support/walbuilder.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

/// Records as lists of texts, sorted.
using Contents = QVector<QStringList>;

const QString BookmarkSql = QStringLiteral("SELECT title, url, parent FROM bookmarks");

Contents bookmarksOf(WalRecovery *recovery)
{
    Contents found;
    for (unsigned i = 0; i < recovery->getBookmarkCount(); ++i) {
        const BookmarkRecord &bookmark = *recovery->getBookmark(i);
        found.append({bookmark.title, bookmark.url, QString::number(bookmark.parent)});
    }
    std::sort(found.begin(), found.end());
    return found;
}

bool isBookmark(const QStringList &row)
{
    return row.at(1).contains(QLatin1String("://"));
}

/// All bookmarks that a version has and the last one of the first `count` versions has not.
Contents lostBookmarks(const LogVersions &versions, int count)
{
    QSet<QStringList> lost;
    for (int i = 0; i < count; ++i) {
        for (const QStringList &row : versions.rows(i, BookmarkSql, 3)) {
            if (isBookmark(row)) {
                lost.insert(
                    {row.at(0), row.at(1), row.at(2).isEmpty() ? QStringLiteral("0") : row.at(2)});
            }
        }
    }
    for (const QStringList &row : versions.rows(count - 1, BookmarkSql, 3)) {
        lost.remove(row);
    }
    Contents sorted(lost.cbegin(), lost.cend());
    std::sort(sorted.begin(), sorted.end());
    return sorted;
}

QStringList titlesOf(const Contents &bookmarks)
{
    QStringList titles;
    for (const QStringList &bookmark : bookmarks) {
        titles.append(bookmark.first());
    }
    return titles;
}

} // namespace

/// Databases with their logs as SQLite itself writes them, through the facade.
class TestWalRecovery : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void bookmarksOfEveryLayout_data();
    void bookmarksOfEveryLayout();
    void whatCountsAsDeleted();
    void cutAtEveryLength();
    void restartedLog();
    void partlyCopiedLog_data();
    void partlyCopiedLog();
    void uncommittedTail();
    void bothMagics();
    void otherPageSize();
    void unknownKinds_data();
    void unknownKinds();
    void unusableFiles_data();
    void unusableFiles();
    void scansAppendAndCopiesShare();
    void stoppedScansDeliverWhatTheyFound();
    void evidenceStaysAsItWas();

private:
    QString path(const char *name) const { return m_dir.filePath(QString::fromLatin1(name)); }
    /// A database of bookmarks that is about to be written with a log.
    bool makeBookmarks(SampleDatabase *db, BookmarkLayout layout = BookmarkLayout::Ios7,
                       const SampleOptions &options = SampleOptions())
    {
        bool isMade = db->create(path("device.db"), options);
        for (const QString &sql : safariTables(layout)) {
            isMade = isMade && db->exec(sql);
        }
        return isMade && db->startLog();
    }
    bool insert(SampleDatabase *db, const QString &title, int parent = 1)
    {
        return db->run(QStringLiteral("INSERT INTO bookmarks (title, url, parent, order_index) "
                                      "VALUES (?1, 'http://example.org/' || ?1, ?2, 0)"),
                       {title, parent});
    }
    bool remove(SampleDatabase *db, const QString &title)
    {
        return db->run(QStringLiteral("DELETE FROM bookmarks WHERE title = ?"), {title});
    }
    /// Inserts a row for each letter, then deletes those of `deleted`, each in a transaction.
    bool live(SampleDatabase *db, const char *inserted, const char *deleted)
    {
        bool isDone = true;
        for (const QChar letter : QString::fromLatin1(inserted)) {
            isDone = isDone && insert(db, letter);
        }
        for (const QChar letter : QString::fromLatin1(deleted)) {
            isDone = isDone && remove(db, letter);
        }
        return isDone;
    }
    Contents scan(const char *name, ScanProgress *progress = nullptr)
    {
        WalRecovery recovery;
        recovery.scanRecoveryForType(ScanTypeBookmarks, path(name),
                                     path(name) + QStringLiteral("-wal"), progress);
        return bookmarksOf(&recovery);
    }
    QString titles(const char *name) { return titlesOf(scan(name)).join(QString()); }
    QTemporaryDir m_dir;
};

void TestWalRecovery::bookmarksOfEveryLayout_data()
{
    QTest::addColumn<int>("layout");
    QTest::addColumn<int>("deletion");
    QTest::addColumn<int>("pageSize");
    for (const BookmarkLayout layout : allBookmarkLayouts()) {
        for (const BookmarkDeletion deletion : allBookmarkDeletions()) {
            QTest::addRow("%s, %s", qPrintable(layoutName(layout)),
                          qPrintable(deletionName(deletion)))
                << int(layout) << int(deletion) << 4096;
        }
    }
    for (const int pageSize : {512, 1024, 8192, 65536}) {
        QTest::addRow("pages of %d", pageSize)
            << int(BookmarkLayout::Ios7) << int(BookmarkDeletion::Edited) << pageSize;
    }
}

void TestWalRecovery::bookmarksOfEveryLayout()
{
    QFETCH(int, layout);
    QFETCH(int, deletion);
    QFETCH(int, pageSize);
    SampleOptions options = deviceOptions(BookmarkLayout(layout));
    options.pageSize = pageSize;
    SampleDatabase db;
    BookmarkSample sample;
    BookmarkPlan plan{BookmarkLayout(layout), BookmarkDeletion(deletion), 60, 2};
    QVERIFY(db.create(path("device.db"), options) && db.startLog());
    QVERIFY(makeBookmarkSample(&db, plan, &sample) && db.copyWithLog(path("case.db")));
    const LogVersions versions(path("case.db"));
    const Contents expected = lostBookmarks(versions, versions.count());
    QVERIFY(expected.size() >= 10);
    QCOMPARE(scan("case.db"), expected);
}

void TestWalRecovery::whatCountsAsDeleted()
{
    SampleDatabase db;
    QVERIFY(makeBookmarks(&db) && live(&db, "abcdefg", "b"));
    QVERIFY(db.exec(QStringLiteral("UPDATE bookmarks SET parent = 7 WHERE title = 'c';"
                                   "UPDATE bookmarks SET hidden = 1 WHERE title = 'd';")));
    // Deleted and put back, under another number; deleted twice; changed to and fro.
    QVERIFY(live(&db, "", "e") && live(&db, "h", "h") && live(&db, "eh", "h"));
    for (const int parent : {8, 9, 8, 9, 1}) {
        QVERIFY(
            db.run(QStringLiteral("UPDATE bookmarks SET parent = ? WHERE title = 'f'"), {parent}));
    }
    QVERIFY(db.exec(QStringLiteral("UPDATE bookmarks SET url = 'no address' WHERE title = 'g';"
                                   "DELETE FROM bookmarks WHERE title = 'g';"
                                   "INSERT INTO bookmarks (title, order_index) VALUES ('x', 1);"
                                   "DELETE FROM bookmarks WHERE title = 'x';")));
    QVERIFY(db.copyWithLog(path("case.db")));
    const Contents found = scan("case.db");
    QCOMPARE(titlesOf(found).join(QString()), QStringLiteral("bcffgh"));
    QCOMPARE(found.at(1).at(2), QStringLiteral("1"));
    QCOMPARE(found.at(2).at(2), QStringLiteral("8"));
    QCOMPARE(found.at(3).at(2), QStringLiteral("9"));
    QVERIFY(found.at(4).at(1).startsWith(QLatin1String("http://")));
}

/// What is cut off in the middle of a transaction, or of its last page, gives nothing.
void TestWalRecovery::cutAtEveryLength()
{
    SampleOptions options;
    options.pageSize = 512;
    SampleDatabase db;
    QVERIFY(makeBookmarks(&db, BookmarkLayout::Ios3, options) && live(&db, "abcd", "ca")
            && db.copyWithLog(path("case.db")));
    const LogVersions versions(path("case.db"));
    const int whole = int(QFileInfo(path("case.db-wal")).size());
    int version = versions.count();
    Contents expected;
    for (int length = whole; length >= 0; --length) {
        if (version > 0 && (version == versions.count() || versions.logLength(version) > length)) {
            --version;
            expected = lostBookmarks(versions, version + 1);
        }
        QVERIFY(QFile::resize(path("case.db-wal"), length));
        const Contents found = scan("case.db");
        QVERIFY2(found == expected, qPrintable(QStringLiteral("cut at %1 of %2: %3 instead of %4")
                                                   .arg(length)
                                                   .arg(whole)
                                                   .arg(titlesOf(found).join(QString()))
                                                   .arg(titlesOf(expected).join(QString()))));
    }
}

/// Frames from before the log was begun anew lie behind its own, and are not of this log.
void TestWalRecovery::restartedLog()
{
    SampleDatabase db;
    QVERIFY(makeBookmarks(&db) && live(&db, "abcdefgh", "abc"));
    QVERIFY(db.exec(QStringLiteral("PRAGMA wal_checkpoint(FULL);")));
    QVERIFY(live(&db, "", "d") && db.copyWithLog(path("case.db")));
    WalFile log(path("case.db-wal"));
    QVERIFY(log.load() && log.transactionCount() == 1);
    QVERIFY(QFileInfo(path("case.db-wal")).size() > 10 * 4096);
    QCOMPARE(titles("case.db"), QStringLiteral("d"));
}

void TestWalRecovery::partlyCopiedLog_data()
{
    QTest::addColumn<int>("copied");
    QTest::addColumn<int>("pageSize");
    for (const int pageSize : {512, 4096}) {
        for (const int copied : {1, 20, 45, 60, 80}) {
            QTest::addRow("%d commits copied, pages of %d", copied, pageSize) << copied << pageSize;
        }
    }
}

/// The file has some of the log already: the first versions mix old pages with newer ones.
void TestWalRecovery::partlyCopiedLog()
{
    QFETCH(int, copied);
    QFETCH(int, pageSize);
    SampleOptions options;
    options.pageSize = pageSize;
    SampleDatabase db;
    QVERIFY(makeBookmarks(&db, BookmarkLayout::Ios7, options));
    // As long as this one reads, later commits are not copied.
    SampleDatabase reader;
    int step = 0;
    const auto countStep = [&] {
        return ++step != copied
               || (reader.open(path("device.db")) && reader.exec(QStringLiteral("BEGIN"))
                   && reader.scalar(QStringLiteral("SELECT count(*) FROM bookmarks")).isValid());
    };
    const QString letters = QStringLiteral("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ");
    for (const QChar letter : letters) {
        QVERIFY(insert(&db, letter) && countStep());
    }
    for (int i = 0; i < letters.size(); i += 2) {
        QVERIFY(remove(&db, letters.at(i)) && countStep());
    }
    for (int i = 0; i < 5; ++i) {
        QVERIFY(insert(&db, letters.at(i)) && countStep());
    }
    QVERIFY(db.exec(QStringLiteral("PRAGMA wal_checkpoint(PASSIVE);")));
    QVERIFY(db.copyWithLog(path("case.db")));
    // What was deleted while the file was behind the log must be found, and nothing that is there.
    const LogVersions versions(path("case.db"));
    const QStringList found = titlesOf(scan("case.db"));
    QCOMPARE(QSet<QString>(found.cbegin(), found.cend()).size(), found.size());
    const QStringList lost = titlesOf(lostBookmarks(versions, versions.count()));
    QVERIFY2(QSet<QString>(lost.cbegin(), lost.cend())
                 .contains(QSet<QString>(found.cbegin(), found.cend())),
             qPrintable(found.join(QString())));
    for (int i = 0, deletedAt = letters.size() + 1; i < letters.size(); i += 2, ++deletedAt) {
        const bool isBack = i < 5;
        QVERIFY2(found.contains(letters.at(i)) != isBack || (!isBack && deletedAt <= copied),
                 qPrintable(letters.at(i)));
    }
}

void TestWalRecovery::uncommittedTail()
{
    SampleDatabase db;
    QVERIFY(makeBookmarks(&db) && live(&db, "abc", "a"));
    // So few pages in memory that the open transaction goes to the log.
    QVERIFY(db.exec(QStringLiteral("PRAGMA cache_size=1; BEGIN; DELETE FROM bookmarks;")));
    for (int i = 0; i < 2000; ++i) {
        QVERIFY(insert(&db, QStringLiteral("never %1").arg(i)));
    }
    QVERIFY(db.copyWithLog(path("case.db")));
    QVERIFY(db.exec(QStringLiteral("ROLLBACK;")));
    WalFile log(path("case.db-wal"));
    QVERIFY(log.load() && log.frames().last().commitSize == 0);
    QCOMPARE(titles("case.db"), QStringLiteral("a"));
}

void TestWalRecovery::bothMagics()
{
    SampleDatabase db;
    QVERIFY(makeBookmarks(&db) && live(&db, "abc", "b") && db.copyWithLog(path("case.db")));
    QFile log(path("case.db-wal"));
    for (const char magic : {'\x82', '\x83'}) {
        QVERIFY(log.open(QIODevice::ReadWrite) && log.seek(3) && log.write(&magic, 1) == 1);
        log.close();
        QCOMPARE(titles("case.db"), QStringLiteral("b"));
    }
}

/// Such a log belongs to another database.
void TestWalRecovery::otherPageSize()
{
    SampleDatabase db;
    QVERIFY(makeBookmarks(&db) && live(&db, "abc", "b") && db.copyWithLog(path("case.db")));
    SampleOptions options;
    options.pageSize = 1024;
    SampleDatabase other;
    QVERIFY(db.close() && makeBookmarks(&other, BookmarkLayout::Ios7, options)
            && live(&other, "defg", "e") && other.copyWithLog(path("other.db")));
    for (const char *database : {"case.db", "other.db"}) {
        const char *const log = qstrcmp(database, "case.db") == 0 ? "other.db-wal" : "case.db-wal";
        WalRecovery recovery;
        QCOMPARE(
            recovery.scanRecoveryForType(ScanTypeBookmarks, path(database), path(log), nullptr), 0);
        QCOMPARE(recovery.getBookmarkCount(), 0U);
    }
}

void TestWalRecovery::unknownKinds_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("result");
    for (const int type : {-1, 2, 4, 6, 7, 8, 9, 10, 11}) {
        QTest::addRow("%d", type) << type << -1;
    }
    for (const int type : {0, 1, 3, 5}) {
        QTest::addRow("%d", type) << type << 0;
    }
}

void TestWalRecovery::unknownKinds()
{
    QFETCH(int, type);
    QFETCH(int, result);
    SampleDatabase db;
    QVERIFY(makeBookmarks(&db) && live(&db, "ab", "a") && db.copyWithLog(path("case.db")));
    WalRecovery recovery;
    ScanProbe probe;
    QCOMPARE(recovery.scanRecoveryForType(type, path("case.db"), path("case.db-wal"), &probe),
             result);
    QCOMPARE(probe.doneCalls, 1);
    QCOMPARE(recovery.getBookmarkCount(), type == ScanTypeBookmarks ? 1U : 0U);
    QCOMPARE(recovery.getContactCount() + recovery.getMessageGroupCount()
                 + recovery.getCalendarCount() + recovery.getReminderCount(),
             0U);
}

void TestWalRecovery::unusableFiles_data()
{
    QTest::addColumn<QByteArray>("database"); // empty for the sound one, null for none
    QTest::addColumn<QByteArray>("log");
    QTest::newRow("no database") << QByteArray() << QByteArray("");
    QTest::newRow("no log") << QByteArray("") << QByteArray();
    QTest::newRow("neither") << QByteArray() << QByteArray();
    QTest::newRow("text for a database") << QByteArray(9000, 'a') << QByteArray("");
    QTest::newRow("text for a log") << QByteArray("") << QByteArray(9000, 'a');
    QTest::newRow("log without frames") << QByteArray("") << WalBuilder(4096).bytes();
    QTest::newRow("log without a commit")
        << QByteArray("") << WalBuilder(4096).frame(2, 'a').bytes();
    QTest::newRow("pages of garbage")
        << QByteArray("")
        << WalBuilder(4096).frame(1, 'a').frame(2, '\x05').frame(3, '\x0D', 9).bytes();
    QTest::newRow("an absurd size")
        << QByteArray("") << WalBuilder(4096).frame(2, '\x05', 0xFFFFFFFF).bytes();
}

void TestWalRecovery::unusableFiles()
{
    QFETCH(QByteArray, database);
    QFETCH(QByteArray, log);
    SampleDatabase db;
    QVERIFY(makeBookmarks(&db) && live(&db, "ab", "a") && db.copyWithLog(path("case.db")));
    const auto replace = [this](const char *name, const QByteArray &bytes) {
        QFile file(path(name));
        return bytes.isNull()
                   ? file.remove()
                   : bytes.isEmpty()
                         || (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    };
    QVERIFY(replace("case.db", database) && replace("case.db-wal", log));
    WalRecovery recovery;
    ScanProbe probe;
    QCOMPARE(recovery.scanRecoveryForType(ScanTypeBookmarks, path("case.db"), path("case.db-wal"),
                                          &probe),
             0);
    QCOMPARE(recovery.getBookmarkCount(), 0U);
    QVERIFY(recovery.getBookmark(0) == nullptr);
    QCOMPARE(probe.doneCalls, 1);
}

void TestWalRecovery::scansAppendAndCopiesShare()
{
    SampleDatabase db;
    QVERIFY(makeBookmarks(&db) && live(&db, "abc", "b") && db.copyWithLog(path("case.db")));
    WalRecovery recovery;
    for (int i = 0; i < 2; ++i) {
        recovery.scanRecoveryForType(ScanTypeBookmarks, path("case.db"), path("case.db-wal"),
                                     nullptr);
    }
    QCOMPARE(titlesOf(bookmarksOf(&recovery)).join(QString()), QStringLiteral("bb"));
    WalRecovery copy(recovery);
    WalRecovery assigned;
    assigned = copy;
    QCOMPARE(assigned.getBookmarkCount(), 2U);
    QCOMPARE(assigned.getBookmark(1)->title, QStringLiteral("b"));
    QVERIFY(assigned.getBookmark(2) == nullptr);
}

void TestWalRecovery::stoppedScansDeliverWhatTheyFound()
{
    SampleDatabase db;
    QVERIFY(makeBookmarks(&db) && live(&db, "abcdef", "abcde") && db.copyWithLog(path("case.db")));
    ScanProbe whole;
    QCOMPARE(scan("case.db", &whole).size(), 5);
    int most = 0;
    for (int stop = 1; stop <= whole.reports; ++stop) {
        ScanProbe probe;
        probe.stopAfter = stop;
        const int found = scan("case.db", &probe).size();
        QCOMPARE(probe.reports, stop);
        QCOMPARE(probe.doneCalls, 1);
        QVERIFY(found >= most);
        most = found;
    }
    QVERIFY(most >= 4);
}

void TestWalRecovery::evidenceStaysAsItWas()
{
    QVERIFY(QDir(m_dir.path()).mkdir(QStringLiteral("evidence")));
    SampleDatabase db;
    QVERIFY(makeBookmarks(&db) && live(&db, "abc", "b")
            && db.copyWithLog(path("evidence/case.db")));
    QVERIFY(QFile::setPermissions(path("evidence/case.db"), QFile::ReadOwner)
            && QFile::setPermissions(path("evidence/case.db-wal"), QFile::ReadOwner));
    const QStringList before = folderState(path("evidence"));
    for (const int type : {ScanTypeContacts, ScanTypeMessages, ScanTypeCalendar}) {
        WalRecovery().scanRecoveryForType(type, path("evidence/case.db"),
                                          path("evidence/case.db-wal"), nullptr);
    }
    QCOMPARE(titles("evidence/case.db"), QStringLiteral("b"));
    QCOMPARE(folderState(path("evidence")), before);
}

QTEST_GUILESS_MAIN(TestWalRecovery)
#include "tst_walrecovery.moc"
