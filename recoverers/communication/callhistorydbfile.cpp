#include "recoverers/communication/callhistorydbfile.h"

#include "api/sqliterecovery.h"
#include "recoverers/communication/callhistorymatchers.h"

#include <QCryptographicHash>

namespace {

/// Equal for equal calls, and of few bytes however long a damaged address is.
QByteArray recordKey(const CallhistoryRecord &record)
{
    const QString text = record.address + QLatin1Char('|') + QString::number(record.date)
                         + QLatin1Char('|') + QString::number(record.duration) + QLatin1Char('|')
                         + QString::number(record.flags);
    return QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha1);
}

} // namespace

CallHistoryDbFile::CallHistoryDbFile(QObject *parent)
    : SqliteDbFile(parent)
{
}

CallHistoryDbFile::~CallHistoryDbFile() = default;

int CallHistoryDbFile::scanDeletedRecords(SqliteRecovery *resultHolder)
{
    m_resultHolder = resultHolder;
    const double span = progressValue();
    if (const TableSchema *calls = table(QStringLiteral("call"))) {
        CallhistoryMatcher matcher(this);
        if (!carveTable(*calls, matcher, span, false)) {
            return 0;
        }
    }
    if (const TableSchema *calls = table(QStringLiteral("zcallrecord"))) {
        NewCallhistoryMatcher matcher(this);
        carveTable(*calls, matcher, span, false);
    }
    return 0;
}

void CallHistoryDbFile::addRecord(const CallhistoryRecord &record)
{
    if (record.address.isEmpty() || !m_resultHolder) {
        return;
    }
    const QByteArray key = recordKey(record);
    if (!m_seenKeys.contains(key)) {
        m_seenKeys.insert(key);
        m_resultHolder->m_callHistory.append(record);
    }
}
