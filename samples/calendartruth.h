#pragma once

#include "samples/calendarsamples.h"

#include <QStringList>

/// What a scan found.
struct FoundCalendars
{
    QVector<CalendarRecord> events;
    QVector<ReminderRecord> reminders;
};

/// What a scan of a sample database made of its events and reminders, or of its locations.
struct CalendarTally
{
    int deleted = 0;
    int refused = 0;     ///< deleted rows that no header test takes
    int overwritten = 0; ///< missed: the row is not whole in the file any more
    int missedWhole = 0; ///< missed although it is

    // What was found: each record is one of these.
    int recovered = 0;  ///< deleted rows
    int former = 0;     ///< versions of a row before it was changed
    int incomplete = 0; ///< deleted rows or former versions of which something is missing or wrong
    int liveCopies = 0; ///< rows that are not deleted at all
    /// Rows whose end lay on overflow pages that another row took. Those pages are always full, so
    /// that the ends of two rows lie at one place, and nothing tells whose it is.
    int mixed = 0;
    int invented = 0; ///< all else

    int found() const { return recovered + former + incomplete + liveCopies + mixed + invented; }
    void add(const CalendarTally &other);
};

struct CalendarResult
{
    CalendarTally items;
    CalendarTally locations;
    QStringList details; ///< one line for each thing that is missed or wrong

    void add(const CalendarResult &other);
    /// The counts in one line.
    QString summary() const;
};

/// Compares what a scan found with the truth; `file` is the content of the database.
CalendarResult compareCalendars(const CalendarSample &sample, const QByteArray &file,
                                const FoundCalendars &found);
