#pragma once

#include <QString>

// Times as ISO 8601 in UTC: "2014-01-11T07:06:11Z". A carved field can hold anything; what is no
// sensible time gives a null string, as the stored number is more honest then.

/// Of something that happened, stored in seconds since 1970.
QString utcSince1970(qint64 stored);

/// Of something that happened, stored in seconds since 2001.
QString utcSince2001(qint64 stored);

/// Of a message. The origin and the unit of its date have changed with the versions of iOS, so both
/// are told by the size of the number.
QString utcOfMessage(qint64 stored);

/// Of an event or a reminder, stored in seconds since 2001, which may lie far ahead. 0 is no time.
QString utcOfCalendar(double stored);

/// Of a birthday or another day of a person, stored as a number in text: only the date where the
/// time is midnight or noon.
QString utcOfDay(const QString &stored);

/// A length of time: "0:01:22".
QString durationText(qint64 seconds);
