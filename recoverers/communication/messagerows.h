#pragma once

#include "recoverers/rownumbering.h"

#include <QHash>
#include <QMap>
#include <QString>
#include <QVector>

#include <deque>

class LiveQuery;

/// A message of iOS 6 and later, as its row holds it.
struct CarvedMessage
{
    QString guid;
    qint64 date = 0;
    QString text;
    QString subject;
    qint64 handleId = 0;
    QString service;
    QString roomName;
    bool isFromMe = false;
    bool isSent = false;
    bool isTextCut = false;    ///< the text could not be read to its end
    bool isIncomplete = false; ///< some field could not be read, or not to its end
    bool isPlaceLost = false;  ///< it had a room or a handle that could not be read
    bool isLiveCopy = false;   ///< the same message still exists
};

/// A message of iOS 5 and earlier: an SMS, or with `isMadrid` an iMessage.
struct CarvedOldMessage
{
    QString address;
    qint64 date = 0;
    QString text;
    qint64 flags = 0;
    qint64 groupId = 0;
    QString subject;
    bool isMadrid = false;
    QString madridHandle;
    QString madridRoomName;
    qint64 madridFlags = 0;
    QString country;
    bool isIncomplete = false; ///< some field could not be read, or not to its end
    bool isPlaceLost = false;  ///< it had a group, a room or a handle that could not be read
    bool isLiveCopy = false;
};

/// The other party of messages.
struct Handle
{
    QString id;
    QString service;
    QString country;
    QString normalizedId; ///< equal for all spellings of the id
};

struct CarvedHandle
{
    CarvedRowid rowid;
    Handle handle;
};

/// A conversation as the database lists it.
struct Chat
{
    QString identifier;
    QString roomName;
};

/// The carved rows in the order found. Rows stay where they are.
struct CarvedMessages
{
    std::deque<CarvedMessage> messages;
    std::deque<CarvedHandle> handles;
    std::deque<CarvedOldMessage> oldMessages;
    std::deque<Chat> oldChats;
    /// The messages come whole from versions of the database, each content once.
    bool isFromVersions = false;
};

/// What still exists; by row identifier unless said otherwise.
struct LiveMessages
{
    QMap<qint64, Chat> chats;
    QMap<qint64, Handle> handles;
    QHash<qint64, QVector<qint64>> chatHandles;   ///< the handles of a chat
    QHash<QString, QVector<QString>> roomHandles; ///< by room: who wrote there (iOS 5)
    QVector<Chat> oldChats;                       ///< of iOS 5
    QHash<qint64, QVector<QString>> groupMembers; ///< addresses by group (iOS 5 and earlier)
    qint64 highestGroupId = 0;                    ///< the highest identifier ever given to a group
    qint64 highestHandleId = 0;                   ///< the same of handles
};

/// Reads what can be read of it. A statement that fails leaves its collection empty.
LiveMessages readMessages(LiveQuery &query);

/// Marks the carved messages that are copies of a message that still exists: same guid and same
/// text, and where there is no sound guid, same date, party and text. SQLite leaves copies of rows
/// where it moves them.
void markLiveCopies(LiveQuery &query, CarvedMessages *carved);

/// True for a guid as devices write it, in upper case.
bool isStandardGuid(const QString &guid);

/// True for a guid that can tell messages apart: standard or not, it was read from the right place.
bool isReadableGuid(const QString &guid);
