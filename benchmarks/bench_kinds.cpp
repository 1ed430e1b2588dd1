// Measures each pass over a calendar, a notes database whose texts go on to overflow pages, a
// history and chats against its floor in the same run: reading the file page by page and looking
// for the pass's signatures. Many signatures cost both, so passes that have many are also measured
// with the few that most rows have. The results are verified before anything is measured.
//
//   bench_kinds [--folder=DIR] [--mib=64] [--kind=NAME] [--keep] [options of the benchmark library]

#include "benchmarks/benchsupport.h"
#include "recoverers/calendar_notes_safari/bookmarkhistorymatchers.h"
#include "recoverers/calendar_notes_safari/calendarmatchers.h"
#include "recoverers/calendar_notes_safari/notematchers.h"
#include "recoverers/messaging/whatsappmatchers.h"
#include "samples/calendarscan.h"
#include "samples/notesamples.h"
#include "samples/notescan.h"
#include "samples/safarisamples.h"
#include "samples/safariscan.h"
#include "samples/sampledatabase.h"
#include "samples/weixinscan.h"
#include "samples/whatsappsamples.h"
#include "samples/whatsappscan.h"

#include <QSet>

#include <algorithm>
#include <cstdio>

namespace {

/// One search of a table, and what the same search finds with fewer signatures.
struct Pass
{
    std::string name;
    Signatures signatures;
    Signatures usual; ///< those of most rows; empty where the pass has no others
    /// Returns the number of deleted matches, with other signatures than the pass's own if there
    /// are some. Null where only the whole scan can be measured.
    int (*carve)(const QString &path, const Signatures &signatures);
};

template<typename DbFile, typename Matcher>
int carve(const QString &path, const char *table, bool freeListOnly, const Signatures &signatures)
{
    DbFile file;
    const QString name = QLatin1String(table);
    if (!file.open(path) || !file.table(name)) {
        return -1;
    }
    Matcher matcher(&file);
    if (!signatures.empty()) {
        matcher.signatures.clear();
        for (const std::string &signature : signatures) {
            matcher.signatures << QByteArrayMatcher(QByteArray::fromStdString(signature));
        }
    }
    file.carveTable(*file.table(name), matcher, 0, freeListOnly);
    matcher.finish();
    return matcher.deletedMatches;
}

int carveItems(const QString &path, const Signatures &signatures)
{
    return carve<CalendarDbFile, CalendarDbFile::CalendarItemMatcher>(path, "calendaritem", false,
                                                                      signatures);
}

int carveLocations(const QString &path, const Signatures &signatures)
{
    return carve<CalendarDbFile, CalendarDbFile::LocationMatcher>(path, "location", true,
                                                                  signatures);
}

int carveNotes(const QString &path, const Signatures &signatures)
{
    return carve<NoteDbFile, NoteDbFile::NoteMatcher>(path, "znote", false, signatures);
}

int carveBodies(const QString &path, const Signatures &signatures)
{
    return carve<NoteDbFile, NoteDbFile::NotebodyMatcher>(path, "znotebody", false, signatures);
}

int carveHistory(const QString &path, const Signatures &signatures)
{
    return carve<BookmarkHistoryDbFile, BookmarkHistoryDbFile::BookmarHistoryMatcher>(
        path, "history_items", false, signatures);
}

int carveVisits(const QString &path, const Signatures &signatures)
{
    return carve<BookmarkHistoryDbFile, BookmarkHistoryDbFile::BookmarHistoryVisitMatcher>(
        path, "history_visits", false, signatures);
}

template<typename Matcher, const char *table, bool freeListOnly>
int carveWhatsapp(const QString &path, const Signatures &signatures)
{
    return carve<WhatsappDbFile, Matcher>(path, table, freeListOnly, signatures);
}

constexpr char Sessions[] = "zwachatsession";
constexpr char Members[] = "zwagroupmember";
constexpr char Media[] = "zwamediaitem";
constexpr char Messages[] = "zwamessage";

/// Visit counters of the last 1 to 14 days.
Signatures counterSignatures()
{
    Signatures signatures;
    for (int type = 0x14; type <= 0x7c; type += 8) {
        signatures.push_back(std::string(1, char(type)));
    }
    return signatures;
}

struct Kind
{
    std::string name;
    int rowsPerMebibyte;
    bool (*make)(SampleDatabase *db, int rows, QSet<QString> *deleted, QSet<QString> *known);
    QStringList (*scan)(const QString &path);
    int least; ///< percent of the deleted rows that come back at least
    QVector<Pass> passes;
};

QString keyOf(const CalendarRecord &event)
{
    return event.title + QLatin1Char('|') + QString::number(event.startDate);
}

QString keyOf(const ReminderRecord &reminder)
{
    return reminder.title + QLatin1Char('|') + QString::number(reminder.startDate);
}

QString keyOf(const SampleCalendarRow &row)
{
    return row.kind == SampleCalendarRow::Reminder ? keyOf(row.reminder) : keyOf(row.event);
}

bool makeCalendar(SampleDatabase *db, int rows, QSet<QString> *deleted, QSet<QString> *known)
{
    CalendarPlan plan;
    plan.items = rows;
    plan.mostHalfHours = 6; // keeps the dates of many items in four bytes
    CalendarSample sample;
    const bool ok = makeCalendarSample(db, plan, &sample);
    for (const SampleCalendarRow &row : qAsConst(sample.deleted)) {
        if (row.kind != SampleCalendarRow::Location) {
            deleted->insert(keyOf(row));
        }
    }
    for (const SampleCalendarRow &row : sample.live + sample.former + sample.deleted) {
        known->insert(keyOf(row));
        known->insert(
            keyOf(CalendarRecord{row.event.title, {}, {}})); // what covers it took the rest
        known->insert(keyOf(CalendarRecord{row.reminder.title, {}, {}}));
    }
    return ok;
}

QStringList scanCalendar(const QString &path)
{
    const FoundCalendars found = scanCalendars(path);
    QStringList keys;
    for (const CalendarRecord &event : found.events) {
        keys << keyOf(event);
    }
    for (const ReminderRecord &reminder : found.reminders) {
        keys << keyOf(reminder);
    }
    return keys;
}

bool makeNotes(SampleDatabase *db, int rows, QSet<QString> *deleted, QSet<QString> *known)
{
    NotePlan plan;
    plan.notes = rows;
    plan.mostGap = 4000; // as above
    NoteSample sample;
    const bool ok = makeNoteSample(db, plan, &sample);
    for (const SampleNote &note : qAsConst(sample.deleted)) {
        deleted->insert(note.title);
    }
    for (const SampleNote &note : sample.deleted + sample.live + sample.formerVersions) {
        known->insert(note.title);
    }
    return ok;
}

QStringList scanNotesFile(const QString &path)
{
    QStringList titles;
    for (const NoteRecord &note : scanNotes(NotePlan().layout, path)) {
        titles << note.title;
    }
    return titles;
}

bool makeHistory(SampleDatabase *db, int rows, QSet<QString> *deleted, QSet<QString> *known)
{
    HistoryPlan plan;
    plan.visits = rows;
    HistorySample sample;
    const bool ok = makeHistorySample(db, plan, &sample);
    for (const BookmarkRecord &record : qAsConst(sample.deleted)) {
        deleted->insert(record.url);
    }
    for (const BookmarkRecord &record : sample.deleted + sample.live) {
        known->insert(record.url);
    }
    return ok;
}

QStringList scanHistoryFile(const QString &path)
{
    QStringList addresses;
    for (const BookmarkRecord &record : scanHistory(path)) {
        addresses << record.url;
    }
    return addresses;
}

QString keyOf(const WhatsappMessageItem &message)
{
    return QStringLiteral("%1|%2").arg(message.date).arg(message.messageType);
}

bool makeWhatsapp(SampleDatabase *db, int rows, QSet<QString> *deleted, QSet<QString> *known)
{
    WhatsappPlan plan;
    plan.messages = rows;
    WhatsappSample sample;
    const bool ok = makeWhatsappSample(db, plan, &sample);
    const auto addKeys = [&sample](const QVector<SampleWhatsappMessage> &messages,
                                   QSet<QString> *keys) {
        for (const auto &chat : expectedChats(sample, messages)) {
            for (const WhatsappMessageItem *message : qAsConst(chat->messages)) {
                keys->insert(keyOf(*message));
            }
        }
    };
    addKeys(sample.deleted, deleted);
    addKeys(sample.deleted + sample.live, known);
    return ok;
}

QStringList scanWhatsappFile(const QString &path)
{
    SqliteRecovery recovery;
    recovery.scanRecoveryForType(ScanTypeWhatsapp, path, nullptr);
    QStringList keys;
    for (unsigned i = 0; i < recovery.getWhatsappCount(); ++i) {
        for (const WhatsappMessageItem *message : recovery.getWhatsapp(i)->messages) {
            keys << keyOf(*message);
        }
    }
    return keys;
}

/// The times of the messages: no two have the same.
template<int conversations>
bool makeWeixin(SampleDatabase *db, int mebibytes, QSet<QString> *deleted, QSet<QString> *known)
{
    return fillWeixinFile(db, qint64(mebibytes) << 20, conversations,
                          [&](const SampleWeixinMessage &sample, bool isDeleted) {
                              const QString key = QString::number(sample.message.createTime);
                              known->insert(key);
                              if (isDeleted) {
                                  deleted->insert(key);
                              }
                          })
           > 0;
}

QStringList scanWeixinFile(const QString &path)
{
    QStringList times;
    for (const FoundWeixinMessage &found : scanWeixin(path)) {
        times << QString::number(found.message.createTime);
    }
    return times;
}

QVector<Kind> allKinds()
{
    return {
        {"calendar",
         1350,
         makeCalendar,
         scanCalendar,
         70,
         {{"items", {"\x55"}, {}, carveItems},
          {"locations",
           {"\x01", "\x02", "\x03", "\x04", "\x05", "\x06", "\x08", "\x09"},
           {"\x01", "\x02"},
           carveLocations}}},
        {"notes",
         600,
         makeNotes,
         scanNotesFile,
         70,
         {{"notes", {"\x07", "\x04"}, {"\x07"}, carveNotes},
          {"bodies", {"\x01", "\x09"}, {}, carveBodies}}},
        {"history",
         2700,
         makeHistory,
         scanHistoryFile,
         70,
         {{"items", counterSignatures(), {"\x14"}, carveHistory},
          {"visits", {"\x07", "\x04"}, {"\x07"}, carveVisits}}},
        {"whatsapp",
         1400,
         makeWhatsapp,
         scanWhatsappFile,
         70,
         {{"sessions",
           {"\x07", "\x04"},
           {},
           carveWhatsapp<WhatsappDbFile::SessionMatcher, Sessions, false>},
          {"members",
           {"\x01", "\x08", "\x09"},
           {},
           carveWhatsapp<WhatsappDbFile::MemberMatcher, Members, true>},
          {"media",
           {"\x07", "\x08", "\x04", "\x02", "\x01"},
           {},
           carveWhatsapp<WhatsappDbFile::MediaMatcher, Media, false>},
          {"messages",
           {"\x07", "\x04"},
           {},
           carveWhatsapp<WhatsappDbFile::MessageMatcher, Messages, false>}}},
        // The free pages are searched once for all conversations, so that there is no pass
        // over the file for one of them alone.
        {"wechat5", 1, makeWeixin<5>, scanWeixinFile, 60, {{"all", {"\x04"}, {}, nullptr}}},
        {"wechat500", 1, makeWeixin<500>, scanWeixinFile, 60, {{"all", {"\x04"}, {}, nullptr}}}};
}

/// Makes the file and compares what a scan finds with what was deleted.
bool prepare(const Kind &kind, const QString &path, int mebibytes)
{
    SampleOptions options;
    options.bulk = true;
    SampleDatabase db;
    QSet<QString> deleted;
    QSet<QString> known;
    std::printf("making %s\n", qPrintable(path));
    if (!db.create(path, options)
        || !kind.make(&db, mebibytes * kind.rowsPerMebibyte, &deleted, &known) || !db.close()) {
        return false;
    }
    int right = 0;
    int wrong = 0;
    QSet<QString> found;
    for (const QString &key : kind.scan(path)) {
        found.insert(key);
        wrong += !known.contains(key);
    }
    for (const QString &key : qAsConst(deleted)) {
        right += found.contains(key);
    }
    std::printf("%s: %lld MiB, %d of %d deleted recovered, %d that never were\n", kind.name.c_str(),
                QFile(path).size() >> 20, right, deleted.size(), wrong);
    return right * 100LL >= deleted.size() * qint64(kind.least) && wrong * 100 <= found.size();
}

void addKind(const Kind &kind, const QString &path, QVector<Ratio> *ratios)
{
    for (const Pass &pass : kind.passes) {
        const std::string name = kind.name + "/" + pass.name;
        addBenchmark(name + "/search", path, [=] { return readPages(path, pass.signatures); });
        if (!pass.carve) {
            ratios->append({kind.name + "/scan", name + "/search"});
            continue;
        }
        addBenchmark(name + "/carve", path, [=] { return pass.carve(path, {}); });
        ratios->append({name + "/carve", name + "/search"});
        if (!pass.usual.empty()) {
            addBenchmark(name + "/usual", path, [=] { return pass.carve(path, pass.usual); });
            ratios->append({name + "/carve", name + "/usual"});
            std::printf("%s: %d deleted matches, %d with the usual signatures\n", name.c_str(),
                        pass.carve(path, {}), pass.carve(path, pass.usual));
        }
    }
    addBenchmark(kind.name + "/scan", path, [=] { return kind.scan(path).size(); });
    if (kind.passes.first().carve) {
        ratios->append(
            {kind.name + "/scan", kind.name + "/" + kind.passes.first().name + "/carve"});
    }
}

} // namespace

int main(int argc, char *argv[])
{
    BenchOptions options;
    options.mebibytes = 64;
    if (!takeOptions(&argc, argv, &options)) {
        return 2;
    }
    const QVector<Kind> kinds = allKinds();
    QVector<Ratio> ratios;
    QStringList files;
    bool sound = true;
    for (const Kind &kind : kinds) {
        if (!QString::fromStdString(kind.name).startsWith(options.kind)) {
            continue;
        }
        files << QDir(options.folder)
                     .filePath(QStringLiteral("bench_%1_%2mib.db")
                                   .arg(QString::fromStdString(kind.name))
                                   .arg(options.mebibytes));
        sound = sound && prepare(kind, files.last(), options.mebibytes);
        if (sound) {
            addKind(kind, files.last(), &ratios);
        }
    }
    ratios.append(Ratio{"wechat500/scan", "wechat5/scan"});
    if (sound) {
        runAndPrintRatios(ratios);
    } else {
        std::fprintf(stderr, "bench_kinds: the results are wrong, nothing was measured\n");
    }
    for (const QString &file : qAsConst(files)) {
        if (!options.keep) {
            QFile::remove(file);
        }
    }
    return sound ? 0 : 1;
}
