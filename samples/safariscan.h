#pragma once

#include "api/sqliterecovery.h"

inline QVector<BookmarkRecord> bookmarksOf(SqliteRecovery *recovery)
{
    QVector<BookmarkRecord> records;
    for (unsigned i = 0; i < recovery->getBookmarkCount(); ++i) {
        records << *recovery->getBookmark(i);
    }
    return records;
}

inline QVector<BookmarkRecord> historyOf(SqliteRecovery *recovery)
{
    QVector<BookmarkRecord> records;
    for (unsigned i = 0; i < recovery->getSafariHistoryCount(); ++i) {
        records << *recovery->getSafariHistory(i);
    }
    return records;
}

/// Return what the public interface finds in the file. Inline, so that the sample library itself
/// does not need the library under test.
inline QVector<BookmarkRecord> scanBookmarks(const QString &path)
{
    SqliteRecovery recovery;
    recovery.scanRecoveryForType(ScanTypeBookmarks, path, nullptr);
    return bookmarksOf(&recovery);
}

inline QVector<BookmarkRecord> scanHistory(const QString &path)
{
    SqliteRecovery recovery;
    recovery.scanRecoveryForType(ScanTypeSafariHistory, path, nullptr);
    return historyOf(&recovery);
}
