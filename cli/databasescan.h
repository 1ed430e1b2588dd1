#pragma once

#include "cli/report.h"

class ConsoleProgress;

// The two ways of scanning a file, as the commands share them.

/// Scans the unused space of the database that `database` names, and completes it.
void scanDatabase(ScannedDatabase *database, ConsoleProgress *progress);

/// Compares the versions that the log `database` names holds of the database `path`, and completes
/// it.
void scanLog(ScannedDatabase *database, const QString &path, ConsoleProgress *progress);

/// Whether the versions of such a database can be compared.
bool hasVersions(ScanType type);

/// The SHA-256 of the file, 32 bytes; empty when it cannot be read.
QByteArray hashOf(const QString &path);
