#pragma once

#include "samples/messagelayout.h"
#include "samples/samplerandom.h"

/// One address by which the device reached somebody. A null country is stored as NULL.
struct SampleHandle
{
    qint64 rowid = 0;
    QString id;
    QString country;
    QString service;
};

/// A conversation with one other party, or a room.
struct SampleConversation
{
    qint64 rowid = 0; ///< of its chat, or of its group
    QString room;     ///< its name; empty for one other party
    QString service;
    QVector<int> members; ///< places in the list of handles

    /// True for the text messages of the layout with groups, which know no rooms.
    bool isGroup() const { return room.isEmpty() && members.size() > 1; }
};

/// One message with everything that any layout stores about it. Null texts are stored as NULL.
struct SampleMessage
{
    qint64 rowid = 0;
    int conversation = 0;
    int sender = -1; ///< place in the list of handles; -1 in a room's own messages
    bool own = false;
    bool sent = false;
    bool read = false;
    int itemType = 0;   ///< 0 ordinary, else a notice of the system
    qint64 seconds = 0; ///< since 1970
    QString guid;
    QString text;
    QString body; ///< the words where the text is NULL
    QString subject;
};

/// Makes up people, their conversations and their messages as of the layout's time. Equal seeds
/// give equal results.
class MessageGenerator
{
public:
    MessageGenerator(MessageLayout layout, quint32 seed);

    /// Everybody whom the device ever talked with, and the conversations.
    QVector<SampleHandle> handles;
    QVector<SampleConversation> conversations;

    /// The next message; its date is later than that of the one before.
    SampleMessage next();
    /// Words for a message that is rewritten.
    QString otherText();

private:
    int addHandle(const QString &id, const char *service, const char *country);
    void addPerson(const QString &id, const char *service, const char *country);
    void addRoom(int size, const char *service);
    void addGroup(int size);
    QString guid();

    MessageLayout m_layout;
    SampleRandom m_random;
    qint64 m_seconds;
};
