#pragma once

struct ScanOptions;

/// Compares the versions of a database in its write-ahead log and prints the records that were
/// deleted or changed. Returns the program's exit code.
int runWal(const ScanOptions &options);
