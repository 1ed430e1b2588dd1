// Measures carving of large databases against two floors of the same run: reading the file page by
// page, and reading it plus looking for the signature, once for every pass. The results are
// verified before anything is measured.
//
//   bench_carving [--folder=DIR] [--mib=256] [--keep] [options of the benchmark library]

#include "benchmarks/benchcommon.h"
#include "benchmarks/benchfiles.h"

#include <benchmark/benchmark.h>

#include <QFile>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int pageSize = 4096;

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

void printRatios(const BenchReporter &reporter)
{
    reporter.printRatio("calls/carve", "calls/search");
    reporter.printRatio("messages/carve", "messages/search");
    reporter.printRatio("messages/scan", "messages/search");
    reporter.printRatio("messages/scan", "messages/carve");
}

void printMemory(const BenchFiles &files)
{
    printPeakMemory("carving 16 MiB of calls", [&files] { carveCalls(files.smallCalls); });
    printPeakMemory("carving the large file of calls", [&files] { carveCalls(files.calls); });
    printPeakMemory("carving 16 MiB of messages", [&files] { carveMessages(files.smallMessages); });
    printPeakMemory("carving the large file of messages",
                    [&files] { carveMessages(files.messages); });
}

} // namespace

int main(int argc, char *argv[])
{
    const BenchOptions options = takeOptions(&argc, argv);
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
        BenchReporter reporter;
        addBenchmarks(files);
        benchmark::RunSpecifiedBenchmarks(&reporter);
        printRatios(reporter);
    } else {
        std::fprintf(stderr, "bench_carving: the results are wrong, nothing was measured\n");
    }
    if (!options.keep) {
        removeFiles(files);
    }
    return sound ? 0 : 1;
}
