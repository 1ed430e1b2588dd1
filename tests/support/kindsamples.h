#pragma once

#include "api/scantype.h"
#include "samples/sampledatabase.h"

#include <QVector>

#include <functional>

/// A small database of one kind, as a device lives through it: with deletions.
struct KindSample
{
    const char *name;
    ScanType type;
    SampleOptions options; ///< as devices lay the file out
    std::function<bool(SampleDatabase *db)> live;
    const char *loss; ///< a statement that deletes rows of it
    int searches;     ///< each takes the whole span of progress
};

/// One of each kind of database that can be scanned, and of each layout that is read in a way of
/// its own. Small ones: a test can scan them hundreds of times.
const QVector<KindSample> &kindSamples();

/// Adds a row with the place of the sample in the list, in the column "kind", for each that fits.
void addKindRows(bool (*fits)(const KindSample &kind) = nullptr);

/// Makes the sample at `path`. Returns false when SQLite refuses a step.
bool makeKindSample(const KindSample &kind, const QString &path);
/// The same in pages of another size, some of them free. Returns the bytes; none on failure.
QByteArray kindSampleOfPages(const KindSample &kind, const QString &path, int pageSize);
/// The same with a log beside it, in which more is deleted.
bool makeKindSampleWithLog(const KindSample &kind, const QString &path);
/// A log that holds the whole life of the database, in pages of another size.
bool makeKindSampleInLog(const KindSample &kind, const QString &path, int pageSize);

/// True for the kinds that are compared in logs.
bool isComparedInLogs(const KindSample &kind);
