#pragma once

#include "engine/rowmatcher.h"
#include "recoverers/messaging/weixindbfile.h"

/// Matches rows of the tables of conversations. The rowid alias stands among the columns, not in
/// front of them, so that its type is one of those in the list.
class weixinDBFile::MsgMatcher : public RowMatcher
{
public:
    explicit MsgMatcher(weixinDBFile *recoverer);

    bool bindColumns(const TableSchema &table) override;
    bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) override;
    void extractRecord(const TableSchema &table, const QByteArray &payload, bool isDeleted,
                       int limit) override;

    /// Equal for bound tables whose rows look alike.
    QVector<int> layout() const
    {
        return {m_columnCount, m_createTime, m_message, m_type, m_des, m_alias};
    }

    /// Whose leaf pages are searched from now on.
    void startConversation(int conversation) { m_conversation = conversation; }

protected:
    void readRow(const TableSchema &table, const Row &row) override;

private:
    void settleFirstType(const QByteArray &region);
    bool isTimeAt(const QByteArray &region, qint64 pos) const;

    weixinDBFile *m_owner;
    int m_columnCount = 0;
    int m_createTime = -1;
    int m_message = -1;
    int m_type = -1;
    int m_des = -1;
    int m_alias = -1; ///< the rowid alias; -1 when the table has none
    int m_conversation = CarvedWeixinMessage::NoConversation;
    qint64 m_usualFirstType; ///< of the last live row
    qint64 m_rowid = 0;
    CarvedWeixinMessage m_held; ///< where the row that is held back lies
};
