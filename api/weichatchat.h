#pragma once

#include <QList>
#include <QString>
#include <QtAlgorithms>

/// One recovered WeChat message. A plain value; fields that could not be read keep their defaults.
struct WeiChatMessage
{
    /// Text as stored; in a group chat a received text begins with the sender and a line break.
    QString message;
    /// Seconds since 1970-01-01 00:00:00 UTC, as stored.
    qint32 createTime = 0;
    /// Kind as stored; 1 is text.
    qint32 type = 0;
    /// True when the device's owner wrote it.
    bool isFromMe = false;
};

/// One WeChat conversation with its recovered messages. It owns the messages and frees them with
/// itself, so it cannot be copied.
struct WeiChatChat
{
    WeiChatChat() = default;
    ~WeiChatChat() { qDeleteAll(messages); }
    Q_DISABLE_COPY(WeiChatChat)

    /// The conversation's identifier: the hash in the name of its table.
    QString chatId;
    /// The recovered messages; owned by the conversation.
    QList<WeiChatMessage *> messages;
};
