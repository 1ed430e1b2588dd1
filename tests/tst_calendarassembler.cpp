#include "recoverers/calendar_notes_safari/calendarassembler.h"
#include "recoverers/calendar_notes_safari/calendarrows.h"

#include <QtTest>

namespace {

constexpr qint64 Start = 400000000;

QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}

CarvedCalendarItem item(qint64 calendarId, qint64 start, qint64 end)
{
    CarvedCalendarItem row;
    row.calendarId = calendarId;
    row.summary = text("Dentist");
    row.startDate = start;
    row.endDate = end;
    row.hasEnd = end != 0;
    return row;
}

CarvedEvent oldEvent(qint64 calendarId)
{
    CarvedEvent row;
    row.calendarId = calendarId;
    row.summary = text("Dentist");
    row.startDate = Start;
    return row;
}

} // namespace

/// How carved rows become events and reminders.
class TestCalendarAssembler : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void itemsAreSorted_data();
    void itemsAreSorted();
    void fieldsOfAnItem();
    void defaultListHasAName();
    void eventsOfTheOlderTable_data();
    void eventsOfTheOlderTable();
    void locationsAreEventsOfTheirOwn();
    void withoutKnownCalendarsNothingCounts();
    void eventsMinutesApartCollapse();
    void recordsThatDifferInOneField();
    void piecesOfOldEvents();
    void piecesOfWholeRows_data();
    void piecesOfWholeRows();
    void rowsThatStillExist();

private:
    LiveCalendars m_live;
};

void TestCalendarAssembler::initTestCase()
{
    m_live.calendars = {{1, {text("Home"), 4}},
                        {2, {text("Shopping"), 8}},
                        {3, {text("DEFAULT_TASK_CALENDAR_NAME"), 8}},
                        {4, {text("Both"), 12}}};
    m_live.locations = {{7, text("Room 4")}};
    m_live.highestCalendarId = 6;
    m_live.highestItemId = 100;
}

void TestCalendarAssembler::itemsAreSorted_data()
{
    QTest::addColumn<qint64>("calendarId");
    QTest::addColumn<qint64>("start");
    QTest::addColumn<qint64>("end");
    QTest::addColumn<int>("events");
    QTest::addColumn<int>("reminders");
    const auto row = [](const char *name, qint64 calendarId, qint64 start, qint64 end, int events,
                        int reminders) {
        QTest::newRow(name) << calendarId << start << end << events << reminders;
    };
    row("event", 1, Start, Start + 60, 1, 0);
    row("event without an end is a reminder too", 1, Start, 0, 1, 1);
    row("reminder", 2, Start, 0, 0, 1);
    row("reminder without dates", 2, 0, 0, 0, 1);
    row("reminder with an end is an event too", 2, Start, 100, 1, 1);
    row("list for both, with an end", 4, Start, Start + 60, 1, 0);
    row("list for both, without", 4, Start, 0, 0, 1);
    row("deleted calendar, with an end", 5, Start, Start + 60, 1, 0);
    row("deleted calendar, without", 5, Start, 0, 0, 1);
    row("no calendar", 0, Start, Start + 60, 1, 0);
    row("highest calendar", 6, Start, Start + 60, 1, 0);
    row("beyond the highest", 7, Start, Start + 60, 0, 0);
    row("negative calendar", -1, Start, Start + 60, 0, 0);
    row("end without a start", 1, 0, 5, 0, 0);
    row("before 2001, with an end after", 1, -50, 5, 0, 0);
    row("before 2001", 1, -500, -50, 1, 0);
}

void TestCalendarAssembler::itemsAreSorted()
{
    QFETCH(qint64, calendarId);
    QFETCH(qint64, start);
    QFETCH(qint64, end);
    CarvedCalendars carved;
    carved.items = {item(calendarId, start, end)};
    const RecoveredCalendars found = assembleCalendars(m_live, carved);
    QTEST(found.events.size(), "events");
    QTEST(found.reminders.size(), "reminders");
}

void TestCalendarAssembler::fieldsOfAnItem()
{
    CarvedCalendarItem row = item(2, Start, Start + 60);
    row.locationId = 7;
    row.description = text("Bring the card");
    row.allDay = 1;
    row.completionDate = Start + 5;
    row.priority = 9;
    CarvedCalendars carved;
    carved.items = {row};
    const RecoveredCalendars found = assembleCalendars(m_live, carved);
    const CalendarRecord &event = found.events.at(0);
    QCOMPARE(event.title + event.location + event.notes, text("DentistRoom 4Bring the card"));
    QCOMPARE(event.startDate, double(Start));
    QCOMPARE(event.endDate, double(Start + 60));
    QCOMPARE(event.allDay, 1);
    const ReminderRecord &reminder = found.reminders.at(0);
    QCOMPARE(reminder.title + reminder.location + reminder.calendar + reminder.notes,
             text("DentistRoom 4ShoppingBring the card"));
    QCOMPARE(reminder.startDate, double(Start));
    QCOMPARE(reminder.completionDate, double(Start + 5));
    QCOMPARE(reminder.priority, 9);
}

void TestCalendarAssembler::defaultListHasAName()
{
    CarvedCalendars carved;
    carved.items = {item(3, Start, 0)};
    const RecoveredCalendars found = assembleCalendars(m_live, carved);
    QCOMPARE(found.reminders.at(0).calendar, text("Reminders"));
    QCOMPARE(found.reminders.at(0).location, QString());
}

void TestCalendarAssembler::eventsOfTheOlderTable_data()
{
    QTest::addColumn<qint64>("calendarId");
    QTest::addColumn<int>("events");
    QTest::newRow("first calendar") << qint64(1) << 1;
    QTest::newRow("highest calendar") << qint64(6) << 1;
    QTest::newRow("beyond it") << qint64(7) << 0;
    QTest::newRow("no calendar, unlike items") << qint64(0) << 0;
    QTest::newRow("negative calendar") << qint64(-1) << 0;
}

void TestCalendarAssembler::eventsOfTheOlderTable()
{
    QFETCH(qint64, calendarId);
    CarvedEvent row = oldEvent(calendarId);
    row.location = text("Gate B7");
    CarvedCalendars carved;
    carved.events = {row};
    const RecoveredCalendars found = assembleCalendars(m_live, carved);
    QTEST(found.events.size(), "events");
    QCOMPARE(found.reminders.size(), 0);
    QVERIFY(found.events.isEmpty() || found.events.at(0).location == text("Gate B7"));
}

void TestCalendarAssembler::locationsAreEventsOfTheirOwn()
{
    CarvedCalendars carved;
    carved.locations = {text("Room 4"), text("\x01\x02\x03z"), text("Gate B7"), text("Room 4")};
    carved.items = {item(1, Start, Start + 60)};
    const RecoveredCalendars found = assembleCalendars(m_live, carved);
    QStringList places;
    for (const CalendarRecord &record : found.events) {
        places.append(record.title + QLatin1Char('/') + record.location);
    }
    QCOMPARE(places, (QStringList{text("Dentist/"), text("/Room 4"), text("/Gate B7")}));
    QCOMPARE(found.events.at(1).startDate + found.events.at(1).endDate, 0.0);
}

void TestCalendarAssembler::withoutKnownCalendarsNothingCounts()
{
    LiveCalendars live = m_live;
    live.highestCalendarId = 0;
    CarvedCalendars carved;
    carved.items = {item(0, Start, Start + 60), item(1, Start, 0)};
    carved.events = {oldEvent(1), oldEvent(0)};
    const RecoveredCalendars found = assembleCalendars(live, carved);
    QCOMPARE(found.events.size() + found.reminders.size(), 0);
}

void TestCalendarAssembler::eventsMinutesApartCollapse()
{
    CarvedCalendars carved;
    carved.items = {item(1, Start, Start + 60), item(1, Start + 300, Start + 360),
                    item(1, Start + 3000, Start + 3060)};
    const RecoveredCalendars found = assembleCalendars(m_live, carved);
    QCOMPARE(found.events.size(), 2);
    QCOMPARE(found.events.at(0).startDate, double(Start)); // the first one wins
    QCOMPARE(found.events.at(1).startDate, double(Start + 3000));
}

/// In a calendar of reminders, and with an end, so that each row gives both.
void TestCalendarAssembler::recordsThatDifferInOneField()
{
    const CarvedCalendarItem row = item(2, Start, Start + 60);
    CarvedCalendars carved;
    carved.items.assign(10, row);
    carved.items[1].summary = text("Lunch");
    carved.items[2].locationId = 7;
    carved.items[3].description = text("Bring the card");
    carved.items[4].startDate += 5000;
    carved.items[5].endDate += 5000;
    carved.items[6].allDay = 1;
    carved.items[7].calendarId = 3;
    carved.items[8].completionDate = Start;
    carved.items[9].priority = 1;
    const RecoveredCalendars found = assembleCalendars(m_live, carved);
    QCOMPARE(found.events.size(), 7);
    QCOMPARE(found.reminders.size(), 8);
}

void TestCalendarAssembler::piecesOfOldEvents()
{
    CarvedEvent whole = oldEvent(1);
    whole.description = text("Bring the card");
    whole.endDate = Start + 60;
    whole.allDay = 1;
    CarvedEvent piece = oldEvent(1);
    piece.isIncomplete = true;
    piece.startDate = 0;
    CarvedEvent other = piece;
    other.summary = text("Lunch");
    CarvedCalendars carved;
    carved.events = {piece, whole, other};
    const RecoveredCalendars found = assembleCalendars(m_live, carved);
    QCOMPARE(found.events.size(), 2);
    QCOMPARE(found.events.at(0).title + found.events.at(0).notes, text("DentistBring the card"));
    QCOMPARE(found.events.at(0).endDate, double(Start + 60));
    QCOMPARE(found.events.at(0).allDay, 1);
    QCOMPARE(found.events.at(1).title, text("Lunch"));
}

void TestCalendarAssembler::piecesOfWholeRows_data()
{
    QTest::addColumn<QString>("summary");
    QTest::addColumn<QString>("description");
    QTest::addColumn<qint64>("start");
    QTest::addColumn<bool>("isKept");
    const auto row = [](const char *name, const char *summary, const char *description,
                        qint64 start, bool isKept) {
        QTest::newRow(name) << text(summary) << text(description) << start << isKept;
    };
    row("all but the end", "Dentist", "Bring the card", Start, false);
    row("half of the description", "Dentist", "Bring t", 0, false);
    row("half of the title", "Dent", "", 0, false);
    row("another date", "Dentist", "Bring the card", Start + 5000, true);
    row("another description", "Dentist", "Bring a", 0, true);
    row("another title", "Dentists", "", 0, true);
    row("title of the other's beginning", "Den", "Bring", 0, true);
}

void TestCalendarAssembler::piecesOfWholeRows()
{
    QFETCH(bool, isKept);
    CarvedCalendarItem whole = item(1, Start, Start + 60);
    whole.description = text("Bring the card");
    CarvedCalendarItem piece = item(0, 0, 0);
    QFETCH(QString, summary);
    QFETCH(QString, description);
    QFETCH(qint64, start);
    piece.summary = summary;
    piece.description = description;
    piece.startDate = start;
    piece.hasEnd = true;
    piece.isIncomplete = true;
    CarvedCalendars carved;
    carved.items = {piece, whole, piece};
    const RecoveredCalendars found = assembleCalendars(m_live, carved);
    QCOMPARE(found.events.size(), isKept ? 2 : 1);
    QCOMPARE(found.reminders.size(), 0); // its end is lost, but it had one
    piece.isIncomplete = false;
    carved.items = {piece, whole};
    QCOMPARE(assembleCalendars(m_live, carved).events.size(), 2);
}

/// SQLite leaves copies where it moves rows. What differs in any field was another version.
void TestCalendarAssembler::rowsThatStillExist()
{
    LiveCalendars live = m_live;
    live.items.push_back(item(1, Start, Start + 3600));
    live.items.back().description = text("bring the card");
    live.events.push_back(oldEvent(1));
    CarvedCalendars carved;
    carved.items.push_back(live.items.back());
    carved.events.push_back(oldEvent(1));
    QVERIFY(assembleCalendars(live, carved).events.isEmpty());
    carved.items.back().description = text("bring");
    carved.items.back().startDate = 0; // the dates lie behind the texts
    carved.items.back().isIncomplete = true;
    QVERIFY(assembleCalendars(live, carved).events.isEmpty());
    carved.items.back().startDate = Start;
    carved.items.back().isIncomplete = false;
    carved.events.back().endDate = Start + 60;
    const QVector<CalendarRecord> events = assembleCalendars(live, carved).events;
    QCOMPARE(events.size(), 2);
    QCOMPARE(events[0].notes, text("bring"));
    QCOMPARE(events[1].endDate, double(Start + 60));
}

QTEST_APPLESS_MAIN(TestCalendarAssembler)
#include "tst_calendarassembler.moc"
