#pragma once

#include "samples/calllayout.h"

class SampleDatabase;

/// In which way rows get lost.
enum class Deletion {
    Scattered,         ///< single rows here and there
    Contiguous,        ///< one range of rows
    WholeTable,        ///< all rows in one statement
    ThenInserts,       ///< single rows, whose space new calls then partly take
    OldestBeyondLimit, ///< a new call pushes out the oldest one beyond the hundredth
    Updated,           ///< rows are rewritten, and some of all rows deleted afterwards
};

/// What to put into a sample.
struct CallPlan
{
    CallLayout layout = CallLayout::Ios7;
    Deletion deletion = Deletion::Scattered;
    int calls = 240;
    quint32 seed = 1;
};

/// The truth about a sample database.
struct CallSample
{
    CallLayout layout = CallLayout::Ios7;
    quint32 rootPage = 0; ///< of the table with the calls
    QVector<SampleCall> deleted;
    QVector<SampleCall> live;
    QVector<SampleCall> formerVersions; ///< rows as they were before they were rewritten
};

QVector<Deletion> allDeletions();
QString deletionName(Deletion deletion);

/// Makes the table of the calls, its neighbours and its indexes.
bool createCallTables(SampleDatabase *db, CallLayout layout);
/// Inserts the call and gives it its row identifier.
bool insertCall(SampleDatabase *db, CallLayout layout, SampleCall *call);
bool deleteCall(SampleDatabase *db, CallLayout layout, const SampleCall &call);
/// Writes the row of `call` anew.
bool updateCall(SampleDatabase *db, CallLayout layout, const SampleCall &call);

/// Makes the tables in the empty database `db`, and lives the plan through in it, every step a
/// transaction of its own as on a device. Returns false when SQLite refuses a step.
bool makeCallSample(SampleDatabase *db, const CallPlan &plan, CallSample *sample);

QVector<CallhistoryRecord> expectedRecords(CallLayout layout, const QVector<SampleCall> &calls);
