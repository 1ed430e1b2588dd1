#pragma once

#include "wal/messagechanges.h"
#include "wal/oldmessagechanges.h"
#include "wal/tablechangecollector.h"

class WalRecovery;

/// Makes conversations of the rows of a messages database of either generation. They take the place
/// of those that the facade has.
class SmsTableChangeCollector : public TableChangeCollector
{
public:
    /// Borrows the facade, whose array receives the records.
    explicit SmsTableChangeCollector(WalRecovery *resultHolder);
    ~SmsTableChangeCollector() override;

    void beginCommit(int commitIndex) override;
    QStringList tableNames() override;
    void collectRow(const TableVersion &earlier, const TableRow &row) override;
    void collectChangedRow(const TableVersion &earlier, const TableRow &earlierRow,
                           const TableVersion &later, const TableRow &laterRow) override;
    void finishCollection() override;
    void publishResults() override;

private:
    bool isOldGeneration(const TableVersion &table);

    WalRecovery *m_resultHolder;
    bool m_isGenerationKnown = false; ///< of the version whose rows are being handed over
    bool m_isOldGeneration = false;
    MessageChanges m_messages;
    OldMessageChanges m_oldMessages;
    QVector<MessageGroupRecord> m_conversations;
};
