#include "cli/recordkind.h"

#include "api/sqliterecovery.h"

#include <QDateTime>

namespace {

constexpr qint64 LastSecondOfYear9999 = 253402300799;

QString dateText(qint64 secondsSince1970)
{
    // A carved field can hold anything; a number is more honest than a date that no calendar knows.
    if (secondsSince1970 <= 0 || secondsSince1970 > LastSecondOfYear9999) {
        return QString::number(secondsSince1970);
    }
    return QDateTime::fromSecsSinceEpoch(secondsSince1970, Qt::UTC)
        .toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
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

QString callText(qint64 flags)
{
    const QString direction =
        (flags & 1) != 0 ? QStringLiteral("outgoing") : QStringLiteral("incoming");
    return (flags & 16) != 0 ? direction + QStringLiteral(" FaceTime") : direction;
}

QCborMap callRecord(SqliteRecovery &results, unsigned index)
{
    const CallhistoryRecord &call = *results.getCallhistory(index);
    return {{QStringLiteral("address"), call.address},
            {QStringLiteral("date"), call.date},
            {QStringLiteral("duration"), call.duration},
            {QStringLiteral("flags"), call.flags}};
}

QStringList callRow(const QCborMap &record)
{
    return {dateText(record[QLatin1String("date")].toInteger()),
            callText(record[QLatin1String("flags")].toInteger()),
            durationText(record[QLatin1String("duration")].toInteger()),
            record[QLatin1String("address")].toString()};
}

// In the order of the result arrays, which is the order of every output.
const QVector<RecordKind> &allKinds()
{
    static const QVector<RecordKind> kinds = {
        {ScanTypeCallHistory, "call", "Calls",
         QStringList{QStringLiteral("address"), QStringLiteral("date"), QStringLiteral("duration"),
                     QStringLiteral("flags")},
         QStringList{QStringLiteral("Date (UTC)"), QStringLiteral("Direction"),
                     QStringLiteral("Duration"), QStringLiteral("Address")},
         &SqliteRecovery::getCallhistoryCount, callRecord, callRow},
    };
    return kinds;
}

} // namespace

QVector<RecordKind> recordKinds(ScanType type)
{
    QVector<RecordKind> kinds;
    for (const RecordKind &kind : allKinds()) {
        if (kind.scanType == type) {
            kinds.append(kind);
        }
    }
    return kinds;
}

QCborMap recordAt(const ScanResults &results, const RecordKind &kind, unsigned index)
{
    QCborMap record{{QStringLiteral("kind"), QLatin1String(kind.name)}};
    const QCborMap fields = kind.record(results.recovery, index);
    for (const auto &field : fields) {
        record.insert(field.first, field.second);
    }
    return record;
}

unsigned recordCount(const ScanResults &results, const RecordKind &kind)
{
    return (results.recovery.*kind.count)();
}
