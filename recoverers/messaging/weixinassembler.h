#pragma once

#include "recoverers/messaging/weixinrows.h"

#include <QHash>
#include <QSet>

/// Keeps those of a scan's carved messages that are deleted: each once, and none that exists.
class DeletedWeixinMessages
{
public:
    /// Takes the message unless one of equal time, direction and text was taken before.
    void add(const CarvedWeixinMessage &message);

    /// False when no message of this time and direction was taken.
    bool hasMoment(qint32 createTime, bool isFromMe) const;

    /// Drops what is this existing message, or a part of it.
    void dropLive(qint32 createTime, bool isFromMe, const QString &text);

    /// The messages that are left, in the order found. Incomplete ones of which the whole was found
    /// are left out.
    QVector<CarvedWeixinMessage> take();

private:
    struct Key
    {
        qint32 createTime;
        bool isFromMe;
        QString text;

        bool operator==(const Key &other) const
        {
            return createTime == other.createTime && isFromMe == other.isFromMe
                   && text == other.text;
        }
    };
    friend uint qHash(const Key &key, uint seed)
    {
        return qHash(key.text, seed) ^ (uint(key.createTime) * 2 + uint(key.isFromMe));
    }

    void dropParts(const Key &whole);

    QVector<CarvedWeixinMessage> m_messages;
    QVector<bool> m_isDropped;
    QSet<qint64> m_moments;               ///< of all
    QHash<Key, int> m_places;             ///< of all
    QMultiHash<qint64, int> m_incomplete; ///< by time and direction
};

/// Tells to which conversation each message on a free page belonged: to the one among whose
/// messages its row identifier and its time fit in order; where there are several, to the first
/// of them, where there is none, to the first of all. An emptied conversation, in which nothing
/// contradicts, is asked last.
///
/// Sets `conversation` of the messages that have none. Does nothing without conversations.
void findConversations(const QVector<WeixinNumbers> &conversations,
                       QVector<CarvedWeixinMessage> *messages);
