#pragma once

#include "cli/report.h"

class ConsoleProgress;

// The two ways of scanning a file, as the commands share them.

/// Scans the unused space of the database that `database` names, and completes it; where nothing
/// was found, with the reason.
void scanDatabase(ScannedDatabase *database, ConsoleProgress *progress);

/// Compares the versions that the log `database` names holds of the database `path`, and completes
/// it.
void scanLog(ScannedDatabase *database, const QString &path, ConsoleProgress *progress);

/// Why a scan of the file found nothing, in a few words that also say what may help; an empty text
/// when the file does not tell.
QString emptyRemark(ScanType type, const QString &path);

/// A warning when the folder for temporary files has no room for a copy of the database with the
/// log beside it, of which the scan then takes no account; else empty.
QString roomWarning(const QString &path);

/// Whether the versions of such a database can be compared.
bool hasVersions(ScanType type);

/// The SHA-256 of the file, 32 bytes; empty when it cannot be read.
QByteArray hashOf(const QString &path);
