#pragma once

#include "wal/tablechangecollector.h"

class WalRecovery;

/// Makes contacts of the rows of an address book.
/// This version collects no tables yet.
class ContactTableChangeCollector : public TableChangeCollector
{
public:
    /// Borrows the facade, whose array receives the records.
    explicit ContactTableChangeCollector(WalRecovery *resultHolder);
    ~ContactTableChangeCollector() override;

    QStringList tableNames() override;
    void collectRow(const TableVersion &earlier, const TableRow &row) override;
    void collectChangedRow(const TableVersion &earlier, const TableRow &earlierRow,
                           const TableVersion &later, const TableRow &laterRow) override;

private:
    WalRecovery *m_resultHolder;
};
