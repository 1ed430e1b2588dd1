#pragma once

#include "samples/callgenerator.h"

class SampleDatabase;

/// What a large sample of messages or calls holds.
struct BulkSample
{
    qint64 inserted = 0;
    qint64 deleted = 0;
};

/// Fills the empty database `db` with messages as of iOS 12 until the file has `bytes` bytes, and
/// deletes some of them, singly and in whole ranges, so that free pages arise too. Returns false
/// when SQLite refuses a step.
bool makeBulkMessages(SampleDatabase *db, qint64 bytes, BulkSample *sample);

/// The same with calls as of iOS 7.
bool makeBulkCalls(SampleDatabase *db, qint64 bytes, BulkSample *sample);

/// A generator of the very calls that makeBulkCalls() inserts, in their order.
CallGenerator bulkCallGenerator();
