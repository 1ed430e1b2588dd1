#pragma once

#include <benchmark/benchmark.h>

#include <QDir>
#include <QFile>
#include <QMap>
#include <QVector>

#include <functional>
#include <string>
#include <vector>

/// What the benchmark programs share: their options, the floors that carving is measured against,
/// and the ratios of what was measured in one run.

struct BenchOptions
{
    QString folder = QDir::tempPath();
    int mebibytes = 256;
    QString kind; ///< how the names of the wanted kinds begin
    bool keep = false;
};

/// Takes this program's own options out of the argument list and gives the rest to the benchmark
/// library. Returns false when the arguments make no sense.
bool takeOptions(int *argc, char **argv, BenchOptions *options);

using Signatures = std::vector<std::string>;

/// Reads the file page by page and looks for the signatures.
qint64 readPages(const QString &path, const Signatures &signatures);

/// Registers a pass over the file.
template<typename Pass> void addBenchmark(const std::string &name, const QString &path, Pass pass)
{
    const qint64 size = QFile(path).size();
    benchmark::RegisterBenchmark(name.c_str(),
                                 [pass, size](benchmark::State &state) {
                                     for (auto _ : state) {
                                         benchmark::DoNotOptimize(pass());
                                     }
                                     state.SetBytesProcessed(int64_t(state.iterations()) * size);
                                 })
        ->Unit(benchmark::kMillisecond)
        ->MinTime(2);
}

struct Ratio
{
    std::string what;
    std::string floor;
};

/// Runs what was registered, prints it as usual, then the ratios. They are of processor time, which
/// other programs disturb less; those of which a part was not selected are left out.
void runAndPrintRatios(const QVector<Ratio> &ratios);

/// Runs the pass and prints how much memory it takes at most.
void printPeakMemory(const char *what, const std::function<void()> &pass);
