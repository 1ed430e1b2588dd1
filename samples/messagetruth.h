#pragma once

#include "samples/messagesamples.h"

#include <QStringList>

/// What a scan of a sample database made of it.
struct MessageResult
{
    int deleted = 0;
    int refused = 0;     ///< deleted messages whose row no header test takes
    int overwritten = 0; ///< missed: header, date or text are not whole in the file
    int missedWhole = 0; ///< missed although they are

    // What was found: each message is one of these.
    int recovered = 0;   ///< deleted messages
    int former = 0;      ///< versions of a message before its text was rewritten
    int damaged = 0;     ///< deleted messages or former versions with another text
    int liveCopies = 0;  ///< messages that are not deleted at all
    int liveDamaged = 0; ///< the same with another text
    int twice = 0;       ///< found a second time
    int invented = 0;    ///< all else

    // What is wrong with messages whose text is right.
    int incomplete = 0;        ///< fields are missing
    int wrongFields = 0;       ///< another date, direction, address ...
    int wrongConversation = 0; ///< among those of other people

    // What is wrong with conversations, incomplete messages aside.
    int splits = 0;      ///< in more parts than they have to be
    int wrongGroups = 0; ///< with another name, other members, or out of order

    QStringList details; ///< one line for each thing that is missed or wrong

    int found() const;
    void add(const MessageResult &other);
    /// The counts in one line.
    QString summary() const;
};

/// True when the row of the message fits no header test, or its text fails the test of texts.
bool isRefused(MessageLayout layout, const MessageItem &message);

/// Compares what a scan found with the truth; `file` is the content of the database.
MessageResult compareMessages(const MessageSample &sample, const QByteArray &file,
                              const QVector<MessageGroupRecord> &found);
