#pragma once

#include <QString>

/// One recovered bookmark, or one recovered entry of the browsing history. A plain value.
struct BookmarkRecord
{
    /// Title as stored; may be empty.
    QString title;
    /// Address as stored.
    QString url;
    /// Bookmarks: row identifier of the folder that held it. History entries: always 0.
    qint64 parent = 0;
};
