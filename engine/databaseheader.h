#pragma once

#include <QtGlobal>

#include <algorithm>
#include <climits>

/// What the rest of the engine needs from the 100-byte header of a database file.
struct DatabaseHeader
{
    /// The read-version byte (file offset 19) is 2.
    bool walMode = false;
    /// The largest-root-b-tree-page field (file offset 52) is not zero.
    bool autoVacuum = false;
    /// Bytes per page, from file offset 16.
    qint32 pageSize = 0;
    /// Whole pages in the file, by its size: the count in the header is not trusted.
    quint32 pageCount = 0;
    /// Bytes at the end of every page that SQLite does not use, from file offset 20.
    qint32 reservedBytes = 0;
    /// First trunk page of the freelist (file offset 32); 0 when there is none.
    quint32 firstFreelistTrunk = 0;
    /// File offset 56: 1 UTF-8, 2 UTF-16 little-endian, 3 UTF-16 big-endian.
    qint32 textEncoding = 0;

    /// Bytes of a page that SQLite uses; may be 0 or negative in a damaged file.
    qint32 usableSize() const { return pageSize - reservedBytes; }
    /// Size of a bit array with a bit for each page number, within what such an array can have.
    int pageBits() const { return int(std::min<qint64>(qint64(pageCount) + 1, INT_MAX - 64)); }
};
