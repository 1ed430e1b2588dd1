#pragma once

#include <QString>

/// One recovered call. A plain value; fields that could not be read keep their defaults.
struct CallhistoryRecord
{
    /// Number or address of the other party, as stored; never empty in a result.
    QString address;
    /// Start of the call in seconds since 1970-01-01 00:00:00 UTC; 0 when unknown.
    qint64 date = 0;
    /// Length of the call in whole seconds.
    qint32 duration = 0;
    /// Bit 0 (value 1): outgoing; bit 4 (value 16): FaceTime. Rows of a "call" table (iOS 7 and
    /// earlier) carry all their stored bits; rows of a "zcallrecord" table carry only these two.
    qint32 flags = 0;
};
