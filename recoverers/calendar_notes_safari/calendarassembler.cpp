#include "recoverers/calendar_notes_safari/calendarassembler.h"

#include "engine/fieldreader.h"
#include "recoverers/calendar_notes_safari/calendarrows.h"

#include <QPair>
#include <QSet>
#include <QStringList>

#include <algorithm>

namespace {

constexpr qint32 EventsOnly = 4;
constexpr qint32 RemindersOnly = 8;

/// Six digits: dates that differ by some minutes count as one, so that a row whose date was changed
/// a little does not come twice.
QString keyOf(double date)
{
    return QString::number(date, 'g', 6);
}

QString keyOf(const CalendarRecord &event)
{
    return QStringList{event.title,          event.location,
                       event.notes,          keyOf(event.startDate),
                       keyOf(event.endDate), QString::number(event.allDay)}
        .join(QLatin1Char('|'));
}

QString keyOf(const ReminderRecord &reminder)
{
    return QStringList{reminder.title,
                       reminder.location,
                       reminder.calendar,
                       reminder.notes,
                       keyOf(reminder.startDate),
                       keyOf(reminder.completionDate),
                       QString::number(reminder.priority)}
        .join(QLatin1Char('|'));
}

/// A list of records without duplicates; the first one stays.
template<typename Record> class Distinct
{
public:
    void add(const Record &record)
    {
        const QString key = keyOf(record);
        if (!m_keys.contains(key)) {
            m_keys.insert(key);
            m_records.append(record);
        }
    }

    const QVector<Record> &records() const { return m_records; }

private:
    QVector<Record> m_records;
    QSet<QString> m_keys;
};

/// All fields of a row.
QString contentsOf(const CarvedCalendarItem &item)
{
    return QStringLiteral("%1|%2|%3|%4|%5|%6|%7|")
               .arg(item.calendarId)
               .arg(item.locationId)
               .arg(item.startDate)
               .arg(item.endDate)
               .arg(item.allDay)
               .arg(item.completionDate)
               .arg(item.priority)
           + item.summary + QChar(QChar::Null) + item.description;
}

QString contentsOf(const CarvedEvent &event)
{
    return QStringLiteral("%1|%2|%3|%4|")
               .arg(event.calendarId)
               .arg(event.startDate)
               .arg(event.endDate)
               .arg(event.allDay)
           + event.summary + QChar(QChar::Null) + event.location + QChar(QChar::Null)
           + event.description;
}

/// Tells what SQLite leaves where it moves or changes a row: copies of rows that still exist, which
/// are not deleted, and pieces of rows that are known whole, which say nothing new.
template<typename Row> class WholeRows
{
public:
    WholeRows(const std::deque<Row> &live, const std::deque<Row> &carved)
    {
        for (const Row &row : live) {
            m_live.insert(contentsOf(row));
            add(row);
        }
        for (const Row &row : carved) {
            if (!row.isIncomplete) {
                add(row);
            }
        }
        std::sort(m_texts.begin(), m_texts.end());
    }

    bool isDeleted(const Row &row) const
    {
        return !(row.isIncomplete ? havePart(row) : m_live.contains(contentsOf(row)));
    }

private:
    void add(const Row &row)
    {
        m_texts.append(textOf(row));
        m_dated.insert({textOf(row), row.startDate});
    }

    bool havePart(const Row &row) const
    {
        const QString text = textOf(row);
        if (row.startDate != 0) {
            return m_dated.contains({text, row.startDate});
        }
        const auto whole = std::lower_bound(m_texts.cbegin(), m_texts.cend(), text);
        return whole != m_texts.cend() && whole->startsWith(text);
    }

    /// The texts in the order of the columns, so that a piece of the row has a piece of the text.
    static QString textOf(const Row &row)
    {
        return row.description.isEmpty() ? row.summary
                                         : row.summary + QChar(QChar::Null) + row.description;
    }

    QSet<QString> m_live;
    QVector<QString> m_texts; ///< ascending
    QSet<QPair<QString, qint64>> m_dated;
};

class Assembly
{
public:
    explicit Assembly(const LiveCalendars &live)
        : m_live(live)
    {
    }

    void add(const CarvedCalendarItem &item);
    void add(const CarvedEvent &event);
    void addLocation(const QString &title);

    RecoveredCalendars result() const { return {m_events.records(), m_reminders.records()}; }

private:
    bool canBelong(const CarvedCalendarItem &item) const;
    ReminderRecord reminderOf(const CarvedCalendarItem &item, const QString &calendar) const;
    CalendarRecord eventOf(const CarvedCalendarItem &item) const;

    const LiveCalendars &m_live;
    Distinct<CalendarRecord> m_events;
    Distinct<ReminderRecord> m_reminders;
};

/// Items may be in no calendar (0), unlike the events of the older table.
bool Assembly::canBelong(const CarvedCalendarItem &item) const
{
    return m_live.highestCalendarId > 0 && item.calendarId >= 0
           && item.calendarId <= m_live.highestCalendarId;
}

void Assembly::add(const CarvedCalendarItem &item)
{
    if (!canBelong(item) || (item.startDate <= 0 && item.endDate > 0)) {
        return;
    }
    const LiveCalendar calendar = m_live.calendars.value(item.calendarId);
    // An item with an end in a list of reminders is both: nothing tells which of the two it was.
    if (calendar.entityTypes == RemindersOnly || !item.hasEnd) {
        m_reminders.add(reminderOf(item, calendar.title));
    }
    if (calendar.entityTypes == EventsOnly || item.hasEnd) {
        m_events.add(eventOf(item));
    }
}

ReminderRecord Assembly::reminderOf(const CarvedCalendarItem &item, const QString &calendar) const
{
    const bool isDefault = calendar == QLatin1String("DEFAULT_TASK_CALENDAR_NAME");
    ReminderRecord reminder;
    reminder.title = item.summary;
    reminder.location = m_live.locations.value(item.locationId);
    reminder.calendar = isDefault ? QStringLiteral("Reminders") : calendar;
    reminder.notes = item.description;
    reminder.startDate = double(item.startDate);
    reminder.completionDate = double(item.completionDate);
    reminder.priority = item.priority;
    return reminder;
}

CalendarRecord Assembly::eventOf(const CarvedCalendarItem &item) const
{
    CalendarRecord event;
    event.title = item.summary;
    event.location = m_live.locations.value(item.locationId);
    event.notes = item.description;
    event.startDate = double(item.startDate);
    event.endDate = double(item.endDate);
    event.allDay = item.allDay;
    return event;
}

void Assembly::add(const CarvedEvent &event)
{
    if (event.calendarId <= 0 || event.calendarId > m_live.highestCalendarId) {
        return;
    }
    CalendarRecord record;
    record.title = event.summary;
    record.location = event.location;
    record.notes = event.description;
    record.startDate = double(event.startDate);
    record.endDate = double(event.endDate);
    record.allDay = event.allDay;
    m_events.add(record);
}

void Assembly::addLocation(const QString &title)
{
    if (isPlausibleText(title)) {
        CalendarRecord record;
        record.location = title;
        m_events.add(record);
    }
}

} // namespace

RecoveredCalendars assembleCalendars(const LiveCalendars &live, const CarvedCalendars &carved)
{
    Assembly assembly(live);
    const WholeRows<CarvedCalendarItem> items(live.items, carved.items);
    for (const CarvedCalendarItem &item : carved.items) {
        if (items.isDeleted(item)) {
            assembly.add(item);
        }
    }
    const WholeRows<CarvedEvent> events(live.events, carved.events);
    for (const CarvedEvent &event : carved.events) {
        if (events.isDeleted(event)) {
            assembly.add(event);
        }
    }
    for (const QString &title : carved.locations) {
        assembly.addLocation(title);
    }
    return assembly.result();
}
