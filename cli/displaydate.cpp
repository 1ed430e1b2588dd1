#include "cli/displaydate.h"

#include <QDateTime>

#include <cmath>

namespace {

constexpr qint64 FirstSecondOfYear1 = -62135596800;
constexpr qint64 LastSecondOfYear9999 = 253402300799;
constexpr qint64 FirstSecondOf2100 = 4102444800;
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

QString utcText(qint64 seconds)
{
    return QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC).toString(Qt::ISODate);
}

/// Devices stamp what happens with a time that lies neither before their origin nor far ahead.
QString pastText(qint64 stored, qint64 origin)
{
    const bool isSensible = stored > 0 && stored < FirstSecondOf2100 - origin;
    return isSensible ? utcText(stored + origin) : QString();
}

} // namespace

QString utcSince1970(qint64 stored)
{
    return pastText(stored, 0);
}

QString utcSince2001(qint64 stored)
{
    return pastText(stored, SecondsFrom1970To2001);
}

QString utcOfMessage(qint64 stored)
{
    return stored > 0 ? pastText(secondsSince1970(stored), 0) : QString();
}

QString utcOfCalendar(double stored)
{
    const double seconds = std::floor(stored) + SecondsFrom1970To2001;
    const bool isInCalendar = seconds >= FirstSecondOfYear1 && seconds <= LastSecondOfYear9999;
    return stored != 0 && isInCalendar ? utcText(qint64(seconds)) : QString();
}

QString utcOfDay(const QString &stored)
{
    bool isNumber = false;
    const double number = stored.toDouble(&isNumber);
    if (!isNumber || !(std::abs(number) < 1e18)) {
        return QString();
    }
    const qint64 seconds = secondsSince1970(qint64(std::floor(number)));
    if (seconds < FirstSecondOfYear1 || seconds > LastSecondOfYear9999) {
        return QString();
    }
    // Devices store a day as its noon in UTC or as midnight where it was entered; the latter can
    // only be told as it is.
    const QDateTime date = QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC);
    const bool isDay = date.time() == QTime(0, 0) || date.time() == QTime(12, 0);
    return isDay ? date.toString(QStringLiteral("yyyy-MM-dd")) : utcText(seconds);
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
