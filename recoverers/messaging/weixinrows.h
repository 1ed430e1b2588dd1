#pragma once

#include <QPair>
#include <QString>
#include <QVector>
#include <QtGlobal>

// What a scan of the WeChat database gathers, before it is joined.

/// A carved message.
struct CarvedWeixinMessage
{
    static constexpr int NoConversation = -1;

    QString text;
    qint32 createTime = 0;
    qint32 type = 0;
    bool isFromMe = false;
    bool isIncomplete = false;         ///< not all of the text is there
    int conversation = NoConversation; ///< whose leaf page it lies on; on a free page none's
    qint64 rowid = 0;                  ///< of a cell of which the prefix is whole; 0 when unknown
};

/// What exists of a conversation, to tell whose messages lie on free pages.
struct WeixinNumbers
{
    /// Row identifier and time of the messages that exist, ascending by identifier.
    QVector<QPair<qint64, qint32>> messages;
    qint64 highest = 0; ///< the highest identifier that was ever given; 0 when unknown
};
