#pragma once

#include "engine/sqlitedbfile.h"
#include "recoverers/messaging/whatsapprows.h"

/// Recovers deleted WhatsApp messages and joins them into chats.
class WhatsappDbFile : public SqliteDbFile
{
    Q_OBJECT
public:
    class SessionMatcher; ///< rows of "zwachatsession"
    class MemberMatcher;  ///< rows of "zwagroupmember"
    class MediaMatcher;   ///< rows of "zwamediaitem"
    class MessageMatcher; ///< rows of "zwamessage"

    explicit WhatsappDbFile(QObject *parent = nullptr);
    ~WhatsappDbFile() override;

    /// A scan that is stopped delivers what was found until then.
    int scanDeletedRecords(SqliteRecovery *resultHolder) override;

private:
    void carve();
    template<typename Matcher> bool carve(const TableSchema *table, double span, bool freeListOnly);

    LiveWhatsapp m_live;
    QVector<qint64> m_liveSessions; ///< keys, ascending
    QVector<qint64> m_liveMembers;
    QVector<qint64> m_liveMedia;
    CarvedWhatsapp m_carved;
};
