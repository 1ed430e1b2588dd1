#pragma once

#include "engine/sqlitedbfile.h"
#include "recoverers/calendar_notes_safari/historyassembler.h"

/// Recovers deleted entries of Safari's history, from the tables "history_items" and
/// "history_visits".
class BookmarkHistoryDbFile : public SqliteDbFile
{
    Q_OBJECT
public:
    class BookmarHistoryMatcher;      ///< rows of "history_items"
    class BookmarHistoryVisitMatcher; ///< rows of "history_visits"

    explicit BookmarkHistoryDbFile(QObject *parent = nullptr);
    ~BookmarkHistoryDbFile() override;

    int scanDeletedRecords(SqliteRecovery *resultHolder) override;

private:
    void carve();
    bool carveItems(const TableSchema &items, double span);
    void carveVisits(const TableSchema &visits, double span);

    LiveHistory m_live;
    QVector<qint64> m_liveItemIds; ///< ascending
    CarvedHistory m_carved;
};
