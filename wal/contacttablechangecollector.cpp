#include "wal/contacttablechangecollector.h"

ContactTableChangeCollector::ContactTableChangeCollector(WalRecovery *resultHolder)
    : m_resultHolder(resultHolder)
{
}

ContactTableChangeCollector::~ContactTableChangeCollector() = default;

QStringList ContactTableChangeCollector::tableNames()
{
    return {};
}

void ContactTableChangeCollector::collectRow(const TableVersion &, const TableRow &) {}

void ContactTableChangeCollector::collectChangedRow(const TableVersion &, const TableRow &,
                                                    const TableVersion &, const TableRow &)
{
}
