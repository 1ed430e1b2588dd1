#pragma once

#include "samples/sampledatabase.h"

#include <QVector>

/// A kind of database in one of its layouts, with some dozens of rows and deletions.
struct SmallSample
{
    const char *name;
    int type;    ///< a ScanType
    bool hasLog; ///< true when its kind is compared in logs as well
    bool (*fill)(SampleDatabase *db);
};

/// One or two samples of every kind that is recovered.
const QVector<SmallSample> &smallSamples();

/// Makes the sample at `path`, with a free page. Returns the bytes; none on failure.
QByteArray makeSmallSample(const SmallSample &sample, const QString &path, int pageSize);

/// The same, with a log that holds the whole life of the database beside the file.
bool makeSmallLog(const SmallSample &sample, const QString &path, int pageSize);
