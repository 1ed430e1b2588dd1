#include "wal/smstablechangecollector.h"

SmsTableChangeCollector::SmsTableChangeCollector(WalRecovery *resultHolder)
    : m_resultHolder(resultHolder)
{
}

SmsTableChangeCollector::~SmsTableChangeCollector() = default;

QStringList SmsTableChangeCollector::tableNames()
{
    return {};
}

void SmsTableChangeCollector::collectRow(const TableVersion &, const TableRow &) {}

void SmsTableChangeCollector::collectChangedRow(const TableVersion &, const TableRow &,
                                                const TableVersion &, const TableRow &)
{
}
