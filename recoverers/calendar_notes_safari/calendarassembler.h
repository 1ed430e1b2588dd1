#pragma once

#include "api/calendarrecord.h"
#include "api/reminderrecord.h"

#include <QVector>

struct CarvedCalendars;
struct LiveCalendars;

struct RecoveredCalendars
{
    QVector<CalendarRecord> events;
    QVector<ReminderRecord> reminders;
};

/// Sorts carved rows into events and reminders, each once: first the items, then the events of the
/// older table, then locations as events that have nothing else.
///
/// Whether an item is a reminder, an event or both follows from its calendar and from its end. Only
/// rows of calendars that can have existed count; without a record of how many did, none. Copies of
/// rows that still exist, and pieces of rows that are known whole, are dropped.
RecoveredCalendars assembleCalendars(const LiveCalendars &live, const CarvedCalendars &carved);
