#pragma once

#include "recoverers/calendar_notes_safari/bookmarkhistorydbfile.h"
#include "recoverers/matchedanchors.h"
#include "recoverers/numberedmatcher.h"

/// Matches rows of the table "history_items": one for each address that was visited.
class BookmarkHistoryDbFile::BookmarHistoryMatcher : public NumberedMatcher
{
public:
    explicit BookmarHistoryMatcher(BookmarkHistoryDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;
    bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) override;
    void extractRecord(const TableSchema &table, const QByteArray &payload, bool isDeleted,
                       int limit) override;

    /// To be called before the table is searched again under another column list.
    void startSecondSearch();

protected:
    void readRow(const TableSchema &table, const Row &row) override;

private:
    bool areOtherTypesUsual() const;
    bool settleUrlType(const QByteArray &region);
    bool isLongAddress(const QByteArray &region, qint64 type) const;
    bool isShortAddress(const QByteArray &region, qint64 type) const;

    BookmarkHistoryDbFile *m_owner;
    int m_dailyVisitCounts = -1;
    int m_url = -1;
    int m_visitCount = -1;
    int m_domainExpansion = -1; ///< this and the next three are looked at where present
    int m_weeklyVisitCounts = -1;
    int m_autocompleteTriggers = -1;
    int m_shouldRecompute = -1;
    MatchedAnchors m_anchors;
    bool m_isNew = false;     ///< the candidate was not matched by the first search
    bool m_isHeldNew = false; ///< the same of the row that is held back
};

/// Matches rows of the table "history_visits": one for each time that an address was visited.
class BookmarkHistoryDbFile::BookmarHistoryVisitMatcher : public RowMatcher
{
public:
    explicit BookmarHistoryVisitMatcher(BookmarkHistoryDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;
    bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) override;

protected:
    void readRow(const TableSchema &table, const Row &row) override;

private:
    bool isTimeAt(const QByteArray &region, qint64 pos) const;

    BookmarkHistoryDbFile *m_owner;
    int m_historyItem = -1;
    int m_visitTime = -1;
    int m_title = -1;
    int m_loadSuccessful = -1;
    int m_httpNonGet = -1;
    int m_synthesized = -1;
};
