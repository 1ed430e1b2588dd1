#pragma once

#include "wal/snapshotcontext.h"
#include "wal/tablepages.h"

#include <QStringList>
#include <QVector>

class ScanProgress;
class TableChangeCollector;

/// Compares the tables of every version of a database with those of the version before it, the
/// first with the database file, and hands the rows that vanished or changed to a collector.
///
/// A log whose pages do not fit into the tables belongs to another database: nothing is compared.
///
/// A commit costs about the pages that it wrote: of a table only the leaf pages that differ are
/// read from both versions.
class TableDiff
{
public:
    /// Borrows all; `progress` may be null.
    TableDiff(SnapshotContext *context, TableChangeCollector *collector, ScanProgress *progress);

    /// Compares all versions, until the progress object answers false or what a log of this size
    /// may cost is spent. Either way the collector is told in the end to finish, so that what was
    /// found until then is delivered.
    void run();

private:
    /// A table and what is known of its pages.
    struct ComparedTable
    {
        QString name;
        TableVersion earlier;
        TablePages pages;
        int pagesOfCommit = DatabaseFileVersion; ///< the version that `pages` describes
    };

    bool reportProgress(double step);
    void start();
    bool doesLogFit() const;
    bool compareCommit(int commitIndex);
    bool compareTable(ComparedTable *table, const TableVersion &later);
    bool spendOnPages(const TablePages::ChangedLeaves &leaves);
    bool compareRows(const ComparedTable &table, const TableVersion &later,
                     const TablePages::ChangedLeaves &leaves);

    SnapshotContext *m_context;
    TableChangeCollector *m_collector;
    ScanProgress *m_progress;
    double m_step = 0;
    bool m_isOwnLog = false;
    QVector<ComparedTable> m_tables;
};
