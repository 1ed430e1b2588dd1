#pragma once

#include "api/bookmarkrecord.h"
#include "recoverers/rownumbering.h"

#include <QHash>
#include <QMap>
#include <QString>
#include <QVector>

#include <deque>

/// The live rows that the recovered ones need.
struct LiveHistory
{
    QMap<qint64, QString> items; ///< addresses by row identifier
    QStringList removedUrls;     ///< addresses that the browser itself lists as removed
};

struct CarvedHistoryItem
{
    QString url;
    CarvedRowid id;
};

struct CarvedVisit
{
    qint64 item = 0; ///< row identifier of the visited address
    qint64 time = 0; ///< in seconds since 2001
    QString title;
};

struct CarvedHistory
{
    std::deque<CarvedHistoryItem> items; ///< in the order found; does not move them as it grows
    QVector<CarvedVisit> visits;
};

/// Returns what the database has of it; nothing for tables that are missing.
LiveHistory readHistory(const QString &dbPath);

/// Returns one entry for each address that was found, in the order found, and then for each of the
/// removed ones that was not. An entry has the title of the last visit of its item that has one.
/// Former rows of addresses that are still in the history give entries as well: which of their
/// visits were deleted cannot be told from them.
QVector<BookmarkRecord> assembleHistory(const LiveHistory &live, const CarvedHistory &carved);
