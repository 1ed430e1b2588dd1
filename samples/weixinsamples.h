#pragma once

#include "api/weichatchat.h"
#include "samples/sampledatabase.h"

#include <QStringList>
#include <QVector>

#include <functional>

/// The generations of the WeChat message database: that with "TableVer" in front, and the one since
/// 2017, whose columns stand in the order of the alphabet.
enum class WeixinLayout { Old, Wcdb };

/// In which way messages get lost.
enum class WeixinDeletion {
    Scattered,          ///< single messages here and there
    Contiguous,         ///< in some conversations all messages of some time
    Cleared,            ///< all messages of some conversations, which stay
    Dropped,            ///< some conversations as a whole
    ThenInserts,        ///< single messages, whose space new ones then partly take
    ClearedThenInserts, ///< some conversations are cleared, and go on
};

QVector<WeixinLayout> allWeixinLayouts();
QVector<WeixinDeletion> allWeixinDeletions();
QString layoutName(WeixinLayout layout);
QString deletionName(WeixinDeletion deletion);
SampleOptions deviceOptions(WeixinLayout layout);

/// What to put into a sample.
struct WeixinPlan
{
    WeixinLayout layout = WeixinLayout::Wcdb;
    WeixinDeletion deletion = WeixinDeletion::Scattered;
    int messages = 600;
    quint32 seed = 1;
    int conversations = 20;
};

/// One message of a sample.
struct SampleWeixinMessage
{
    int conversation = 0;
    qint64 rowid = 0;
    WeiChatMessage message;
    QByteArray types; ///< the serial types of its record, and the bytes of its fields
    QByteArray body;
};

/// The truth about a sample database.
struct WeixinSample
{
    QStringList chatIds; ///< by conversation; empty when its table is gone
    QVector<SampleWeixinMessage> deleted;
    QVector<SampleWeixinMessage> live;
};

/// Makes the tables of the conversations, and lives the plan through, every step a transaction of
/// its own as on a device. Returns false when SQLite refuses a step.
bool makeWeixinSample(SampleDatabase *db, const WeixinPlan &plan, WeixinSample *sample);

/// For measuring: fills the database with about `bytes` of messages in so many conversations, in
/// one transaction, and deletes a part of them: single ones, and some conversations' whole content.
/// Tells `take` of every message. Returns the number of messages that are deleted; -1 when SQLite
/// refuses a step.
using WeixinTaker = std::function<void(const SampleWeixinMessage &message, bool isDeleted)>;
qint64 fillWeixinFile(SampleDatabase *db, qint64 bytes, int conversations,
                      const WeixinTaker &take = {});
