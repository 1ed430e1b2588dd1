#pragma once

#include <QSet>
#include <QtGlobal>

class DatabaseReader;

/// What deletions left in a database, from what says least to what says most.
enum class FreedSpace {
    None,    ///< no space was freed
    Erased,  ///< there is freed space, and nothing of a row in it
    Unknown, ///< pages that could hold it cannot be read
    Filled,  ///< freed space holds bytes
};

/// Looks at the leaf pages of the tables that have these root pages, and at the free pages of the
/// file, each once at most. Freed is what lies on a list of free pages or of free blocks, and what
/// is left between the cell pointers and the cells of a page. What SQLite itself writes into erased
/// space counts for nothing: headers of blocks, former ends of lists, so that only more than four
/// bytes in a row without a zero are taken for what a row has left.
FreedSpace findFreedSpace(DatabaseReader &reader, const QSet<quint32> &rootPages);
