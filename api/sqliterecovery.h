#pragma once

#include "bookmarkrecord.h"
#include "calendarrecord.h"
#include "callhistoryrecord.h"
#include "messagegrouprecord.h"
#include "noterecord.h"
#include "personrecord.h"
#include "reminderrecord.h"
#include "scantype.h"
#include "sqliterecovery_global.h"
#include "weichatchat.h"
#include "whatsappchatrecord.h"

#include <QList>
#include <QStringList>
#include <QVector>

class ScanProgress;

/// Finds deleted records by carving: it reads a database file page by page, without the SQLite
/// engine, and hands out the rows that it still finds in unused space.
///
/// Results: every scan appends to the result arrays; nothing is cleared before a scan, and the
/// arrays keep their records until the object is destroyed. The object owns every record; callers
/// borrow pointers. A pointer stays valid until the next scan with the object, its assignment or
/// its destruction; after the object was copied, records are to be asked for anew. A getXxx(index)
/// returns null when index is not below getXxxCount().
///
/// Kinds: every ScanType is recovered. A scan of a database of another kind finds nothing.
///
/// Files: nothing that is scanned, and nothing beside it, is ever written, created or renamed.
/// Where a write-ahead log that is not empty lies beside a database, both are copied for the time
/// of the call to a folder of their own in the system's folder for temporary files, which can be
/// set with the environment variable TMPDIR; without room for them there, the log is left out of
/// account, and more copies of rows that still exist come as deleted ones.
///
/// Threads: none are started. One thread at a time uses an object; the progress object is called on
/// the thread that called the scan. All objects of a process share one list of WeChat
/// conversations: while one scans those, no other may scan them or be destroyed.
class SQLITERECOVERY_EXPORT SqliteRecovery
{
public:
    /// Starts with all result arrays empty.
    SqliteRecovery();
    /// Copies member by member. The records that are held by pointer (contacts, hidden contacts,
    /// WhatsApp and WeChat chats, iOS 9 notes) are then shared, and the destructor of each copy
    /// deletes all but the notes: do not copy an object that holds such results.
    SqliteRecovery(const SqliteRecovery &other);
    /// As the copy constructor; the records that this object held by pointer are not freed.
    SqliteRecovery &operator=(const SqliteRecovery &other);
    /// Frees every record that the object owns, with one exception that callers may rely on: iOS 9
    /// notes are left alive, so that pointers to them outlast the object.
    ~SqliteRecovery();

    /// Scans a whole backup of the flat layout, in which every file lies directly in `backupDir`
    /// under its 40-digit name: the address book, messages, calls, calendar, notes, bookmarks,
    /// Safari history and WhatsApp databases that are there. Databases that are missing or cannot
    /// be opened are passed over in silence.
    /// Returns 0, also when nothing was found; -1 when `backupDir` is not an existing folder.
    int scanRecovery(const QString &backupDir);

    /// Scans one database file as the kind `type` (a ScanType). `progress` is borrowed for the call
    /// and may be null; its scanDone() is called once, whatever happens.
    /// Returns 0 when the kind is known, also when the file cannot be opened or holds nothing (see
    /// checkDatabase() for the difference); -1 when the kind is unknown.
    int scanRecoveryForType(int type, const QString &dbPath, ScanProgress *progress);

    /// Picks the file of the kind `type` from `files`, as dbFileForType() does, and scans it.
    /// Returns -1, without calling `progress` at all, when no file fits; else as the overload
    /// above.
    int scanRecoveryForType(int type, const QStringList &files, ScanProgress *progress);

    /// Returns the last path in `files` whose file name, without its last suffix and respecting
    /// case, is the one of the kind: AddressBook, sms, call_history, Calendar, notes, Bookmarks or
    /// ChatStorage for kinds 0 to 6; other kinds have the empty name. For ScanTypeWeChat it is the
    /// last path whose file name without suffix is not "mm" in any case.
    /// Returns an empty string when none fits.
    QString dbFileForType(int type, const QStringList &files);

    /// Safari bookmarks (ScanTypeBookmarks), in the order found in the file: those whose address
    /// holds "://", each title and address once in a scan, and none that still exists.
    unsigned getBookmarkCount();
    const BookmarkRecord *getBookmark(unsigned index);

    /// Notes of the older database, notes.sqlite (ScanTypeNotes): deleted notes and former versions
    /// of notes, in the order found in the file, then texts of which the note itself is lost. Texts
    /// are joined with notes by title: where versions of a note have the same title, one may hold
    /// the text of another. A scan that is stopped gives the notes that were joined until then.
    unsigned getNoteCount();
    const NoteRecord *getNote(unsigned index);

    /// Calls (ScanTypeCallHistory): those of a "call" table, then those of a "zcallrecord" table,
    /// each in the order found in the file.
    unsigned getCallhistoryCount();
    const CallhistoryRecord *getCallhistory(unsigned index);

    /// Reminders (ScanTypeCalendar) in the order found in the file. What stood in a list of
    /// reminders and has an end comes as an event as well: nothing tells which of the two it was.
    unsigned getReminderCount();
    const ReminderRecord *getReminder(unsigned index);

    /// Calendar events (ScanTypeCalendar) in the order found in the file; then locations, each as
    /// an event that has nothing else. Of events that differ only by some minutes the first is
    /// kept.
    unsigned getCalendarCount();
    const CalendarRecord *getCalendar(unsigned index);

    /// Conversations with recovered messages (ScanTypeMessages), ordered by the date of their first
    /// message.
    unsigned getMessageGroupCount();
    const MessageGroupRecord *getMessageGroup(unsigned index);

    /// Contacts (ScanTypeContacts): deleted persons and former versions of persons who still exist,
    /// in the order found in the file; then persons who still exist, with nothing but the values
    /// of theirs that were deleted; then persons without names, of whom only values were found. A
    /// person's values come with the last version of the person that was found. Each scan keeps
    /// this order for its own records.
    unsigned getContactCount();
    const PersonRecord *getContact(unsigned index);

    /// WhatsApp chats with recovered messages (ScanTypeWhatsapp), in the order of their keys in the
    /// database; first, one for each partner, chats of messages that name no chat. A chat's
    /// messages come by date. A message that still exists comes only as it was before it was
    /// revoked or edited.
    unsigned getWhatsappCount();
    const WhatsappChatRecord *getWhatsapp(unsigned index);

    /// Persons that only the address book's search index still lists (ScanTypeContacts, but not
    /// scanRecovery()), in the order of their row identifiers. Values have no labels there.
    unsigned getHiddenContactCount();
    const PersonRecord *getHiddenContact(unsigned index);

    /// Safari history (ScanTypeSafariHistory): every address once in a scan, in the order found in
    /// the file, with the title of its last visit that was found; then the addresses that the
    /// browser itself lists as removed. Older rows of addresses that are still in the history are
    /// found as well.
    unsigned getSafariHistoryCount();
    const BookmarkRecord *getSafariHistory(unsigned index);

    /// Notes of the newer database, NoteStore.sqlite (ScanTypeIos9Notes, but not scanRecovery()),
    /// as of iOS 15 and later: deleted notes and former versions of notes, in the order found in
    /// the file. Of the text there is the first line behind the title.
    unsigned getIos9NoteCount();
    const NoteRecord *getIos9Note(unsigned index);

    /// WeChat conversations with recovered messages (ScanTypeWeChat).
    unsigned getWeiChatCount();
    const WeiChatChat *getWeiChat(unsigned index);

private:
    // The recoverers append what they find to the arrays.
    friend class BookmarkDbFile;
    friend class BookmarkHistoryDbFile;
    friend class CalendarDbFile;
    friend class CallHistoryDbFile;
    friend class ContactDbFile;
    friend class HiddenContactDbFile;
    friend class Ios9NoteDbFile;
    friend class NoteDbFile;
    friend class SMSDbFile;
    friend class weixinDBFile;
    friend class WhatsappDbFile;

    static QString calcBackupFilename(const QString &domain, const QString &relativePath);
    void scanHiddenContacts(const QString &dbPath, ScanProgress *progress);
    void releaseContacts();
    void releaseHiddenContacts();
    void releaseWhatsapps();
    void releaseWeiChat();

    QList<BookmarkRecord> m_bookmarks;
    QList<NoteRecord> m_notes;
    QVector<CallhistoryRecord> m_callHistory;
    QVector<ReminderRecord> m_reminders;
    QVector<CalendarRecord> m_calendarEvents;
    QVector<MessageGroupRecord> m_messageGroups;
    QList<PersonRecord *> m_contacts;
    QList<WhatsappChatRecord *> m_whatsappChats;
    QList<PersonRecord *> m_hiddenContacts;
    QList<BookmarkRecord> m_safariHistory;
    QList<NoteRecord *> m_ios9Notes;
    QList<WeiChatChat *> m_weiChatChats;
};
