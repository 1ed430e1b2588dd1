#include "tests/support/kindsamples.h"

#include "samples/calendarsamples.h"
#include "samples/callsamples.h"
#include "samples/contactsamples.h"
#include "samples/messagesamples.h"
#include "samples/notesamples.h"
#include "samples/safarisamples.h"
#include "samples/weixinsamples.h"
#include "samples/whatsappsamples.h"

#include <QFile>
#include <QtTest>

namespace {

constexpr bool HasLog = true;

template<typename Sample, typename Plan>
std::function<bool(SampleDatabase *)>
filling(bool (*make)(SampleDatabase *, const Plan &, Sample *), const Plan &plan)
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
        {"contacts", ScanTypeContacts, HasLog, SampleOptions(),
         filling(makeContactSample, {ContactLayout::Ios15, ContactDeletion::Scattered, 12}),
         "delete from ABPerson where rowid % 4 = 1", 4},
        {"messages", ScanTypeMessages, HasLog, deviceOptions(MessageLayout::Ios12),
         filling(makeMessageSample, {MessageLayout::Ios12, MessageDeletion::SingleMessages, 24}),
         "delete from message where rowid % 4 = 1", 3},
        {"messages of iOS 5", ScanTypeMessages, HasLog, deviceOptions(MessageLayout::Ios5),
         filling(makeMessageSample, {MessageLayout::Ios5, MessageDeletion::SingleMessages, 24}),
         "delete from message where rowid % 4 = 1", 2},
        {"calls", ScanTypeCallHistory, !HasLog, incremental(),
         filling(makeCallSample, {CallLayout::Ios7, Deletion::Scattered, 30}),
         "delete from call where rowid % 4 = 1", 1},
        {"calls since iOS 8", ScanTypeCallHistory, !HasLog, incremental(),
         filling(makeCallSample, {CallLayout::Ios11Store, Deletion::Scattered, 30}),
         "delete from zcallrecord where rowid % 4 = 1", 1},
        {"calendar", ScanTypeCalendar, HasLog, deviceOptions(CalendarLayout::Ios11),
         filling(makeCalendarSample, {CalendarLayout::Ios11, CalendarDeletion::Scattered, 24}),
         "delete from CalendarItem where rowid % 4 = 1", 1},
        {"calendar of iOS 5", ScanTypeCalendar, HasLog, deviceOptions(CalendarLayout::Ios5),
         filling(makeCalendarSample, {CalendarLayout::Ios5, CalendarDeletion::Scattered, 24}),
         "delete from Event where rowid % 4 = 1", 1},
        {"notes", ScanTypeNotes, !HasLog, deviceOptions(NoteLayout::Ios7),
         filling(makeNoteSample, {NoteLayout::Ios7, NoteDeletion::Scattered, 40}),
         "delete from znote where rowid % 4 = 1", 1},
        {"bookmarks", ScanTypeBookmarks, HasLog, deviceOptions(BookmarkLayout::Ios7),
         filling(makeBookmarkSample, {BookmarkLayout::Ios7, BookmarkDeletion::Scattered, 30}),
         "delete from bookmarks where rowid % 4 = 1", 1},
        {"whatsapp", ScanTypeWhatsapp, !HasLog, deviceOptions(WhatsappLayout::Ios15),
         filling(makeWhatsappSample, {WhatsappLayout::Ios15, WhatsappDeletion::SingleMessages, 60}),
         "delete from zwamessage where rowid % 4 = 1", 1},
        {"safari history", ScanTypeSafariHistory, !HasLog, deviceOptions(HistoryLayout::Ios10),
         filling(makeHistorySample, {HistoryLayout::Ios10, HistoryDeletion::SingleItems, 40}),
         "delete from history_visits where rowid % 4 = 1", 1},
        {"notes since iOS 9", ScanTypeIos9Notes, !HasLog, deviceOptions(NoteLayout::Store17),
         filling(makeNoteSample, {NoteLayout::Store17, NoteDeletion::Scattered, 40}),
         "delete from ziccloudsyncingobject where rowid % 4 = 1", 1},
        {"older wechat", ScanTypeWeChat, !HasLog, deviceOptions(WeixinLayout::Old),
         filling(makeWeixinSample, {WeixinLayout::Old, WeixinDeletion::Scattered, 60, 1, 4}),
         "create table more (x)", 1}, // the names of its tables are digests
        {"wechat", ScanTypeWeChat, !HasLog, deviceOptions(WeixinLayout::Wcdb),
         filling(makeWeixinSample, {WeixinLayout::Wcdb, WeixinDeletion::Scattered, 60, 1, 4}),
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
    return db.create(path, kind.options) && kind.fill(&db) && db.close();
}

bool makeKindSampleWithLog(const KindSample &kind, const QString &path)
{
    const QString device = path + QStringLiteral(".device");
    SampleDatabase db;
    return db.create(device, kind.options) && kind.fill(&db) && db.startLog()
           && db.exec(QLatin1String(kind.loss)) && db.copyWithLog(path) && db.close()
           && QFile::remove(device);
}
