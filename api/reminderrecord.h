#pragma once

#include <QString>

/// One recovered reminder. A plain value; fields that could not be read keep their defaults.
struct ReminderRecord
{
    /// The reminder's summary.
    QString title;
    /// Title of its location; empty when unknown.
    QString location;
    /// Title of the list that it belonged to; the built-in default list reads "Reminders".
    QString calendar;
    /// The reminder's description.
    QString notes;
    /// Start in seconds as stored, which is since 2001-01-01 00:00:00 UTC; not converted.
    double startDate = 0;
    /// Time of completion, in the same unit; 0 when not completed.
    double completionDate = 0;
    /// The stored priority.
    qint32 priority = 0;
};
