#pragma once

#include "api/scanprogress.h"

#include <QElapsedTimer>

#include <cstdio>

/// Shows how far a scan is as a bar on a terminal. Quick scans draw nothing at all.
class ConsoleProgress final : public ScanProgress
{
public:
    /// Draws on `terminal`, which is borrowed; null to stay silent. The scan is expected to search
    /// `searches` times, each of which takes its share of the bar.
    ConsoleProgress(std::FILE *terminal, int searches);

    double progressValue() override;
    bool reportProgress(double step) override;
    void scanDone() override;

private:
    void draw();

    std::FILE *m_terminal;
    int m_searches;
    QElapsedTimer m_timer;
    double m_done = 0;
    qint64 m_nextDraw;
    bool m_drawn = false;
};
