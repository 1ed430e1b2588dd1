#include "recoverers/calendar_notes_safari/historyassembler.h"
#include "samples/safariscan.h"
#include "samples/safaritruth.h"
#include "tests/support/samplechecks.h"

#include <QTemporaryDir>
#include <QtTest>

Q_DECLARE_METATYPE(CarvedHistoryItem)

namespace {

QStringList texts(const QVector<BookmarkRecord> &entries)
{
    QStringList lines;
    for (const BookmarkRecord &entry : entries) {
        lines << entry.url + QLatin1Char(' ') + entry.title
                     + (entry.parent == 0 ? QString() : QStringLiteral(" parent!"));
    }
    return lines;
}

CarvedHistoryItem item(const char *url, qint64 id, bool isIntact = true, bool isSure = false)
{
    CarvedHistoryItem item;
    item.url = QString::fromUtf8(url);
    item.id.value = id;
    item.id.isIntact = isIntact;
    item.id.isSure = isSure;
    return item;
}

CarvedVisit visit(qint64 item, qint64 time, const char *title)
{
    return {item, time, QString::fromUtf8(title)};
}

/// Pages that a test visits and deletes one by one.
class HistoryFile
{
public:
    bool create(const QString &path, HistoryLayout layout = HistoryLayout::Ios10)
    {
        bool ok = m_db.create(path);
        for (const QString &statement : safariTables(layout)) {
            ok = ok && m_db.exec(statement);
        }
        return ok;
    }
    bool visit(int item, const char *url, const char *title)
    {
        const QString rows = QStringLiteral(
            "INSERT INTO history_items (id, url, domain_expansion, visit_count, "
            "daily_visit_counts, should_recompute_derived_visit_counts, visit_count_score) VALUES "
            "(%1, '%2', 'example', 1, x'64000000', 0, 100); INSERT INTO history_visits "
            "(history_item, visit_time, title) VALUES (%1, 480000000.5 + %1, '%3');");
        return m_db.exec(rows.arg(item).arg(QString::fromUtf8(url), QString::fromUtf8(title)));
    }
    bool exec(const char *sql) { return m_db.exec(QString::fromUtf8(sql)); }
    bool close() { return m_db.close(); }

private:
    SampleDatabase m_db;
};

} // namespace

/// Databases of a history as SQLite itself leaves them, through the public interface; and how items
/// and visits are joined.
class TestSafariHistory : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void deletedPagesComeBack_data()
    {
        addSampleRows(allHistoryLayouts(), allHistoryDeletions(), {1024, 4096, 16384});
    }
    void deletedPagesComeBack();
    void wholeHistoryComesBack_data()
    {
        addSampleRows(allHistoryLayouts(), QVector{HistoryDeletion::Everything});
    }
    void wholeHistoryComesBack();
    void rowsUnderTheStandardLayout();
    void rowsUnderBothLayoutsCountOnce();
    void addressWithoutAScheme();
    void longAddressBehindAFreeblockHeader();
    void shortAddressBehindALargeFreeblockHeader();
    void joining_data();
    void joining();
    void titleOfTheLastVisit();
    void formerRowsOfPagesThatAreLeftAreDelivered();
    void incompleteDatabases_data();
    void incompleteDatabases();

private:
    QString path(const char *name) const { return m_dir.filePath(QString::fromLatin1(name)); }
    /// Makes the sample as the file "sample.db".
    bool makeSample(const HistoryPlan &plan, int pageSize, HistorySample *sample)
    {
        SampleOptions options = deviceOptions(plan.layout);
        options.pageSize = pageSize;
        return makeSampleFile(path("sample.db"), options, makeHistorySample, plan, sample);
    }
    /// Several samples, added up; an empty report when one could not be made.
    SafariReport scanSamples(HistoryPlan plan, int pageSize)
    {
        SafariReport total;
        for (const quint32 seed : {1, 2, 3}) {
            plan.seed = seed;
            HistorySample sample;
            if (!makeSample(plan, pageSize, &sample)) {
                return SafariReport();
            }
            total.add(compareHistory(sample, scanHistory(path("sample.db"))));
        }
        return total;
    }

    QTemporaryDir m_dir;
};

/// The bounds leave room for what SQLite itself loses: it moves rows, and uses space again. A
/// concluded identifier may be wrong, and a freeblock on an index page look like a row.
void TestSafariHistory::deletedPagesComeBack()
{
    QFETCH(int, layout);
    QFETCH(int, deletion);
    QFETCH(int, pageSize);
    const SafariReport report =
        scanSamples({HistoryLayout(layout), HistoryDeletion(deletion)}, pageSize);
    const QByteArray details = detailsOf(report);
    QVERIFY(report.deleted >= 150);
    QVERIFY2(percent(report.recovered, report.deleted) >= 55, details.constData());
    QVERIFY2(percent(report.wrongTitles, report.recovered) <= 5, details.constData());
    QVERIFY2(report.invented <= 1 && report.repeated == 0, details.constData());
}

/// Emptied tables leave their pages as they are: every page comes back, with its title.
void TestSafariHistory::wholeHistoryComesBack()
{
    QFETCH(int, layout);
    const SafariReport report =
        scanSamples({HistoryLayout(layout), HistoryDeletion::Everything, 600}, 4096);
    QVERIFY(report.deleted > 1000);
    QVERIFY2(report.missed() <= 2 && report.untitled <= 10, qPrintable(report.summary()));
    QCOMPARE(report.faults(), 0);
}

/// A table that a newer system made has columns in another order; the standard list finds rows that
/// were written before.
void TestSafariHistory::rowsUnderTheStandardLayout()
{
    HistoryFile file;
    QVERIFY(file.create(path("standard.db")) && file.visit(1, "http://a.example.com/", "A")
            && file.visit(2, "http://b.example.com/", "B")
            && file.exec("delete from history_items; pragma writable_schema=on; update "
                         "sqlite_master set sql=replace(sql, 'daily_visit_counts BLOB NOT NULL, "
                         "weekly_visit_counts BLOB NULL', 'weekly_visit_counts BLOB NULL, "
                         "first_visit REAL, daily_visit_counts BLOB NOT NULL')")
            && file.close());
    QCOMPARE(texts(scanHistory(path("standard.db"))),
             (QStringList{QStringLiteral("http://b.example.com/ "),
                          QStringLiteral("http://a.example.com/ ")}));
}

/// Read under the standard list, such a row would begin with another column's text.
void TestSafariHistory::rowsUnderBothLayoutsCountOnce()
{
    SampleDatabase db;
    QVERIFY(db.create(path("both.db")));
    const QString columns =
        QStringLiteral("url TEXT NOT NULL UNIQUE, domain_expansion TEXT NULL, visit_count INTEGER "
                       "NOT NULL, daily_visit_counts BLOB NOT NULL, weekly_visit_counts BLOB NULL, "
                       "autocomplete_triggers BLOB NULL, should_recompute_derived_visit_counts "
                       "INTEGER NOT NULL, visit_count_score INTEGER NOT NULL");
    QVERIFY(db.exec(QStringLiteral("CREATE TABLE history_items (id INTEGER PRIMARY KEY "
                                   "AUTOINCREMENT, note TEXT, %1)")
                        .arg(columns)));
    QVERIFY(db.exec(QStringLiteral("INSERT INTO history_items VALUES (1, 'what others said of it', "
                                   "'http://a.example.com/', 'example', 1, x'64000000', NULL, "
                                   "NULL, 0, 100); DELETE FROM history_items"))
            && db.close());
    QCOMPARE(texts(scanHistory(path("both.db"))),
             QStringList(QStringLiteral("http://a.example.com/ ")));
}

void TestSafariHistory::addressWithoutAScheme()
{
    HistoryFile file;
    QVERIFY(file.create(path("plain.db")) && file.visit(1, "example.com/start", "A")
            && file.exec("delete from history_items; delete from history_visits") && file.close());
    QCOMPARE(texts(scanHistory(path("plain.db"))),
             QStringList(QStringLiteral("example.com/start A")));
}

/// The type of such an address takes two bytes, of which a freeblock header that ends in front of
/// them makes the first one doubtful.
void TestSafariHistory::longAddressBehindAFreeblockHeader()
{
    for (int size = 50; size < 110; ++size) {
        const QByteArray url = "http://www.example.com/" + QByteArray(size - 23, 'x');
        HistoryFile file;
        QVERIFY(file.create(path("long.db")) && file.visit(1, "http://a.example.com/", "A")
                && file.visit(2, url.constData(), "B") && file.visit(3, "http://c.test/", "C")
                && file.exec("delete from history_items where id=2; delete from history_visits "
                             "where history_item=2")
                && file.close());
        const QStringList found = texts(scanHistory(path("long.db")));
        const QStringList expected(QString::fromLatin1(url) + QStringLiteral(" B"));
        QVERIFY2(found == expected,
                 qPrintable(QString::number(size) + found.join(QLatin1Char(' '))));
    }
}

/// The header of a freeblock of 128 bytes or more ends as a type of two bytes begins.
void TestSafariHistory::shortAddressBehindALargeFreeblockHeader()
{
    HistoryFile file;
    QVERIFY(file.create(path("large.db")));
    const QString url = QStringLiteral("http://www.example.com/a/page/of/some/length/%1");
    for (int i = 1; i <= 6; ++i) {
        QVERIFY(file.visit(i, url.arg(i).toUtf8().constData(), ""));
    }
    QVERIFY(file.exec("delete from history_items where id=2; delete from history_items where id=4;"
                      "delete from history_items where id=5")
            && file.close());
    QCOMPARE(texts(scanHistory(path("large.db"))),
             (QStringList{url.arg(5) + QLatin1Char(' '), url.arg(4) + QLatin1Char(' '),
                          url.arg(2) + QLatin1Char(' ')}));
}

void TestSafariHistory::joining_data()
{
    QTest::addColumn<QVector<CarvedHistoryItem>>("items");
    QTest::addColumn<QStringList>("found");
    const auto row = [](const char *name, const QVector<CarvedHistoryItem> &items,
                        const QStringList &found) { QTest::newRow(name) << items << found; };
    const QString a = QStringLiteral("http://a/");
    const QString gone = QStringLiteral("http://gone/ ");
    row("nothing carved", {}, {gone});
    row("item with its visit", {item("http://a/", 1)}, {a + QStringLiteral(" One"), gone});
    row("item without a visit", {item("http://a/", 9)}, {a + QLatin1Char(' '), gone});
    row("item of unknown identifier", {item("http://a/", 0, false)}, {a + QLatin1Char(' '), gone});
    row("equal addresses", {item("http://a/", 2), item("http://a/", 1)},
        {a + QStringLiteral(" Two"), gone});
    row("equal addresses, only the second with a visit",
        {item("http://a/", 9), item("http://a/", 1)}, {a + QLatin1Char(' '), gone});
    row("identifier known from a copy", {item("http://a/", 0, false), item("http://a/", 1)},
        {a + QStringLiteral(" One"), gone});
    row("addresses that differ in case", {item("http://a/", 1), item("http://A/", 2)},
        {a + QStringLiteral(" One"), QStringLiteral("http://A/ Two"), gone});
    row("sure identifier", {item("http://a/", 1, false, true)}, {a + QStringLiteral(" One"), gone});
    row("guessed identifier", {item("http://a/", 1, false, false)}, {a + QLatin1Char(' '), gone});
    row("sure identifier that a live item has", {item("http://a/", 5, false, true)},
        {a + QLatin1Char(' '), gone});
    row("sure identifier that another item surely has",
        {item("http://a/", 1, false, true), item("http://b/", 1)},
        {a + QLatin1Char(' '), QStringLiteral("http://b/ One"), gone});
    row("two sure items of one identifier",
        {item("http://a/", 1, false, true), item("http://b/", 1, false, true)},
        {a + QLatin1Char(' '), QStringLiteral("http://b/ "), gone});
    row("former row of a live item", {item("http://live/", 0, false)},
        {QStringLiteral("http://live/ Five"), gone});
    row("removed item that was carved", {item("http://gone/", 2)},
        {QStringLiteral("http://gone/ Two")});
}

void TestSafariHistory::joining()
{
    QFETCH(QVector<CarvedHistoryItem>, items);
    LiveHistory live;
    live.items = {{5, QStringLiteral("http://live/")}};
    live.removedUrls =
        QStringList{QString(), QStringLiteral("http://gone/"), QStringLiteral("http://gone/")};
    CarvedHistory carved;
    carved.items.assign(items.cbegin(), items.cend());
    carved.visits = {visit(1, 100, "One"), visit(2, 100, "Two"), visit(5, 100, "Five")};
    QTEST(texts(assembleHistory(live, carved)), "found");
}

void TestSafariHistory::titleOfTheLastVisit()
{
    CarvedHistory carved;
    carved.items.push_back(item("http://a/", 1));
    carved.visits = {visit(1, 200, "Second"), visit(1, 300, "Last"), visit(1, 100, "First"),
                     visit(1, 400, ""), visit(2, 500, "Other")};
    QCOMPARE(texts(assembleHistory(LiveHistory(), carved)),
             QStringList(QStringLiteral("http://a/ Last")));
}

/// What was deleted of such a page cannot be told: the older row is shown.
void TestSafariHistory::formerRowsOfPagesThatAreLeftAreDelivered()
{
    HistoryFile file;
    QVERIFY(file.create(path("former.db")) && file.visit(1, "http://a.example.com/", "A")
            && file.visit(2, "http://b.example.com/", "B")
            && file.exec("update history_items set visit_count=2, "
                         "daily_visit_counts=x'640000000000000000000000c8000000' where id=1")
            && file.close());
    QCOMPARE(texts(scanHistory(path("former.db"))),
             QStringList(QStringLiteral("http://a.example.com/ ")));
}

void TestSafariHistory::incompleteDatabases_data()
{
    QTest::addColumn<QString>("change");
    QTest::addColumn<QStringList>("found");
    const QString titled = QStringLiteral("http://b.example.com/ B");
    const QString untitled = QStringLiteral("http://b.example.com/ ");
    const auto row = [](const char *name, const char *change, const QStringList &found) {
        QTest::newRow(name) << QString::fromLatin1(change) << found;
    };
    row("complete", "select 1", {titled});
    row("no visits", "drop table history_visits", {untitled});
    row("visits without a title", "alter table history_visits rename column title to name",
        {untitled});
    row("no list of removed pages", "drop table history_tombstones", {titled});
    row("removed pages",
        "insert into history_tombstones (start_time, end_time, url) values (1, 2, "
        "'http://b.example.com/'), (1, 2, null), (1, 2, 'http://d.test/')",
        {titled, QStringLiteral("http://d.test/ ")});
    row("no items",
        "alter table history_items rename to others; insert into history_tombstones (start_time, "
        "end_time, url) values (1, 2, 'http://d.test/')",
        {QStringLiteral("http://d.test/ ")});
    // The standard layout does without the table's own.
    row("items without an anchor",
        "alter table history_items rename column daily_visit_counts to other", {titled});
    row("one more column", "alter table history_items add column status integer default 5",
        {titled});
}

void TestSafariHistory::incompleteDatabases()
{
    QFETCH(QString, change);
    HistoryFile file;
    QVERIFY(file.create(path("incomplete.db")) && file.visit(1, "http://a.example.com/", "A")
            && file.visit(2, "http://b.example.com/", "B") && file.visit(3, "http://c.test/", "C")
            && file.exec("delete from history_items where id=2; delete from history_visits where "
                         "history_item=2")
            && file.exec(change.toUtf8().constData()) && file.close());
    QTEST(texts(scanHistory(path("incomplete.db"))), "found");
}

QTEST_APPLESS_MAIN(TestSafariHistory)
#include "tst_safarihistory.moc"
