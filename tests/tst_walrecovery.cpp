#include "api/walrecovery.h"
#include "samples/calendarsamples.h"
#include "samples/safarisamples.h"
#include "samples/sampledatabase.h"
#include "tests/support/logversions.h"
#include "tests/support/samplechecks.h"
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

/// The columns that make the records of an item, beginning with its identifier.
QString calendarSql(CalendarLayout layout)
{
    const QString dates =
        QStringLiteral("CAST(i.start_date AS INTEGER), CAST(i.end_date AS INTEGER), "
                       "i.all_day");
    return layout == CalendarLayout::Ios5
               ? QStringLiteral(
                     "SELECT i.summary, i.location, i.description, %1, c.title, 4, '', '' "
                     "FROM Event i LEFT JOIN Calendar c ON c.rowid = i.calendar_id")
                     .arg(dates)
               : QStringLiteral("SELECT i.summary, l.title, i.description, %1, c.title, "
                                "c.supported_entity_types, CAST(i.completion_date AS INTEGER), "
                                "i.priority FROM CalendarItem i LEFT JOIN Location l ON l.rowid = "
                                "i.location_id LEFT JOIN Calendar c ON c.rowid = i.calendar_id")
                     .arg(dates);
}

/// What a row of that query is as a record, or as two: lists of texts, the kind first.
Contents recordsOf(const QStringList &row)
{
    Contents records;
    const QString end = row.at(4).isEmpty() ? QStringLiteral("0") : row.at(4);
    const QString start = row.at(3).isEmpty() ? QStringLiteral("0") : row.at(3);
    const bool hasEnd = end != QLatin1String("0");
    const int types = row.at(7).toInt();
    if (start.toLongLong() <= 0 && end.toLongLong() > 0) {
        return records;
    }
    if (types == 4 || hasEnd) {
        records.append({QStringLiteral("event"), row.at(0), row.at(1), row.at(2), start, end,
                        QString::number(row.at(5).toInt())});
    }
    if (types == 8 || !hasEnd) {
        const bool isDefault = row.at(6) == QLatin1String("DEFAULT_TASK_CALENDAR_NAME");
        records.append({QStringLiteral("reminder"), row.at(0), row.at(1), row.at(2), start,
                        QString::number(row.at(8).toLongLong()), QString::number(row.at(9).toInt()),
                        isDefault ? QStringLiteral("Reminders") : row.at(6)});
    }
    return records;
}

Contents calendarOf(WalRecovery *recovery)
{
    Contents found;
    for (unsigned i = 0; i < recovery->getCalendarCount(); ++i) {
        const CalendarRecord &event = *recovery->getCalendar(i);
        found.append({QStringLiteral("event"), event.title, event.location, event.notes,
                      QString::number(qint64(event.startDate)),
                      QString::number(qint64(event.endDate)), QString::number(event.allDay)});
    }
    for (unsigned i = 0; i < recovery->getReminderCount(); ++i) {
        const ReminderRecord &reminder = *recovery->getReminder(i);
        found.append({QStringLiteral("reminder"), reminder.title, reminder.location, reminder.notes,
                      QString::number(qint64(reminder.startDate)),
                      QString::number(qint64(reminder.completionDate)),
                      QString::number(reminder.priority), reminder.calendar});
    }
    return found;
}

bool isPlaceAlone(const QStringList &record)
{
    return record.at(1).isEmpty() && record.at(4) == QLatin1String("0");
}

QStringList withoutPlace(QStringList record)
{
    record[2].clear();
    return record;
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
    void calendarsOfEveryLayout_data()
    {
        addSampleRows(allCalendarLayouts(), allCalendarDeletions());
    }
    void calendarsOfEveryLayout();
    void namesComeFromAnyVersion();
    void placesAlone();
    void itemsThatSayNothing();
    void rowsOlderThanColumns();
    void restartedLog();
    void uncommittedTail();
    void cutAtEveryLength();
    void partlyCopiedLog_data();
    void partlyCopiedLog();
    void logOfAnotherDatabase_data();
    void logOfAnotherDatabase();
    void unknownKinds_data();
    void unknownKinds();
    void unusableFiles_data();
    void unusableFiles();

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
    addSampleRows(allBookmarkLayouts(), allBookmarkDeletions());
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

/// Every item comes back as it was in each version, with its place, and no item comes that is
/// there.
void TestWalRecovery::calendarsOfEveryLayout()
{
    QFETCH(int, layout);
    QFETCH(int, deletion);
    SampleDatabase db;
    CalendarSample sample;
    const CalendarPlan plan{CalendarLayout(layout), CalendarDeletion(deletion), 60, 3};
    QVERIFY(db.create(path("device.db"), deviceOptions(plan.layout)) && db.startLog());
    QVERIFY(makeCalendarSample(&db, plan, &sample) && db.copyWithLog(path("case.db")));
    const LogVersions versions(path("case.db"));
    QSet<QStringList> ever;
    QSet<QStringList> atLast;
    for (int i = 0; i < versions.count(); ++i) {
        atLast.clear();
        for (const QStringList &row : versions.rows(i, calendarSql(plan.layout), 10)) {
            for (const QStringList &record : recordsOf(row)) {
                ever.insert(record);
                atLast.insert(record);
            }
        }
    }
    WalRecovery recovery;
    recovery.scanRecoveryForType(ScanTypeCalendar, path("case.db"), path("case.db-wal"), nullptr);
    QSet<QStringList> found;
    for (const QStringList &record : calendarOf(&recovery)) {
        QVERIFY2(!found.contains(record), qPrintable(record.join(QLatin1Char('|'))));
        found.insert(record);
        QVERIFY2(isPlaceAlone(record) || (ever.contains(record) && !atLast.contains(record)),
                 qPrintable(record.join(QLatin1Char('|'))));
    }
    QVERIFY(found.size() > 5);
    for (const QStringList &record : qAsConst(ever)) {
        // Where the row of the place went first, the item still comes with it.
        const bool isExpected = !atLast.contains(record) && !record.at(2).isEmpty();
        const bool isThereWithoutPlace = atLast.contains(withoutPlace(record));
        QVERIFY2(!isExpected || isThereWithoutPlace || found.contains(record),
                 qPrintable(record.join(QLatin1Char('|'))));
    }
    QSet<QStringList> foundItems;
    for (const QStringList &record : qAsConst(found)) {
        foundItems.insert(withoutPlace(record));
    }
    for (const QStringList &record : qAsConst(ever)) {
        QVERIFY2(atLast.contains(record) || atLast.contains(withoutPlace(record))
                     || foundItems.contains(withoutPlace(record)),
                 qPrintable(record.join(QLatin1Char('|'))));
    }
}

void TestWalRecovery::namesComeFromAnyVersion()
{
    SampleDatabase db;
    QVERIFY(db.create(path("device.db")) && db.exec(calendarTables(CalendarLayout::Ios10))
            && db.startLog());
    QVERIFY(db.exec(QStringLiteral(
        "INSERT INTO Calendar (ROWID, title, supported_entity_types) VALUES (1, 'Old list', 8);"
        "INSERT INTO Location (ROWID, title) VALUES (1, 'Old hall'), (2, 'Late hall');"
        "INSERT INTO CalendarItem (ROWID, summary, calendar_id, location_id, start_date) "
        "VALUES (1, 'a', 1, 1, 400000000), (2, 'b', 1, 1, 400000000), "
        "(3, 'c', 2, 2, 400000000), (4, 'd', 1, 2, 400000000);"
        "DELETE FROM CalendarItem WHERE ROWID = 1;" // names of its own version
        "UPDATE Location SET title = 'New hall' WHERE ROWID = 1;"
        "DELETE FROM CalendarItem WHERE ROWID = 2;" // names as they are now
        "DELETE FROM Location WHERE ROWID = 2;"
        "DELETE FROM CalendarItem WHERE ROWID = 3;" // its list comes only later
        "INSERT INTO Calendar (ROWID, title, supported_entity_types) VALUES (2, 'New list', 8);"
        "DELETE FROM Calendar WHERE ROWID = 1;"
        "DELETE FROM CalendarItem WHERE ROWID = 4;"))); // both names are gone already
    QVERIFY(db.copyWithLog(path("case.db")));
    WalRecovery recovery;
    recovery.scanRecoveryForType(ScanTypeCalendar, path("case.db"), path("case.db-wal"), nullptr);
    QStringList found;
    for (unsigned i = 0; i < recovery.getReminderCount(); ++i) {
        const ReminderRecord &reminder = *recovery.getReminder(i);
        found.append(reminder.title + QLatin1Char('|') + reminder.calendar + QLatin1Char('|')
                     + reminder.location);
    }
    QCOMPARE(found, (QStringList{QStringLiteral("a|Old list|Old hall"),
                                 QStringLiteral("b|Old list|New hall"),
                                 QStringLiteral("c|New list|Late hall"),
                                 QStringLiteral("d|Old list|Late hall")}));
    QCOMPARE(recovery.getCalendarCount(), 0U); // all places came with their items
}

void TestWalRecovery::placesAlone()
{
    SampleDatabase db;
    QVERIFY(db.create(path("device.db")) && db.exec(calendarTables(CalendarLayout::Ios10))
            && db.startLog());
    QVERIFY(db.exec(QStringLiteral(
        "INSERT INTO Location (ROWID, title) VALUES (1, 'Hall'), (2, 'Yard'), (3, 'Roof'), "
        "(4, 'Roof');"
        "UPDATE Location SET title = 'Room' WHERE ROWID = 1;"
        "UPDATE Location SET latitude = 3 WHERE ROWID = 2;"
        "DELETE FROM Location WHERE ROWID = 3;")));
    QVERIFY(db.copyWithLog(path("case.db")));
    WalRecovery recovery;
    recovery.scanRecoveryForType(ScanTypeCalendar, path("case.db"), path("case.db-wal"), nullptr);
    QCOMPARE(recovery.getCalendarCount(), 1U);
    QCOMPARE(recovery.getCalendar(0)->location, QStringLiteral("Hall"));
}

void TestWalRecovery::itemsThatSayNothing()
{
    SampleDatabase db;
    QVERIFY(db.create(path("device.db")) && db.exec(calendarTables(CalendarLayout::Ios10))
            && db.startLog());
    QVERIFY(db.exec(QStringLiteral(
        "INSERT INTO Calendar (ROWID, title, supported_entity_types) VALUES (1, 'List', 8);"
        "INSERT INTO CalendarItem (summary, calendar_id, priority) VALUES (NULL, 1, 5), ('', 1, 0),"
        " ('a', 1, 0);"
        "DELETE FROM CalendarItem;")));
    QVERIFY(db.copyWithLog(path("case.db")));
    WalRecovery recovery;
    recovery.scanRecoveryForType(ScanTypeCalendar, path("case.db"), path("case.db-wal"), nullptr);
    QCOMPARE(recovery.getReminderCount(), 1U);
    QCOMPARE(recovery.getReminder(0)->title, QStringLiteral("a"));
    QCOMPARE(recovery.getCalendarCount(), 0U);
}

/// Rows keep the columns under which they were written.
void TestWalRecovery::rowsOlderThanColumns()
{
    SampleDatabase db;
    QVERIFY(
        db.create(path("device.db"))
        && db.exec(QStringLiteral("CREATE TABLE bookmarks (id INTEGER PRIMARY KEY, title TEXT);"))
        && db.startLog());
    QVERIFY(db.exec(QStringLiteral("INSERT INTO bookmarks (title) VALUES ('a'), ('b'), ('c');"
                                   "ALTER TABLE bookmarks ADD COLUMN parent INTEGER;"
                                   "ALTER TABLE bookmarks ADD COLUMN url TEXT;"
                                   "UPDATE bookmarks SET url = 'x://' || title WHERE title <> 'c';"
                                   "DELETE FROM bookmarks WHERE title = 'c';" // has no address
                                   "UPDATE bookmarks SET parent = 5 WHERE title = 'b';"
                                   "ALTER TABLE bookmarks ADD COLUMN more TEXT;"
                                   "DELETE FROM bookmarks WHERE title = 'a';")));
    QVERIFY(db.copyWithLog(path("case.db")));
    QCOMPARE(scan("case.db"),
             (Contents{{QStringLiteral("a"), QStringLiteral("x://a"), QStringLiteral("0")},
                       {QStringLiteral("b"), QStringLiteral("x://b"), QStringLiteral("0")}}));
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

void TestWalRecovery::logOfAnotherDatabase_data()
{
    QTest::addColumn<int>("noteLength"); // of the other database
    QTest::addColumn<bool>("hasOtherTables");
    QTest::addColumn<int>("pageSize");
    QTest::newRow("of the same kind") << 700 << false << 4096;
    QTest::newRow("of the same kind with longer rows") << 1500 << false << 4096;
    QTest::newRow("of another kind") << 10 << true << 4096;
    QTest::newRow("of other pages") << 20 << false << 1024;
}

/// Most pages of the one do not fit into the tables of the other.
void TestWalRecovery::logOfAnotherDatabase()
{
    QFETCH(int, noteLength);
    QFETCH(bool, hasOtherTables);
    QFETCH(int, pageSize);
    for (const char *name : {"own.db", "other.db"}) {
        const bool isOther = qstrcmp(name, "other.db") == 0;
        SampleOptions options;
        options.pageSize = isOther ? pageSize : 4096;
        SampleDatabase db;
        QVERIFY(makeBookmarks(
                    &db, isOther && hasOtherTables ? BookmarkLayout::Ios3 : BookmarkLayout::Ios7,
                    options)
                && db.exec(QStringLiteral("PRAGMA journal_mode = DELETE; BEGIN")));
        for (int i = 0; i < 800; ++i) {
            QVERIFY(insert(&db, QString(isOther ? noteLength : 20, QLatin1Char('n'))
                                    + QString::number(i)));
        }
        QVERIFY(db.exec(QStringLiteral("COMMIT")) && db.startLog());
        // Not on the first page of rows, which is the same and fits in both.
        for (int i = 80; i < 800; i += 80) {
            QVERIFY(db.run(QStringLiteral("DELETE FROM bookmarks WHERE id = ?"), {i}));
        }
        QVERIFY(db.copyWithLog(path(name)));
    }
    for (const char *database : {"own.db", "other.db"}) {
        for (const char *log : {"own.db-wal", "other.db-wal"}) {
            WalRecovery recovery;
            QCOMPARE(
                recovery.scanRecoveryForType(ScanTypeBookmarks, path(database), path(log), nullptr),
                0);
            const bool isOwn = path(log).startsWith(path(database));
            QCOMPARE(recovery.getBookmarkCount(), isOwn ? 9U : 0U);
        }
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

QTEST_GUILESS_MAIN(TestWalRecovery)
#include "tst_walrecovery.moc"
