#pragma once

#include "wal/tablechangecollector.h"

class WalRecovery;

/// Makes conversations of the rows of a messages database.
/// This version collects no tables yet.
class SmsTableChangeCollector : public TableChangeCollector
{
public:
    /// Borrows the facade, whose array receives the records.
    explicit SmsTableChangeCollector(WalRecovery *resultHolder);
    ~SmsTableChangeCollector() override;

    QStringList tableNames() override;
    void collectRow(const TableVersion &earlier, const TableRow &row) override;
    void collectChangedRow(const TableVersion &earlier, const TableRow &earlierRow,
                           const TableVersion &later, const TableRow &laterRow) override;

private:
    WalRecovery *m_resultHolder;
};
