#pragma once

#include <benchmark/benchmark.h>

#include <QMap>
#include <QString>

#include <functional>
#include <vector>

/// The programs' own options.
struct BenchOptions
{
    QString folder; ///< for the files, which are large
    int mebibytes = 256;
    bool keep = false;
};

/// Takes them out of the argument list.
BenchOptions takeOptions(int *argc, char **argv);

/// Prints as usual and keeps the processor time of each benchmark, which other programs disturb
/// less.
class BenchReporter : public benchmark::ConsoleReporter
{
public:
    BenchReporter();

    void ReportRuns(const std::vector<Run> &runs) override;
    void printRatio(const char *what, const char *floor) const;

private:
    QMap<QString, double> m_times;
};

/// Runs the pass and prints how much memory it takes at most.
void printPeakMemory(const char *what, const std::function<void()> &pass);
