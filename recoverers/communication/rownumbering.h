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
};

/// Concludes the identifiers of carved rows from the rows around them. SQLite lays the cells of a
/// page down from its end towards its start, so that of two rows the one at the lower offset was
/// written later and has the higher identifier.
///
/// Rows in front of a live row are numbered upwards from it. An identifier from an intact cell is
/// kept, and numbers run on from it. What does not fit between two known identifiers stays unknown
/// rather than wrong: values of one person must not come under the name of another.
class RowNumbering
{
public:
    /// `liveIds` are the identifiers of all live rows of the table, ascending; borrowed.
    explicit RowNumbering(const QVector<qint64> &liveIds);

    /// Begins a region of the file; numbers what is left of the one before.
    void restart();

    /// Takes the next row of the region. A carved row is borrowed until the next restart(); null
    /// stands for a row of which nothing is kept but that it had a number. A live row whose own
    /// identifier is unknown (0) numbers nothing, but had a number as well.
    void addCarved(CarvedRowid *row);
    void addLive(qint64 rowid);

private:
    void settle(qint64 behind);
    QVector<qint64> upperBounds(qint64 behind) const;
    qint64 forcedStart() const;

    const QVector<qint64> &m_liveIds;
    QVector<CarvedRowid *> m_pending; ///< rows since the last live one, by ascending offset
    qint64 m_lastLive = 0;            ///< the live row in front of them; 0 when there is none
};
