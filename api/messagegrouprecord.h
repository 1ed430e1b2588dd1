#pragma once

#include <QList>
#include <QString>

/// One member of a conversation. A plain value.
struct MessageParticipant
{
    /// Telephone number or e-mail address as stored.
    QString id;
    /// As stored: "SMS", "iMessage", on recent systems also "RCS".
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
    /// 2001 (iMessages of iOS 5, all messages of iOS 6 to 10) or nanoseconds since 2001 (since iOS
    /// 11); 0 when it could not be read.
    qint64 date = 0;
    /// The text; of a row that is partly overwritten what was left in front.
    QString text;
    QString subject;
    /// The other party's number or address; empty when unknown.
    QString address;
    /// As stored; "SMS" or "iMessage" in databases of iOS 5 and earlier. Empty when it could not be
    /// read.
    QString service;
    /// 1 when the device's owner wrote it, else 0.
    qint32 isFromMe = 0;
    /// 1 when it was sent, else 0.
    qint32 isSent = 0;
};

/// One conversation with its recovered messages. A plain value. Conversations come in the order of
/// their first message.
struct MessageGroupRecord
{
    /// Identifier of the conversation: the other party's number or address as stored, or the name
    /// of the room. Empty when it is not known: the handle is nowhere known, or it is a group of
    /// several of iOS 5 and earlier. Also empty for two things that are no conversation: a message
    /// alone, whose row does not tell any more where it belongs, and all messages whose rows name
    /// no handle at all (handle 0), as some systems write for own messages.
    QString chatIdentifier;
    /// Name of the room of a group conversation; else empty.
    QString roomName;
    /// The service of the first message.
    QString service;
    /// The members other than the device's owner, each once, as far as they are known.
    QList<MessageParticipant> participants;
    /// The recovered messages by date, then in the order found; never empty.
    QList<MessageItem> messages;
};
