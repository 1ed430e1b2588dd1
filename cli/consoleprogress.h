#pragma once

#include "api/scanprogress.h"

#include <QElapsedTimer>

#include <cstdio>

/// Shows how far the scans of a run are as one bar on a terminal, and stops them when the program
/// is asked to stop. Quick runs draw nothing at all.
class ConsoleProgress final : public ScanProgress
{
public:
    /// Draws on `terminal`, which is borrowed; null to stay silent. The scans weigh `total` in all.
    ConsoleProgress(std::FILE *terminal, double total);
    /// Erases the bar.
    ~ConsoleProgress();

    /// Begins the next scan, which takes its share of the bar after its weight. It is expected to
    /// search `searches` times.
    void begin(double weight, int searches);

    /// Passes over a scan of that weight.
    void skip(double weight) { m_doneBefore += weight; }

    double progressValue() override;
    bool reportProgress(double step) override;
    void scanDone() override;

private:
    void draw();

    std::FILE *m_terminal;
    double m_total;
    double m_weight = 0;
    int m_searches = 1;
    QElapsedTimer m_timer;
    double m_doneBefore = 0; ///< the weight of the scans that ended
    double m_done = 0;       ///< of the present scan
    qint64 m_nextDraw;
    bool m_drawn = false;
};
