#pragma once

#include "tests/support/kindsamples.h"

using SmallSample = KindSample;

/// One or two samples of every kind that is recovered.
inline const QVector<SmallSample> &smallSamples()
{
    return kindSamples();
}

/// Makes the sample at `path`, with a free page. Returns the bytes; none on failure.
QByteArray makeSmallSample(const SmallSample &sample, const QString &path, int pageSize);

/// The same, with a log that holds the whole life of the database beside the file.
bool makeSmallLog(const SmallSample &sample, const QString &path, int pageSize);
