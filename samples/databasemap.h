#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

/// The bytes of a database file, and which of them belong to live rows of one table. Reads the file
/// on its own, so that it can bear witness for or against the carver.
class DatabaseMap
{
public:
    struct Extent
    {
        qint64 begin = 0;
        qint64 end = 0;
    };

    /// Returns false when the file cannot be read or the table's tree is not sound.
    bool load(const QString &path, quint32 rootPage);

    const QByteArray &bytes() const { return m_bytes; }
    int pageSize() const { return m_pageSize; }
    /// The live cells of the table, by position.
    const QVector<Extent> &cells() const { return m_cells; }
    bool overlapsCell(const Extent &extent) const;
    /// Position of the first live cell at or after `position` on the same page; 0 when there is
    /// none.
    qint64 nextCellOnPage(qint64 position) const;
    /// True when the four bytes are zero or, as in the cells of interior pages, a page number.
    bool isZeroOrPageNumber(qint64 position) const;
    /// True when the extent lies in a list of cell offsets, live or left behind: numbers of two
    /// bytes, each smaller than the one before.
    bool isPointerList(const Extent &extent) const;
    qint64 pageOf(qint64 position) const { return position / m_pageSize + 1; }
    /// All positions of `pattern` in the file.
    QVector<qint64> find(const QByteArray &pattern) const;
    /// The bytes of the extent in hexadecimal.
    QString hex(const Extent &extent) const;

private:
    quint32 number(qint64 position, int size) const;
    bool loadPage(quint32 page, int depth);
    void loadLeaf(qint64 start);
    Extent cellAt(qint64 position) const;

    QByteArray m_bytes;
    int m_pageSize = 0;
    QVector<Extent> m_cells;
};
