#pragma once

#include <QStringList>
#include <QVector>

/// The generations of the bookmarks' database. That of Safari 18 was made by an older system and
/// got more columns later; that of Safari 27 was made new.
enum class BookmarkLayout { Ios3, Ios7, Safari18, Safari27 };

/// The generations of the history's database. Those of iOS 11 and Safari 27 were made by an older
/// system and got more columns later.
enum class HistoryLayout { Ios9, Ios10, Ios11, Safari27 };

QVector<BookmarkLayout> allBookmarkLayouts();
QVector<HistoryLayout> allHistoryLayouts();
QString layoutName(BookmarkLayout layout);
QString layoutName(HistoryLayout layout);

/// The statements that make all tables and indexes, as a device first makes them.
QStringList safariTables(BookmarkLayout layout);
QStringList safariTables(HistoryLayout layout);
/// The statements with which a newer system adds columns; none for files that were made new.
QStringList addedColumns(BookmarkLayout layout);
QStringList addedColumns(HistoryLayout layout);
