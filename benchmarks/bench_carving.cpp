// Measures carving of large databases against two floors of the same run: reading the file page by
// page, and reading it plus looking for the signature, once for every pass. The results are
// verified before anything is measured.
//
//   bench_carving [--folder=DIR] [--mib=256] [--keep] [options of the benchmark library]

#include "benchmarks/benchfiles.h"

#include <benchmark/benchmark.h>

#include <QDir>
#include <QFile>
#include <QMap>

#include <cstdio>
#include <cstring>
#include <malloc.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr int pageSize = 4096;

struct Options
{
    QString folder = QDir::tempPath();
    int mebibytes = 256;
    bool keep = false;
};

/// Takes this program's own options out of the argument list.
Options takeOptions(int *argc, char **argv)
{
    Options options;
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

using Signatures = std::vector<std::string>;

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

/// Reads the file page by page and looks for the signatures.
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

/// The same for each pass.
qint64 readPasses(const QString &path, const std::vector<Signatures> &passes)
{
    qint64 result = 0;
    for (const Signatures &signatures : passes) {
        result += readPages(path, signatures);
    }
    return result;
}

template<typename Pass> void addBenchmark(const char *name, const QString &path, Pass pass)
{
    const qint64 size = QFile(path).size();
    benchmark::RegisterBenchmark(name,
                                 [pass, size](benchmark::State &state) {
                                     for (auto _ : state) {
                                         benchmark::DoNotOptimize(pass());
                                     }
                                     state.SetBytesProcessed(int64_t(state.iterations()) * size);
                                 })
        ->Unit(benchmark::kMillisecond)
        ->MinTime(2);
}

void addBenchmarks(const BenchFiles &files)
{
    const QString calls = files.calls;
    const QString messages = files.messages;
    const std::vector<Signatures> callPasses = {{"\x04"}};
    const std::vector<Signatures> messagePasses = {{"\x55"}, {"\x55"}, {"\x11\x13", "\x11\x1D"}};
    addBenchmark("calls/read", calls, [calls] { return readPages(calls, {}); });
    addBenchmark("calls/search", calls, [=] { return readPasses(calls, callPasses); });
    addBenchmark("calls/carve", calls, [calls] { return carveCalls(calls); });
    addBenchmark("messages/read", messages, [messages] { return readPages(messages, {}); });
    addBenchmark("messages/search", messages, [=] { return readPasses(messages, messagePasses); });
    addBenchmark("messages/carve", messages, [messages] { return carveMessages(messages); });
    addBenchmark("messages/scan", messages, [messages] { return scanMessageFile(messages); });
}

/// Prints as usual and keeps the processor time of each benchmark, which other programs disturb
/// less.
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
            const QString name = QString::fromStdString(run.run_name.function_name);
            m_times[name] = run.GetAdjustedCPUTime();
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void printRatios() const
    {
        printRatio("calls/carve", "calls/search");
        printRatio("messages/carve", "messages/search");
        printRatio("messages/scan", "messages/search");
        printRatio("messages/scan", "messages/carve");
    }

private:
    void printRatio(const char *what, const char *floor) const
    {
        const double time = m_times.value(QString::fromLatin1(what));
        const double floorTime = m_times.value(QString::fromLatin1(floor));
        if (time > 0 && floorTime > 0) { // else it was not selected
            std::printf("%s takes %.2f times the processor time of %s\n", what, time / floorTime,
                        floor);
        }
    }

    QMap<QString, double> m_times;
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

template<typename Pass> void printPeakMemory(const char *what, Pass pass)
{
    malloc_trim(0);
    QFile reset(QStringLiteral("/proc/self/clear_refs")); // "5" resets the peak
    if (!reset.open(QIODevice::WriteOnly) || reset.write("5") != 1 || !reset.flush()) {
        std::printf("the peak memory cannot be measured here\n");
        return;
    }
    const qint64 before = memoryStatus("VmRSS:");
    pass();
    std::printf("memory at the peak of carving %s: %lld KiB more than before\n", what,
                memoryStatus("VmHWM:") - before);
}

void printMemory(const BenchFiles &files)
{
    printPeakMemory("16 MiB of calls", [&files] { carveCalls(files.smallCalls); });
    printPeakMemory("the large file of calls", [&files] { carveCalls(files.calls); });
    printPeakMemory("16 MiB of messages", [&files] { carveMessages(files.smallMessages); });
    printPeakMemory("the large file of messages", [&files] { carveMessages(files.messages); });
}

} // namespace

int main(int argc, char *argv[])
{
    const Options options = takeOptions(&argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv) || options.mebibytes < 1) {
        return 2;
    }
    BenchFiles files;
    if (!prepareFiles(options.folder, options.mebibytes, &files)) {
        std::fprintf(stderr, "bench_carving: the files cannot be made\n");
        return 1;
    }
    printMemory(files);
    const bool sound = verifyFiles(files);
    if (sound) {
        Reporter reporter;
        addBenchmarks(files);
        benchmark::RunSpecifiedBenchmarks(&reporter);
        reporter.printRatios();
    } else {
        std::fprintf(stderr, "bench_carving: the results are wrong, nothing was measured\n");
    }
    if (!options.keep) {
        removeFiles(files);
    }
    return sound ? 0 : 1;
}
