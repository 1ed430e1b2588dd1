#include "recoverers/calendar_notes_safari/calendarrows.h"

#include "recoverers/livequery.h"

namespace {

/// The highest identifier that the table ever gave out; 0 when that is not recorded.
qint64 sequenceOf(LiveQuery &query, const QString &table)
{
    qint64 highest = 0;
    query.forEachRow(QStringLiteral("select seq from sqlite_sequence where name = '%1'").arg(table),
                     [&highest](const LiveRow &row) { highest = row.integer(0); });
    return highest;
}

void readItems(LiveQuery &query, std::deque<CarvedCalendarItem> *items)
{
    query.forEachRow(QStringLiteral("select calendar_id, location_id, summary, description, "
                                    "start_date, end_date, all_day, completion_date, priority "
                                    "from calendaritem"),
                     [items](const LiveRow &row) {
                         CarvedCalendarItem item;
                         item.calendarId = row.integer(0);
                         item.locationId = row.integer(1);
                         item.summary = row.text(2);
                         item.description = row.text(3);
                         item.startDate = row.integer(4);
                         item.endDate = row.integer(5);
                         item.allDay = qint32(row.integer(6));
                         item.completionDate = row.integer(7);
                         item.priority = qint32(row.integer(8));
                         items->push_back(item);
                     });
}

void readEvents(LiveQuery &query, std::deque<CarvedEvent> *events)
{
    query.forEachRow(QStringLiteral("select calendar_id, summary, location, description, "
                                    "start_date, end_date, all_day from event"),
                     [events](const LiveRow &row) {
                         CarvedEvent event;
                         event.calendarId = row.integer(0);
                         event.summary = row.text(1);
                         event.location = row.text(2);
                         event.description = row.text(3);
                         event.startDate = row.integer(4);
                         event.endDate = row.integer(5);
                         event.allDay = qint32(row.integer(6));
                         events->push_back(event);
                     });
}

} // namespace

LiveCalendars readCalendars(const QString &dbPath)
{
    LiveQuery query(dbPath);
    LiveCalendars live;
    query.forEachRow(
        QStringLiteral("select rowid, title, supported_entity_types from calendar"),
        [&live](const LiveRow &row) {
            live.calendars.insert(row.integer(0), {row.name(1), qint32(row.integer(2))});
        });
    query.forEachRow(
        QStringLiteral("select rowid, title from location"),
        [&live](const LiveRow &row) { live.locations.insert(row.integer(0), row.name(1)); });
    live.highestCalendarId = sequenceOf(query, QStringLiteral("Calendar"));
    live.highestItemId = sequenceOf(query, QStringLiteral("CalendarItem"));
    readItems(query, &live.items);
    readEvents(query, &live.events);
    return live;
}
