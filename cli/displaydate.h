#pragma once

#include <QString>

/// Date and time of a call, which is stored in seconds since 1970: "2014-01-11 07:06:11" (UTC).
QString callDateText(qint64 stored);

/// Date and time of a message. The origin and the unit of its date have changed with the versions
/// of iOS, so both are told by the size of the number.
QString messageDateText(qint64 stored);

/// Date and time of a note, which is stored in seconds since 2001.
QString noteDateText(qint64 stored);

/// A birthday or another day of a person, stored as a number in text: "1983-05-03", with the time
/// (UTC) where it is neither midnight nor noon.
QString dayText(const QString &stored);

/// A date of the calendar, which is stored in seconds since 2001: "2014-01-11 07:06:11" (UTC), only
/// the day where an event lasts for whole days. Empty for 0, which stands for none.
QString calendarDateText(double stored, bool isWholeDay);

/// A length of time: "0:01:22".
QString durationText(qint64 seconds);
