#include "api/bookmarkrecord.h"
#include "api/sqliterecovery.h"
#include "recoverers/calendar_notes_safari/bookmarkhistorymatchers.h"
#include "recoverers/calendar_notes_safari/bookmarkmatchers.h"
#include "samples/safarilayout.h"
#include "tests/support/matcherharness.h"

#include <QtTest>

namespace {

using Items = BookmarkHistoryDbFile::BookmarHistoryMatcher;
using Visits = BookmarkHistoryDbFile::BookmarHistoryVisitMatcher;

const QString BookmarkTable = QStringLiteral("bookmarks");
const QString ItemTable = QStringLiteral("history_items");
const QString VisitTable = QStringLiteral("history_visits");
const QString Uuid = QStringLiteral("6F1D1A52-0B7C-4D2B-9E59-0C6E3F1B7A11");

QByteArray bytes(int count)
{
    return QByteArray(count, '\0');
}

} // namespace

/// Which record headers the matchers of Safari's databases take, on rows in which one column
/// differs from what devices write.
class TestSafariMatchers : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void bookmarks_data();
    void bookmarks();
    void bookmarksOfOlderLayouts_data();
    void bookmarksOfOlderLayouts();
    void items_data();
    void items();
    void visits_data();
    void visits();
    void rowsOfAnOlderHistory();
    void wholeCellOfAnotherLayoutWithoutMarks();
    void recordWithoutAHolder();
    void cellsOfAddressIndexes_data();
    void cellsOfAddressIndexes();
    void columnsThatCannotBeBound_data();
    void columnsThatCannotBeBound();

private:
    QVariantMap bookmarkRow() const
    {
        return {{QStringLiteral("special_id"), 0},   {QStringLiteral("parent"), 1},
                {QStringLiteral("type"), 0},         {QStringLiteral("title"), letters(9)},
                {QStringLiteral("url"), url()},      {QStringLiteral("num_children"), 0},
                {QStringLiteral("editable"), 1},     {QStringLiteral("deletable"), 1},
                {QStringLiteral("order_index"), 17}, {QStringLiteral("external_uuid"), Uuid}};
    }
    QVariantMap itemRow() const
    {
        return {{QStringLiteral("url"), url()},
                {QStringLiteral("domain_expansion"), QStringLiteral("example")},
                {QStringLiteral("visit_count"), 1},
                {QStringLiteral("daily_visit_counts"), bytes(4)},
                {QStringLiteral("should_recompute_derived_visit_counts"), 0},
                {QStringLiteral("visit_count_score"), 100}};
    }
    QVariantMap visitRow() const
    {
        return {{QStringLiteral("history_item"), 12},   {QStringLiteral("visit_time"), 480000000.5},
                {QStringLiteral("title"), letters(20)}, {QStringLiteral("load_successful"), 1},
                {QStringLiteral("http_non_get"), 0},    {QStringLiteral("synthesized"), 0},
                {QStringLiteral("origin"), 0},          {QStringLiteral("generation"), 9},
                {QStringLiteral("attributes"), 0},      {QStringLiteral("score"), 100}};
    }
    static QString url() { return QStringLiteral("http://www.example.com/"); }
    void addColumns()
    {
        QTest::addColumn<QString>("column");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<bool>("isTaken");
    }
    void addRow(const char *name, const char *column, const QVariant &value, bool isTaken)
    {
        QTest::newRow(name) << QString::fromLatin1(column) << value << isTaken;
    }
    void addFlagRows(const char *column)
    {
        const auto row = [column](const char *what, const QVariant &value, bool isTaken) {
            QTest::addRow("%s %s", column, what) << QString::fromLatin1(column) << value << isTaken;
        };
        row("0", 0, true);
        row("1", 1, true);
        row("of one byte", 2, true);
        row("of two bytes", 300, false);
        row("missing", QVariant(), false);
        row("as a text", letters(1), false);
    }
    template<typename Matcher>
    void compare(MatcherHarness<BookmarkHistoryDbFile> *harness, QVariantMap row)
    {
        QFETCH(QString, column);
        QFETCH(QVariant, value);
        QFETCH(bool, isTaken);
        QVERIFY(harness->columns().contains(column));
        row[column] = value;
        QCOMPARE(harness->matches<Matcher>(harness->cell(row)), int(isTaken));
    }
    bool openItems() { return m_history.open(ItemTable, safariTables(HistoryLayout::Ios10).at(0)); }
    bool openVisits()
    {
        return m_history.open(VisitTable, safariTables(HistoryLayout::Ios10).at(1));
    }

    MatcherHarness<BookmarkDbFile> m_bookmarks;
    MatcherHarness<BookmarkHistoryDbFile> m_history;
};

void TestSafariMatchers::bookmarks_data()
{
    addColumns();
    addRow("as on a device", "title", letters(12), true);
    addRow("no title", "title", QVariant(), true);
    addRow("folder", "url", QVariant(), true);
    addFlagRows("editable");
    addFlagRows("deletable");
    addRow("children", "num_children", 300, true);
    addRow("no number of children", "num_children", QVariant(), false);
    addRow("children as a real", "num_children", 1.5, false);
    addRow("identifier of another length", "external_uuid", letters(35), false);
    addRow("no identifier", "external_uuid", QVariant(), false);
    addRow("identifier of another form", "external_uuid", letters(36), true);
}

void TestSafariMatchers::bookmarks()
{
    QFETCH(QString, column);
    QFETCH(QVariant, value);
    QFETCH(bool, isTaken);
    for (const BookmarkLayout layout : {BookmarkLayout::Ios3, BookmarkLayout::Ios7}) {
        QVERIFY(m_bookmarks.open(BookmarkTable, safariTables(layout).first()));
        QVariantMap row = bookmarkRow();
        row[column] = value;
        QCOMPARE(m_bookmarks.matches<BookmarkDbFile::BookmarMatcher>(m_bookmarks.cell(row)),
                 int(isTaken));
    }
}

void TestSafariMatchers::bookmarksOfOlderLayouts_data()
{
    QTest::addColumn<int>("missing");
    QTest::addColumn<QString>("title");
    QTest::newRow("table constraint that counts as a column") << 1 << letters(9);
    QTest::newRow("twelve columns less") << 12 << letters(9);
    // Letters of such a script are no serial types, in which the header would go on.
    QTest::newRow("twelve columns less, foreign script")
        << 12
        << QStringLiteral("\u0417\u0434\u0440\u0430\u0432\u0441\u0442\u0432\u0443\u0439\u0442");
}

void TestSafariMatchers::bookmarksOfOlderLayouts()
{
    QFETCH(int, missing);
    QFETCH(QString, title);
    QVERIFY(m_bookmarks.open(BookmarkTable, safariTables(BookmarkLayout::Safari27).first()));
    QVariantMap row = bookmarkRow();
    row[QStringLiteral("title")] = title;
    const QByteArray cell = m_bookmarks.cell(row, missing);
    QCOMPARE(m_bookmarks.matches<BookmarkDbFile::BookmarMatcher>(cell), 1);
}

void TestSafariMatchers::items_data()
{
    addColumns();
    addRow("as on a device", "visit_count_score", 100, true);
    for (int counters = 1; counters <= 15; ++counters) {
        QTest::addRow("%d days", counters) << QStringLiteral("daily_visit_counts")
                                           << QVariant(bytes(4 * counters)) << (counters <= 14);
    }
    addRow("half a counter", "daily_visit_counts", bytes(2), false);
    addRow("counters as a text", "daily_visit_counts", letters(4), false);
    addRow("many visits", "visit_count", 70000, true);
    addRow("no number of visits", "visit_count", QVariant(), false);
    addRow("visits as a real", "visit_count", 1.5, false);
    addRow("no address", "url", QVariant(), false);
    addRow("address as bytes", "url", bytes(20), false);
    addRow("address without a main word", "domain_expansion", QVariant(), true);
    addRow("weeks", "weekly_visit_counts", bytes(8), true);
    addRow("weeks as a text", "weekly_visit_counts", letters(8), false);
    addRow("triggers as a text", "autocomplete_triggers", letters(8), false);
}

void TestSafariMatchers::items()
{
    QVERIFY(openItems());
    compare<Items>(&m_history, itemRow());
}

void TestSafariMatchers::visits_data()
{
    addColumns();
    addRow("as on a device", "score", 100, true);
    addRow("whole second", "visit_time", 480000000, true);
    addRow("time of another width", "visit_time", 300, false);
    addRow("a time at which nobody visited", "visit_time", 12.5, true);
    addRow("first item", "history_item", 1, true);
    addRow("late item", "history_item", 70000, true);
    addRow("no item", "history_item", QVariant(), false);
    addRow("item as a text", "history_item", letters(2), false);
    addRow("empty title", "title", QStringLiteral(""), true);
    addRow("no title", "title", QVariant(), false);
    addRow("title as a number", "title", 5, false);
    addFlagRows("load_successful");
    addFlagRows("http_non_get");
    addFlagRows("synthesized");
}

void TestSafariMatchers::visits()
{
    QVERIFY(openVisits());
    compare<Visits>(&m_history, visitRow());
}

void TestSafariMatchers::rowsOfAnOlderHistory()
{
    QVERIFY(openItems());
    QCOMPARE(m_history.matches<Items>(m_history.cell(itemRow(), 1)), 1);
    QVERIFY(openVisits());
    QCOMPARE(m_history.matches<Visits>(m_history.cell(visitRow(), 2)), 1);
}

/// Nothing tells where the body of such a row begins but its cell, and that is another table's.
void TestSafariMatchers::wholeCellOfAnotherLayoutWithoutMarks()
{
    QVERIFY(openItems());
    QVariantMap row = itemRow();
    row[QStringLiteral("url")] = QStringLiteral("feed:1");
    QCOMPARE(m_history.matches<Items>(m_history.cell(row)), 1);
    QCOMPARE(m_history.matches<Items>(m_history.cell(row, 1)), 0);
    QVERIFY(openVisits());
    row = visitRow();
    row[QStringLiteral("visit_time")] = 12.5;
    QCOMPARE(m_history.matches<Visits>(m_history.cell(row)), 1);
    QCOMPARE(m_history.matches<Visits>(m_history.cell(row, 1)), 0);
    QVERIFY(m_bookmarks.open(BookmarkTable, safariTables(BookmarkLayout::Ios7).first()));
    row = bookmarkRow();
    row[QStringLiteral("url")] = QStringLiteral("feed:1");
    row[QStringLiteral("external_uuid")] = letters(36);
    using Bookmarks = BookmarkDbFile::BookmarMatcher;
    QCOMPARE(m_bookmarks.matches<Bookmarks>(m_bookmarks.cell(row)), 1);
    QCOMPARE(m_bookmarks.matches<Bookmarks>(m_bookmarks.cell(row, 1)), 0);
}

void TestSafariMatchers::recordWithoutAHolder()
{
    SqliteRecovery recovery;
    BookmarkDbFile file;
    file.addRecord({QStringLiteral("News"), url(), 1});
    QVERIFY(m_bookmarks.open(BookmarkTable, safariTables(BookmarkLayout::Ios7).first()));
    QCOMPARE(m_bookmarks.file().scanDeletedRecords(&recovery), 0);
    for (int i = 0; i < 2; ++i) {
        m_bookmarks.file().addRecord({QStringLiteral("News"), url(), 1});
    }
    QCOMPARE(recovery.getBookmarkCount(), 1u);
    QCOMPARE(m_bookmarks.file().scanDeletedRecords(&recovery), 0); // remembers nothing of the last
    m_bookmarks.file().addRecord({QStringLiteral("News"), url(), 1});
    QCOMPARE(recovery.getBookmarkCount(), 2u);
}

void TestSafariMatchers::cellsOfAddressIndexes_data()
{
    QTest::addColumn<QByteArray>("cell");
    // The end of an address, a row identifier, and the next cell: size, header size, types.
    QTest::newRow("even length") << QByteArray::fromHex("373201745504812d01");
    QTest::newRow("odd length") << QByteArray::fromHex("23390934036b02");
    QTest::newRow("one byte") << QByteArray::fromHex("3332014c0c5100b068");
}

void TestSafariMatchers::cellsOfAddressIndexes()
{
    QFETCH(QByteArray, cell);
    QVERIFY(openItems());
    const QByteArray next = QByteArrayLiteral("https://www.example.com/search/#372");
    QCOMPARE(m_history.matches<Items>("http://example.com/2016/" + cell + next), 0);
}

void TestSafariMatchers::columnsThatCannotBeBound_data()
{
    QTest::addColumn<QString>("table");
    QTest::addColumn<QString>("column");
    const auto row = [](const QString &table, const char *column) {
        QTest::addRow("%s", column) << table << QString::fromLatin1(column);
    };
    for (const char *column : {"external_uuid", "num_children", "editable", "deletable"}) {
        row(BookmarkTable, column);
    }
    for (const char *column : {"daily_visit_counts", "visit_count", "url"}) {
        row(ItemTable, column);
    }
    for (const char *column : {"history_item", "visit_time", "title", "load_successful",
                               "http_non_get", "synthesized"}) {
        row(VisitTable, column);
    }
}

void TestSafariMatchers::columnsThatCannotBeBound()
{
    QFETCH(QString, table);
    QFETCH(QString, column);
    const QStringList history = safariTables(HistoryLayout::Ios10);
    QString statement = table == BookmarkTable ? safariTables(BookmarkLayout::Ios7).first()
                        : table == ItemTable   ? history.at(0)
                                               : history.at(1);
    statement.replace(QLatin1Char(' ') + column + QLatin1Char(' '), QStringLiteral(" renamed "));
    if (table == BookmarkTable) {
        QVERIFY(m_bookmarks.open(table, statement));
        QCOMPARE(m_bookmarks.matches<BookmarkDbFile::BookmarMatcher>(QByteArray()), -1);
        return;
    }
    QVERIFY(m_history.open(table, statement));
    QCOMPARE(table == ItemTable ? m_history.matches<Items>(QByteArray())
                                : m_history.matches<Visits>(QByteArray()),
             -1);
}

QTEST_APPLESS_MAIN(TestSafariMatchers)
#include "tst_safarimatchers.moc"
