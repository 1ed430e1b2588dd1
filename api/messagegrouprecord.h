#pragma once

#include <QList>
#include <QString>

/// One member of a conversation. A plain value.
struct MessageParticipant
{
    /// Telephone number or e-mail address as stored.
    QString id;
    /// "SMS" or "iMessage".
    QString service;
    /// Country in two letters, as stored; may be empty.
    QString country;
};

/// One recovered message. A plain value; fields that could not be read keep their defaults.
struct MessageItem
{
    /// The message's globally unique identifier; empty in databases of iOS 5 and earlier.
    QString guid;
    /// Date as stored, not converted: seconds since 1970 (text messages up to iOS 5), seconds since
    /// 2001 (up to iOS 10) or nanoseconds since 2001 (since iOS 11).
    qint64 date = 0;
    QString text;
    QString subject;
    /// The other party's number or address; empty when unknown.
    QString address;
    /// "SMS" or "iMessage".
    QString service;
    /// 1 when the device's owner wrote it, else 0.
    qint32 isFromMe = 0;
    /// 1 when it was sent, else 0.
    qint32 isSent = 0;
};

/// One conversation with its recovered messages. A plain value.
struct MessageGroupRecord
{
    /// Identifier of the conversation as stored.
    QString chatIdentifier;
    /// Name of the room of a group conversation; else empty.
    QString roomName;
    /// "SMS" or "iMessage".
    QString service;
    /// The members other than the device's owner.
    QList<MessageParticipant> participants;
    /// The recovered messages by date, then in the order found.
    QList<MessageItem> messages;
};
