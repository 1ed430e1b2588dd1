#pragma once

#include <QByteArray>

class QCborValue;
class QIODevice;
struct Report;

/// Writes one JSON object a line, the stable interface of the program. Returns false when the
/// device does not take it all.
bool printJsonLines(const Report &report, QIODevice &out);

/// Writes one JSON array of the same objects, one a line. Returns false as above.
bool printJson(const Report &report, QIODevice &out);

/// A value as compact JSON: fields in their order, integers of 64 bits exact.
QByteArray toJson(const QCborValue &value);
