#pragma once

#include "engine/sqlitedbfile.h"
#include "recoverers/calendar_notes_safari/calendarrows.h"

/// Recovers deleted events and reminders. Knows both layouts of the calendar: the table "event" up
/// to iOS 5, and "calendaritem", which holds reminders as well, since iOS 6.
class CalendarDbFile : public SqliteDbFile
{
    Q_OBJECT
public:
    class CalendarItemMatcher; ///< rows of "calendaritem"
    class EventItemMatcher;    ///< rows of "event"
    class LocationMatcher;     ///< rows of "location"

    explicit CalendarDbFile(QObject *parent = nullptr);
    ~CalendarDbFile() override;

    /// A scan that is stopped delivers what was found until then.
    int scanDeletedRecords(SqliteRecovery *resultHolder) override;

private:
    void carve();

    LiveCalendars m_live;
    CarvedCalendars m_carved;
};
