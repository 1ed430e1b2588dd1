#include "wal/smstablechangecollector.h"

#include "api/walrecovery.h"

namespace {

const QString MessageTable = QStringLiteral("message");
const QString GroupMemberTable = QStringLiteral("group_member");

} // namespace

SmsTableChangeCollector::SmsTableChangeCollector(WalRecovery *resultHolder)
    : m_resultHolder(resultHolder)
{
}

SmsTableChangeCollector::~SmsTableChangeCollector() = default;

void SmsTableChangeCollector::beginCommit(int commitIndex)
{
    TableChangeCollector::beginCommit(commitIndex);
    m_isGenerationKnown = false;
}

QStringList SmsTableChangeCollector::tableNames()
{
    QStringList names = MessageChanges::tableNames() + OldMessageChanges::tableNames();
    names.removeDuplicates();
    return names;
}

void SmsTableChangeCollector::collectRow(const TableVersion &earlier, const TableRow &row)
{
    if (isOldGeneration(earlier)) {
        m_oldMessages.addLostRow(earlier, row);
    } else {
        m_messages.addLostRow(earlier, row);
    }
}

void SmsTableChangeCollector::collectChangedRow(const TableVersion &earlier,
                                                const TableRow &earlierRow,
                                                const TableVersion &later, const TableRow &laterRow)
{
    if (earlier.schema().name != MessageTable) {
        return;
    }
    if (isOldGeneration(earlier)) {
        m_oldMessages.addChangedMessage(earlier, earlierRow, later, laterRow);
    } else {
        m_messages.addChangedMessage(earlier, earlierRow, later, laterRow);
    }
}

/// As in carving, a database with groups is of the old generation.
bool SmsTableChangeCollector::isOldGeneration(const TableVersion &table)
{
    if (!m_isGenerationKnown) {
        m_isGenerationKnown = true;
        m_isOldGeneration = table.sibling(GroupMemberTable).exists();
    }
    return m_isOldGeneration;
}

void SmsTableChangeCollector::finishCollection()
{
    TableChangeCollector::finishCollection();
    const TableVersion last = lastVersion(MessageTable);
    const TableVersion first = firstVersion(MessageTable);
    m_conversations = m_oldMessages.conversations(last, first);
    m_conversations += m_messages.conversations(last, first);
}

/// The records of an earlier scan are not deleted: the caller may still hold them.
void SmsTableChangeCollector::publishResults()
{
    QList<MessageGroupRecord *> groups;
    for (const MessageGroupRecord &conversation : qAsConst(m_conversations)) {
        groups.append(new MessageGroupRecord(conversation));
    }
    m_resultHolder->m_messageGroups = groups;
}
