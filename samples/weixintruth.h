#pragma once

#include "samples/weixinsamples.h"

/// A message that a scan found, and the conversation that it came in.
struct FoundWeixinMessage
{
    QString chatId;
    WeiChatMessage message;
};

/// What a scan of a sample database made of it.
struct WeixinResult
{
    int deleted = 0;
    int overwritten = 0; ///< missed: neither types nor fields are whole in the file
    int missedWhole = 0; ///< missed although they are

    // What was found: each message is one of these.
    int recovered = 0;
    int incomplete = 0;  ///< deleted messages of which the end of the text is missing
    int wrongFields = 0; ///< deleted messages with another type
    int liveCopies = 0;  ///< messages that still exist, or parts of them
    int twice = 0;       ///< found a second time
    int invented = 0;    ///< all else

    // Of the recovered ones.
    int wrongChats = 0; ///< in another conversation than theirs, which still has its table
    int homeless = 0;   ///< of conversations that have no table any more

    QStringList details; ///< one line for each thing that is missed or wrong

    void add(const WeixinResult &other);
    /// The counts in one line.
    QString summary() const;
};

/// Compares what a scan found with the truth; `file` is the content of the database.
WeixinResult compareWeixin(const WeixinSample &sample, const QByteArray &file,
                           const QVector<FoundWeixinMessage> &found);
