#include "wal/calendartablechangecollector.h"

#include "api/walrecovery.h"
#include "recoverers/calendar_notes_safari/calendarassembler.h"
#include "wal/recordparser.h"

namespace {

const QString ItemTable = QStringLiteral("calendaritem");
const QString EventTable = QStringLiteral("event");
const QString LocationTable = QStringLiteral("location");
const QString CalendarTable = QStringLiteral("calendar");

/// Under this identifier an assembler finds the one calendar and the one location that it is given.
constexpr qint64 OnlyId = 1;

class ItemParser : public RecordParser<CarvedCalendarItem>
{
public:
    void parseColumn(CarvedCalendarItem &item, const QString &name,
                     const ColumnValue &column) override
    {
        if (name == QLatin1String("summary")) {
            item.summary = column.text();
        } else if (name == QLatin1String("location_id")) {
            item.locationId = column.integer();
        } else if (name == QLatin1String("description")) {
            item.description = column.text();
        } else if (name == QLatin1String("start_date")) {
            item.startDate = column.integer();
        } else if (name == QLatin1String("end_date")) {
            item.endDate = column.integer();
            item.hasEnd = item.endDate != 0;
        } else if (name == QLatin1String("all_day")) {
            item.allDay = qint32(column.integer());
        } else if (name == QLatin1String("calendar_id")) {
            item.calendarId = column.integer();
        } else if (name == QLatin1String("priority")) {
            item.priority = qint32(column.integer());
        } else if (name == QLatin1String("completion_date")) {
            item.completionDate = column.integer();
        }
    }
};

class EventParser : public RecordParser<CarvedEvent>
{
public:
    void parseColumn(CarvedEvent &event, const QString &name, const ColumnValue &column) override
    {
        if (name == QLatin1String("summary")) {
            event.summary = column.text();
        } else if (name == QLatin1String("location")) {
            event.location = column.text();
        } else if (name == QLatin1String("description")) {
            event.description = column.text();
        } else if (name == QLatin1String("start_date")) {
            event.startDate = column.integer();
        } else if (name == QLatin1String("end_date")) {
            event.endDate = column.integer();
        } else if (name == QLatin1String("all_day")) {
            event.allDay = qint32(column.integer());
        } else if (name == QLatin1String("calendar_id")) {
            event.calendarId = column.integer();
        }
    }
};

LiveCalendar calendarOf(const TableVersion &table, const TableRow &row)
{
    return parsed<CalendarParser, LiveCalendar>(table, row);
}

QString titleOf(const TableVersion &table, const TableRow &row)
{
    return parsed<LocationParser, QString>(table, row);
}

/// Rows that say nothing are of no use to anybody.
bool saysNothing(const CalendarRecord &event)
{
    return event.title.isEmpty() && event.location.isEmpty() && event.notes.isEmpty()
           && event.startDate == 0 && event.endDate == 0;
}

bool saysNothing(const ReminderRecord &reminder)
{
    return reminder.title.isEmpty() && reminder.location.isEmpty() && reminder.notes.isEmpty()
           && reminder.startDate == 0 && reminder.completionDate == 0;
}

CalendarRecord placeOf(const QString &title)
{
    CalendarRecord record;
    record.location = title;
    return record;
}

} // namespace

void CalendarParser::parseColumn(LiveCalendar &calendar, const QString &name,
                                 const ColumnValue &column)
{
    if (name == QLatin1String("title")) {
        calendar.title = column.name();
    } else if (name == QLatin1String("supported_entity_types")) {
        calendar.entityTypes = qint32(column.integer());
    }
}

void LocationParser::parseColumn(QString &title, const QString &name, const ColumnValue &column)
{
    if (name == QLatin1String("title")) {
        title = column.name();
    }
}

CalendarTableChangeCollector::CalendarTableChangeCollector(WalRecovery *resultHolder)
    : m_resultHolder(resultHolder)
{
}

CalendarTableChangeCollector::~CalendarTableChangeCollector() = default;

QStringList CalendarTableChangeCollector::tableNames()
{
    return {ItemTable, EventTable, LocationTable, CalendarTable};
}

void CalendarTableChangeCollector::collectRow(const TableVersion &earlier, const TableRow &row)
{
    const QString &table = earlier.schema().name;
    if (table == LocationTable) {
        m_formerLocations.insert(row.rowid, titleOf(earlier, row));
        m_locations.append(titleOf(earlier, row));
    } else if (table == CalendarTable) {
        m_formerCalendars.insert(row.rowid, calendarOf(earlier, row));
    } else {
        m_changes.push_back({entryOf(earlier, row), false, {}});
    }
}

void CalendarTableChangeCollector::collectChangedRow(const TableVersion &earlier,
                                                     const TableRow &earlierRow,
                                                     const TableVersion &later,
                                                     const TableRow &laterRow)
{
    const QString &table = earlier.schema().name;
    if (table == ItemTable || table == EventTable) {
        m_changes.push_back({entryOf(earlier, earlierRow), true, entryOf(later, laterRow)});
    } else if (table == LocationTable && titleOf(earlier, earlierRow) != titleOf(later, laterRow)) {
        m_locations.append(titleOf(earlier, earlierRow));
    }
}

CalendarTableChangeCollector::Entry CalendarTableChangeCollector::entryOf(const TableVersion &table,
                                                                          const TableRow &row)
{
    Entry entry;
    if (table.schema().name == ItemTable) {
        entry.row.items.push_back(parsed<ItemParser, CarvedCalendarItem>(table, row));
    } else {
        entry.row.events.push_back(parsed<EventParser, CarvedEvent>(table, row));
    }
    findNames(table.sibling(CalendarTable), table.sibling(LocationTable), &entry);
    return entry;
}

/// Looks the names up that are not known yet. Events of the older table carry theirs themselves.
void CalendarTableChangeCollector::findNames(const TableVersion &calendars,
                                             const TableVersion &locations, Entry *entry)
{
    for (const CarvedCalendarItem &item : entry->row.items) {
        entry->isCalendarKnown = entry->isCalendarKnown
                                 || m_calendars.find(calendars, item.calendarId, &entry->calendar);
        entry->isLocationKnown =
            entry->isLocationKnown
            || m_knownLocations.find(locations, item.locationId, &entry->location);
    }
}

/// Returns what the entry is: an event, a reminder, both or nothing.
RecoveredCalendars CalendarTableChangeCollector::recordsOf(Entry entry) const
{
    for (CarvedCalendarItem &item : entry.row.items) {
        if (!entry.isCalendarKnown && m_formerCalendars.contains(item.calendarId)) {
            entry.calendar = m_formerCalendars.value(item.calendarId);
        }
        if (!entry.isLocationKnown && m_formerLocations.contains(item.locationId)) {
            entry.location = m_formerLocations.value(item.locationId);
        }
        item.calendarId = item.calendarId > 0 ? OnlyId : item.calendarId;
        item.locationId = OnlyId;
    }
    for (CarvedEvent &event : entry.row.events) {
        event.calendarId = event.calendarId > 0 ? OnlyId : event.calendarId;
    }
    LiveCalendars names;
    names.highestCalendarId = OnlyId;
    names.calendars.insert(OnlyId, entry.calendar);
    names.locations.insert(OnlyId, entry.location);
    CarvedCalendars carved;
    carved.items.assign(entry.row.items.cbegin(), entry.row.items.cend());
    carved.events.assign(entry.row.events.cbegin(), entry.row.events.cend());
    return assembleCalendars(names, carved);
}

void CalendarTableChangeCollector::finishCollection()
{
    TableChangeCollector::finishCollection();
    for (Change &change : m_changes) {
        findNames(lastVersion(CalendarTable), lastVersion(LocationTable), &change.earlier);
        findNames(lastVersion(CalendarTable), lastVersion(LocationTable), &change.later);
        addRecords(change);
    }
    removeLiveEntries(ItemTable);
    removeLiveEntries(EventTable);
    addLocations();
    removeLiveLocations();
    m_resultHolder->m_reminders += m_reminders.records();
    m_resultHolder->m_calendarEvents += m_events.records() + m_places.records();
}

/// A record that the row gives after its change as well says nothing new.
void CalendarTableChangeCollector::addRecords(const Change &change)
{
    const RecoveredCalendars earlier = recordsOf(change.earlier);
    const RecoveredCalendars later =
        change.isChange ? recordsOf(change.later) : RecoveredCalendars();
    const auto addNew = [](const auto &records, const auto &known, auto *distinct) {
        for (const auto &record : records) {
            if (!saysNothing(record)
                && (known.isEmpty() || contentKey(known.first()) != contentKey(record))) {
                distinct->add(record);
            }
        }
    };
    addNew(earlier.events, later.events, &m_events);
    addNew(earlier.reminders, later.reminders, &m_reminders);
}

void CalendarTableChangeCollector::removeLiveEntries(const QString &tableName)
{
    const TableVersion last = lastVersion(tableName);
    if (!last.exists() || (m_events.isEmpty() && m_reminders.isEmpty())) {
        return;
    }
    const QSet<QString> titles = titlesFound();
    const int title = last.schema().columnIndex(QLatin1String("summary"));
    last.forEachRow([&](const TableRow &row) {
        // Most rows are of no concern, and are told by their titles.
        if (title >= 0 && !titles.contains(decodeColumn(row, last, title).text())) {
            return true;
        }
        const RecoveredCalendars live = recordsOf(entryOf(last, row));
        for (const CalendarRecord &event : live.events) {
            m_events.remove(event);
        }
        for (const ReminderRecord &reminder : live.reminders) {
            m_reminders.remove(reminder);
        }
        return !m_events.isEmpty() || !m_reminders.isEmpty();
    });
}

QSet<QString> CalendarTableChangeCollector::titlesFound() const
{
    QSet<QString> titles;
    for (const CalendarRecord &event : m_events.records()) {
        titles.insert(event.title);
    }
    for (const ReminderRecord &reminder : m_reminders.records()) {
        titles.insert(reminder.title);
    }
    return titles;
}

/// A location counts by itself only when no record has it.
void CalendarTableChangeCollector::addLocations()
{
    QSet<QString> named;
    for (const CalendarRecord &event : m_events.records()) {
        named.insert(event.location);
    }
    for (const ReminderRecord &reminder : m_reminders.records()) {
        named.insert(reminder.location);
    }
    LiveCalendars names;
    names.highestCalendarId = OnlyId;
    CarvedCalendars carved;
    for (const QString &title : qAsConst(m_locations)) {
        if (!named.contains(title)) {
            carved.locations.push_back(title);
        }
    }
    for (const CalendarRecord &place : assembleCalendars(names, carved).events) {
        m_places.add(place);
    }
}

void CalendarTableChangeCollector::removeLiveLocations()
{
    const TableVersion last = lastVersion(LocationTable);
    if (last.exists() && !m_places.isEmpty()) {
        last.forEachRow([&](const TableRow &row) {
            m_places.remove(placeOf(titleOf(last, row)));
            return !m_places.isEmpty();
        });
    }
}
