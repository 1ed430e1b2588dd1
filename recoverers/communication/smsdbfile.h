#pragma once

#include "engine/sqlitedbfile.h"
#include "recoverers/communication/messagerows.h"

/// Recovers deleted messages and joins them into conversations. Knows both generations of the
/// messages database: up to iOS 5, where a table "group_member" exists, and since iOS 6.
class SMSDbFile : public SqliteDbFile
{
    Q_OBJECT
public:
    class Message5Matcher;   ///< rows of "message" up to iOS 5
    class MadridChatMatcher; ///< rows of "madrid_chat" (iOS 5)
    class Message6Matcher;   ///< rows of "message" since iOS 6
    class Handle6Matcher;    ///< rows of "handle" since iOS 6

    explicit SMSDbFile(QObject *parent = nullptr);
    ~SMSDbFile() override;

    /// The table "message" with the columns of iOS 14, for rows that were written under other
    /// columns than it has now.
    static TableSchema fixedTable(const TableSchema &messages);

    /// A scan that is stopped delivers what was found until then.
    int scanDeletedRecords(SqliteRecovery *resultHolder) override;

private:
    void carveOldGeneration(double span);
    void carveNewGeneration(double span);
    bool carveMessages(double span);
    void carveHandles(double span);

    LiveMessages m_live;
    QVector<qint64> m_liveHandleIds; ///< ascending
    CarvedMessages m_carved;
};
