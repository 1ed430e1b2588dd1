#pragma once

#include "api/messagegrouprecord.h"
#include "samples/messagelayout.h"

#include <QVector>

class SampleDatabase;

/// In which way messages get lost.
enum class MessageDeletion {
    SingleMessages,     ///< single ones here and there
    WholeConversations, ///< with their chats, and the handles that no other chat has
    Contiguous,         ///< all within some time
    WholeTable,         ///< all messages; chats and handles stay
    ThenInserts,        ///< single ones, whose space new messages then partly take
    Edited,             ///< rows are rewritten, and some of all rows deleted afterwards
};

QVector<MessageDeletion> allMessageDeletions();
QString deletionName(MessageDeletion deletion);

/// What to put into a sample.
struct MessagePlan
{
    MessageLayout layout = MessageLayout::Ios12;
    MessageDeletion deletion = MessageDeletion::SingleMessages;
    int messages = 400;
    quint32 seed = 1;
};

/// The truth about a sample database: conversations as recovery is to return them at best.
///
/// Rooms are told apart by their name, other conversations by the identifier of the other party, so
/// that somebody's text messages and iMessages share one; in the layout with groups those two stay
/// apart. Texts that the database holds as NULL are null here.
struct MessageSample
{
    MessageLayout layout = MessageLayout::Ios12;
    QVector<MessageGroupRecord> deleted;
    QVector<MessageGroupRecord> live;
    /// Messages as they were before their text was rewritten.
    QVector<MessageGroupRecord> formerVersions;
    /// Whom no row tells about any more.
    QVector<MessageParticipant> deletedHandles;
    QVector<QString> deletedRooms;
};

/// Makes the tables in the empty database `db`, and lives the plan through in it, every step a
/// transaction of its own as on a device. Returns false when SQLite refuses a step.
bool makeMessageSample(SampleDatabase *db, const MessagePlan &plan, MessageSample *sample);
