#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QtAlgorithms>

/// One recovered WhatsApp message. A plain value; fields that could not be read keep their
/// defaults.
struct WhatsappMessageItem
{
    /// Kind as stored; 4 is a contact card, 5 a place.
    qint32 messageType = 0;
    /// 1 when the device's owner wrote it, else 0.
    qint32 isFromMe = 0;
    /// Delivery status as stored.
    qint32 messageStatus = 0;
    /// Kind of group event as stored.
    qint32 groupEventType = 0;
    /// Whole seconds as stored, which is since 2001-01-01 00:00:00 UTC, cut to 32 bits.
    qint32 date = 0;
    /// 1 when the message answers another one, else 0.
    qint32 hasParent = 0;
    /// The text, completed from the media item that the message refers to.
    QString text;
    /// The sender's name in a group chat; else empty.
    QString senderName;
    /// The card of a contact message, in vCard form.
    QString vcardText;
    /// Address of the receiver, as stored.
    QString toJid;
};

/// One WhatsApp chat with its recovered messages. It owns the messages and frees them with itself,
/// so it cannot be copied.
struct WhatsappChatRecord
{
    WhatsappChatRecord() = default;
    ~WhatsappChatRecord() { qDeleteAll(messages); }
    Q_DISABLE_COPY(WhatsappChatRecord)

    /// The chat's display text.
    QString chatName;
    /// Distinct names of the senders in a group, in the order of their first appearance.
    QStringList memberNames;
    /// Distinct addresses of the other parties, in the order of their first appearance.
    QStringList chatJids;
    /// The recovered messages; owned by the chat.
    QList<WhatsappMessageItem *> messages;
};
