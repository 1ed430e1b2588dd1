#pragma once

#include "wal/tablepages.h"
#include "wal/tableversion.h"

#include <QVector>

/// Tells in which versions one table changed, so that what was read of it need not be read again.
/// The pages of the table are read once as a whole; after that only what the commits wrote of it.
class TableHistory
{
public:
    /// Returns the first version known to hold the same rows as this one, which must exist.
    /// Versions before the first one asked for count as changes.
    int since(const TableVersion &table);

private:
    bool follow(const TableVersion &table);

    int m_first = 0;
    QVector<int> m_since; ///< by version, beginning with `m_first`
    TablePages m_pages;   ///< in the last of those versions
    quint32 m_root = 0;
    int m_columnCount = 0;
};
