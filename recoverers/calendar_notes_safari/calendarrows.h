#pragma once

#include <QHash>
#include <QString>
#include <QtGlobal>

#include <deque>

/// A calendar, or a list of reminders.
struct LiveCalendar
{
    QString title;
    qint32 entityTypes = 0; ///< what it may hold: 4 events, 8 reminders
};

/// A row of the table of events and reminders.
struct CarvedCalendarItem
{
    qint64 calendarId = 0;
    qint64 locationId = 0;
    QString summary;
    QString description;
    qint64 startDate = 0;
    qint64 endDate = 0;
    /// The row had an end, though the date itself may be lost: other bytes cover it.
    bool hasEnd = false;
    qint32 allDay = 0;
    qint64 completionDate = 0;
    qint32 priority = 0;
    bool isIncomplete = false; ///< some field could not be read, or not to its end
};

/// A row of the older table, which knows events only.
struct CarvedEvent
{
    qint64 calendarId = 0;
    QString summary;
    QString location;
    QString description;
    qint64 startDate = 0;
    qint64 endDate = 0;
    qint32 allDay = 0;
    bool isIncomplete = false;
};

/// What of a calendar database still exists; by row identifier.
struct LiveCalendars
{
    QHash<qint64, LiveCalendar> calendars;
    QHash<qint64, QString> locations;
    qint64 highestCalendarId = 0; ///< ever given out
    qint64 highestItemId = 0;     ///< the same of events and reminders
    /// The rows that exist, to tell copies and pieces of them.
    std::deque<CarvedCalendarItem> items;
    std::deque<CarvedEvent> events;
};

/// Reads what can be read of it. A statement that fails leaves its part empty or 0.
LiveCalendars readCalendars(const QString &dbPath);

/// The carved rows of a calendar database, in the order found.
struct CarvedCalendars
{
    std::deque<CarvedCalendarItem> items;
    std::deque<CarvedEvent> events;
    std::deque<QString> locations; ///< titles
};
