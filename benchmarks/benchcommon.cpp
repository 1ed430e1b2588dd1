#include "benchmarks/benchcommon.h"

#include <QDir>
#include <QFile>

#include <cstdio>
#include <malloc.h>
#include <unistd.h>

namespace {

/// A value of /proc/self/status in KiB.
qint64 memoryStatus(const QByteArray &field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (status.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : status.readAll().split('\n')) {
            if (line.startsWith(field)) {
                return line.mid(field.size()).simplified().split(' ').first().toLongLong();
            }
        }
    }
    return 0;
}

} // namespace

BenchOptions takeOptions(int *argc, char **argv)
{
    BenchOptions options;
    options.folder = QDir::tempPath();
    int kept = 1;
    for (int i = 1; i < *argc; ++i) {
        const QString argument = QString::fromLocal8Bit(argv[i]);
        if (argument.startsWith(QLatin1String("--folder="))) {
            options.folder = argument.mid(9);
        } else if (argument.startsWith(QLatin1String("--mib="))) {
            options.mebibytes = argument.mid(6).toInt();
        } else if (argument == QLatin1String("--keep")) {
            options.keep = true;
        } else {
            argv[kept++] = argv[i];
        }
    }
    *argc = kept;
    return options;
}

BenchReporter::BenchReporter()
    : ConsoleReporter(isatty(STDOUT_FILENO) != 0 ? OO_ColorTabular : OO_None)
{
}

void BenchReporter::ReportRuns(const std::vector<Run> &runs)
{
    for (const Run &run : runs) {
        const QString name = QString::fromStdString(run.run_name.function_name);
        m_times[name] = run.GetAdjustedCPUTime();
    }
    ConsoleReporter::ReportRuns(runs);
}

void BenchReporter::printRatio(const char *what, const char *floor) const
{
    const double time = m_times.value(QString::fromLatin1(what));
    const double floorTime = m_times.value(QString::fromLatin1(floor));
    if (time > 0 && floorTime > 0) { // else it was not selected
        std::printf("%s takes %.2f times the processor time of %s\n", what, time / floorTime,
                    floor);
    }
}

void printPeakMemory(const char *what, const std::function<void()> &pass)
{
    malloc_trim(0);
    QFile reset(QStringLiteral("/proc/self/clear_refs")); // "5" resets the peak
    if (!reset.open(QIODevice::WriteOnly) || reset.write("5") != 1 || !reset.flush()) {
        std::printf("the peak memory cannot be measured here\n");
        return;
    }
    const qint64 before = memoryStatus("VmRSS:");
    pass();
    std::printf("memory at the peak of %s: %lld KiB more than before\n", what,
                memoryStatus("VmHWM:") - before);
}
