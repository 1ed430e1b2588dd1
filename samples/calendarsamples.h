#pragma once

#include "api/calendarrecord.h"
#include "api/reminderrecord.h"
#include "samples/calendarlayout.h"

#include <QByteArray>

class SampleDatabase;

/// In which way events and reminders get lost.
enum class CalendarDeletion {
    Scattered,   ///< single ones here and there
    Contiguous,  ///< all within some time
    WholeTable,  ///< all
    ThenInserts, ///< single ones, whose space new ones then partly take
    Edited,      ///< rows are rewritten, and some of all rows deleted afterwards
};

QVector<CalendarDeletion> allCalendarDeletions();
QString deletionName(CalendarDeletion deletion);

/// What to put into a sample.
struct CalendarPlan
{
    CalendarLayout layout = CalendarLayout::Ios11;
    CalendarDeletion deletion = CalendarDeletion::Scattered;
    int items = 200;
    quint32 seed = 1;
    int mostHalfHours = 60; ///< from one item to the next, above 3
};

/// One row as it was once stored, and what recovery is to make of it at best.
struct SampleCalendarRow
{
    enum Kind { Event, Reminder, Location };

    Kind kind = Event;
    CalendarRecord event; ///< also of a location, which is then all that it has
    ReminderRecord reminder;
    QByteArray types; ///< the serial types of its record
    QByteArray body;
    bool isRefused = false; ///< no header test takes it
};

/// The truth about a sample database. The place of an item counts as known only while its row of
/// the table of locations still exists; one that was deleted with its item is a row of its own.
struct CalendarSample
{
    CalendarLayout layout = CalendarLayout::Ios11;
    QVector<SampleCalendarRow> deleted;
    QVector<SampleCalendarRow> live;
    QVector<SampleCalendarRow> former; ///< versions before a row was changed
};

/// Makes the tables in the empty database `db`, and lives the plan through in it, every step a
/// transaction of its own as on a device. Returns false when SQLite refuses a step.
bool makeCalendarSample(SampleDatabase *db, const CalendarPlan &plan, CalendarSample *sample);
