#pragma once

#include <QVector>
#include <QtGlobal>

/// The row identifier of a carved row. It stands in the cell's first bytes, which are the ones that
/// a freeblock header overwrites.
struct CarvedRowid
{
    qint64 value = 0; ///< 0 when unknown
    /// Read from a cell whose bytes in front of the header are all there; otherwise the value was
    /// concluded from the rows around it, or read from bytes that may be overwritten.
    bool isIntact = false;
    /// Concluded from rows that leave no other number; otherwise it is a guess.
    bool isSure = false;

    /// The value if it can be relied upon, else 0.
    qint64 believed() const { return isIntact || isSure ? value : 0; }
};

/// Concludes the identifiers of carved rows from the rows around them. SQLite lays the cells of a
/// page down from its end towards its start, so that of two rows the one at the lower offset was
/// written later and has the higher identifier.
///
/// Rows in front of a live row are numbered upwards from it. An identifier from an intact cell is
/// kept, and numbers run on from it. What does not fit between two known identifiers stays unknown.
/// A number is sure when the rows lie side by side, so that no row that was not recognised can have
/// one of the numbers, or when there are exactly as many rows as free numbers: values of one person
/// must not come under the name of another.
class RowNumbering
{
public:
    /// Where a row lies in the region: from its serial types to the end of its body.
    struct Place
    {
        qint64 begin;
        qint64 end;
    };

    /// `liveIds` are the identifiers of all live rows of the table, ascending; borrowed.
    explicit RowNumbering(const QVector<qint64> &liveIds);

    /// Begins a region of the file; numbers what is left of the one before.
    void restart();

    /// Takes the next row of the region. A carved row is borrowed until the next restart(); null
    /// stands for a row of which nothing is kept but that it had a number. A live row whose own
    /// identifier is unknown (0) numbers nothing, but had a number as well.
    void addCarved(CarvedRowid *row, const Place &place);
    void addLive(qint64 rowid, const Place &place);

private:
    /// A row, or with `row` null and `known` not 0 a live row.
    struct Entry
    {
        CarvedRowid *row;
        Place place;
        qint64 known; ///< its identifier where that is certain, else 0
    };
    void settle();
    void numberRun(int front, int behind);
    void numberTail(int front);
    bool areSideBySide(int front, int behind) const;
    qint64 highestLiveBelow(qint64 rowid) const;

    const QVector<qint64> &m_liveIds;
    QVector<Entry> m_entries; ///< from the last live row on, by ascending offset
};
