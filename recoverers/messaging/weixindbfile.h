#pragma once

#include "engine/sqlitedbfile.h"
#include "recoverers/messaging/weixinassembler.h"

#include <QBitArray>
#include <QSet>

/// Recovers deleted WeChat messages. Every conversation has a table of its own, "Chat_" and a hash;
/// their leaf pages are searched one after the other, the free pages once for all of them.
class weixinDBFile : public SqliteDbFile
{
    Q_OBJECT
public:
    class MsgMatcher; ///< rows of a conversation

    explicit weixinDBFile(QObject *parent = nullptr);
    ~weixinDBFile() override;

    int scanDeletedRecords(SqliteRecovery *resultHolder) override;

    /// Forgets the conversations of earlier scans, which are about to be freed.
    static void forgetChats();

private:
    struct LayoutSearch;

    void carve();
    bool carveConversation(int conversation, LayoutSearch *search);
    bool carveFreePages(LayoutSearch *search);
    void carveFormerLeaf(const TableSchema &table, MsgMatcher *matcher);
    bool takePage(quint32 pageNo);
    QVector<quint32> newLeafPages(const TableSchema &table);
    void readLiveMessages();
    QVector<WeixinNumbers> readNumbers() const;
    void deliver(const QVector<CarvedWeixinMessage> &messages, SqliteRecovery *resultHolder);

    QVector<const TableSchema *> m_conversations;
    QSet<qint32> m_roots;   ///< of the tables that were searched
    QBitArray m_isSearched; ///< by page
    DeletedWeixinMessages m_deleted;
};
