#include "tests/support/measuredscan.h"

#include "api/sqliterecovery.h"
#include "api/walrecovery.h"
#include "fuzz/resultchecks.h"

#include <QFile>

#include <ctime>

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr double Mebibyte = 1024 * 1024;

double processorSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

/// A line of the process's status, in MiB: "VmRSS:" for the memory that it has, "VmHWM:" for the
/// most that it ever had.
double memory(const char *name)
{
    QFile status(QStringLiteral("/proc/self/status"));
    status.open(QIODevice::ReadOnly);
    const QByteArray text = status.readAll();
    const int begin = text.indexOf(name) + int(qstrlen(name));
    return text.mid(begin, text.indexOf("kB", begin) - begin).trimmed().toDouble() / 1024;
}

double heapInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return double(info.uordblks + info.hblkhd) / Mebibyte;
}

template<typename Facade, typename Scan> ScanCost costOf(qint64 fileSize, Scan scan)
{
    ScanCost cost;
    auto *found = new Facade; // the process ends before it
    const double heap = heapInUse();
    const double before = memory("VmRSS:");
    const double start = processorSeconds();
    scan(found);
    cost.seconds = processorSeconds() - start;
    cost.resultMebibytes = heapInUse() - heap;
    cost.peakMebibytes = memory("VmHWM:") - before - cost.resultMebibytes;
    checkResults(*found, fileSize);
    return cost;
}

ScanCost scanHere(int type, const QString &database, const QString &log, qint64 fileSize)
{
    if (log.isEmpty()) {
        return costOf<SqliteRecovery>(fileSize, [&](SqliteRecovery *found) {
            found->scanRecoveryForType(type, database, nullptr);
        });
    }
    return costOf<WalRecovery>(fileSize, [&](WalRecovery *found) {
        found->scanRecoveryForType(type, database, log, nullptr);
    });
}

} // namespace

ScanCost measureScan(int type, const QString &database, const QString &log, qint64 fileSize)
{
    ScanCost cost;
    int ends[2];
    if (::pipe(ends) != 0) {
        return cost;
    }
    ::malloc_trim(0); // or the scan could use what is free already
    const pid_t child = ::fork();
    if (child == 0) {
        cost = scanHere(type, database, log, fileSize);
        ::_exit(::write(ends[1], &cost, sizeof cost) == ssize_t(sizeof cost) ? 0 : 1);
    }
    ::close(ends[1]);
    if (::read(ends[0], &cost, sizeof cost) != ssize_t(sizeof cost)) {
        cost = ScanCost();
    }
    ::close(ends[0]);
    ::waitpid(child, nullptr, 0);
    return cost;
}
