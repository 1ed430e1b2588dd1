#include "tests/support/smallsamples.h"

#include "api/scantype.h"
#include "samples/calendarsamples.h"
#include "samples/callsamples.h"
#include "samples/contactsamples.h"
#include "samples/messagesamples.h"
#include "samples/notesamples.h"
#include "samples/safarisamples.h"
#include "samples/weixinsamples.h"
#include "samples/whatsappsamples.h"
#include "tests/support/testfiles.h"

namespace {

constexpr bool HasLog = true;

template<typename Plan, typename Sample, bool (*Make)(SampleDatabase *, const Plan &, Sample *)>
bool make(SampleDatabase *db, const Plan &plan)
{
    Sample sample;
    return Make(db, plan, &sample);
}

bool makeCalls(SampleDatabase *db, CallLayout layout)
{
    return make<CallPlan, CallSample, makeCallSample>(db, {layout, Deletion::Scattered, 30, 1});
}

bool makeMessages(SampleDatabase *db, MessageLayout layout)
{
    return make<MessagePlan, MessageSample, makeMessageSample>(
        db, {layout, MessageDeletion::SingleMessages, 24, 1});
}

bool makeCalendar(SampleDatabase *db, CalendarLayout layout)
{
    return make<CalendarPlan, CalendarSample, makeCalendarSample>(
        db, {layout, CalendarDeletion::Scattered, 24, 1});
}

bool makeNotes(SampleDatabase *db, NoteLayout layout)
{
    return make<NotePlan, NoteSample, makeNoteSample>(db, {layout, NoteDeletion::Scattered, 40, 1});
}

bool makeWeixin(SampleDatabase *db, WeixinLayout layout)
{
    return make<WeixinPlan, WeixinSample, makeWeixinSample>(
        db, {layout, WeixinDeletion::Scattered, 60, 1, 4});
}

bool makeContacts(SampleDatabase *db)
{
    return make<ContactPlan, ContactSample, makeContactSample>(
        db, {ContactLayout::Ios15, ContactDeletion::Scattered, 12, 1});
}

bool makeBookmarks(SampleDatabase *db)
{
    return make<BookmarkPlan, BookmarkSample, makeBookmarkSample>(
        db, {BookmarkLayout::Ios7, BookmarkDeletion::Scattered, 30, 1});
}

bool makeHistory(SampleDatabase *db)
{
    return make<HistoryPlan, HistorySample, makeHistorySample>(
        db, {HistoryLayout::Ios10, HistoryDeletion::SingleItems, 40, 1});
}

bool makeWhatsapp(SampleDatabase *db)
{
    WhatsappPlan plan;
    plan.messages = 60;
    return make<WhatsappPlan, WhatsappSample, makeWhatsappSample>(db, plan);
}

template<typename Layout, Layout layout, bool (*Make)(SampleDatabase *, Layout)>
bool makeOf(SampleDatabase *db)
{
    return Make(db, layout);
}

} // namespace

const QVector<SmallSample> &smallSamples()
{
    static const QVector<SmallSample> samples = {
        {"contacts", ScanTypeContacts, HasLog, makeContacts},
        {"older messages", ScanTypeMessages, HasLog,
         makeOf<MessageLayout, MessageLayout::Ios5, makeMessages>},
        {"messages", ScanTypeMessages, HasLog,
         makeOf<MessageLayout, MessageLayout::Ios12, makeMessages>},
        {"older calls", ScanTypeCallHistory, !HasLog,
         makeOf<CallLayout, CallLayout::Ios7, makeCalls>},
        {"calls", ScanTypeCallHistory, !HasLog,
         makeOf<CallLayout, CallLayout::Ios11Store, makeCalls>},
        {"older calendar", ScanTypeCalendar, HasLog,
         makeOf<CalendarLayout, CalendarLayout::Ios5, makeCalendar>},
        {"calendar", ScanTypeCalendar, HasLog,
         makeOf<CalendarLayout, CalendarLayout::Ios11, makeCalendar>},
        {"older notes", ScanTypeNotes, !HasLog, makeOf<NoteLayout, NoteLayout::Ios7, makeNotes>},
        {"notes", ScanTypeIos9Notes, !HasLog, makeOf<NoteLayout, NoteLayout::Store17, makeNotes>},
        {"bookmarks", ScanTypeBookmarks, HasLog, makeBookmarks},
        {"history", ScanTypeSafariHistory, !HasLog, makeHistory},
        {"whatsapp", ScanTypeWhatsapp, !HasLog, makeWhatsapp},
        {"older wechat", ScanTypeWeChat, !HasLog,
         makeOf<WeixinLayout, WeixinLayout::Old, makeWeixin>},
        {"wechat", ScanTypeWeChat, !HasLog, makeOf<WeixinLayout, WeixinLayout::Wcdb, makeWeixin>},
    };
    return samples;
}

QByteArray makeSmallSample(const SmallSample &sample, const QString &path, int pageSize)
{
    SampleOptions options;
    options.pageSize = pageSize;
    SampleDatabase db;
    const QString freePages = QStringLiteral("create table spare (x);"
                                             "insert into spare values (zeroblob(%1));"
                                             "drop table spare;");
    return db.create(path, options) && sample.fill(&db) && db.exec(freePages.arg(4 * pageSize))
                   && db.close()
               ? readFile(path)
               : QByteArray();
}

bool makeSmallLog(const SmallSample &sample, const QString &path, int pageSize)
{
    SampleOptions options;
    options.pageSize = pageSize;
    SampleDatabase db;
    return db.create(path + QStringLiteral(".live"), options) && db.startLog() && sample.fill(&db)
           && db.copyWithLog(path) && db.close();
}
