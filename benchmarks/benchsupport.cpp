#include "benchmarks/benchsupport.h"

#include <cstdio>
#include <cstring>
#include <malloc.h>
#include <unistd.h>

namespace {

constexpr int pageSize = 4096;

int countSignature(const char *bytes, qint64 size, const std::string &signature)
{
    int count = 0;
    const char *end = bytes + size - signature.size() + 1;
    for (const char *at = bytes;
         at < end
         && (at = static_cast<const char *>(std::memchr(at, signature[0], size_t(end - at))));
         ++at) {
        count += std::memcmp(at, signature.data(), signature.size()) == 0;
    }
    return count;
}

/// Keeps the processor time of each benchmark.
class Reporter : public benchmark::ConsoleReporter
{
public:
    Reporter()
        : ConsoleReporter(isatty(STDOUT_FILENO) != 0 ? OO_ColorTabular : OO_None)
    {
    }

    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            m_times[run.run_name.function_name] = run.GetAdjustedCPUTime();
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void print(const Ratio &ratio) const
    {
        const double time = m_times.value(ratio.what);
        const double floorTime = m_times.value(ratio.floor);
        if (time > 0 && floorTime > 0) { // else it was not selected
            std::printf("%s takes %.2f times the processor time of %s\n", ratio.what.c_str(),
                        time / floorTime, ratio.floor.c_str());
        }
    }

private:
    QMap<std::string, double> m_times;
};

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

bool takeOptions(int *argc, char **argv, BenchOptions *options)
{
    int kept = 1;
    for (int i = 1; i < *argc; ++i) {
        const QString argument = QString::fromLocal8Bit(argv[i]);
        if (argument.startsWith(QLatin1String("--folder="))) {
            options->folder = argument.mid(9);
        } else if (argument.startsWith(QLatin1String("--mib="))) {
            options->mebibytes = argument.mid(6).toInt();
        } else if (argument.startsWith(QLatin1String("--kind="))) {
            options->kind = argument.mid(7);
        } else if (argument == QLatin1String("--keep")) {
            options->keep = true;
        } else {
            argv[kept++] = argv[i];
        }
    }
    *argc = kept;
    benchmark::Initialize(argc, argv);
    return !benchmark::ReportUnrecognizedArguments(*argc, argv) && options->mebibytes >= 1;
}

qint64 readPages(const QString &path, const Signatures &signatures)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return -1;
    }
    char page[pageSize];
    qint64 result = 0;
    for (qint64 got = 0; (got = file.read(page, pageSize)) > 0;) {
        result += got;
        for (const std::string &signature : signatures) {
            result += countSignature(page, got, signature);
        }
    }
    return result;
}

void runAndPrintRatios(const QVector<Ratio> &ratios)
{
    Reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    for (const Ratio &ratio : ratios) {
        reporter.print(ratio);
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
