#include "cli/recordkind.h"

#include "api/sqliterecovery.h"
#include "api/walrecovery.h"
#include "cli/recordmaps.h"

namespace {

/// How the records of a kind are read from a facade.
template<typename Facade> struct Getters
{
    const char *name; ///< of the kind
    unsigned (*count)(Facade &results);
    unsigned (*items)(Facade &results);
    QCborMap (*record)(Facade &results, unsigned index);
};

template<typename Facade, auto getCount> unsigned countOf(Facade &results)
{
    return (results.*getCount)();
}

template<typename Record> unsigned itemsIn(const Record & /*record*/)
{
    return 1;
}

unsigned itemsIn(const MessageGroupRecord &group)
{
    return unsigned(group.messages.size());
}

unsigned itemsIn(const WhatsappChatRecord &chat)
{
    return unsigned(chat.messages.size());
}

unsigned itemsIn(const WeiChatChat &chat)
{
    return unsigned(chat.messages.size());
}

template<typename Facade, auto getCount, auto getRecord> unsigned itemsOf(Facade &results)
{
    unsigned items = 0;
    const unsigned count = (results.*getCount)();
    for (unsigned i = 0; i < count; ++i) {
        items += itemsIn(*(results.*getRecord)(i));
    }
    return items;
}

template<typename Facade, auto getRecord, auto mapOf>
QCborMap mapAt(Facade &results, unsigned index)
{
    return mapOf(*(results.*getRecord)(index));
}

template<typename Facade, auto getCount, auto getRecord, auto mapOf>
constexpr Getters<Facade> gettersOf(const char *name)
{
    return {name, countOf<Facade, getCount>, itemsOf<Facade, getCount, getRecord>,
            mapAt<Facade, getRecord, mapOf>};
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
    return {QStringLiteral("Changed (UTC)"), QStringLiteral("Stored"), QStringLiteral("Title"),
            QStringLiteral("Text")};
}

// In the order of the result arrays, which is the order of every output.
const QVector<RecordKind> &allKinds()
{
    static const QVector<RecordKind> kinds = {
        {ScanTypeCallHistory,
         "call",
         "Calls",
         fieldsOf(callMap({})),
         QStringList{QStringLiteral("Date (UTC)"), QStringLiteral("Stored"),
                     QStringLiteral("Direction"), QStringLiteral("Duration"),
                     QStringLiteral("Address")},
         callRows,
         {},
         {},
         {}},
        {ScanTypeMessages,
         "messageGroup",
         "Messages",
         fieldsOf(messageGroupMap({})),
         QStringList{QStringLiteral("Date (UTC)"), QStringLiteral("Stored"),
                     QStringLiteral("Conversation"), QStringLiteral("Direction"),
                     QStringLiteral("Text")},
         messageRows,
         {},
         {},
         {}},
        {ScanTypeNotes,
         "note",
         "Notes",
         fieldsOf(noteMap({})),
         noteColumns(),
         noteRows,
         {},
         {},
         {}},
        {ScanTypeIos9Notes,
         "ios9Note",
         "Notes",
         fieldsOf(noteMap({})),
         noteColumns(),
         noteRows,
         {},
         {},
         {}},
        {ScanTypeContacts,
         "contact",
         "Contacts",
         fieldsOf(personMap({})),
         QStringList(),
         personRows,
         {},
         {},
         {}},
        {ScanTypeContacts,
         "hiddenContact",
         "Hidden contacts",
         fieldsOf(personMap({})),
         QStringList(),
         personRows,
         {},
         {},
         {}},
        {ScanTypeCalendar,
         "reminder",
         "Reminders",
         fieldsOf(reminderMap({})),
         QStringList{QStringLiteral("Start (UTC)"), QStringLiteral("Stored"),
                     QStringLiteral("Completed (UTC)"), QStringLiteral("Stored"),
                     QStringLiteral("List"), QStringLiteral("Reminder")},
         reminderRows,
         {},
         {},
         {}},
        {ScanTypeCalendar,
         "calendar",
         "Calendar events",
         fieldsOf(calendarMap({})),
         QStringList{QStringLiteral("Start (UTC)"), QStringLiteral("Stored"),
                     QStringLiteral("End (UTC)"), QStringLiteral("Stored"), QStringLiteral("Event"),
                     QStringLiteral("Location")},
         calendarRows,
         {},
         {},
         {}},
        {ScanTypeBookmarks,
         "bookmark",
         "Bookmarks",
         fieldsOf(bookmarkMap({})),
         QStringList{QStringLiteral("Title"), QStringLiteral("Address")},
         pageRows,
         {},
         {},
         {}},
        {ScanTypeSafariHistory,
         "safariHistory",
         "Safari history",
         fieldsOf(historyMap({})),
         QStringList{QStringLiteral("Title"), QStringLiteral("Address")},
         pageRows,
         {},
         {},
         {}},
        {ScanTypeWeChat,
         "weChat",
         "WeChat messages",
         fieldsOf(weChatMap({})),
         QStringList{QStringLiteral("Date (UTC)"), QStringLiteral("Stored"),
                     QStringLiteral("Conversation"), QStringLiteral("Direction"),
                     QStringLiteral("Text")},
         weChatRows,
         {},
         {},
         {}},
        {ScanTypeWhatsapp,
         "whatsapp",
         "WhatsApp messages",
         fieldsOf(whatsappMap({})),
         QStringList{QStringLiteral("Date (UTC)"), QStringLiteral("Stored"), QStringLiteral("Chat"),
                     QStringLiteral("Direction"), QStringLiteral("Text")},
         whatsappRows,
         {},
         {},
         {}},
    };
    return kinds;
}

constexpr Getters<SqliteRecovery> CarvingGetters[] = {
    gettersOf<SqliteRecovery, &SqliteRecovery::getCallhistoryCount, &SqliteRecovery::getCallhistory,
              callMap>("call"),
    gettersOf<SqliteRecovery, &SqliteRecovery::getMessageGroupCount,
              &SqliteRecovery::getMessageGroup, messageGroupMap>("messageGroup"),
    gettersOf<SqliteRecovery, &SqliteRecovery::getNoteCount, &SqliteRecovery::getNote, noteMap>(
        "note"),
    gettersOf<SqliteRecovery, &SqliteRecovery::getIos9NoteCount, &SqliteRecovery::getIos9Note,
              noteMap>("ios9Note"),
    gettersOf<SqliteRecovery, &SqliteRecovery::getContactCount, &SqliteRecovery::getContact,
              personMap>("contact"),
    gettersOf<SqliteRecovery, &SqliteRecovery::getHiddenContactCount,
              &SqliteRecovery::getHiddenContact, personMap>("hiddenContact"),
    gettersOf<SqliteRecovery, &SqliteRecovery::getReminderCount, &SqliteRecovery::getReminder,
              reminderMap>("reminder"),
    gettersOf<SqliteRecovery, &SqliteRecovery::getCalendarCount, &SqliteRecovery::getCalendar,
              calendarMap>("calendar"),
    gettersOf<SqliteRecovery, &SqliteRecovery::getBookmarkCount, &SqliteRecovery::getBookmark,
              bookmarkMap>("bookmark"),
    gettersOf<SqliteRecovery, &SqliteRecovery::getSafariHistoryCount,
              &SqliteRecovery::getSafariHistory, historyMap>("safariHistory"),
    gettersOf<SqliteRecovery, &SqliteRecovery::getWeiChatCount, &SqliteRecovery::getWeiChat,
              weChatMap>("weChat"),
    gettersOf<SqliteRecovery, &SqliteRecovery::getWhatsappCount, &SqliteRecovery::getWhatsapp,
              whatsappMap>("whatsapp"),
};

constexpr Getters<WalRecovery> LogGetters[] = {
    gettersOf<WalRecovery, &WalRecovery::getMessageGroupCount, &WalRecovery::getMessageGroup,
              messageGroupMap>("messageGroup"),
    gettersOf<WalRecovery, &WalRecovery::getContactCount, &WalRecovery::getContact, personMap>(
        "contact"),
    gettersOf<WalRecovery, &WalRecovery::getReminderCount, &WalRecovery::getReminder, reminderMap>(
        "reminder"),
    gettersOf<WalRecovery, &WalRecovery::getCalendarCount, &WalRecovery::getCalendar, calendarMap>(
        "calendar"),
    gettersOf<WalRecovery, &WalRecovery::getBookmarkCount, &WalRecovery::getBookmark, bookmarkMap>(
        "bookmark"),
};

/// The kinds of the type for which there are getters, bound to the facade.
template<typename Facade, int count>
ScanResults bindKinds(ScanType type, Facade &results, const Getters<Facade> (&getters)[count])
{
    ScanResults bound;
    for (RecordKind kind : allKinds()) {
        for (const Getters<Facade> &getter : getters) {
            if (kind.scanType == type && qstrcmp(kind.name, getter.name) == 0) {
                kind.count = [&results, &getter] { return getter.count(results); };
                kind.items = [&results, &getter] { return getter.items(results); };
                kind.record = [&results, &getter](unsigned index) {
                    return getter.record(results, index);
                };
                bound.kinds.append(kind);
            }
        }
    }
    return bound;
}

} // namespace

ScanResults resultsOf(ScanType type, SqliteRecovery &recovery)
{
    return bindKinds(type, recovery, CarvingGetters);
}

ScanResults resultsOf(ScanType type, WalRecovery &recovery)
{
    return bindKinds(type, recovery, LogGetters);
}

QStringList kindNames()
{
    QStringList names;
    for (const RecordKind &kind : allKinds()) {
        names.append(QLatin1String(kind.name));
    }
    return names;
}

QCborMap recordAt(const RecordKind &kind, unsigned index)
{
    return recordOfKind(kind.name, kind.record(index));
}
