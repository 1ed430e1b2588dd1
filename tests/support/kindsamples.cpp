#include "tests/support/kindsamples.h"

#include "samples/calendarsamples.h"
#include "samples/callsamples.h"
#include "samples/contactsamples.h"
#include "samples/messagesamples.h"
#include "samples/notesamples.h"
#include "samples/safarisamples.h"
#include "samples/weixinsamples.h"
#include "samples/whatsappsamples.h"
#include "tests/support/testfiles.h"

#include <QFile>
#include <QtTest>

namespace {

template<typename Sample, typename Plan>
std::function<bool(SampleDatabase *)> living(bool (*make)(SampleDatabase *, const Plan &, Sample *),
                                             const Plan &plan)
{
    return [make, plan](SampleDatabase *db) {
        Sample sample;
        return make(db, plan, &sample);
    };
}

/// How devices lay out the files whose samples do not say it.
SampleOptions incremental()
{
    SampleOptions options;
    options.autoVacuum = 2;
    return options;
}

} // namespace

const QVector<KindSample> &kindSamples()
{
    static const QVector<KindSample> all{
        {"contacts", ScanTypeContacts, SampleOptions(),
         living(makeContactSample, {ContactLayout::Ios15, ContactDeletion::Scattered, 12}),
         "delete from ABPerson where rowid % 4 = 1", 4},
        {"messages", ScanTypeMessages, deviceOptions(MessageLayout::Ios12),
         living(makeMessageSample, {MessageLayout::Ios12, MessageDeletion::SingleMessages, 24}),
         "delete from message where rowid % 4 = 1", 3},
        {"messages of iOS 5", ScanTypeMessages, deviceOptions(MessageLayout::Ios5),
         living(makeMessageSample, {MessageLayout::Ios5, MessageDeletion::SingleMessages, 24}),
         "delete from message where rowid % 4 = 1", 2},
        {"calls", ScanTypeCallHistory, incremental(),
         living(makeCallSample, {CallLayout::Ios7, Deletion::Scattered, 30}),
         "delete from call where rowid % 4 = 1", 1},
        {"calls since iOS 8", ScanTypeCallHistory, incremental(),
         living(makeCallSample, {CallLayout::Ios11Store, Deletion::Scattered, 30}),
         "delete from zcallrecord where rowid % 4 = 1", 1},
        {"calendar", ScanTypeCalendar, deviceOptions(CalendarLayout::Ios11),
         living(makeCalendarSample, {CalendarLayout::Ios11, CalendarDeletion::Scattered, 24}),
         "delete from CalendarItem where rowid % 4 = 1", 1},
        {"calendar of iOS 5", ScanTypeCalendar, deviceOptions(CalendarLayout::Ios5),
         living(makeCalendarSample, {CalendarLayout::Ios5, CalendarDeletion::Scattered, 24}),
         "delete from Event where rowid % 4 = 1", 1},
        {"notes", ScanTypeNotes, deviceOptions(NoteLayout::Ios7),
         living(makeNoteSample, {NoteLayout::Ios7, NoteDeletion::Scattered, 40}),
         "delete from znote where rowid % 4 = 1", 1},
        {"bookmarks", ScanTypeBookmarks, deviceOptions(BookmarkLayout::Ios7),
         living(makeBookmarkSample, {BookmarkLayout::Ios7, BookmarkDeletion::Scattered, 30}),
         "delete from bookmarks where rowid % 4 = 1", 1},
        {"whatsapp", ScanTypeWhatsapp, deviceOptions(WhatsappLayout::Ios15),
         living(makeWhatsappSample, {WhatsappLayout::Ios15, WhatsappDeletion::SingleMessages, 60}),
         "delete from zwamessage where rowid % 4 = 1", 1},
        {"safari history", ScanTypeSafariHistory, deviceOptions(HistoryLayout::Ios10),
         living(makeHistorySample, {HistoryLayout::Ios10, HistoryDeletion::SingleItems, 40}),
         "delete from history_visits where rowid % 4 = 1", 1},
        {"notes since iOS 9", ScanTypeIos9Notes, deviceOptions(NoteLayout::Store17),
         living(makeNoteSample, {NoteLayout::Store17, NoteDeletion::Scattered, 40}),
         "delete from ziccloudsyncingobject where rowid % 4 = 1", 1},
        {"older wechat", ScanTypeWeChat, deviceOptions(WeixinLayout::Old),
         living(makeWeixinSample, {WeixinLayout::Old, WeixinDeletion::Scattered, 60, 1, 4}),
         "create table more (x)", 1}, // the names of its tables are digests
        {"wechat", ScanTypeWeChat, deviceOptions(WeixinLayout::Wcdb),
         living(makeWeixinSample, {WeixinLayout::Wcdb, WeixinDeletion::Scattered, 60, 1, 4}),
         "create table more (x)", 1},
    };
    return all;
}

void addKindRows(bool (*fits)(const KindSample &kind))
{
    QTest::addColumn<int>("kind");
    for (int kind = 0; kind < kindSamples().size(); ++kind) {
        if (!fits || fits(kindSamples().at(kind))) {
            QTest::newRow(kindSamples().at(kind).name) << kind;
        }
    }
}

bool makeKindSample(const KindSample &kind, const QString &path)
{
    SampleDatabase db;
    return db.create(path, kind.options) && kind.live(&db) && db.close();
}

QByteArray kindSampleOfPages(const KindSample &kind, const QString &path, int pageSize)
{
    SampleOptions options;
    options.pageSize = pageSize;
    SampleDatabase db;
    const QString freePages = QStringLiteral("create table spare (x);"
                                             "insert into spare values (zeroblob(%1));"
                                             "drop table spare;");
    return db.create(path, options) && kind.live(&db) && db.exec(freePages.arg(4 * pageSize))
                   && db.close()
               ? readFile(path)
               : QByteArray();
}

bool makeKindSampleWithLog(const KindSample &kind, const QString &path)
{
    const QString device = path + QStringLiteral(".device");
    SampleDatabase db;
    return db.create(device, kind.options) && kind.live(&db) && db.startLog()
           && db.exec(QLatin1String(kind.loss)) && db.copyWithLog(path) && db.close()
           && QFile::remove(device);
}

bool makeKindSampleInLog(const KindSample &kind, const QString &path, int pageSize)
{
    const QString device = path + QStringLiteral(".device");
    SampleOptions options;
    options.pageSize = pageSize;
    SampleDatabase db;
    return db.create(device, options) && db.startLog() && kind.live(&db) && db.copyWithLog(path)
           && db.close() && QFile::remove(device);
}

bool isComparedInLogs(const KindSample &kind)
{
    return kind.type == ScanTypeContacts || kind.type == ScanTypeMessages
           || kind.type == ScanTypeCalendar || kind.type == ScanTypeBookmarks;
}
