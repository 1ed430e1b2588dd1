#include "samples/safariscan.h"
#include "samples/safaritruth.h"
#include "tests/support/samplechecks.h"
#include "tests/support/testfiles.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

QStringList texts(const QVector<BookmarkRecord> &bookmarks)
{
    QStringList lines;
    for (const BookmarkRecord &bookmark : bookmarks) {
        lines << QStringLiteral("%1 %2 %3").arg(bookmark.title, bookmark.url).arg(bookmark.parent);
    }
    return lines;
}

/// Bookmarks that a test puts in and takes out one by one.
class BookmarkFile
{
public:
    bool create(const QString &path, BookmarkLayout layout = BookmarkLayout::Ios7)
    {
        bool ok = m_db.create(path);
        for (const QString &statement : safariTables(layout)) {
            ok = ok && m_db.exec(statement);
        }
        return ok;
    }
    bool insert(const char *title, const QVariant &url, int parent = 1)
    {
        return m_db.run(QStringLiteral("INSERT INTO bookmarks (parent, type, title, url, "
                                       "order_index, external_uuid) VALUES (?, ?, ?, ?, ?, ?)"),
                        {parent, url.isNull() ? 1 : 0, QString::fromUtf8(title), url, ++m_order,
                         QStringLiteral("6F1D1A52-0B7C-4D2B-9E59-0C6E3F1B%1")
                             .arg(m_order, 4, 10, QLatin1Char('0'))});
    }
    bool insert(const char *title, const char *url, int parent = 1)
    {
        return insert(title, QVariant(QString::fromUtf8(url)), parent);
    }
    bool exec(const char *sql) { return m_db.exec(QString::fromUtf8(sql)); }
    bool close() { return m_db.close(); }

private:
    SampleDatabase m_db;
    int m_order = 0;
};

} // namespace

/// Databases of bookmarks as SQLite itself leaves them, through the public interface.
class TestBookmarks : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void deletedBookmarksComeBack_data()
    {
        addSampleRows(allBookmarkLayouts(), allBookmarkDeletions(), {1024, 4096, 16384});
    }
    void deletedBookmarksComeBack();
    void wholeTableComesBack_data()
    {
        addSampleRows(allBookmarkLayouts(), QVector{BookmarkDeletion::WholeTable});
    }
    void wholeTableComesBack();
    void whatIsDelivered_data();
    void whatIsDelivered();
    void rowBehindALargeFreeblockHeader();
    void incompleteDatabases_data();
    void incompleteDatabases();
    void bookmarksInTheLogAreLive();

private:
    QString path(const char *name) const { return m_dir.filePath(QString::fromLatin1(name)); }
    /// Makes the sample as the file "sample.db".
    bool makeSample(const BookmarkPlan &plan, int pageSize, BookmarkSample *sample)
    {
        SampleOptions options = deviceOptions(plan.layout);
        options.pageSize = pageSize;
        return makeSampleFile(path("sample.db"), options, makeBookmarkSample, plan, sample);
    }
    /// Several samples, added up; an empty report when one could not be made.
    SafariReport scanSamples(BookmarkPlan plan, int pageSize)
    {
        SafariReport total;
        for (const quint32 seed : {1, 2, 3}) {
            plan.seed = seed;
            BookmarkSample sample;
            if (!makeSample(plan, pageSize, &sample)) {
                return SafariReport();
            }
            total.add(compareBookmarks(sample, scanBookmarks(path("sample.db"))));
        }
        return total;
    }

    QTemporaryDir m_dir;
};

/// The bounds leave room for what SQLite itself loses: it moves rows, and uses space again.
void TestBookmarks::deletedBookmarksComeBack()
{
    QFETCH(int, layout);
    QFETCH(int, deletion);
    QFETCH(int, pageSize);
    const SafariReport report =
        scanSamples({BookmarkLayout(layout), BookmarkDeletion(deletion)}, pageSize);
    const QByteArray details = detailsOf(report);
    QVERIFY(report.deleted >= 100);
    QVERIFY2(percent(report.recovered, report.deleted - report.refused) >= 60, details.constData());
    QVERIFY2(report.faults() == 0, details.constData());
}

/// An emptied table leaves its pages as they are. An overflow page of a long address may have
/// become a page of the freelist's own.
void TestBookmarks::wholeTableComesBack()
{
    QFETCH(int, layout);
    const SafariReport report =
        scanSamples({BookmarkLayout(layout), BookmarkDeletion::WholeTable, 300}, 4096);
    QCOMPARE(report.deleted, 810);
    QVERIFY2(report.missed() <= 3, qPrintable(report.summary()));
    QCOMPARE(report.faults(), 0);
}

void TestBookmarks::whatIsDelivered_data()
{
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("url");
    QTest::addColumn<QStringList>("found");
    const auto row = [](const char *name, const char *title, const char *url, const char *found) {
        QTest::newRow(name) << QString::fromUtf8(title) << QString::fromUtf8(url)
                            << (found ? QStringList(QString::fromUtf8(found)) : QStringList());
    };
    row("ordinary", "News", "https://example.com/", "News https://example.com/ 7");
    row("no title", "", "https://example.com/", " https://example.com/ 7");
    row("folder", "Folder", "", nullptr);
    row("script", "Back", "javascript:history.back()", nullptr);
    row("address without a scheme", "News", "example.com", nullptr);
    row("address that holds another one", "News", "example.com/?to=http://a.test/",
        "News example.com/?to=http://a.test/ 7");
    row("scheme alone", "News", "://", "News :// 7");
    row("any scheme", "Files", "FTP://example.com/", "Files FTP://example.com/ 7");
    row("equal to one that is left", "Live", "http://live.example.com/", nullptr);
    row("title of one that is left", "Live", "http://other.example.com/",
        "Live http://other.example.com/ 7");
    row("address of one that is left", "Other", "http://live.example.com/",
        "Other http://live.example.com/ 7");
    row("both in one text equal to those of one that is left", "Li", "vehttp://live.example.com/",
        "Li vehttp://live.example.com/ 7");
    row("title in another script", "\u041d\u043e\u0432\u043e\u0441\u0442\u0438", "http://a.test/",
        "\u041d\u043e\u0432\u043e\u0441\u0442\u0438 http://a.test/ 7");
}

/// Each case also with a second, equal row: it gives no second record.
void TestBookmarks::whatIsDelivered()
{
    QFETCH(QString, title);
    QFETCH(QString, url);
    for (const int copies : {1, 2}) {
        BookmarkFile file;
        QVERIFY(file.create(path("one.db")));
        QVERIFY(file.insert("Live", "http://live.example.com/"));
        for (int i = 0; i < copies; ++i) {
            QVERIFY(file.insert(title.toUtf8().constData(), QVariant(url), 7));
        }
        QVERIFY(file.exec("delete from bookmarks where id > 1") && file.close());
        QTEST(texts(scanBookmarks(path("one.db"))), "found");
    }
}

/// The header of a freeblock of 128 bytes or more ends as a number of two bytes begins.
void TestBookmarks::rowBehindALargeFreeblockHeader()
{
    BookmarkFile file;
    QVERIFY(file.create(path("large.db"), BookmarkLayout::Ios3));
    for (const char *title : {"1", "2", "3", "4", "5", "6"}) {
        QVERIFY(file.insert(title, "http://www.example.com/article/"));
    }
    QVERIFY(file.exec("delete from bookmarks where id=2; delete from bookmarks where id=4;"
                      "delete from bookmarks where id=5")
            && file.close());
    QCOMPARE(texts(scanBookmarks(path("large.db"))),
             (QStringList{QStringLiteral("5 http://www.example.com/article/ 1"),
                          QStringLiteral("4 http://www.example.com/article/ 1"),
                          QStringLiteral("2 http://www.example.com/article/ 1")}));
}

void TestBookmarks::incompleteDatabases_data()
{
    QTest::addColumn<QString>("change");
    QTest::addColumn<QStringList>("found");
    const QString news = QStringLiteral("News http://news.example.com/ 1");
    const auto row = [](const char *name, const char *change, const QStringList &found) {
        QTest::newRow(name) << QString::fromLatin1(change) << found;
    };
    row("complete", "select 1", {news});
    row("no table", "alter table bookmarks rename to others", {});
    row("no anchor", "alter table bookmarks rename column external_uuid to other", {});
    row("no tested column", "alter table bookmarks rename column editable to other", {});
    // What is still live cannot be asked for then.
    row("no title", "alter table bookmarks rename column title to other",
        {QStringLiteral(" http://news.example.com/ 1")});
    row("no address", "alter table bookmarks rename column url to other", {});
    row("no parent", "alter table bookmarks rename column parent to other",
        {QStringLiteral("News http://news.example.com/ 0")});
    row("one more column", "alter table bookmarks add column other integer default 5", {news});
}

void TestBookmarks::incompleteDatabases()
{
    QFETCH(QString, change);
    BookmarkFile file;
    QVERIFY(file.create(path("incomplete.db")));
    QVERIFY(file.insert("Live", "http://live.example.com/")
            && file.insert("News", "http://news.example.com/")
            && file.exec("delete from bookmarks where id=2")
            && file.exec(change.toUtf8().constData()) && file.close());
    QTEST(texts(scanBookmarks(path("incomplete.db"))), "found");
}

/// What was written to the log only is there for the device, and so no deleted bookmark.
void TestBookmarks::bookmarksInTheLogAreLive()
{
    BookmarkFile file;
    QVERIFY(file.create(path("wal.db")));
    QVERIFY(file.insert("News", "http://news.example.com/")
            && file.insert("Live", "http://live.example.com/")
            && file.exec("delete from bookmarks where id=1; pragma journal_mode=wal")
            && file.insert("News", "http://news.example.com/"));
    const QString copy = path("copy.db");
    QVERIFY(writeFile(copy, readFile(path("wal.db"))));
    QCOMPARE(texts(scanBookmarks(copy)),
             QStringList(QStringLiteral("News http://news.example.com/ 1")));
    QVERIFY(writeFile(copy + QStringLiteral("-wal"), readFile(path("wal.db-wal"))));
    QCOMPARE(texts(scanBookmarks(copy)), QStringList());
}

QTEST_APPLESS_MAIN(TestBookmarks)
#include "tst_bookmarks.moc"
