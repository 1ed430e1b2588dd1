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
    bool hasLog;           ///< true when its kind is compared in logs as well
    SampleOptions options; ///< as devices lay the file out
    std::function<bool(SampleDatabase *db)> fill;
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
/// The same with a log beside it, in which more is deleted.
bool makeKindSampleWithLog(const KindSample &kind, const QString &path);
