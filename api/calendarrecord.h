#pragma once

#include <QString>

/// One recovered calendar event. A plain value; fields that could not be read keep their defaults.
struct CalendarRecord
{
    /// The event's summary.
    QString title;
    /// Title of the event's location; empty when unknown.
    QString location;
    /// The event's description.
    QString notes;
    /// Start in seconds as stored, which is since 2001-01-01 00:00:00 UTC; not converted.
    double startDate = 0;
    /// End, in the same unit.
    double endDate = 0;
    /// The stored all-day flag.
    qint32 allDay = 0;
};
