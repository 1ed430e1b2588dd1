#pragma once

#include "api/scanprogress.h"

/// Follows a scan, and stops it after a number of reports when told to.
class ScanProbe : public ScanProgress
{
public:
    double progressValue() override { return span; }
    bool reportProgress(double step) override
    {
        ++reports;
        total += step;
        return reports != stopAfter;
    }
    void scanDone() override { ++doneCalls; }
    virtual ~ScanProbe() = default;

    double span = 100;
    int stopAfter = -1;
    int reports = 0;
    int doneCalls = 0;
    double total = 0;
};
