#pragma once

#include "samples/messagesamples.h"

#include <QStringList>

/// What a scan of a sample database made of it. The counts up to `invented` say of each message
/// found what it is, the others what is wrong with it.
struct MessageResult
{
    int deleted = 0;
    int refused = 0;            ///< deleted messages whose row no header test takes
    int recovered = 0;          ///< deleted messages found
    int former = 0;             ///< former versions found
    int liveCopies = 0;         ///< messages found that are not deleted at all
    int twice = 0;              ///< messages found a second time
    int invented = 0;           ///< all else that was found
    int overwritten = 0;        ///< missed, and the header or the text is not whole in the file
    int wrongFields = 0;        ///< messages found with another date, direction, address ...
    int wrongConversation = 0;  ///< messages found among those of other people
    int splitConversations = 0; ///< conversations that came back in more parts than they have to
    int wrongGroups = 0;        ///< conversations with another name, other members, or out of order
    QStringList details;        ///< one line for each thing that is missed or wrong

    int missed() const { return deleted - recovered; }
    /// Missed although the file holds header and text.
    int missedWhole() const { return missed() - refused - overwritten; }
    /// True when nothing was found that should not be, and all that was found is right.
    bool isSound() const;
    /// The counts in one line.
    QString summary() const;
};

/// True when the row of the message fits no header test, or its text fails the test of texts.
bool isRefused(MessageLayout layout, const MessageItem &message);

/// Compares what a scan found with the truth; `file` is the content of the database.
MessageResult compareMessages(const MessageSample &sample, const QByteArray &file,
                              const QVector<MessageGroupRecord> &found);
