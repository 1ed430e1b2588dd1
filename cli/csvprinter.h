#pragma once

class QIODevice;
struct ScanResults;

/// Writes comma-separated values after RFC 4180: a header row, CRLF line ends, UTF-8. Returns false
/// when the device does not take it all.
bool printCsv(const ScanResults &results, QIODevice &out);
