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

} // namespace

LiveCalendars readCalendars(const QString &dbPath)
{
    LiveQuery query(dbPath);
    LiveCalendars live;
    query.forEachRow(
        QStringLiteral("select rowid, title, supported_entity_types from calendar"),
        [&live](const LiveRow &row) {
            live.calendars.insert(row.integer(0), {row.text(1), qint32(row.integer(2))});
        });
    query.forEachRow(
        QStringLiteral("select rowid, title from location"),
        [&live](const LiveRow &row) { live.locations.insert(row.integer(0), row.text(1)); });
    live.highestCalendarId = sequenceOf(query, QStringLiteral("Calendar"));
    live.highestItemId = sequenceOf(query, QStringLiteral("CalendarItem"));
    return live;
}
