// Makes sample databases with known contents: a small backup to try the program on, and large files
// to measure it with.

#include "cli/recordmaps.h"
#include "samples/backupsample.h"
#include "samples/bulksamples.h"
#include "samples/calendarsamples.h"
#include "samples/callsamples.h"
#include "samples/contactsamples.h"
#include "samples/messagesamples.h"
#include "samples/notesamples.h"
#include "samples/safarisamples.h"
#include "samples/sampledatabase.h"
#include "samples/truthfile.h"
#include "samples/weixinsamples.h"
#include "samples/whatsappsamples.h"

#include <QCborArray>
#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QTextStream>

#include <algorithm>
#include <functional>
#include <iterator>

namespace {

/// What a sample database holds and what was deleted from it.
struct Truth
{
    QVector<QCborMap> deleted;
    QVector<QCborMap> live;
};

struct BackupFile
{
    const char *domain;
    const char *relativePath;
    const char *contents;
    SampleOptions options;
    std::function<bool(SampleDatabase *db, Truth *truth)> make;
};

template<typename Records>
QVector<QCborMap> mapsOf(const char *kind, const Records &records,
                         QCborMap (*mapOf)(const typename Records::value_type &))
{
    QVector<QCborMap> maps;
    for (const auto &record : records) {
        maps.append(recordOfKind(kind, mapOf(record)));
    }
    return maps;
}

bool makeCalls(SampleDatabase *db, const CallPlan &plan, Truth *truth)
{
    CallSample sample;
    const bool ok = makeCallSample(db, plan, &sample);
    truth->deleted = mapsOf("call", expectedRecords(plan.layout, sample.deleted), callMap);
    truth->live = mapsOf("call", expectedRecords(plan.layout, sample.live), callMap);
    return ok;
}

bool makeContacts(SampleDatabase *db, const ContactPlan &plan, Truth *truth)
{
    ContactSample sample;
    const bool ok = makeContactSample(db, plan, &sample);
    truth->deleted = mapsOf("contact", sample.deleted, personMap)
                     + mapsOf("hiddenContact", sample.hidden, personMap);
    truth->live = mapsOf("contact", sample.live, personMap);
    return ok;
}

bool makeMessages(SampleDatabase *db, const MessagePlan &plan, Truth *truth)
{
    MessageSample sample;
    const bool ok = makeMessageSample(db, plan, &sample);
    truth->deleted = mapsOf("messageGroup", sample.deleted, messageGroupMap);
    truth->live = mapsOf("messageGroup", sample.live, messageGroupMap);
    return ok;
}

QVector<QCborMap> mapsOf(const QVector<SampleCalendarRow> &rows)
{
    QVector<QCborMap> maps;
    for (const SampleCalendarRow &row : rows) {
        const bool isReminder = row.kind == SampleCalendarRow::Reminder;
        const QCborMap map = isReminder ? recordOfKind("reminder", reminderMap(row.reminder))
                                        : recordOfKind("calendar", calendarMap(row.event));
        if (!maps.contains(map)) {
            maps.append(map); // a place that many events had is one record
        }
    }
    return maps;
}

bool makeCalendar(SampleDatabase *db, const CalendarPlan &plan, Truth *truth)
{
    CalendarSample sample;
    const bool ok = makeCalendarSample(db, plan, &sample);
    truth->deleted = mapsOf(sample.deleted);
    truth->live = mapsOf(sample.live);
    return ok;
}

bool makeNotes(SampleDatabase *db, const NotePlan &plan, Truth *truth)
{
    NoteSample sample;
    const bool ok = makeNoteSample(db, plan, &sample);
    const char *const kind = isNoteStore(plan.layout) ? "ios9Note" : "note";
    truth->deleted = mapsOf(kind, expectedNotes(plan.layout, sample.deleted), noteMap);
    truth->live = mapsOf(kind, expectedNotes(plan.layout, sample.live), noteMap);
    return ok;
}

bool makeBookmarks(SampleDatabase *db, const BookmarkPlan &plan, Truth *truth)
{
    BookmarkSample sample;
    const bool ok = makeBookmarkSample(db, plan, &sample);
    truth->deleted = mapsOf("bookmark", recordsOf(sample.deleted), bookmarkMap);
    truth->live = mapsOf("bookmark", recordsOf(sample.live), bookmarkMap);
    return ok;
}

/// What a log holds of bookmarks: those that were deleted, and those that were changed as they were
/// before.
bool makeBookmarksInLog(SampleDatabase *db, const BookmarkPlan &plan, Truth *truth)
{
    BookmarkSample sample;
    const bool ok = db->startLog() && makeBookmarkSample(db, plan, &sample);
    truth->deleted =
        mapsOf("bookmark", recordsOf(sample.deleted + sample.formerVersions), bookmarkMap);
    truth->live = mapsOf("bookmark", recordsOf(sample.live), bookmarkMap);
    return ok;
}

bool makeHistory(SampleDatabase *db, const HistoryPlan &plan, Truth *truth)
{
    HistorySample sample;
    const bool ok = makeHistorySample(db, plan, &sample);
    truth->deleted = mapsOf("safariHistory", sample.deleted, historyMap);
    truth->live = mapsOf("safariHistory", sample.live, historyMap);
    return ok;
}

QVector<QCborMap> mapsOf(const WhatsappSample &sample,
                         const QVector<SampleWhatsappMessage> &messages)
{
    QVector<QCborMap> maps;
    for (const auto &chat : expectedChats(sample, messages)) {
        maps.append(recordOfKind("whatsapp", whatsappMap(*chat)));
    }
    return maps;
}

bool makeWhatsapp(SampleDatabase *db, const WhatsappPlan &plan, Truth *truth)
{
    WhatsappSample sample;
    const bool ok = makeWhatsappSample(db, plan, &sample);
    truth->deleted = mapsOf(sample, sample.deleted);
    truth->live = mapsOf(sample, sample.live);
    return ok;
}

QVector<QCborMap> mapsOf(const WeixinSample &sample, const QVector<SampleWeixinMessage> &messages)
{
    QVector<QCborMap> maps;
    for (int i = 0; i < sample.chatIds.size(); ++i) {
        WeiChatChat chat;
        chat.chatId = sample.chatIds[i];
        for (const SampleWeixinMessage &message : messages) {
            if (message.conversation == i) {
                chat.messages.append(new WeiChatMessage(message.message));
            }
        }
        if (!chat.messages.isEmpty()) {
            maps.append(recordOfKind("weChat", weChatMap(chat)));
        }
    }
    return maps;
}

bool makeWeixin(SampleDatabase *db, const WeixinPlan &plan, Truth *truth)
{
    WeixinSample sample;
    const bool ok = makeWeixinSample(db, plan, &sample);
    truth->deleted = mapsOf(sample, sample.deleted);
    truth->live = mapsOf(sample, sample.live);
    return ok;
}

bool fail(const QString &message)
{
    QTextStream(stderr) << "makesample: " << message << '\n';
    return false;
}

/// The number of calls, persons, messages, notes, pages and so on.
int countOf(const QVector<QCborMap> &records)
{
    int count = 0;
    for (const QCborMap &record : records) {
        const QCborValue messages = record.value(QLatin1String("messages"));
        count += messages.isArray() ? int(messages.toArray().size()) : 1;
    }
    return count;
}

/// Writes down what a sample file holds. `name` is that of the truth files.
bool writeTruth(const QDir &folder, const QString &name, const QString &path, const char *contents,
                const Truth &truth)
{
    const QString deleted = folder.filePath(QStringLiteral("truth/%1.jsonl").arg(name));
    const QString live = folder.filePath(QStringLiteral("truth/%1.live.jsonl").arg(name));
    if (!writeTruthFile(deleted, truth.deleted) || !writeTruthFile(live, truth.live)) {
        return fail(QStringLiteral("cannot write %1 or %2").arg(deleted, live));
    }
    QTextStream(stdout) << path << ": " << countOf(truth.live) << ' ' << contents << ", "
                        << countOf(truth.deleted) << " more deleted\n";
    return true;
}

/// A backup that is being made in the folder "backup", and the files that its index will list.
struct SampleBackup
{
    QDir folder;
    BackupLayout layout;
    QVector<IndexedFile> files;
};

/// Returns the path that the file gets, in a folder that is there.
QString pathInBackup(const SampleBackup &backup, const IndexedFile &file)
{
    const QString name = sampleBackupName(backup.layout, file);
    const QString path = backup.folder.filePath(QStringLiteral("backup/") + name);
    QDir().mkpath(QFileInfo(path).path());
    return path;
}

/// Adds the file and the folder in which the device has it to the index.
void list(SampleBackup *backup, IndexedFile file)
{
    const QFileInfo info(file.relativePath);
    const bool isListed =
        std::any_of(backup->files.begin(), backup->files.end(), [&](const IndexedFile &other) {
            return other.domain == file.domain && other.relativePath == info.path();
        });
    if (!isListed && info.path() != QLatin1String(".")) {
        backup->files.append({file.domain, info.path(), 0, true});
    }
    file.size = QFileInfo(pathInBackup(*backup, file)).size();
    backup->files.append(file);
}

bool makeBackupFile(SampleBackup *backup, const BackupFile &source)
{
    const IndexedFile file{QLatin1String(source.domain), QLatin1String(source.relativePath)};
    const QString path = pathInBackup(*backup, file);
    SampleDatabase db;
    Truth truth;
    if (!db.create(path, source.options) || !source.make(&db, &truth) || !db.close()) {
        return fail(QStringLiteral("cannot make %1: %2").arg(path, db.errorText()));
    }
    list(backup, file);
    const QString name = sampleBackupName(BackupLayout::Flat, file);
    return writeTruth(backup->folder, name, path, source.contents, truth);
}

/// Deletes every eighth bookmark, each in a transaction of its own.
bool deleteSomeBookmarks(SampleDatabase *db, Truth *truth)
{
    const QVariant last = db->scalar(QStringLiteral("SELECT max(id) FROM bookmarks"));
    bool ok = true;
    int number = 0;
    for (qint64 id = 1; ok && id <= last.toLongLong(); ++id) {
        const auto column = [db, id](const char *name) {
            const QString sql = QStringLiteral("SELECT %1 FROM bookmarks WHERE id=? AND type=0");
            return db->scalar(sql.arg(QLatin1String(name)), {id});
        };
        BookmarkRecord bookmark;
        bookmark.title = column("title").toString();
        bookmark.url = column("url").toString();
        bookmark.parent = column("parent").toInt();
        if (!bookmark.url.contains(QLatin1String("://"))) {
            continue;
        }
        const bool isDeleted = ++number % 8 == 0;
        (isDeleted ? truth->deleted : truth->live)
            .append(recordOfKind("bookmark", bookmarkMap(bookmark)));
        ok = !isDeleted || db->run(QStringLiteral("DELETE FROM bookmarks WHERE id=?"), {id});
    }
    return ok;
}

/// The log of the bookmarks, which the backup has as a file of its own: it goes on where the
/// database ends.
bool makeLogInBackup(SampleBackup *backup)
{
    const IndexedFile bookmarks{QStringLiteral("HomeDomain"),
                                QStringLiteral("Library/Safari/Bookmarks.db")};
    const IndexedFile log{bookmarks.domain, bookmarks.relativePath + QStringLiteral("-wal")};
    const QString path = pathInBackup(*backup, log);
    const QString device = backup->folder.filePath(QStringLiteral("log/device"));
    const QString copy = backup->folder.filePath(QStringLiteral("log/copy"));
    QFile::remove(device);
    QFile::remove(path);
    SampleDatabase db;
    Truth truth;
    const bool isMade = QFile::copy(pathInBackup(*backup, bookmarks), device) && db.open(device)
                        && db.startLog() && deleteSomeBookmarks(&db, &truth) && db.copyWithLog(copy)
                        && db.close() && QFile::remove(device) && QFile::remove(copy)
                        && QFile::rename(copy + QStringLiteral("-wal"), path);
    if (!isMade) {
        return fail(QStringLiteral("cannot make %1: %2").arg(path, db.errorText()));
    }
    list(backup, log);
    return writeTruth(backup->folder, sampleBackupName(BackupLayout::Flat, log), path, "bookmarks",
                      truth);
}

bool writeLists(const SampleBackup &backup)
{
    BackupFacts facts;
    facts.deviceName = QStringLiteral("Sample Phone");
    facts.productName = QStringLiteral("iPhone XR");
    facts.productType = QStringLiteral("iPhone11,8");
    facts.productVersion = QStringLiteral("17.1");
    facts.date = QDateTime(QDate(2023, 11, 20), QTime(18, 30, 12), Qt::UTC);
    const QString folder = backup.folder.filePath(QStringLiteral("backup"));
    return (writePropertyLists(folder, facts)
            && writeBackupIndex(folder, backup.layout, backup.files))
           || fail(QStringLiteral("cannot write the index of %1").arg(folder));
}

/// A database as it is found on a device that is in use: most of it stands in the log beside it.
bool makeDatabaseWithLog(const QDir &folder)
{
    const QString name = QStringLiteral("Bookmarks.db");
    const QString path = folder.filePath(QStringLiteral("log/") + name);
    const QString device = path + QStringLiteral(".device");
    const BookmarkPlan plan{BookmarkLayout::Ios7, BookmarkDeletion::Edited, 100, 6};
    SampleDatabase db;
    Truth truth;
    if (!db.create(device, deviceOptions(plan.layout)) || !makeBookmarksInLog(&db, plan, &truth)
        || !db.copyWithLog(path) || !db.close() || !QFile::remove(device)) {
        return fail(QStringLiteral("cannot make %1: %2").arg(path, db.errorText()));
    }
    return writeTruth(folder, name, path, "bookmarks", truth);
}

bool makeBackup(const QDir &folder, BackupLayout layout)
{
    static const BackupFile files[] = {
        {"WirelessDomain", "Library/CallHistory/call_history.db", "calls", SampleOptions(),
         [](SampleDatabase *db, Truth *truth) {
             return makeCalls(db, {CallLayout::Ios7, Deletion::Scattered, 80, 4}, truth);
         }},
        {"HomeDomain", "Library/CallHistoryDB/CallHistory.storedata", "calls", SampleOptions(),
         [](SampleDatabase *db, Truth *truth) {
             return makeCalls(db, {CallLayout::Ios11Store, Deletion::ThenInserts, 120, 9}, truth);
         }},
        {"HomeDomain", "Library/AddressBook/AddressBook.sqlitedb", "contacts", SampleOptions(),
         [](SampleDatabase *db, Truth *truth) {
             return makeContacts(db, {ContactLayout::Ios15, ContactDeletion::Scattered, 120, 1},
                                 truth);
         }},
        {"HomeDomain", "Library/SMS/sms.db", "messages", deviceOptions(MessageLayout::Ios12),
         [](SampleDatabase *db, Truth *truth) {
             return makeMessages(
                 db, {MessageLayout::Ios12, MessageDeletion::SingleMessages, 200, 3}, truth);
         }},
        {"HomeDomain", "Library/Calendar/Calendar.sqlitedb", "events, reminders and places",
         deviceOptions(CalendarLayout::Ios10),
         [](SampleDatabase *db, Truth *truth) {
             return makeCalendar(db, {CalendarLayout::Ios10, CalendarDeletion::Scattered, 120, 2},
                                 truth);
         }},
        {"HomeDomain", "Library/Notes/notes.sqlite", "notes", deviceOptions(NoteLayout::Ios7),
         [](SampleDatabase *db, Truth *truth) {
             return makeNotes(db, {NoteLayout::Ios7, NoteDeletion::Scattered, 80, 2}, truth);
         }},
        {"AppDomainGroup-group.com.apple.notes", "NoteStore.sqlite", "notes",
         deviceOptions(NoteLayout::Store17),
         [](SampleDatabase *db, Truth *truth) {
             return makeNotes(db, {NoteLayout::Store17, NoteDeletion::Scattered, 80, 3}, truth);
         }},
        {"HomeDomain", "Library/Safari/Bookmarks.db", "bookmarks",
         deviceOptions(BookmarkLayout::Ios7),
         [](SampleDatabase *db, Truth *truth) {
             return makeBookmarks(db, {BookmarkLayout::Ios7, BookmarkDeletion::Scattered, 150, 1},
                                  truth);
         }},
        {"HomeDomain", "Library/Safari/History.db", "pages", deviceOptions(HistoryLayout::Ios11),
         [](SampleDatabase *db, Truth *truth) {
             return makeHistory(db, {HistoryLayout::Ios11, HistoryDeletion::Everything, 120, 5},
                                truth);
         }},
        {"AppDomain-net.whatsapp.WhatsApp", "Documents/ChatStorage.sqlite", "WhatsApp messages",
         deviceOptions(WhatsappLayout::Ios15),
         [](SampleDatabase *db, Truth *truth) {
             return makeWhatsapp(
                 db, {WhatsappLayout::Ios15, WhatsappDeletion::SingleMessages, 200, 1}, truth);
         }},
        {"AppDomainGroup-group.net.whatsapp.WhatsApp.shared", "ChatStorage.sqlite",
         "WhatsApp messages", deviceOptions(WhatsappLayout::Ios15),
         [](SampleDatabase *db, Truth *truth) {
             return makeWhatsapp(
                 db, {WhatsappLayout::Ios15, WhatsappDeletion::SingleMessages, 120, 2}, truth);
         }},
        {"AppDomain-com.tencent.xin",
         "Documents/c4ca4238a0b923820dcc509a6f75849b/DB/message_1.sqlite", "WeChat messages",
         deviceOptions(WeixinLayout::Wcdb),
         [](SampleDatabase *db, Truth *truth) {
             return makeWeixin(db, {WeixinLayout::Wcdb, WeixinDeletion::Scattered, 400, 1}, truth);
         }},
    };
    if (!folder.mkpath(QStringLiteral("backup")) || !folder.mkpath(QStringLiteral("log"))
        || !folder.mkpath(QStringLiteral("truth"))) {
        return fail(QStringLiteral("cannot make folders in %1").arg(folder.path()));
    }
    SampleBackup backup{folder, layout, {}};
    return std::all_of(std::begin(files), std::end(files),
                       [&backup](const BackupFile &file) { return makeBackupFile(&backup, file); })
           && makeLogInBackup(&backup) && writeLists(backup) && makeDatabaseWithLog(folder);
}

bool fillWithRows(SampleDatabase *db, const QString &kind, int mebibytes, BulkSample *sample)
{
    const qint64 bytes = qint64(mebibytes) * 1024 * 1024;
    return kind == QLatin1String("messages") ? makeBulkMessages(db, bytes, sample)
                                             : makeBulkCalls(db, bytes, sample);
}

bool fillWithPersons(SampleDatabase *db, int persons, BulkSample *sample)
{
    ContactPlan plan;
    plan.persons = persons;
    ContactSample contacts;
    const bool ok = makeContactSample(db, plan, &contacts);
    sample->deleted = contacts.deleted.size();
    sample->inserted = contacts.live.size() + sample->deleted;
    return ok;
}

bool makeBulkFile(const QString &kind, const QString &path, int size)
{
    SampleOptions options;
    options.bulk = true;
    SampleDatabase db;
    BulkSample sample;
    const bool isOfPersons = kind == QLatin1String("contacts");
    if (!db.create(path, options)
        || !(isOfPersons ? fillWithPersons(&db, size, &sample)
                         : fillWithRows(&db, kind, size, &sample))
        || !db.close()) {
        return fail(QStringLiteral("cannot make %1: %2").arg(path, db.errorText()));
    }
    QTextStream(stdout) << path << ": " << sample.inserted << ' ' << kind << ", " << sample.deleted
                        << " of them deleted\n";
    return true;
}

int usage()
{
    QTextStream(stderr) << "usage: makesample backup FOLDER [--layout flat|folders]\n"
                           "       makesample calls FILE MIB | messages FILE MIB\n"
                           "       makesample contacts FILE PERSONS\n";
    return 2;
}

int runBackup(const QStringList &arguments)
{
    const QString layout = arguments.size() == 1 ? QStringLiteral("flat") : arguments.value(2);
    const bool isFlat = layout == QLatin1String("flat");
    const bool hasOption = arguments.size() == 3 && arguments.at(1) == QLatin1String("--layout");
    if ((arguments.size() != 1 && !hasOption) || (!isFlat && layout != QLatin1String("folders"))) {
        return usage();
    }
    const QDir folder(arguments.first());
    return makeBackup(folder, isFlat ? BackupLayout::Flat : BackupLayout::Folders) ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments().mid(1);
    const QString kind = arguments.value(0);
    if (kind == QLatin1String("backup")) {
        return runBackup(arguments.mid(1));
    }
    const QStringList kinds{QStringLiteral("calls"), QStringLiteral("messages"),
                            QStringLiteral("contacts")};
    const int size = arguments.value(2).toInt();
    if (arguments.size() != 3 || size < 1 || !kinds.contains(kind)) {
        return usage();
    }
    return makeBulkFile(kind, arguments.at(1), size) ? 0 : 1;
}
