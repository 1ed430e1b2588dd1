#include "recoverers/calendar_notes_safari/calendarmatchers.h"
#include "samples/calendarlayout.h"
#include "tests/support/matcherharness.h"

#include <QBuffer>
#include <QtTest>

namespace {

using ItemMatcher = CalendarDbFile::CalendarItemMatcher;
using EventMatcher = CalendarDbFile::EventItemMatcher;
using LocationMatcher = CalendarDbFile::LocationMatcher;

const QString ItemTable = QStringLiteral("calendaritem");
const QString EventTable = QStringLiteral("event");
const QString LocationTable = QStringLiteral("location");

QString statement(const QString &table, const QString &columns)
{
    return QStringLiteral("CREATE TABLE %1 (%2)").arg(table, columns);
}

} // namespace

/// Which record headers the matchers of the calendar take, on rows in which one column differs from
/// what devices write.
class TestCalendarMatchers : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void items_data();
    void items();
    void itemsOfEveryLayout_data();
    void itemsOfEveryLayout();
    void columnInFrontOfTheAnchor();
    void itemsOfAnotherLayout_data();
    void itemsOfAnotherLayout();
    void itemHeaderReadAsBytes_data();
    void itemHeaderReadAsBytes();
    void events_data();
    void events();
    void locations_data();
    void locations();
    void columnsThatCannotBeBound_data();
    void columnsThatCannotBeBound();
    void liveLocationsAreNotInspected();
    void inspectedLocationIsLogged();

private:
    QVariantMap itemRow() const
    {
        return {{QStringLiteral("summary"), QStringLiteral("Dentist")},
                {QStringLiteral("location_id"), 0},
                {QStringLiteral("start_date"), 400000000},
                {QStringLiteral("end_date"), 400003600},
                {QStringLiteral("all_day"), 0},
                {QStringLiteral("calendar_id"), 2},
                {QStringLiteral("unique_identifier"), letters(36)},
                {QStringLiteral("hidden"), 0},
                {QStringLiteral("has_recurrences"), 0},
                {QStringLiteral("has_attendees"), 1},
                {QStringLiteral("uuid"), letters(36)},
                {QStringLiteral("entity_type"), 2},
                {QStringLiteral("priority"), 0}};
    }
    QVariantMap eventRow() const
    {
        return {{QStringLiteral("summary"), QStringLiteral("Dentist")},
                {QStringLiteral("location"), QStringLiteral("Room 4")},
                {QStringLiteral("description"), QStringLiteral("Bring the card")},
                {QStringLiteral("start_date"), 300000000},
                {QStringLiteral("end_date"), 300003600},
                {QStringLiteral("all_day"), 0},
                {QStringLiteral("calendar_id"), 2},
                {QStringLiteral("unique_identifier"), letters(36)}};
    }
    QVariantMap locationRow() const
    {
        return {{QStringLiteral("title"), QStringLiteral("Room 4")},
                {QStringLiteral("latitude"), 52.5},
                {QStringLiteral("longitude"), 13.25},
                {QStringLiteral("radius"), 70},
                {QStringLiteral("item_owner_id"), 12},
                {QStringLiteral("alarm_owner_id"), 0}};
    }
    template<typename Matcher>
    void compare(const QString &table, const QString &columns, QVariantMap row)
    {
        QFETCH(QString, column);
        QFETCH(QVariant, value);
        QFETCH(bool, isTaken);
        QVERIFY(m_harness.open(table, statement(table, columns)));
        QVERIFY(m_harness.columns().contains(column));
        row[column] = value;
        QCOMPARE(m_harness.matches<Matcher>(m_harness.cell(row)), int(isTaken));
    }
    void addColumns()
    {
        QTest::addColumn<QString>("column");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<bool>("isTaken");
    }
    void addRow(const char *column, const char *what, const QVariant &value, bool isTaken)
    {
        QTest::addRow("%s %s", column, what) << QString::fromLatin1(column) << value << isTaken;
    }

    MatcherHarness<CalendarDbFile> m_harness;
};

void TestCalendarMatchers::items_data()
{
    addColumns();
    for (const char *column : {"hidden", "has_recurrences", "has_attendees"}) {
        addRow(column, "0", 0, true);
        addRow(column, "1", 1, true);
        addRow(column, "of one byte", 2, true);
        addRow(column, "of two bytes", 300, false);
        addRow(column, "NULL", QVariant(), false);
    }
    for (const char *column : {"entity_type", "priority"}) {
        addRow(column, "of two bytes", 300, true);
        addRow(column, "NULL", QVariant(), false);
        addRow(column, "text", QStringLiteral("2"), false);
    }
    addRow("uuid", "of another length", letters(35), false);
    addRow("unique_identifier", "of another length", letters(50), true);
    addRow("summary", "NULL", QVariant(), true);
    addRow("summary", "of many bytes", letters(300), true);
    addRow("location_id", "NULL", QVariant(), true);
}

void TestCalendarMatchers::items()
{
    compare<ItemMatcher>(ItemTable, itemColumnList(CalendarLayout::Ios6), itemRow());
}

void TestCalendarMatchers::itemsOfEveryLayout_data()
{
    QTest::addColumn<int>("layout");
    for (const CalendarLayout layout : allCalendarLayouts().mid(1)) {
        QTest::addRow("%s", qPrintable(layoutName(layout))) << int(layout);
    }
}

void TestCalendarMatchers::itemsOfEveryLayout()
{
    QFETCH(int, layout);
    const QString columns = itemColumnList(CalendarLayout(layout));
    QVERIFY(m_harness.open(ItemTable, statement(ItemTable, columns)));
    QCOMPARE(m_harness.matches<ItemMatcher>(m_harness.cell(itemRow())), 1);
    // Texts and bytes behind the anchor whose types take two bytes, or follow each other.
    QVariantMap row = itemRow();
    for (const QString &column : m_harness.columns()) {
        if (column.startsWith(QLatin1String("conference")) || column == QLatin1String("action")) {
            row[column] = letters(90);
        } else if (column.endsWith(QLatin1String("data")) || column == QLatin1String("app_link")) {
            row[column] = QByteArray(70, 'b');
        }
    }
    QCOMPARE(m_harness.matches<ItemMatcher>(m_harness.cell(row)), 1);
}

/// Systems may yet put a column between the tested ones and the anchor.
void TestCalendarMatchers::columnInFrontOfTheAnchor()
{
    QString columns = itemColumnList(CalendarLayout::Ios11);
    columns.replace(QLatin1String("UUID TEXT, entity_type"),
                    QLatin1String("other REAL, UUID TEXT, entity_type"));
    QVERIFY(m_harness.open(ItemTable, statement(ItemTable, columns)));
    QVERIFY(m_harness.columns().contains(QStringLiteral("other")));
    QCOMPARE(m_harness.matches<ItemMatcher>(m_harness.cell(itemRow())), 1);
}

void TestCalendarMatchers::itemsOfAnotherLayout_data()
{
    QTest::addColumn<int>("missing");
    QTest::addColumn<bool>("isTaken");
    QTest::newRow("one column later") << 1 << true;
    QTest::newRow("many columns later") << 16 << true;
    QTest::newRow("older than the priority") << 18 << false;
}

void TestCalendarMatchers::itemsOfAnotherLayout()
{
    QFETCH(int, missing);
    QFETCH(bool, isTaken);
    QVERIFY(m_harness.open(ItemTable, statement(ItemTable, itemColumnList(CalendarLayout::Ios6))));
    QCOMPARE(m_harness.matches<ItemMatcher>(m_harness.cell(itemRow(), missing)), int(isTaken));
}

void TestCalendarMatchers::itemHeaderReadAsBytes_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QVector<qint64>>("types");
    QTest::addColumn<int>("consumed");
    const auto row = [](const char *name, const char *hex, const QVector<qint64> &types,
                        int consumed) {
        QTest::newRow(name) << QByteArray::fromHex(hex) << types << consumed;
    };
    row("one byte each", "55010800ff", {0x55, 1, 8, 0}, 4);
    row("only the first may take more", "813001080004", {0xb0, 1, 8, 0}, 5);
    row("a byte with its high bit set", "55018108ff", {0x55, 1, 0x81, 8}, 4);
    row("text ends the header", "550148656c6c6f", {0x55, 1, 0, 0}, 2);
    row("one printable byte does not", "5548010800", {0x55, 0x48, 1, 8}, 4);
    row("a blank is printable", "552048", {0x55, 0, 0, 0}, 1);
    row("31 is not printable", "551f480800", {0x55, 0x1f, 0x48, 8}, 4);
    row("end of the bytes", "5501", {0x55, 1, 0, 0}, 2);
    row("no bytes", "", {}, 0);
    row("varint that does not end", "ffffff", {}, 0);
}

void TestCalendarMatchers::itemHeaderReadAsBytes()
{
    QFETCH(QByteArray, bytes);
    QBuffer buffer(&bytes);
    QVERIFY(buffer.open(QIODevice::ReadOnly));
    ItemMatcher matcher(&m_harness.file());
    QVector<qint64> types;
    const int consumed = matcher.readSerialTypes(buffer, 4, types);
    QTEST(types, "types");
    QTEST(consumed, "consumed");
    QCOMPARE(buffer.pos(), qint64(consumed));
}

void TestCalendarMatchers::events_data()
{
    addColumns();
    for (const char *column : {"summary", "location", "description"}) {
        addRow(column, "NULL", QVariant(), true);
        addRow(column, "of many bytes", letters(300), true);
        addRow(column, "number", 5, false);
        addRow(column, "bytes", QByteArray(4, 'x'), false);
    }
    addRow("all_day", "1", 1, true);
    addRow("all_day", "of two bytes", 300, false);
    addRow("all_day", "NULL", QVariant(), false);
    addRow("calendar_id", "of two bytes", 300, true);
    addRow("calendar_id", "NULL", QVariant(), false);
    addRow("unique_identifier", "of another length", letters(35), false);
}

void TestCalendarMatchers::events()
{
    compare<EventMatcher>(EventTable, itemColumnList(CalendarLayout::Ios5), eventRow());
}

void TestCalendarMatchers::locations_data()
{
    addColumns();
    addRow("title", "NULL", QVariant(), false);
    addRow("title", "number", 5, false);
    for (const char *column : {"latitude", "longitude"}) {
        addRow(column, "NULL", QVariant(), true);
        addRow(column, "0", 0, true);
        addRow(column, "of one byte", 52, false);
    }
    addRow("address_book_id", "text", letters(40), true);
    addRow("address_book_id", "number", 5, false);
    addRow("radius", "NULL", QVariant(), true);
    addRow("radius", "real", 0.5, false);
    addRow("item_owner_id", "1", 1, true);
    addRow("item_owner_id", "of two bytes", 300, true);
    addRow("item_owner_id", "of three bytes", 100000, true);
    addRow("item_owner_id", "of four bytes", 1 << 28, true);
    addRow("item_owner_id", "of six bytes", qint64(1) << 40, true);
    addRow("item_owner_id", "of eight bytes", qint64(1) << 60, true);
    addRow("item_owner_id", "NULL", QVariant(), false);
    addRow("alarm_owner_id", "of one byte", 3, true);
    addRow("alarm_owner_id", "NULL", QVariant(), false);
}

void TestCalendarMatchers::locations()
{
    compare<LocationMatcher>(LocationTable, locationColumnList(CalendarLayout::Ios7),
                             locationRow());
}

void TestCalendarMatchers::columnsThatCannotBeBound_data()
{
    QTest::addColumn<QString>("table");
    QTest::addColumn<QString>("column");
    const auto row = [](const QString &table, std::initializer_list<const char *> columns) {
        for (const char *column : columns) {
            QTest::addRow("%s without %s", qPrintable(table), column)
                << table << QString::fromLatin1(column);
        }
    };
    row(ItemTable, {"uuid", "unique_identifier", "hidden", "has_recurrences", "has_attendees",
                    "entity_type", "priority", "summary"});
    row(EventTable, {"unique_identifier"});
    row(LocationTable, {"item_owner_id", "title", "latitude", "longitude", "address_book_id",
                        "radius", "alarm_owner_id"});
}

void TestCalendarMatchers::columnsThatCannotBeBound()
{
    QFETCH(QString, table);
    QFETCH(QString, column);
    QString columns = table == ItemTable    ? itemColumnList(CalendarLayout::Ios11)
                      : table == EventTable ? itemColumnList(CalendarLayout::Ios5)
                                            : locationColumnList(CalendarLayout::Ios11);
    columns.replace(QRegularExpression(QStringLiteral("\\b%1 ").arg(column),
                                       QRegularExpression::CaseInsensitiveOption),
                    QStringLiteral("another "));
    QVERIFY(m_harness.open(table, statement(table, columns)));
    const QByteArray cell(50, 'x');
    const int matches = table == ItemTable    ? m_harness.matches<ItemMatcher>(cell)
                        : table == EventTable ? m_harness.matches<EventMatcher>(cell)
                                              : m_harness.matches<LocationMatcher>(cell);
    QCOMPARE(matches, -1);
}

void TestCalendarMatchers::liveLocationsAreNotInspected()
{
    QVERIFY(!LocationMatcher(&m_harness.file()).wantsLiveCells());
}

void TestCalendarMatchers::inspectedLocationIsLogged()
{
    QTest::ignoreMessage(QtDebugMsg, "live location at 2 of 9");
    LocationMatcher(&m_harness.file()).inspectLiveCell(QByteArray(9, 'x'), 2);
}

QTEST_APPLESS_MAIN(TestCalendarMatchers)
#include "tst_calendarmatchers.moc"
