#pragma once

#include <QString>

/// What a scan took, in a process of its own.
struct ScanCost
{
    double seconds = -1;      ///< of processor time; -1 when the scan crashed
    double peakMebibytes = 0; ///< of memory at most, without what the results take
    double resultMebibytes = 0;
};

/// Scans the database in a child process; with the log when there is one. `fileSize` bounds what
/// may be found.
ScanCost measureScan(int type, const QString &database, const QString &log, qint64 fileSize);
