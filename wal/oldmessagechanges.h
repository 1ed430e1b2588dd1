#pragma once

#include "api/messagegrouprecord.h"
#include "recoverers/communication/messagerows.h"
#include "wal/distinctrecords.h"
#include "wal/versionedrows.h"

#include <deque>

/// A message of iOS 5 and earlier that went away, with the members of its group.
struct LostOldMessage
{
    CarvedOldMessage message;
    QByteArray group; ///< equal for equal members
};

/// Equal for messages that are equal in all that their record shows.
QByteArray contentKey(const LostOldMessage &lost);

/// The addresses of groups.
class GroupMemberParser : public RecordParser<KeyedRow<qint64, QString>>
{
public:
    void parseColumn(KeyedRow<qint64, QString> &row, const QString &columnName,
                     const ColumnValue &column) override;
};

/// The identifiers of rooms.
class OldRoomParser : public RecordParser<KeyedRow<QString, QString>>
{
public:
    void parseColumn(KeyedRow<QString, QString> &row, const QString &columnName,
                     const ColumnValue &column) override;
};

/// Gathers the messages of iOS 5 and earlier that went away or changed, and makes conversations of
/// them.
class OldMessageChanges
{
public:
    static QStringList tableNames();

    /// Takes a row of any of these tables that the next version lacks.
    void addLostRow(const TableVersion &table, const TableRow &row);
    /// Takes a message that the next version has in another form.
    void addChangedMessage(const TableVersion &earlier, const TableRow &earlierRow,
                           const TableVersion &later, const TableRow &laterRow);

    /// Returns the conversations of what the last version does not hold any more; `last` and
    /// `first` are the table of messages in these versions.
    QVector<MessageGroupRecord> conversations(const TableVersion &last, const TableVersion &first);

private:
    struct KnownGroup
    {
        int since = NoVersion; ///< of the last version that was asked
        QStringList members;
    };

    void addLost(const TableVersion &table, const CarvedOldMessage &message);
    void findGroup(const TableVersion &messages, qint64 groupId);
    void findRoom(const TableVersion &messages, const QString &name);
    void findNamesElsewhere(const TableVersion &last, const TableVersion &first);
    void readLast(const TableVersion &last);
    void removeLive(const TableVersion &last, const CarvedOldMessage &message);

    KeyedRows<GroupMemberParser, qint64, QString> m_groupMembers;
    KeyedRows<OldRoomParser, QString, QString> m_chats;
    QHash<qint64, KnownGroup> m_groups;        ///< those of lost messages
    QHash<qint64, QByteArray> m_groupContents; ///< what is compared of groups
    QMap<QString, QString> m_rooms;            ///< identifiers by name; null while not known
    QHash<QString, QVector<QString>> m_roomHandles;
    std::deque<CarvedOldMessage> m_lost;
    DistinctRecords<LostOldMessage> m_distinct;
};
