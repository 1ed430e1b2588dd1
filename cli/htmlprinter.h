#pragma once

class QIODevice;
struct Report;

/// Writes the report as one HTML file that needs nothing else, and that can run no script but its
/// own. Returns false when the device does not take it all.
bool printHtml(const Report &report, QIODevice &out);
