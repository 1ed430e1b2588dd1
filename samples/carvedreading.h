#pragma once

#include "samples/calllayout.h"
#include "samples/databasemap.h"

/// What the bytes at one place of a file say when they are read as the remains of a call, whether
/// or not they are one. A reader of its own, kept apart from the carver that it checks.
struct CarvedReading
{
    DatabaseMap::Extent types;    ///< serial types, from the one of the second column on
    DatabaseMap::Extent body;     ///< values, as far as they lie on the page
    int digitsBefore = 0;         ///< digits in front of the body that were read into it
    QVector<quint64> serialTypes; ///< as read
    bool cutByCell = false;       ///< a live cell begins inside the body
    CallhistoryRecord record;
};

/// Reads the bytes at `position` as the serial types of a call. Returns false when no record comes
/// of it: too few bytes, an invalid type, or no address. `firstTypeIsByte` takes the byte at
/// `position` for the first type whatever its high bit says.
bool readCarvedCall(const DatabaseMap &map, CallLayout layout, qint64 position,
                    bool firstTypeIsByte, CarvedReading *reading);

/// All places of the file whose bytes read as exactly `record`.
QVector<CarvedReading> findReadings(const DatabaseMap &map, CallLayout layout,
                                    const CallhistoryRecord &record);

/// True when all four fields are equal.
bool sameCall(const CallhistoryRecord &a, const CallhistoryRecord &b);
