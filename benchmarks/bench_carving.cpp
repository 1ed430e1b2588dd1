// Measures carving of large databases against two floors of the same run: reading the file page by
// page, and reading it plus looking for the signature, once for every pass. The results are
// verified before anything is measured.
//
//   bench_carving [--folder=DIR] [--mib=256] [--keep] [options of the benchmark library]

#include "benchmarks/benchfiles.h"
#include "benchmarks/benchsupport.h"

#include <cstdio>

namespace {

/// The same for each pass.
qint64 readPasses(const QString &path, const std::vector<Signatures> &passes)
{
    qint64 result = 0;
    for (const Signatures &signatures : passes) {
        result += readPages(path, signatures);
    }
    return result;
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
    BenchOptions options;
    if (!takeOptions(&argc, argv, &options)) {
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
        addBenchmarks(files);
        runAndPrintRatios({{"calls/carve", "calls/search"},
                           {"messages/carve", "messages/search"},
                           {"messages/scan", "messages/search"},
                           {"messages/scan", "messages/carve"}});
    } else {
        std::fprintf(stderr, "bench_carving: the results are wrong, nothing was measured\n");
    }
    if (!options.keep) {
        removeFiles(files);
    }
    return sound ? 0 : 1;
}
