#pragma once

#include <QString>
#include <QStringList>

/// The command line of a scan, split but not yet checked.
struct ScanOptions
{
    /// What follows the command's name: a type and a file.
    QStringList arguments;
    QString format;
    /// Where the records go; an empty string means standard output.
    QString output;
};

/// Scans one database file and prints its deleted records. Returns the program's exit code.
int runScan(const ScanOptions &options);
