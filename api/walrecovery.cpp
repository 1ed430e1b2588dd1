#include "api/walrecovery.h"

#include "api/resultarrays_p.h"
#include "api/scanprogress.h"
#include "wal/bookmarktablechangecollector.h"
#include "wal/calendartablechangecollector.h"
#include "wal/contacttablechangecollector.h"
#include "wal/smstablechangecollector.h"
#include "wal/snapshotcontext.h"
#include "wal/tablediff.h"

#include <QMap>

WalRecovery::WalRecovery() = default;

WalRecovery::WalRecovery(const WalRecovery &other) = default;

WalRecovery &WalRecovery::operator=(const WalRecovery &other) = default;

WalRecovery::~WalRecovery()
{
    releaseContacts();
    releaseMsgGroups();
}

int WalRecovery::scanRecoveryForType(int type, const QString &dbPath, const QString &walPath,
                                     ScanProgress *progress)
{
    ContactTableChangeCollector contacts(this);
    SmsTableChangeCollector messages(this);
    CalendarTableChangeCollector calendar(this);
    BookmarkTableChangeCollector bookmarks(this);
    const QMap<int, TableChangeCollector *> collectors = {{ScanTypeContacts, &contacts},
                                                          {ScanTypeMessages, &messages},
                                                          {ScanTypeCalendar, &calendar},
                                                          {ScanTypeBookmarks, &bookmarks}};
    TableChangeCollector *collector = collectors.value(type);
    if (collector) {
        SnapshotContext context(dbPath, walPath);
        if (context.load()) {
            TableDiff(&context, collector, progress).run();
            collector->publishResults();
        }
    }
    if (progress) {
        progress->scanDone();
    }
    return collector ? 0 : -1;
}

unsigned WalRecovery::getBookmarkCount()
{
    return unsigned(m_bookmarks.size());
}

const BookmarkRecord *WalRecovery::getBookmark(unsigned index)
{
    return elementOrNull(m_bookmarks, index);
}

unsigned WalRecovery::getReminderCount()
{
    return unsigned(m_reminders.size());
}

const ReminderRecord *WalRecovery::getReminder(unsigned index)
{
    return elementOrNull(m_reminders, index);
}

unsigned WalRecovery::getCalendarCount()
{
    return unsigned(m_calendarEvents.size());
}

const CalendarRecord *WalRecovery::getCalendar(unsigned index)
{
    return elementOrNull(m_calendarEvents, index);
}

unsigned WalRecovery::getMessageGroupCount()
{
    return unsigned(m_messageGroups.size());
}

const MessageGroupRecord *WalRecovery::getMessageGroup(unsigned index)
{
    return pointerOrNull(m_messageGroups, index);
}

unsigned WalRecovery::getContactCount()
{
    return unsigned(m_contacts.size());
}

const PersonRecord *WalRecovery::getContact(unsigned index)
{
    return pointerOrNull(m_contacts, index);
}

void WalRecovery::releaseContacts()
{
    releaseAll(m_contacts);
}

void WalRecovery::releaseMsgGroups()
{
    releaseAll(m_messageGroups);
}
