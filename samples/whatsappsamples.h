#pragma once

#include "api/whatsappchatrecord.h"
#include "samples/whatsapplayout.h"

#include <QVariantMap>
#include <QVector>

#include <memory>
#include <vector>

class SampleDatabase;

/// In which way messages get lost.
enum class WhatsappDeletion {
    SingleMessages, ///< here and there
    ClearedChats,   ///< all messages of some chats; the chats remain
    DeletedChats,   ///< some chats with their messages, members and media
    Everything,     ///< all chats
    ThenMessages,   ///< some chats and single messages, whose space new messages then partly take
    Revoked,        ///< messages are taken back by those who wrote them, and some are deleted
};

QVector<WhatsappDeletion> allWhatsappDeletions();
QString deletionName(WhatsappDeletion deletion);

/// What to put into a sample.
struct WhatsappPlan
{
    WhatsappLayout layout = WhatsappLayout::Ios15;
    WhatsappDeletion deletion = WhatsappDeletion::SingleMessages;
    int messages = 400;
    quint32 seed = 1;
};

struct SampleWhatsappMember
{
    qint64 key = 0;
    QString name; ///< may be empty
    QString jid;
    QString pushName; ///< may be empty
};

struct SampleWhatsappChat
{
    qint64 key = 0;
    QString name;
    QString jid;
    QVector<SampleWhatsappMember> members; ///< of a group, those who left included
};

/// One version of a message.
struct SampleWhatsappMessage
{
    qint64 key = 0;
    int chat = 0;             ///< place in the list of chats
    QVariantMap row;          ///< as stored
    bool isRefused = false;   ///< no header test takes the row
    QString mediaText;        ///< what the media item makes of the text; null where there is none
    WhatsappMessageItem item; ///< as recovery is to return it at best
};

/// The truth about a sample database.
struct WhatsappSample
{
    QVector<SampleWhatsappChat> chats;
    QVector<SampleWhatsappMessage> deleted;
    QVector<SampleWhatsappMessage> live;
    QVector<SampleWhatsappMessage> formerVersions; ///< of deleted and of live messages
};

/// Makes the tables in the empty database `db`, and lives the plan through in it, every step a
/// transaction of its own as on a device. Returns false when SQLite refuses a step.
bool makeWhatsappSample(SampleDatabase *db, const WhatsappPlan &plan, WhatsappSample *sample);

/// The chats of the messages as recovery is to return them at best.
std::vector<std::unique_ptr<WhatsappChatRecord>>
expectedChats(const WhatsappSample &sample, const QVector<SampleWhatsappMessage> &messages);
