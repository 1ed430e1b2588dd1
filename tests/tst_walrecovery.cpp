#include "api/walrecovery.h"
#include "samples/safarilayout.h"
#include "samples/sampledatabase.h"
#include "tests/support/folderstate.h"
#include "tests/support/scanprobe.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

QStringList titlesOf(WalRecovery *recovery)
{
    QStringList titles;
    for (unsigned i = 0; i < recovery->getBookmarkCount(); ++i) {
        titles.append(recovery->getBookmark(i)->title);
    }
    return titles;
}

} // namespace

/// Databases with their logs as SQLite itself writes them, through the public interface.
class TestWalRecovery : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void bookmarks();

private:
    QString path() const { return m_dir.filePath(QStringLiteral("case.db")); }
    QString logPath() const { return path() + QStringLiteral("-wal"); }
    /// A database of bookmarks that is about to be written with a log.
    bool makeBookmarks(SampleDatabase *db)
    {
        bool isMade = db->create(m_dir.filePath(QStringLiteral("device.db")));
        for (const QString &sql : safariTables(BookmarkLayout::Ios7)) {
            isMade = isMade && db->exec(sql);
        }
        return isMade && db->startLog();
    }
    bool insert(SampleDatabase *db, const char *title, int parent = 1)
    {
        return db->run(QStringLiteral("INSERT INTO bookmarks (title, url, parent, order_index) "
                                      "VALUES (?1, 'http://example.org/' || ?1, ?2, 0)"),
                       {QString::fromUtf8(title), parent});
    }
    QTemporaryDir m_dir;
};

void TestWalRecovery::bookmarks()
{
    SampleDatabase db;
    QVERIFY(makeBookmarks(&db));
    for (const char *title : {"a", "b", "c", "d", "e"}) {
        QVERIFY(insert(&db, title));
    }
    QVERIFY(db.exec(QStringLiteral("DELETE FROM bookmarks WHERE title = 'b';"
                                   "UPDATE bookmarks SET parent = 7 WHERE title = 'c';"
                                   "UPDATE bookmarks SET hidden = 1 WHERE title = 'd';"
                                   "DELETE FROM bookmarks WHERE title = 'e';")));
    QVERIFY(insert(&db, "e"));
    QVERIFY(db.copyWithLog(path()));
    WalRecovery recovery;
    ScanProbe probe;
    QCOMPARE(recovery.scanRecoveryForType(ScanTypeBookmarks, path(), logPath(), &probe), 0);
    QCOMPARE(titlesOf(&recovery), (QStringList{QStringLiteral("b"), QStringLiteral("c")}));
    QCOMPARE(recovery.getBookmark(1)->parent, qint64(1));
    QCOMPARE(probe.doneCalls, 1);
}

QTEST_GUILESS_MAIN(TestWalRecovery)
#include "tst_walrecovery.moc"
