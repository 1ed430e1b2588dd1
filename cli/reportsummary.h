#pragma once

#include "cli/report.h"

#include <QStringList>

class QIODevice;

// What a run was and gave in all, without the records.

/// The number of things that were found in all: messages rather than conversations.
quint64 itemsIn(const Report &report);

/// The number of files that could not be scanned.
int failuresIn(const Report &report);

/// Says how many; empty when there are none.
QString failuresText(const Report &report);

/// What was found in a database, as in "12 reminders, 3 events"; else why nothing was.
QString findingsText(const ScannedDatabase &database);

/// A size in a unit that suits it: "4 KiB", "1.2 MiB".
QString sizeText(qint64 bytes);

/// Writes the device and a table of the databases. Returns false when `out` does not take it all.
bool printSummary(const Report &report, QIODevice &out);
