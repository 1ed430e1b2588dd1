#pragma once

#include "samples/whatsappsamples.h"

/// A message that a scan found, and the chat that it came in.
struct FoundWhatsappMessage
{
    int chat = 0; ///< place among the chats found
    QString chatName;
    QStringList chatJids;
    WhatsappMessageItem item;
};

/// What a scan of a sample database made of it.
struct WhatsappResult
{
    int deleted = 0;
    int refused = 0;     ///< missed: no header test takes their rows
    int overwritten = 0; ///< missed: no row is whole in the file
    int missedWhole = 0; ///< the same although one is

    // What was found: each message is one of these.
    int recovered = 0;  ///< deleted messages
    int former = 0;     ///< versions of a message before it was delivered or revoked
    int incomplete = 0; ///< deleted messages or former versions that lack a part of their text
    int liveCopies = 0; ///< messages that still exist as found, or parts of them
    int twice = 0;      ///< found a second time
    int invented = 0;   ///< all else

    // What is wrong with messages whose text is right.
    int wrongFields = 0; ///< another direction, status, sender ...
    int lostSenders = 0; ///< the name of the sender is not known
    int wrongChats = 0;  ///< in a chat of another name
    int nameless = 0;    ///< in a chat that has an address in place of its name

    QStringList details; ///< one line for each thing that is missed or wrong

    int found() const;
    void add(const WhatsappResult &other);
    /// The counts in one line.
    QString summary() const;
};

/// Compares what a scan found with the truth; `file` is the content of the database.
WhatsappResult compareWhatsapp(const WhatsappSample &sample, const QByteArray &file,
                               const QVector<FoundWhatsappMessage> &found);
