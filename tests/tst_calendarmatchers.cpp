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

} // namespace

/// Which record headers the matchers of the calendar take, on rows in which one column differs from
/// what devices write.
class TestCalendarMatchers : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void items_data();
    void items();
    void columnInFrontOfTheAnchor();
    void itemsOfAnotherLayout_data();
    void itemsOfAnotherLayout();
    void itemHeaderReadAsBytes_data();
    void itemHeaderReadAsBytes();
    void events_data();
    void events();
    void locations_data();
    void locations();
    void neededColumns();

private:
    QVariantMap itemRow() const
    {
        return rowFromJson(R"({"summary": "Dentist", "location_id": 0, "start_date": 400000000,
            "end_date": 400003600, "all_day": 0, "calendar_id": 2, "hidden": 0,
            "unique_identifier": "0B6C7F0E-1D9C-4B52-8D55-3C6B7A9D1E2F", "has_recurrences": 0,
            "has_attendees": 1, "uuid": "0B6C7F0E-1D9C-4B52-8D55-3C6B7A9D1E2F",
            "entity_type": 2, "priority": 0})");
    }
    QVariantMap eventRow() const
    {
        return rowFromJson(R"({"summary": "Dentist", "location": "Room 4", "calendar_id": 2,
            "description": "Bring the card", "start_date": 300000000, "end_date": 300003600,
            "all_day": 0, "unique_identifier": "0B6C7F0E-1D9C-4B52-8D55-3C6B7A9D1E2F"})");
    }
    QVariantMap locationRow() const
    {
        return rowFromJson(R"({"title": "Room 4", "latitude": 52.5, "longitude": 13.25,
            "radius": 70, "item_owner_id": 12, "alarm_owner_id": 0})");
    }
    bool open(const QString &table, const QString &columns)
    {
        return m_harness.open(table, QStringLiteral("CREATE TABLE %1 (%2)").arg(table, columns));
    }
    void addRow(const char *column, const char *what, const QVariant &value, bool isTaken)
    {
        QTest::addRow("%s %s", column, what) << QString::fromLatin1(column) << value << isTaken;
    }

    MatcherHarness<CalendarDbFile> m_harness;
};

void TestCalendarMatchers::items_data()
{
    addValueColumns();
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
    QVERIFY(open(ItemTable, itemColumnList(CalendarLayout::Ios6)));
    m_harness.compare<ItemMatcher>(itemRow());
}

/// Systems may yet put a column between the tested ones and the anchor.
void TestCalendarMatchers::columnInFrontOfTheAnchor()
{
    QString columns = itemColumnList(CalendarLayout::Ios11);
    columns.replace(QLatin1String("UUID TEXT, entity_type"),
                    QLatin1String("other REAL, UUID TEXT, entity_type"));
    QVERIFY(open(ItemTable, columns));
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
    QVERIFY(open(ItemTable, itemColumnList(CalendarLayout::Ios6)));
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
    addValueColumns();
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
    QVERIFY(open(EventTable, itemColumnList(CalendarLayout::Ios5)));
    m_harness.compare<EventMatcher>(eventRow());
}

void TestCalendarMatchers::locations_data()
{
    addValueColumns();
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
    QVERIFY(open(LocationTable, locationColumnList(CalendarLayout::Ios7)));
    m_harness.compare<LocationMatcher>(locationRow());
}

void TestCalendarMatchers::neededColumns()
{
    QVERIFY(open(ItemTable, itemColumnList(CalendarLayout::Ios11)));
    QCOMPARE(m_harness.neededColumns<ItemMatcher>(),
             QStringLiteral("summary unique_identifier hidden has_recurrences has_attendees uuid "
                            "entity_type priority"));
    QVERIFY(open(EventTable, itemColumnList(CalendarLayout::Ios5)));
    QCOMPARE(m_harness.neededColumns<EventMatcher>(), QStringLiteral("unique_identifier"));
    QVERIFY(open(LocationTable, locationColumnList(CalendarLayout::Ios11)));
    QCOMPARE(m_harness.neededColumns<LocationMatcher>(),
             QStringLiteral("title latitude longitude address_book_id radius item_owner_id "
                            "alarm_owner_id"));
}

QTEST_APPLESS_MAIN(TestCalendarMatchers)
#include "tst_calendarmatchers.moc"
