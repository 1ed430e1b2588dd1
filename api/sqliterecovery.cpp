#include "api/sqliterecovery.h"

#include "api/backupindex.h"
#include "api/recovererfactory_p.h"
#include "api/resultarrays_p.h"
#include "api/scanprogress.h"
#include "recoverers/communication/hiddencontactdbfile.h"
#include "recoverers/messaging/weixindbfile.h"

#include <QDir>
#include <QFileInfo>

#include <map>
#include <memory>

namespace {

using Recoverer = std::unique_ptr<SqliteDbFile>;

bool isKnownType(int type)
{
    return (type >= ScanTypeContacts && type <= ScanTypeIos9Notes) || type == ScanTypeWeChat;
}

/// The file name, without its last suffix, that a kind's database has; empty for kinds without one.
QString databaseName(int type)
{
    switch (type) {
    case ScanTypeContacts:
        return QStringLiteral("AddressBook");
    case ScanTypeMessages:
        return QStringLiteral("sms");
    case ScanTypeCallHistory:
        return QStringLiteral("call_history");
    case ScanTypeCalendar:
        return QStringLiteral("Calendar");
    case ScanTypeNotes:
        return QStringLiteral("notes");
    case ScanTypeBookmarks:
        return QStringLiteral("Bookmarks");
    case ScanTypeWhatsapp:
        return QStringLiteral("ChatStorage");
    default:
        return QString();
    }
}

} // namespace

SqliteRecovery::SqliteRecovery() = default;

SqliteRecovery::SqliteRecovery(const SqliteRecovery &other) = default;

SqliteRecovery &SqliteRecovery::operator=(const SqliteRecovery &other) = default;

SqliteRecovery::~SqliteRecovery()
{
    // The iOS 9 notes are left alive on purpose: callers rely on keeping them.
    releaseContacts();
    releaseWhatsapps();
    releaseHiddenContacts();
    releaseWeiChat();
}

int SqliteRecovery::scanRecovery(const QString &backupDir)
{
    const QDir backup(backupDir);
    if (!QFileInfo(backupDir).isDir()) {
        return -1;
    }
    std::map<int, Recoverer> recoverers;
    for (const BackupLocation &location : backupLocations()) {
        if (!location.isInWholeScan) {
            continue;
        }
        Recoverer &recoverer = recoverers[location.type];
        if (!recoverer) {
            recoverer = makeRecoverer(location.type);
        }
        const QString name = calcBackupFilename(location.domain, location.relativePath);
        if (recoverer && recoverer->open(backup.absoluteFilePath(name))) {
            recoverer->scanDeletedRecords(this);
        }
    }
    return 0;
}

int SqliteRecovery::scanRecoveryForType(int type, const QString &dbPath, ScanProgress *progress)
{
    const Recoverer recoverer = makeRecoverer(type);
    if (recoverer && recoverer->open(dbPath)) {
        recoverer->setProgress(progress);
        recoverer->scanDeletedRecords(this);
    }
    if (type == ScanTypeContacts && !(recoverer && recoverer->isStopped())) {
        scanHiddenContacts(dbPath, progress);
    }
    if (progress) {
        progress->scanDone();
    }
    return isKnownType(type) ? 0 : -1;
}

void SqliteRecovery::scanHiddenContacts(const QString &dbPath, ScanProgress *progress)
{
    constexpr double noSpan = 0; // reading the index takes no time to speak of
    HiddenContactDbFile index;
    if (index.open(dbPath)) {
        index.setProgress(progress, noSpan);
        index.scanDeletedRecords(this);
    }
}

int SqliteRecovery::scanRecoveryForType(int type, const QStringList &files, ScanProgress *progress)
{
    const QString dbPath = dbFileForType(type, files);
    return dbPath.isEmpty() ? -1 : scanRecoveryForType(type, dbPath, progress);
}

QString SqliteRecovery::dbFileForType(int type, const QStringList &files)
{
    const QString wanted = databaseName(type);
    QString found;
    for (const QString &path : files) {
        const QString name = QFileInfo(path).completeBaseName();
        // WeChat moved its chats out of MM.sqlite into message_N.sqlite: anything but the former
        // will do. The last path that fits wins for every kind.
        const bool isWeChat =
            type == ScanTypeWeChat && name.compare(QLatin1String("mm"), Qt::CaseInsensitive) != 0;
        if (name == wanted || isWeChat) {
            found = path;
        }
    }
    return found;
}

QString SqliteRecovery::calcBackupFilename(const QString &domain, const QString &relativePath)
{
    return backupFileName(domain, relativePath);
}

unsigned SqliteRecovery::getBookmarkCount()
{
    return unsigned(m_bookmarks.size());
}

const BookmarkRecord *SqliteRecovery::getBookmark(unsigned index)
{
    return elementOrNull(m_bookmarks, index);
}

unsigned SqliteRecovery::getNoteCount()
{
    return unsigned(m_notes.size());
}

const NoteRecord *SqliteRecovery::getNote(unsigned index)
{
    return elementOrNull(m_notes, index);
}

unsigned SqliteRecovery::getCallhistoryCount()
{
    return unsigned(m_callHistory.size());
}

const CallhistoryRecord *SqliteRecovery::getCallhistory(unsigned index)
{
    return elementOrNull(m_callHistory, index);
}

unsigned SqliteRecovery::getReminderCount()
{
    return unsigned(m_reminders.size());
}

const ReminderRecord *SqliteRecovery::getReminder(unsigned index)
{
    return elementOrNull(m_reminders, index);
}

unsigned SqliteRecovery::getCalendarCount()
{
    return unsigned(m_calendarEvents.size());
}

const CalendarRecord *SqliteRecovery::getCalendar(unsigned index)
{
    return elementOrNull(m_calendarEvents, index);
}

unsigned SqliteRecovery::getMessageGroupCount()
{
    return unsigned(m_messageGroups.size());
}

const MessageGroupRecord *SqliteRecovery::getMessageGroup(unsigned index)
{
    return elementOrNull(m_messageGroups, index);
}

unsigned SqliteRecovery::getContactCount()
{
    return unsigned(m_contacts.size());
}

const PersonRecord *SqliteRecovery::getContact(unsigned index)
{
    return pointerOrNull(m_contacts, index);
}

unsigned SqliteRecovery::getWhatsappCount()
{
    return unsigned(m_whatsappChats.size());
}

const WhatsappChatRecord *SqliteRecovery::getWhatsapp(unsigned index)
{
    return pointerOrNull(m_whatsappChats, index);
}

unsigned SqliteRecovery::getHiddenContactCount()
{
    return unsigned(m_hiddenContacts.size());
}

const PersonRecord *SqliteRecovery::getHiddenContact(unsigned index)
{
    return pointerOrNull(m_hiddenContacts, index);
}

unsigned SqliteRecovery::getSafariHistoryCount()
{
    return unsigned(m_safariHistory.size());
}

const BookmarkRecord *SqliteRecovery::getSafariHistory(unsigned index)
{
    return elementOrNull(m_safariHistory, index);
}

unsigned SqliteRecovery::getIos9NoteCount()
{
    return unsigned(m_ios9Notes.size());
}

const NoteRecord *SqliteRecovery::getIos9Note(unsigned index)
{
    return pointerOrNull(m_ios9Notes, index);
}

unsigned SqliteRecovery::getWeiChatCount()
{
    return unsigned(m_weiChatChats.size());
}

const WeiChatChat *SqliteRecovery::getWeiChat(unsigned index)
{
    return pointerOrNull(m_weiChatChats, index);
}

void SqliteRecovery::releaseContacts()
{
    releaseAll(m_contacts);
}

void SqliteRecovery::releaseHiddenContacts()
{
    releaseAll(m_hiddenContacts);
}

void SqliteRecovery::releaseWhatsapps()
{
    releaseAll(m_whatsappChats);
}

void SqliteRecovery::releaseWeiChat()
{
    weixinDBFile::forgetChats();
    releaseAll(m_weiChatChats);
}
