// Measures on realistic sample databases how much of what was deleted a scan recovers, and what
// else it finds. Of calls it also gives, for every miss and every invention, the reason that the
// bytes of the file show. --verbose prints one line for each thing that is missing or wrong.

#include "samples/calendarscan.h"
#include "samples/callscan.h"
#include "samples/contactscan.h"
#include "samples/contacttruth.h"
#include "samples/messagescan.h"
#include "samples/messagetruth.h"
#include "samples/notescan.h"
#include "samples/notetruth.h"
#include "samples/recallreport.h"
#include "samples/safariscan.h"
#include "samples/safaritruth.h"
#include "samples/sampledatabase.h"
#include "samples/weixinscan.h"
#include "samples/whatsappscan.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QTextStream>

namespace {

constexpr int seedsOfEach = 3;

struct Run
{
    QTextStream out{stdout};
    QTemporaryDir folder;
    bool verbose = false;
};

void printDetails(const QString &name, const QStringList &details, Run *run)
{
    run->out << name << '\n';
    for (const QString &detail : details) {
        run->out << "    " << detail << '\n';
    }
}

bool measureCalls(Run *run)
{
    RecallReport report;
    for (const RecallCase &recallCase : recallMatrix()) {
        const RecallResult result = runRecallCase(recallCase, run->folder.path(), scanCalls);
        report.add(recallCase, result);
        if (!result.valid) {
            run->out
                << "UNEXPLAINED: the sample could not be made, or its live rows not be found\n";
        }
        if (run->verbose || !result.valid || result.unexplained() > 0) {
            printDetails(recallCaseName(recallCase), result.details, run);
        }
    }
    run->out << report.text();
    return report.isSound();
}

bool measure(const ContactPlan &plan, const QString &path, ContactReport *report)
{
    SampleDatabase db;
    ContactSample sample;
    SampleOptions options;
    options.autoVacuum = plan.layout == ContactLayout::Ios4 ? 0 : 2;
    if (!db.create(path, options) || !makeContactSample(&db, plan, &sample) || !db.close()) {
        return false;
    }
    report->add(compareContacts(sample, scanContacts(path)));
    return true;
}

bool measure(const MessagePlan &plan, const QString &path, MessageResult *result)
{
    SampleDatabase db;
    MessageSample sample;
    QFile file(path);
    if (!db.create(path, deviceOptions(plan.layout)) || !makeMessageSample(&db, plan, &sample)
        || !db.close() || !file.open(QIODevice::ReadOnly)) {
        return false;
    }
    result->add(compareMessages(sample, file.readAll(), scanMessages(path)));
    return true;
}

bool measure(const CalendarPlan &plan, const QString &path, CalendarResult *result)
{
    SampleDatabase db;
    CalendarSample sample;
    QFile file(path);
    if (!db.create(path, deviceOptions(plan.layout)) || !makeCalendarSample(&db, plan, &sample)
        || !db.close() || !file.open(QIODevice::ReadOnly)) {
        return false;
    }
    result->add(compareCalendars(sample, file.readAll(), scanCalendars(path)));
    return true;
}

bool measure(const NotePlan &plan, const QString &path, NoteResult *result)
{
    SampleDatabase db;
    NoteSample sample;
    QFile file(path);
    if (!db.create(path, deviceOptions(plan.layout)) || !makeNoteSample(&db, plan, &sample)
        || !db.close() || !file.open(QIODevice::ReadOnly)) {
        return false;
    }
    result->add(compareNotes(sample, file.readAll(), scanNotes(plan.layout, path)));
    return true;
}

bool measure(const BookmarkPlan &plan, const QString &path, SafariReport *report)
{
    SampleDatabase db;
    BookmarkSample sample;
    if (!db.create(path, deviceOptions(plan.layout)) || !makeBookmarkSample(&db, plan, &sample)
        || !db.close()) {
        return false;
    }
    report->add(compareBookmarks(sample, scanBookmarks(path)));
    return true;
}

bool measure(const HistoryPlan &plan, const QString &path, SafariReport *report)
{
    SampleDatabase db;
    HistorySample sample;
    if (!db.create(path, deviceOptions(plan.layout)) || !makeHistorySample(&db, plan, &sample)
        || !db.close()) {
        return false;
    }
    report->add(compareHistory(sample, scanHistory(path)));
    return true;
}

bool measure(const WeixinPlan &plan, const QString &path, WeixinResult *result)
{
    SampleDatabase db;
    WeixinSample sample;
    QFile file(path);
    if (!db.create(path, deviceOptions(plan.layout)) || !makeWeixinSample(&db, plan, &sample)
        || !db.close() || !file.open(QIODevice::ReadOnly)) {
        return false;
    }
    result->add(compareWeixin(sample, file.readAll(), scanWeixin(path)));
    return true;
}

bool measure(const WhatsappPlan &plan, const QString &path, WhatsappResult *result)
{
    SampleDatabase db;
    WhatsappSample sample;
    QFile file(path);
    if (!db.create(path, deviceOptions(plan.layout)) || !makeWhatsappSample(&db, plan, &sample)
        || !db.close() || !file.open(QIODevice::ReadOnly)) {
        return false;
    }
    result->add(compareWhatsapp(sample, file.readAll(), scanWhatsapp(path)));
    return true;
}

/// Every layout with every way of losing rows, each in several samples of `rows` rows.
template<typename Plan, typename Result, typename Layouts, typename Deletions>
bool measureAll(const Layouts &layouts, const Deletions &deletions, int rows, Run *run)
{
    const QString path = run->folder.filePath(QStringLiteral("sample.db"));
    Result total;
    for (const auto layout : layouts) {
        for (const auto deletion : deletions) {
            Result result;
            for (quint32 seed = 1; seed <= seedsOfEach; ++seed) {
                if (!measure(Plan{layout, deletion, rows, seed}, path, &result)) {
                    return false;
                }
            }
            run->out << layoutName(layout) << ", " << deletionName(deletion) << ": "
                     << result.summary() << '\n';
            if (run->verbose) {
                printDetails(QString(), result.details, run);
            }
            total.add(result);
        }
    }
    run->out << "all: " << total.summary() << '\n';
    return true;
}

bool measureContacts(Run *run)
{
    return measureAll<ContactPlan, ContactReport>(allContactLayouts(), allContactDeletions(), 120,
                                                  run);
}

bool measureMessages(Run *run)
{
    return measureAll<MessagePlan, MessageResult>(allMessageLayouts(), allMessageDeletions(), 400,
                                                  run);
}

bool measureCalendars(Run *run)
{
    return measureAll<CalendarPlan, CalendarResult>(allCalendarLayouts(), allCalendarDeletions(),
                                                    200, run);
}

bool measureNotes(Run *run)
{
    return measureAll<NotePlan, NoteResult>(allNoteLayouts(), allNoteDeletions(), 120, run);
}

bool measureBookmarks(Run *run)
{
    return measureAll<BookmarkPlan, SafariReport>(allBookmarkLayouts(), allBookmarkDeletions(), 300,
                                                  run);
}

bool measureHistory(Run *run)
{
    return measureAll<HistoryPlan, SafariReport>(allHistoryLayouts(), allHistoryDeletions(), 600,
                                                 run);
}

bool measureWeixin(Run *run)
{
    return measureAll<WeixinPlan, WeixinResult>(allWeixinLayouts(), allWeixinDeletions(), 1500,
                                                run);
}

bool measureWhatsapp(Run *run)
{
    return measureAll<WhatsappPlan, WhatsappResult>(allWhatsappLayouts(), allWhatsappDeletions(),
                                                    600, run);
}

struct Kind
{
    const char *name;
    bool (*measure)(Run *run);
};

constexpr Kind kinds[] = {
    {"calls", measureCalls},
    {"contacts", measureContacts},
    {"messages", measureMessages},
    {"calendar", measureCalendars},
    {"notes", measureNotes},
    {"bookmarks", measureBookmarks},
    {"safari-history", measureHistory},
    {"whatsapp", measureWhatsapp},
    {"wechat", measureWeixin},
};

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QStringList arguments = application.arguments().mid(1);
    Run run;
    run.verbose = arguments.removeAll(QStringLiteral("--verbose")) > 0;
    QStringList names;
    for (const Kind &kind : kinds) {
        names << QLatin1String(kind.name);
        if (arguments.size() == 1 && arguments.first() == names.last()) {
            return kind.measure(&run) ? 0 : 1;
        }
    }
    QTextStream(stderr) << "usage: recall " << names.join(QLatin1Char('|')) << " [--verbose]\n";
    return 2;
}
