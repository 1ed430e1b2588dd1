#include "cli/recordkind.h"

#include "api/sqliterecovery.h"
#include "cli/recordmaps.h"

namespace {

template<auto getCount> unsigned countOf(SqliteRecovery &results)
{
    return (results.*getCount)();
}

template<auto getRecord, auto mapOf> QCborMap mapAt(SqliteRecovery &results, unsigned index)
{
    return mapOf(*(results.*getRecord)(index));
}

QStringList fieldsOf(const QCborMap &record)
{
    QStringList fields;
    for (const auto &field : record) {
        fields.append(field.first.toString());
    }
    return fields;
}

QStringList noteColumns()
{
    return {QStringLiteral("Changed (UTC)"), QStringLiteral("Title"), QStringLiteral("Text")};
}

// In the order of the result arrays, which is the order of every output.
const QVector<RecordKind> &allKinds()
{
    static const QVector<RecordKind> kinds = {
        {ScanTypeCallHistory, "call", "Calls", true, fieldsOf(callMap({})),
         QStringList{QStringLiteral("Date (UTC)"), QStringLiteral("Direction"),
                     QStringLiteral("Duration"), QStringLiteral("Address")},
         countOf<&SqliteRecovery::getCallhistoryCount>,
         mapAt<&SqliteRecovery::getCallhistory, callMap>, callRows},
        {ScanTypeMessages, "messageGroup", "Messages", true, fieldsOf(messageGroupMap({})),
         QStringList{QStringLiteral("Date (UTC)"), QStringLiteral("Conversation"),
                     QStringLiteral("Direction"), QStringLiteral("Text")},
         countOf<&SqliteRecovery::getMessageGroupCount>,
         mapAt<&SqliteRecovery::getMessageGroup, messageGroupMap>, messageRows},
        {ScanTypeNotes, "note", "Notes", true, fieldsOf(noteMap({})), noteColumns(),
         countOf<&SqliteRecovery::getNoteCount>, mapAt<&SqliteRecovery::getNote, noteMap>,
         noteRows},
        {ScanTypeIos9Notes, "ios9Note", "Notes", true, fieldsOf(noteMap({})), noteColumns(),
         countOf<&SqliteRecovery::getIos9NoteCount>, mapAt<&SqliteRecovery::getIos9Note, noteMap>,
         noteRows},
        {ScanTypeContacts, "contact", "Contacts", false, fieldsOf(personMap({})), QStringList(),
         countOf<&SqliteRecovery::getContactCount>, mapAt<&SqliteRecovery::getContact, personMap>,
         personRows},
        {ScanTypeContacts, "hiddenContact", "Hidden contacts", false, fieldsOf(personMap({})),
         QStringList(), countOf<&SqliteRecovery::getHiddenContactCount>,
         mapAt<&SqliteRecovery::getHiddenContact, personMap>, personRows},
        {ScanTypeCalendar, "reminder", "Reminders", true, fieldsOf(reminderMap({})),
         QStringList{QStringLiteral("Start (UTC)"), QStringLiteral("Completed (UTC)"),
                     QStringLiteral("List"), QStringLiteral("Reminder")},
         countOf<&SqliteRecovery::getReminderCount>,
         mapAt<&SqliteRecovery::getReminder, reminderMap>, reminderRows},
        {ScanTypeCalendar, "calendar", "Calendar events", true, fieldsOf(calendarMap({})),
         QStringList{QStringLiteral("Start (UTC)"), QStringLiteral("End (UTC)"),
                     QStringLiteral("Event"), QStringLiteral("Location")},
         countOf<&SqliteRecovery::getCalendarCount>,
         mapAt<&SqliteRecovery::getCalendar, calendarMap>, calendarRows},
        {ScanTypeBookmarks, "bookmark", "Bookmarks", true, fieldsOf(bookmarkMap({})),
         QStringList{QStringLiteral("Title"), QStringLiteral("Address")},
         countOf<&SqliteRecovery::getBookmarkCount>,
         mapAt<&SqliteRecovery::getBookmark, bookmarkMap>, pageRows},
        {ScanTypeSafariHistory, "safariHistory", "Safari history", true, fieldsOf(historyMap({})),
         QStringList{QStringLiteral("Title"), QStringLiteral("Address")},
         countOf<&SqliteRecovery::getSafariHistoryCount>,
         mapAt<&SqliteRecovery::getSafariHistory, historyMap>, pageRows},
        {ScanTypeWeChat, "weChat", "WeChat messages", true, fieldsOf(weChatMap({})),
         QStringList{QStringLiteral("Date (UTC)"), QStringLiteral("Conversation"),
                     QStringLiteral("Direction"), QStringLiteral("Text")},
         countOf<&SqliteRecovery::getWeiChatCount>, mapAt<&SqliteRecovery::getWeiChat, weChatMap>,
         weChatRows},
        {ScanTypeWhatsapp, "whatsapp", "WhatsApp messages", true, fieldsOf(whatsappMap({})),
         QStringList{QStringLiteral("Date (UTC)"), QStringLiteral("Chat"),
                     QStringLiteral("Direction"), QStringLiteral("Text")},
         countOf<&SqliteRecovery::getWhatsappCount>,
         mapAt<&SqliteRecovery::getWhatsapp, whatsappMap>, whatsappRows},
    };
    return kinds;
}

} // namespace

QVector<RecordKind> recordKinds(ScanType type)
{
    QVector<RecordKind> kinds;
    for (const RecordKind &kind : allKinds()) {
        if (kind.scanType == type) {
            kinds.append(kind);
        }
    }
    return kinds;
}

QCborMap recordAt(const ScanResults &results, const RecordKind &kind, unsigned index)
{
    return recordOfKind(kind.name, kind.record(results.recovery, index));
}

unsigned recordCount(const ScanResults &results, const RecordKind &kind)
{
    return kind.count(results.recovery);
}
