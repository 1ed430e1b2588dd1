// Measures the comparison of versions in a log of 2,000 commits, 64 MiB long, over a large
// calendar, against the floor of reading the log and the database once. The results are verified
// before anything is measured.
//
//   bench_wal [--folder=DIR] [--mib=256] [--keep] [options of the benchmark library]

#include "api/walrecovery.h"
#include "benchmarks/benchsupport.h"
#include "samples/calendarlayout.h"
#include "samples/sampledatabase.h"
#include "samples/samplerandom.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <cstdio>

namespace {

constexpr int commits = 2000;
constexpr qint64 logBytes = 64 << 20;
constexpr qint64 firstStart = 400000000;
constexpr int changedStart = 500000000;

struct Case
{
    QString database;
    QString log;
    QString truth; ///< the titles and starts of what was lost, a line each
};

/// Fills a calendar until the file has the size.
bool fill(SampleDatabase *db, int mebibytes)
{
    const qint64 bytes = qint64(mebibytes) << 20;
    bool isMade = db->exec(calendarTables(CalendarLayout::Ios10))
                  && db->exec(QStringLiteral(
                      "INSERT INTO Calendar (title, supported_entity_types) VALUES ('Home', 4);"
                      "INSERT INTO Location (title) VALUES ('Hall');"));
    for (int first = 1; isMade && db->size() < bytes; first += 10000) {
        isMade = db->exec(
            QStringLiteral(
                "BEGIN; WITH RECURSIVE n(i) AS (SELECT %1 UNION ALL SELECT i + 1 FROM n WHERE i < "
                "%1 + 9999) INSERT INTO CalendarItem (summary, location_id, description, "
                "start_date, start_tz, end_date, end_tz, all_day, calendar_id, UUID, "
                "unique_identifier, entity_type, priority) SELECT 'Event ' || i, 1, 'What is said "
                "about the event with the number ' || i || ', at some length', %2 + i * 60, "
                "'Europe/Berlin', %2 + i * 60 + 3600, 'Europe/Berlin', 0, 1, "
                "hex(randomblob(18)), hex(randomblob(18)), 2, 0 FROM n; COMMIT;")
                .arg(first)
                .arg(firstStart));
    }
    return isMade;
}

/// One transaction: events are deleted, moved and made. Writes down what is lost.
bool writeCommit(SampleDatabase *db, int events, qint64 most, SampleRandom *random, QFile *truth)
{
    bool isDone = db->exec(QStringLiteral("BEGIN"));
    for (int i = 0; i < events; ++i) {
        const qint64 row = random->number(1, int(most));
        const QString start = db->scalar(QStringLiteral("SELECT CAST(start_date AS INTEGER) FROM "
                                                        "CalendarItem WHERE ROWID = ?"),
                                         {row})
                                  .toString();
        if (!start.isEmpty() && start.toInt() != changedStart) {
            truth->write(QStringLiteral("Event %1|%2\n").arg(row).arg(start).toUtf8());
        }
        const bool isDeletion = random->chance(50);
        isDone =
            isDone
            && db->run(isDeletion ? QStringLiteral("DELETE FROM CalendarItem WHERE ROWID = ?")
                                  : QStringLiteral("UPDATE CalendarItem SET start_date = %1 WHERE "
                                                   "ROWID = ?")
                                        .arg(changedStart),
                       {row});
        if (isDeletion && start.toInt() == changedStart) {
            truth->write(QStringLiteral("Event %1|%2\n").arg(row).arg(changedStart).toUtf8());
        }
    }
    return isDone && db->exec(QStringLiteral("COMMIT"));
}

bool makeCase(const Case &files, int mebibytes)
{
    if (QFile::exists(files.truth)) {
        return true;
    }
    const QString device = files.database + QStringLiteral(".device");
    QFile truth(files.truth + QStringLiteral(".part"));
    SampleOptions options = deviceOptions(CalendarLayout::Ios10);
    options.bulk = true;
    SampleDatabase db;
    SampleRandom random(7);
    std::printf("making %s\n", qPrintable(files.database));
    if (!truth.open(QIODevice::WriteOnly) || !db.create(device, options) || !fill(&db, mebibytes)
        || !db.startLog()) {
        return false;
    }
    const qint64 most =
        db.scalar(QStringLiteral("SELECT max(ROWID) FROM CalendarItem")).toLongLong();
    const QString log = device + QStringLiteral("-wal");
    int left = commits;
    for (; left > 0; --left) {
        // As many changes as bring the log to its size in the end.
        const qint64 bytesLeft = logBytes - QFileInfo(log).size();
        const int events = std::max<qint64>(1, bytesLeft / left / (4096 * 4));
        if (!writeCommit(&db, events, most, &random, &truth)) {
            return false;
        }
    }
    return db.copyWithLog(files.database) && db.close() && QFile::remove(device)
           && truth.rename(files.truth);
}

QSet<QString> linesOf(const QString &path)
{
    QFile file(path);
    QSet<QString> lines;
    if (file.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : file.readAll().split('\n')) {
            lines.insert(QString::fromUtf8(line));
        }
    }
    lines.remove(QString());
    return lines;
}

unsigned scanCase(const Case &files)
{
    WalRecovery recovery;
    recovery.scanRecoveryForType(ScanTypeCalendar, files.database, files.log, nullptr);
    return recovery.getCalendarCount();
}

/// Everything that was lost must be found, with its place, and nothing else.
bool verify(const Case &files)
{
    WalRecovery recovery;
    recovery.scanRecoveryForType(ScanTypeCalendar, files.database, files.log, nullptr);
    const QSet<QString> truth = linesOf(files.truth);
    unsigned right = 0;
    for (unsigned i = 0; i < recovery.getCalendarCount(); ++i) {
        const CalendarRecord &event = *recovery.getCalendar(i);
        right += event.location == QLatin1String("Hall")
                 && truth.contains(event.title + QLatin1Char('|')
                                   + QString::number(qint64(event.startDate)));
    }
    std::printf("database of %lld bytes, log of %lld bytes, %d commits; %d lost, %u found, %u of "
                "them right\n",
                QFileInfo(files.database).size(), QFileInfo(files.log).size(), commits,
                truth.size(), recovery.getCalendarCount(), right);
    return right == unsigned(truth.size()) && right == recovery.getCalendarCount() && right > 0;
}

void addBenchmarks(const Case &files)
{
    addBenchmark("read", files.database,
                 [files] { return readPages(files.database, {}) + readPages(files.log, {}); });
    addBenchmark("compare", files.database, [files] { return scanCase(files); });
}

} // namespace

int main(int argc, char *argv[])
{
    BenchOptions options;
    if (!takeOptions(&argc, argv, &options)) {
        return 2;
    }
    const QDir folder(options.folder);
    const QString name = folder.filePath(QStringLiteral("bench-wal-%1.db").arg(options.mebibytes));
    const Case files{name, name + QStringLiteral("-wal"), name + QStringLiteral(".truth")};
    if (!makeCase(files, options.mebibytes)) {
        std::fprintf(stderr, "bench_wal: the files cannot be made\n");
        return 1;
    }
    printPeakMemory("comparing", [&files] { scanCase(files); });
    const bool sound = verify(files);
    if (sound) {
        addBenchmarks(files);
        runAndPrintRatios({{"compare", "read"}});
    } else {
        std::fprintf(stderr, "bench_wal: the results are wrong, nothing was measured\n");
    }
    if (!options.keep) {
        for (const QString &path : {files.database, files.log, files.truth}) {
            QFile::remove(path);
        }
    }
    return sound ? 0 : 1;
}
