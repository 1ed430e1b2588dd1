#pragma once

#include "api/bookmarkrecord.h"
#include "samples/safarilayout.h"
#include "samples/sampledatabase.h"

#include <QHash>

/// In which way bookmarks get lost.
enum class BookmarkDeletion {
    Scattered,   ///< single bookmarks
    Contiguous,  ///< one range of bookmarks
    WholeTable,  ///< all of them in one statement
    Edited,      ///< bookmarks are renamed or moved, and some of all deleted afterwards
    ThenInserts, ///< single bookmarks, whose space new ones then partly take
};

/// In which way entries of the history get lost.
enum class HistoryDeletion {
    SingleItems, ///< single addresses, which the browser may list as removed
    TimeSpan,    ///< all visits of one span of time
    Expired,     ///< visits from the beginning on, because of their age
    Everything,  ///< the whole history
    ThenVisits,  ///< single addresses, whose space new visits then partly take
};

/// What to put into a sample.
struct BookmarkPlan
{
    BookmarkLayout layout = BookmarkLayout::Ios7;
    BookmarkDeletion deletion = BookmarkDeletion::Scattered;
    int rows = 200;
    quint32 seed = 1;
};

struct HistoryPlan
{
    HistoryLayout layout = HistoryLayout::Ios10;
    HistoryDeletion deletion = HistoryDeletion::SingleItems;
    int visits = 400;
    quint32 seed = 1;
};

/// One bookmark or folder.
struct SampleBookmark
{
    BookmarkRecord record;
    qint64 id = 0;
    bool isFolder = false;
    int order = 0;
    QString uuid;
};

/// The truth about a sample database of bookmarks; folders are not in it.
struct BookmarkSample
{
    QVector<SampleBookmark> deleted;
    QVector<SampleBookmark> live;
    QVector<SampleBookmark> formerVersions;
};

/// The truth about a sample database of a history. Records have the title of the last visit that
/// has one.
struct HistorySample
{
    QVector<BookmarkRecord> deleted;
    QVector<BookmarkRecord> live;
    QStringList removed; ///< addresses that the browser itself lists as removed
    /// All titles that the visits of an address ever had.
    QHash<QString, QStringList> titles;
};

QVector<BookmarkDeletion> allBookmarkDeletions();
QVector<HistoryDeletion> allHistoryDeletions();
QString deletionName(BookmarkDeletion deletion);
QString deletionName(HistoryDeletion deletion);

/// How the file is laid out on devices.
SampleOptions deviceOptions(BookmarkLayout layout);
SampleOptions deviceOptions(HistoryLayout layout);

/// Make the tables, and live the plan through, every step a transaction of its own as on a device.
/// Return false when SQLite refuses a step.
bool makeBookmarkSample(SampleDatabase *db, const BookmarkPlan &plan, BookmarkSample *sample);
bool makeHistorySample(SampleDatabase *db, const HistoryPlan &plan, HistorySample *sample);

/// True when a recovered bookmark may be expected: the header test takes its row, and its address
/// is one.
bool canComeBack(const SampleBookmark &bookmark);

QVector<BookmarkRecord> recordsOf(const QVector<SampleBookmark> &bookmarks);
