#pragma once

#include "engine/rowmatcher.h"
#include "recoverers/rownumbering.h"

/// Base of matchers that need the row identifiers of deleted rows, because other rows refer to
/// them.
class NumberedMatcher : public RowMatcher
{
public:
    /// `liveIds` are the identifiers of the table's live rows, ascending; borrowed.
    explicit NumberedMatcher(const QVector<qint64> &liveIds)
        : m_numbering(liveIds)
    {
    }

    void trackRowid(const TableSchema &table, bool restart, bool isDeleted) override;
    void extractRecord(const TableSchema &table, const QByteArray &payload, bool isDeleted,
                       int limit) override;
    /// Also numbers the rows of the last region.
    void finish() override;

protected:
    /// Keeps the identifier of the candidate that decodeAround() decoded last.
    void keepRowid(const QByteArray &region);

    /// The identifier of the row that readRow() is called for.
    CarvedRowid keptRowid() const { return m_heldRowid; }

    /// Numbers the row that readRow() is called for. `rowid` must stay where it is; it is null for
    /// a row of which nothing is kept.
    void number(CarvedRowid *rowid, const Row &row)
    {
        m_numbering.addCarved(rowid, {row.typesStart, row.localEnd});
    }

private:
    CarvedRowid m_rowid;
    CarvedRowid m_heldRowid;
    RowNumbering m_numbering;
};
