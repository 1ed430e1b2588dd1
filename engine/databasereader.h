#pragma once

#include "engine/databaseheader.h"
#include "engine/freeregions.h"
#include "engine/pageheader.h"
#include "engine/tableschema.h"
#include "engine/workbudget.h"

#include <QVector>

class QIODevice;

/// A run of bytes of the file.
struct PayloadChunk
{
    qint64 offset = 0;
    qint64 length = 0;
};

/// One live cell of a table leaf page:
///
///   varint payload size | varint rowid | the first `localSize` bytes of the payload | and, when
///   the payload spills, the 4-byte number of the first overflow page, which `localSize` includes
struct RowRef
{
    quint32 pageNo = 0;
    qint64 cellOffset = 0; ///< in the file
    qint64 rowid = 0;
    qint32 cellHeaderLength = 0; ///< bytes of the two varints
    qint32 payloadSize = 0;
    qint32 localSize = 0;
    /// The chunks of every field, in column order; together they hold exactly the field's bytes.
    QVector<QVector<PayloadChunk>> fields;
};

/// Where a payload that spills goes on.
struct OverflowChain
{
    quint32 firstPage = 0;
    qint64 pageCount = 0;
};

/// Reads the SQLite 3 file format over any random-access device, without the SQLite engine: the
/// bytes that a recovery wants are those that the engine never returns. Keeps nothing of the file
/// in memory but the header and the table list.
class DatabaseReader
{
public:
    /// `device` must be open for reading and outlive the reader.
    explicit DatabaseReader(QIODevice *device);

    /// Reads the header, then the schema. Returns true only when both could be read; a schema row
    /// of more than 8 MiB counts as unreadable.
    bool open();

    /// Checks the database header and keeps what is needed of it. Returns false when the file is no
    /// database, is shorter than a page, or has more than one page and an unknown text encoding.
    bool readHeader();

    const DatabaseHeader &headerInfo() const { return m_header; }

    /// Returns the table named `name` in any case, or null. Borrowed until the next open().
    const TableSchema *table(const QString &name) const;

    /// Returns the tables whose names begin with `prefix` in any case, in schema order.
    QVector<const TableSchema *> tablesWithPrefix(const QString &prefix) const;

    /// Returns the leaf pages of the table b-tree rooted at `pageNo`: the right-most subtree of
    /// every interior page first, then the others in cell pointer order, which is not key order.
    /// Returns no pages when any page of the tree cannot be read, is no table page or is met twice.
    QVector<quint32> collectLeafPages(quint32 pageNo);

    /// Reads the 8 bytes at `fileOffset`, leaving the device behind them. False when they are not
    /// all there.
    bool readPageHeader(qint64 fileOffset, PageHeader &header);

    /// Reads `count` cell pointers at the device's position. False when they are not all there.
    bool readCellPointers(int count, QVector<quint16> &pointers);

    /// Appends a RowRef, without fields, for every cell of the pages: page by page in the given
    /// order, the cells of a page by ascending offset, which is not key order.
    /// Returns false at the first page, cell pointer or cell that cannot be read.
    bool readLeafRows(const QVector<quint32> &leafPages, QVector<RowRef> &rows);

    /// Reads the page from its start, also page 1; what the file still holds of it.
    QByteArray readPage(quint32 pageNo);

    /// Decodes the cell at `cellOffset` of the leaf page `pageNo`, of which `page` holds the bytes,
    /// into all of `row` but its fields. Returns false when its two varints are not all there.
    bool decodeLeafCell(const QByteArray &page, quint32 pageNo, int cellOffset, RowRef &row) const;

    /// Returns how many bytes of the payload stand on the leaf page.
    qint64 localBytes(const RowRef &row) const;

    /// Finds the overflow pages of a row on the leaf page of which `page` holds the bytes. Returns
    /// false when it has none.
    bool overflowChain(const QByteArray &page, const RowRef &row, OverflowChain &chain) const;

    /// Returns the page that follows in an overflow chain; 0 when none does.
    quint32 nextOverflowPage(quint32 pageNo);

    /// Fills row.fields from the record header. Returns false, and leaves no fields, on any
    /// failure, also when there are more fields than SQLite allows columns.
    bool buildRecordLayout(RowRef &row);

    /// As the function of that name, for this file.
    qint32 localPayloadSize(qint64 payloadSize) const;

    /// Bounds the payloads with overflow pages that are read from now on: any number of rows can
    /// claim the same pages. `budget` is borrowed; null for no bound.
    void setPayloadBudget(WorkBudget *budget) { m_payloadBudget = budget; }

    /// Reads a payload across its overflow pages. Returns false, and no bytes, unless all are
    /// there.
    bool readRowPayload(const RowRef &row, QByteArray &payload);

    /// Reads one field of a row with a record layout. Returns false, and no bytes, when there is no
    /// such field or not all its bytes are there. NULL reads as true with no bytes.
    bool readField(const RowRef &row, int index, QByteArray &bytes);

    /// As collectFreeRegions() for this file.
    QVector<FreeRegion> freeRegions();

private:
    bool loadSchema();
    bool addTable(const RowRef &row);
    bool readTextValue(const RowRef &row, int index, QString &text);
    bool childPages(quint32 pageNo, QVector<quint32> &children);
    bool payloadChunks(const RowRef &row, QVector<PayloadChunk> &chunks);
    QByteArray readAt(qint64 offset, qint64 size);
    bool readChunks(const QVector<PayloadChunk> &chunks, QByteArray &bytes);

    QIODevice *m_device;
    DatabaseHeader m_header;
    QVector<TableSchema> m_tables;
    WorkBudget *m_payloadBudget = nullptr;
};
