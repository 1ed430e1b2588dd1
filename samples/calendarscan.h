#pragma once

#include "api/sqliterecovery.h"
#include "samples/calendartruth.h"

/// Returns what the public interface finds in the file. Inline, so that the sample library itself
/// does not need the library under test.
inline FoundCalendars scanCalendars(const QString &path)
{
    SqliteRecovery recovery;
    recovery.scanRecoveryForType(ScanTypeCalendar, path, nullptr);
    FoundCalendars found;
    for (unsigned i = 0; i < recovery.getCalendarCount(); ++i) {
        found.events << *recovery.getCalendar(i);
    }
    for (unsigned i = 0; i < recovery.getReminderCount(); ++i) {
        found.reminders << *recovery.getReminder(i);
    }
    return found;
}
