#pragma once

#include "api/messagegrouprecord.h"
#include "recoverers/communication/messagerows.h"
#include "wal/distinctrecords.h"
#include "wal/versionedrows.h"

#include <QSet>

#include <deque>

/// A message of iOS 6 and later that went away, with the other party as its version had it.
struct LostMessage
{
    qint64 rowid = 0;
    CarvedMessage message;
    bool isHandleKnown = false;
    Handle handle;
};

/// Equal for messages that are equal in all that their record shows.
QByteArray contentKey(const LostMessage &lost);

/// A chat of several.
struct Room
{
    qint64 chat = 0;
    QString identifier;
};

class HandleParser : public RecordParser<Handle>
{
public:
    void parseColumn(Handle &handle, const QString &columnName, const ColumnValue &column) override;
};

/// Rooms by their name.
class RoomParser : public RecordParser<KeyedRow<QString, Room>>
{
public:
    void parseColumn(KeyedRow<QString, Room> &row, const QString &columnName,
                     const ColumnValue &column) override;
};

/// The handles of chats.
class ChatMemberParser : public RecordParser<KeyedRow<qint64, qint64>>
{
public:
    void parseColumn(KeyedRow<qint64, qint64> &row, const QString &columnName,
                     const ColumnValue &column) override;
};

/// Gathers the messages of iOS 6 and later that went away or changed, and makes conversations of
/// them. As in carving, a row without a text is no message: its words, if there are any, stand in a
/// form that is not read.
class MessageChanges
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
    struct KnownRoom
    {
        bool isKnown = false;
        QString identifier;
        QVector<qint64> chats;
        int membersSince = NoVersion; ///< of the last version that was asked
        QVector<Handle> members;
        QSet<QString> addresses;        ///< of the members
        QVector<qint64> unknownMembers; ///< handles that their version lacks
    };

    void addLost(const TableVersion &table, qint64 rowid, const CarvedMessage &message);
    LostMessage messageOf(const TableVersion &table, const TableRow &row);
    void findHandle(const TableVersion &messages, LostMessage *lost);
    void findHandleElsewhere(LostMessage *lost);
    void findRoom(const TableVersion &messages, const QString &name);
    void findMembers(const TableVersion &messages, KnownRoom *room);
    void addMember(const Handle &handle, KnownRoom *room) const;
    void findNamesElsewhere(const TableVersion &last, const TableVersion &first);
    void completeRoom(const QVector<TableVersion> &messages, const QString &name, KnownRoom *room);
    void removeLive(const TableVersion &last);
    bool removeByIdentifier(const TableVersion &last);
    void removeByContent(const TableVersion &last);
    LiveMessages liveMessages();
    qint64 numberOf(const Handle &handle, LiveMessages *live);

    IdentifiedRows<HandleParser, Handle> m_handles;
    QVector<TableVersion> m_handleTables; ///< where to look in the end
    KeyedRows<RoomParser, QString, Room> m_chats;
    KeyedRows<ChatMemberParser, qint64, qint64> m_chatMembers;
    QMap<QString, KnownRoom> m_rooms; ///< those of lost messages, by name
    std::deque<LostMessage> m_lost;
    DistinctRecords<LostMessage> m_distinct;
    QHash<QByteArray, qint64> m_numbers; ///< of handles; each content has one
};
