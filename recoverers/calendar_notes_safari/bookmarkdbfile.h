#pragma once

#include "engine/sqlitedbfile.h"

#include <QSet>

struct BookmarkRecord;

/// Recovers deleted Safari bookmarks, from the table "bookmarks".
class BookmarkDbFile : public SqliteDbFile
{
    Q_OBJECT
public:
    class BookmarMatcher; ///< rows of "bookmarks"

    explicit BookmarkDbFile(QObject *parent = nullptr);
    ~BookmarkDbFile() override;

    int scanDeletedRecords(SqliteRecovery *resultHolder) override;

    /// Appends the bookmark to the result holder's array, unless its address is none ("://" is not
    /// in it), or a bookmark with the same title and address still exists or was appended before.
    void addRecord(const BookmarkRecord &record);

private:
    void readLiveKeys();

    QSet<QString> m_seenKeys;
    SqliteRecovery *m_resultHolder = nullptr;
};
