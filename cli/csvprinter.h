#pragma once

class QIODevice;
class QString;
struct Report;

// Comma-separated values after RFC 4180: a header row, CRLF line ends, UTF-8. A value that a
// spreadsheet would run as a formula has an apostrophe in front.

/// Writes the records of all kinds as one table. Returns false when the device does not take it
/// all.
bool printCsv(const Report &report, QIODevice &out);

/// Writes the records of one kind as a table of its own. Returns false as above.
bool printCsvOfKind(const Report &report, const char *kind, QIODevice &out);
