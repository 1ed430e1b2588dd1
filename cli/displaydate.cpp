#include "cli/displaydate.h"

#include <QDateTime>

#include <cmath>

namespace {

constexpr qint64 FirstSecondOfYear1 = -62135596800;
constexpr qint64 LastSecondOfYear9999 = 253402300799;
constexpr qint64 SecondsFrom1970To2001 = 978307200;
constexpr qint64 SmallestNanoseconds = 100000000000000; // seconds of that size lie beyond all years
constexpr qint64 SmallestSince1970 = 900000000;         // 1998; since 2001 it would be 2029
constexpr qint64 NanosecondsPerSecond = 1000000000;

qint64 secondsSince1970(qint64 stored)
{
    if (stored >= SmallestNanoseconds || stored <= -SmallestNanoseconds) {
        return stored / NanosecondsPerSecond + SecondsFrom1970To2001;
    }
    return stored >= SmallestSince1970 ? stored : stored + SecondsFrom1970To2001;
}

bool isInCalendar(qint64 seconds)
{
    return seconds >= FirstSecondOfYear1 && seconds <= LastSecondOfYear9999;
}

QString dateText(qint64 seconds)
{
    return QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC)
        .toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

} // namespace

QString callDateText(qint64 stored)
{
    // A carved field can hold anything; a number is more honest than a date that no calendar knows.
    return stored > 0 && isInCalendar(stored) ? dateText(stored) : QString::number(stored);
}

QString messageDateText(qint64 stored)
{
    const qint64 seconds = secondsSince1970(stored);
    return stored > 0 && isInCalendar(seconds) ? dateText(seconds) : QString::number(stored);
}

QString noteDateText(qint64 stored)
{
    const qint64 seconds = stored + SecondsFrom1970To2001;
    return stored > 0 && isInCalendar(seconds) ? dateText(seconds) : QString::number(stored);
}

QString dayText(const QString &stored)
{
    bool isNumber = false;
    const double number = stored.toDouble(&isNumber);
    if (!isNumber || !(std::abs(number) < 1e18)) {
        return stored;
    }
    const qint64 seconds = secondsSince1970(qint64(std::floor(number)));
    if (!isInCalendar(seconds)) {
        return stored;
    }
    // Devices store a day as its noon in UTC or as midnight where it was entered; the latter can
    // only be told as it is.
    const QDateTime date = QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC);
    const bool isDay = date.time() == QTime(0, 0) || date.time() == QTime(12, 0);
    return isDay ? date.toString(QStringLiteral("yyyy-MM-dd")) : dateText(seconds);
}

QString calendarDateText(double stored, bool isWholeDay)
{
    const double seconds = std::floor(stored) + SecondsFrom1970To2001;
    if (stored == 0 || !(seconds >= FirstSecondOfYear1 && seconds <= LastSecondOfYear9999)) {
        return stored == 0 ? QString() : QString::number(stored, 'f', 0);
    }
    return dateText(qint64(seconds)).left(isWholeDay ? 10 : -1);
}

QString durationText(qint64 seconds)
{
    if (seconds < 0) {
        return QString::number(seconds);
    }
    return QStringLiteral("%1:%2:%3")
        .arg(seconds / 3600)
        .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(seconds % 60, 2, 10, QLatin1Char('0'));
}
