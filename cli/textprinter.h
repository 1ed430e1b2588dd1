#pragma once

class QIODevice;
struct Report;

/// Writes tables for people to read, one for each kind of record, free of anything that a terminal
/// would obey. Returns false when the device does not take it all.
bool printText(const Report &report, QIODevice &out);
