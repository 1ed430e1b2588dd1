#pragma once

struct ScanOptions;

/// Scans one database file and prints its deleted records. Returns the program's exit code.
int runScan(const ScanOptions &options);
