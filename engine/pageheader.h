#pragma once

#include <QByteArray>
#include <QVector>
#include <QtGlobal>

/// B-tree page types that are walked; index pages (2 and 10) never are.
constexpr quint8 TableInteriorPage = 5;
constexpr quint8 TableLeafPage = 13;

/// Size of the database header, in front of the b-tree page header on page 1.
constexpr int DatabaseHeaderSize = 100;
/// Size of a leaf page's header. An interior page's header is 4 bytes longer.
constexpr int LeafHeaderSize = 8;
constexpr int InteriorHeaderSize = 12;

/// The first 8 bytes of a b-tree page:
///
///   0 | type | 1..2 first freeblock | 3..4 cell count | 5..6 content start | 7 fragmented bytes |
///   8..11 right-most child page, on interior pages only
///
/// The cell pointer array follows: one 2-byte offset, relative to the start of the page, per cell.
struct PageHeader
{
    quint8 type = 0;
    quint16 firstFreeblock = 0;
    quint16 cellCount = 0;
    quint16 contentStart = 0;
    quint8 fragmentedBytes = 0;
};

/// Decodes the LeafHeaderSize bytes at `bytes`.
PageHeader decodePageHeader(const uchar *bytes);

/// Decodes `count` cell pointers from the 2 * `count` bytes at `bytes`, in array order.
QVector<quint16> decodeCellPointers(const uchar *bytes, int count);

/// A b-tree page in memory, with the checks that every access to it needs.
class PageView
{
public:
    /// `page` is what the file holds of the page, from its start; it must outlive the view.
    PageView(const QByteArray &page, quint32 pageNo);

    /// Decodes the header, of LeafHeaderSize or InteriorHeaderSize. Returns false when it or the
    /// cell pointer array is not all there; nothing else may then be asked for.
    bool readHeader(int headerSize);

    const PageHeader &header() const { return m_header; }
    /// The cell pointers in array order; the number of them is the cell count.
    QVector<quint16> cellPointers() const;
    /// Where the cell pointer array ends, relative to the page.
    int cellPointersEnd() const { return m_pointers + 2 * m_header.cellCount; }
    /// Of an interior page.
    quint32 rightMostChild() const;

    /// The byte at `offset` of the page; end() when it is not there.
    const uchar *at(int offset) const;
    const uchar *end() const;

private:
    const QByteArray &m_page;
    int m_headerOffset;
    int m_pointers = 0;
    PageHeader m_header;
};

/// Returns the file offset of page `pageNo`; of the b-tree page header on page 1, which stands
/// behind the database header.
constexpr qint64 pageOffset(quint32 pageNo, qint64 pageSize)
{
    return (qint64(pageNo) - 1) * pageSize + (pageNo == 1 ? DatabaseHeaderSize : 0);
}
