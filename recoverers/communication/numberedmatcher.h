#pragma once

#include "engine/spillingmatcher.h"
#include "recoverers/communication/rownumbering.h"

/// Base of matchers that need the row identifiers of deleted rows, because other rows refer to
/// them.
class NumberedMatcher : public SpillingMatcher
{
public:
    /// `liveIds` are the identifiers of the table's live rows, ascending; borrowed.
    explicit NumberedMatcher(const QVector<qint64> &liveIds)
        : m_numbering(liveIds)
    {
    }

    void trackRowid(const TableSchema &table, bool restart, bool isDeleted) override;

    /// Numbers the rows of the last region; to be called when a search is over.
    void finishNumbering() { m_numbering.restart(); }

protected:
    /// Keeps the identifier of the candidate that decodeAround() decoded last.
    void keepRowid(const QByteArray &region, int anchorPos);
    CarvedRowid keptRowid() const { return m_rowid; }

    /// Takes a carved row, which must stay where it is, or null for a row that is not kept.
    void number(CarvedRowid *row) { m_numbering.addCarved(row); }

private:
    bool hasPayloadSize(const QByteArray &region, int recordStart) const;

    CarvedRowid m_rowid;
    RowNumbering m_numbering;
};
