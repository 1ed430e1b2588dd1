#pragma once

#include <QCborMap>
#include <QVector>

/// Writes one line for each record, as the program does in its jsonl format. Returns false when the
/// file cannot be written.
bool writeTruthFile(const QString &path, const QVector<QCborMap> &records);

/// Reads the records of a file of such lines. Returns false, with the reason in `error`, when the
/// file cannot be read or a line is no JSON object.
bool readTruthFile(const QString &path, QVector<QCborMap> *records, QString *error);
