#include "recoverers/calendar_notes_safari/bookmarkhistorymatchers.h"
#include "recoverers/calendar_notes_safari/bookmarkmatchers.h"
#include "samples/safarilayout.h"
#include "tests/support/matcherharness.h"

#include <QtTest>

namespace {

using Bookmarks = BookmarkDbFile::BookmarMatcher;
using Items = BookmarkHistoryDbFile::BookmarHistoryMatcher;
using Visits = BookmarkHistoryDbFile::BookmarHistoryVisitMatcher;

const QString BookmarkTable = QStringLiteral("bookmarks");
const QString ItemTable = QStringLiteral("history_items");
const QString VisitTable = QStringLiteral("history_visits");

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
    void cellsOfAddressIndexes_data();
    void cellsOfAddressIndexes();
    void neededColumns();

private:
    QVariantMap bookmarkRow() const
    {
        return rowFromJson(R"({"special_id": 0, "parent": 1, "type": 0, "title": "Shopping",
            "url": "http://www.example.com/", "num_children": 0, "editable": 1, "deletable": 1,
            "order_index": 17, "external_uuid": "6F1D1A52-0B7C-4D2B-9E59-0C6E3F1B7A11"})");
    }
    QVariantMap itemRow() const
    {
        QVariantMap row = rowFromJson(R"({"url": "http://www.example.com/", "visit_count": 1,
            "domain_expansion": "example", "should_recompute_derived_visit_counts": 0,
            "visit_count_score": 100})");
        row[QStringLiteral("daily_visit_counts")] = bytes(4);
        return row;
    }
    QVariantMap visitRow() const
    {
        return rowFromJson(R"({"history_item": 12, "visit_time": 480000000.5,
            "title": "A page with a title", "load_successful": 1, "http_non_get": 0,
            "synthesized": 0, "origin": 0, "generation": 9, "attributes": 0, "score": 100})");
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
    bool openBookmarks(BookmarkLayout layout = BookmarkLayout::Ios7)
    {
        return m_bookmarks.open(BookmarkTable, safariTables(layout).first());
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
    addValueColumns();
    addValueRow("as on a device", "title", letters(12), true);
    addValueRow("no title", "title", QVariant(), true);
    addValueRow("folder", "url", QVariant(), true);
    addFlagRows("editable");
    addFlagRows("deletable");
    addValueRow("children", "num_children", 300, true);
    addValueRow("no number of children", "num_children", QVariant(), false);
    addValueRow("children as a real", "num_children", 1.5, false);
    addValueRow("identifier of another length", "external_uuid", letters(35), false);
    addValueRow("no identifier", "external_uuid", QVariant(), false);
    addValueRow("identifier of another form", "external_uuid", letters(36), true);
}

void TestSafariMatchers::bookmarks()
{
    for (const BookmarkLayout layout : {BookmarkLayout::Ios3, BookmarkLayout::Ios7}) {
        QVERIFY(openBookmarks(layout));
        m_bookmarks.compare<Bookmarks>(bookmarkRow());
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
    QVERIFY(openBookmarks(BookmarkLayout::Safari27));
    QVariantMap row = bookmarkRow();
    row[QStringLiteral("title")] = title;
    const QByteArray cell = m_bookmarks.cell(row, missing);
    QCOMPARE(m_bookmarks.matches<Bookmarks>(cell), 1);
}

void TestSafariMatchers::items_data()
{
    addValueColumns();
    addValueRow("as on a device", "visit_count_score", 100, true);
    for (int counters = 1; counters <= 15; ++counters) {
        QTest::addRow("%d days", counters) << QStringLiteral("daily_visit_counts")
                                           << QVariant(bytes(4 * counters)) << (counters <= 14);
    }
    addValueRow("half a counter", "daily_visit_counts", bytes(2), false);
    addValueRow("counters as a text", "daily_visit_counts", letters(4), false);
    addValueRow("many visits", "visit_count", 70000, true);
    addValueRow("no number of visits", "visit_count", QVariant(), false);
    addValueRow("visits as a real", "visit_count", 1.5, false);
    addValueRow("no address", "url", QVariant(), false);
    addValueRow("address as bytes", "url", bytes(20), false);
    addValueRow("address without a main word", "domain_expansion", QVariant(), true);
    addValueRow("weeks", "weekly_visit_counts", bytes(8), true);
    addValueRow("weeks as a text", "weekly_visit_counts", letters(8), false);
    addValueRow("triggers as a text", "autocomplete_triggers", letters(8), false);
}

void TestSafariMatchers::items()
{
    QVERIFY(openItems());
    m_history.compare<Items>(itemRow());
}

void TestSafariMatchers::visits_data()
{
    addValueColumns();
    addValueRow("as on a device", "score", 100, true);
    addValueRow("whole second", "visit_time", 480000000, true);
    addValueRow("time of another width", "visit_time", 300, false);
    addValueRow("a time at which nobody visited", "visit_time", 12.5, true);
    addValueRow("first item", "history_item", 1, true);
    addValueRow("late item", "history_item", 70000, true);
    addValueRow("no item", "history_item", QVariant(), false);
    addValueRow("item as a text", "history_item", letters(2), false);
    addValueRow("empty title", "title", QStringLiteral(""), true);
    addValueRow("no title", "title", QVariant(), false);
    addValueRow("title as a number", "title", 5, false);
    addFlagRows("load_successful");
    addFlagRows("http_non_get");
    addFlagRows("synthesized");
}

void TestSafariMatchers::visits()
{
    QVERIFY(openVisits());
    m_history.compare<Visits>(visitRow());
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
    QVERIFY(openBookmarks());
    row = bookmarkRow();
    row[QStringLiteral("url")] = QStringLiteral("feed:1");
    row[QStringLiteral("external_uuid")] = letters(36);
    QCOMPARE(m_bookmarks.matches<Bookmarks>(m_bookmarks.cell(row)), 1);
    QCOMPARE(m_bookmarks.matches<Bookmarks>(m_bookmarks.cell(row, 1)), 0);
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

void TestSafariMatchers::neededColumns()
{
    QVERIFY(openBookmarks());
    QCOMPARE(m_bookmarks.neededColumns<Bookmarks>(),
             QStringLiteral("num_children editable deletable external_uuid"));
    QVERIFY(openItems());
    QCOMPARE(m_history.neededColumns<Items>(),
             QStringLiteral("url visit_count daily_visit_counts"));
    QVERIFY(openVisits());
    QCOMPARE(
        m_history.neededColumns<Visits>(),
        QStringLiteral("history_item visit_time title load_successful http_non_get synthesized"));
}

QTEST_APPLESS_MAIN(TestSafariMatchers)
#include "tst_safarimatchers.moc"
