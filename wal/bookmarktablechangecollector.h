#pragma once

#include "wal/distinctrecords.h"
#include "wal/tablechangecollector.h"

class WalRecovery;

/// Makes records of the rows of "bookmarks" and appends them to the facade's array. As in carving,
/// a bookmark without "://" in its address is none.
class BookmarkTableChangeCollector : public TableChangeCollector
{
public:
    /// Borrows the facade, whose array receives the records.
    explicit BookmarkTableChangeCollector(WalRecovery *resultHolder);
    ~BookmarkTableChangeCollector() override;

    QStringList tableNames() override;
    void collectRow(const TableVersion &earlier, const TableRow &row) override;
    void collectChangedRow(const TableVersion &earlier, const TableRow &earlierRow,
                           const TableVersion &later, const TableRow &laterRow) override;
    void finishCollection() override;

private:
    void add(const BookmarkRecord &record);

    WalRecovery *m_resultHolder;
    DistinctRecords<BookmarkRecord> m_records;
};
