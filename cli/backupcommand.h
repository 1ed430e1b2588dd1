#pragma once

struct ScanOptions;

/// Scans every known database of a backup. Returns the program's exit code.
int runBackup(const ScanOptions &options);
