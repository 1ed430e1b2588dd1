#pragma once

#include <QtGlobal>

#include <functional>

class DatabaseReader;

/// How the pages of a table fit into its tree.
struct TreeCheck
{
    struct Count
    {
        int checked = 0;
        int misfits = 0; ///< no pages of a table, or with row identifiers of another place
    };

    Count inLog;
    Count inFile;

    void add(const TreeCheck &other)
    {
        inLog.checked += other.inLog.checked;
        inLog.misfits += other.inLog.misfits;
        inFile.checked += other.inFile.checked;
        inFile.misfits += other.inFile.misfits;
    }
};

/// Looks at the table's pages in the log, at the interior pages that lead to them, and at some of
/// its other leaf pages. In the last version of a database they all fit; where the log is that of
/// another database, pages of both meet.
TreeCheck checkTree(DatabaseReader &version, quint32 rootPage,
                    const std::function<bool(quint32)> &isInLog);
