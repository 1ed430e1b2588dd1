#pragma once

#include "engine/rowmatcher.h"
#include "recoverers/calendar_notes_safari/bookmarkdbfile.h"

/// Matches rows of the table "bookmarks".
class BookmarkDbFile::BookmarMatcher : public RowMatcher
{
public:
    explicit BookmarMatcher(BookmarkDbFile *recoverer);

    bool bindColumns(const TableSchema &table) override;
    bool matchHeader(const TableSchema &table, const QByteArray &region, int anchorPos) override;

protected:
    void readRow(const TableSchema &table, const Row &row) override;

private:
    void decodeRow(const QByteArray &region, int anchorPos, int typesAfter);
    bool alignToContents(const QByteArray &region);

    BookmarkDbFile *m_owner;
    int m_externalUuid = -1;
    int m_numChildren = -1;
    int m_editable = -1;
    int m_deletable = -1;
    int m_specialId = -1;
    int m_title = -1; ///< this and the next two are read where present, not required
    int m_url = -1;
    int m_parent = -1;
};
