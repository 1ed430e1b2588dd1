#pragma once

#include <QStringList>
#include <QVector>

class QIODevice;

/// Rows of a text table for people; not yet safe for a terminal. Rows may have fewer cells than
/// others.
using TextRows = QVector<QStringList>;

/// Writes one line for each row, its cells in columns and free of anything that a terminal would
/// obey. A cell wider than `widest` stands out of its column: it must not lengthen every other
/// line. Returns false when the device does not take it all.
bool writeTable(QIODevice &out, const TextRows &rows, int widest = 40);
