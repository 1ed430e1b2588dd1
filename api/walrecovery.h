#pragma once

#include "bookmarkrecord.h"
#include "calendarrecord.h"
#include "messagegrouprecord.h"
#include "personrecord.h"
#include "reminderrecord.h"
#include "scantype.h"
#include "sqliterecovery_global.h"

#include <QList>
#include <QString>
#include <QVector>

class ScanProgress;

/// Finds deleted records in the write-ahead log that SQLite keeps beside a database: it compares
/// the versions of the database that the log's commits made, and hands out the rows that vanished
/// and the former versions of rows that changed.
///
/// Results: the object owns every record; callers borrow pointers, which stay valid until the next
/// scan with the object, its assignment or its destruction. A getXxx(index) returns null when index
/// is not below getXxxCount(). Every distinct content comes once in a scan, in the order of the
/// commits that ended it; what the last version still holds does not come at all.
///
/// Files: neither the database nor the log is written, and nothing is created beside them.
///
/// Threads: none are started. One thread at a time uses an object; the progress object is called on
/// the thread that called the scan.
class SQLITERECOVERY_EXPORT WalRecovery
{
public:
    /// Starts with all result arrays empty.
    WalRecovery();
    /// Copies member by member. Contacts and message groups are held by pointer: they are then
    /// shared, and the destructor of each copy deletes them. Do not copy an object that holds such.
    WalRecovery(const WalRecovery &other);
    /// As the copy constructor; the records that this object held by pointer are not freed.
    WalRecovery &operator=(const WalRecovery &other);
    /// Frees every record that the object owns.
    ~WalRecovery();

    /// Compares the versions of the database `dbPath` in its log `walPath` as the kind `type`:
    /// ScanTypeContacts, ScanTypeMessages, ScanTypeCalendar or ScanTypeBookmarks. `progress` is
    /// borrowed for the call and may be null; its scanDone() is called once, whatever happens.
    ///
    /// Contacts and message groups of the scan take the place of those in the array; the former
    /// ones are not freed, and stay valid. Events, reminders and bookmarks are appended.
    /// Returns 0 when the kind is one of these, also when a file cannot be read or holds nothing
    /// (see checkDatabase() and checkLog() for the difference); -1 for every other kind.
    int scanRecoveryForType(int type, const QString &dbPath, const QString &walPath,
                            ScanProgress *progress);

    /// Safari bookmarks (ScanTypeBookmarks) whose address holds "://".
    unsigned getBookmarkCount();
    const BookmarkRecord *getBookmark(unsigned index);

    /// Reminders (ScanTypeCalendar).
    unsigned getReminderCount();
    const ReminderRecord *getReminder(unsigned index);

    /// Calendar events (ScanTypeCalendar); then locations that belong to none of them, each as an
    /// event that has nothing else.
    unsigned getCalendarCount();
    const CalendarRecord *getCalendar(unsigned index);

    /// Conversations with recovered messages (ScanTypeMessages), ordered by the date of their first
    /// message.
    unsigned getMessageGroupCount();
    const MessageGroupRecord *getMessageGroup(unsigned index);

    /// Contacts (ScanTypeContacts): deleted persons and former versions of persons who changed,
    /// then persons who still exist with the values of theirs that were deleted, then values of
    /// unknown persons. Of a deleted person the last version has the values. A change of nothing
    /// but the date of change gives no contact.
    unsigned getContactCount();
    const PersonRecord *getContact(unsigned index);

private:
    // The collectors write what they find to the arrays.
    friend class BookmarkTableChangeCollector;
    friend class CalendarTableChangeCollector;
    friend class ContactTableChangeCollector;
    friend class SmsTableChangeCollector;

    void releaseContacts();
    void releaseMsgGroups();

    QList<BookmarkRecord> m_bookmarks;
    QVector<ReminderRecord> m_reminders;
    QVector<CalendarRecord> m_calendarEvents;
    QList<MessageGroupRecord *> m_messageGroups;
    QList<PersonRecord *> m_contacts;
};
