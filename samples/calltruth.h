#pragma once

#include "api/callhistoryrecord.h"

#include <QString>
#include <QVector>

/// The call as the program writes it in its jsonl format, without a line break:
/// {"kind":"call","address":"...","date":123,"duration":1,"flags":5}
QByteArray callToJsonLine(const CallhistoryRecord &call);

/// Writes one line for each call. Returns false when the file cannot be written.
bool writeCallLines(const QString &path, const QVector<CallhistoryRecord> &calls);

/// Reads the calls from a file of such lines; lines of another kind are passed over. Returns false,
/// with the reason in `error`, when the file cannot be read or a line is no JSON object.
bool readCallLines(const QString &path, QVector<CallhistoryRecord> *calls, QString *error);
