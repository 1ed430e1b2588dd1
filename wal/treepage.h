#pragma once

#include <QByteArray>
#include <QVector>

class DatabaseReader;

/// A page of a table's b-tree.
struct TreePage
{
    enum Kind {
        Unreadable, ///< no page of a table, or not all there
        Interior,
        Leaf,
    };

    Kind kind = Unreadable;
    quint32 pageNo = 0;
    QByteArray bytes;
    QVector<quint16> cells;    ///< of a leaf
    QVector<quint32> children; ///< of an interior page, in key order
    QVector<qint64> keys;      ///< the highest row identifier below every child but the last
};

/// Reads a page; one that the version does not have is unreadable.
TreePage readTreePage(DatabaseReader &version, quint32 pageNo);
