#pragma once

#include "wal/tableversion.h"

#include <QStringList>

class SnapshotContext;

/// Receives the rows that went away or changed from one version of the database to the next, and
/// makes records of them. There is one for each kind of database.
class TableChangeCollector
{
public:
    virtual ~TableChangeCollector();

    /// The rows that follow are those of this commit.
    virtual void beginCommit(int commitIndex);

    /// The tables to compare.
    virtual QStringList tableNames() = 0;

    /// A row of `earlier` that the next version lacks.
    virtual void collectRow(const TableVersion &earlier, const TableRow &row) = 0;

    /// A row whose record differs in the two versions.
    virtual void collectChangedRow(const TableVersion &earlier, const TableRow &earlierRow,
                                   const TableVersion &later, const TableRow &laterRow) = 0;

    /// All rows were handed over, or the scan was stopped. Versions can still be looked at: this is
    /// where the collected rows become records.
    virtual void finishCollection();

    /// Hands the finished records over to the facade, where finishCollection() did not.
    virtual void publishResults();

    /// Lends the versions for the time from the first commit to finishCollection().
    void setContext(SnapshotContext *context) { m_context = context; }

protected:
    /// The commit whose rows are being handed over; -1 outside.
    int currentCommit() const { return m_currentCommit; }

    /// A table as it stood in the end: what its rows hold is not lost.
    TableVersion lastVersion(const QString &table) const;

    /// A table as it stood in the database file before the log.
    TableVersion firstVersion(const QString &table) const;

private:
    SnapshotContext *m_context = nullptr;
    int m_currentCommit = -1;
};
