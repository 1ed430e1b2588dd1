#include "engine/databasereader.h"

#include "engine/fieldreader.h"
#include "engine/serialtype.h"
#include "engine/spilledpayload.h"
#include "engine/varint.h"

#include <QDataStream>
#include <QIODevice>
#include <QSet>
#include <QtEndian>

#include <algorithm>
#include <climits>
#include <cstring>

namespace {

constexpr char Magic[] = "SQLite format 3"; // 16 bytes with the closing zero
/// SQLite's hard limit of columns, and so of fields in a record.
constexpr int MaxFields = 32767;
/// Far above what a table statement takes; a longer row of the schema table is not read.
constexpr int MaxSchemaPayload = 8 * 1024 * 1024;

/// Fields of a row of the schema table.
enum SchemaField { TypeField = 0, TableNameField = 2, RootPageField = 3, SqlField = 4 };

const uchar *asBytes(const QByteArray &bytes)
{
    return reinterpret_cast<const uchar *>(bytes.constData());
}

/// Decodes the two varints in front of the payload of the cell at `cell`.
bool decodeCell(const uchar *cell, const uchar *end, RowRef &row)
{
    qint64 payloadSize = 0;
    const int sizeLength = decodeVarint(cell, end, payloadSize);
    const int rowidLength = sizeLength > 0 ? decodeVarint(cell + sizeLength, end, row.rowid) : 0;
    if (rowidLength == 0 || payloadSize > INT_MAX) {
        return false;
    }
    row.cellHeaderLength = sizeLength + rowidLength;
    row.payloadSize = qint32(payloadSize);
    return true;
}

/// Hands out the payload's chunks field by field.
class ChunkCursor
{
public:
    explicit ChunkCursor(const QVector<PayloadChunk> &chunks)
        : m_chunks(chunks)
    {
    }

    /// Returns the chunks of the next `length` bytes; false when fewer are left.
    bool take(qint64 length, QVector<PayloadChunk> *taken)
    {
        while (length > 0 && m_index < m_chunks.size()) {
            const PayloadChunk &chunk = m_chunks[m_index];
            const qint64 part = std::min(length, chunk.length - m_used);
            if (taken && part > 0) {
                taken->append({chunk.offset + m_used, part});
            }
            m_used += part;
            length -= part;
            if (m_used == chunk.length) {
                ++m_index;
                m_used = 0;
            }
        }
        return length == 0;
    }

private:
    const QVector<PayloadChunk> &m_chunks;
    int m_index = 0;
    qint64 m_used = 0;
};

/// Decodes the serial types of a record header, its leading size varint included in `header`.
bool decodeSerialTypes(const QByteArray &header, QVector<qint64> &types)
{
    const uchar *pos = asBytes(header);
    const uchar *end = pos + header.size();
    qint64 value = 0;
    pos += decodeVarint(pos, end, value);
    while (pos < end) {
        const int length = decodeVarint(pos, end, value);
        if (length == 0 || serialTypeSize(value) < 0 || types.size() == MaxFields) {
            return false;
        }
        types.append(value);
        pos += length;
    }
    return true;
}

} // namespace

DatabaseReader::DatabaseReader(QIODevice *device)
    : m_device(device)
{
}

bool DatabaseReader::open()
{
    return readHeader() && loadSchema();
}

bool DatabaseReader::readHeader()
{
    m_header = DatabaseHeader();
    if (!m_device->seek(0)) {
        return false;
    }
    QDataStream stream(m_device);
    stream.setByteOrder(QDataStream::BigEndian);
    char magic[sizeof(Magic)];
    if (stream.readRawData(magic, sizeof(magic)) != sizeof(magic)
        || std::memcmp(magic, Magic, sizeof(magic)) != 0) {
        return false;
    }
    quint16 pageSize = 0;
    quint8 readVersion = 0;
    quint8 reserved = 0;
    quint32 largestRoot = 0;
    quint32 encoding = 0;
    stream >> pageSize;
    stream.skipRawData(1);
    stream >> readVersion >> reserved;
    stream.skipRawData(32 - 21);
    stream >> m_header.firstFreelistTrunk;
    stream.skipRawData(52 - 36);
    stream >> largestRoot >> encoding;
    if (stream.status() != QDataStream::Ok || pageSize == 0) {
        return false;
    }
    m_header.walMode = readVersion == 2;
    m_header.autoVacuum = largestRoot != 0;
    m_header.pageSize = pageSize == 1 ? 65536 : pageSize;
    m_header.pageCount = quint32(std::min<qint64>(m_device->size() / m_header.pageSize, UINT_MAX));
    m_header.reservedBytes = reserved;
    m_header.textEncoding = qint32(encoding);
    // An empty database has one page and no encoding yet.
    const bool knownEncoding = encoding >= 1 && encoding <= 3;
    return m_header.pageCount == 1 || (m_header.pageCount > 1 && knownEncoding);
}

const TableSchema *DatabaseReader::table(const QString &name) const
{
    const QString wanted = name.toLower();
    for (const TableSchema &candidate : m_tables) {
        if (candidate.name == wanted) {
            return &candidate;
        }
    }
    return nullptr;
}

QVector<const TableSchema *> DatabaseReader::tablesWithPrefix(const QString &prefix) const
{
    const QString wanted = prefix.toLower();
    QVector<const TableSchema *> found;
    for (const TableSchema &candidate : m_tables) {
        if (candidate.name.startsWith(wanted)) {
            found.append(&candidate);
        }
    }
    return found;
}

QVector<quint32> DatabaseReader::collectLeafPages(quint32 pageNo)
{
    // One more than the whole pages: the file may end inside a page that can still be read.
    const qint64 mostPages = qint64(m_header.pageCount) + 1;
    QSet<quint32> met; // of a version in a log, the number of pages can be any
    QVector<quint32> leafPages;
    QVector<quint32> pending{pageNo};
    while (!pending.isEmpty()) {
        const quint32 current = pending.takeLast();
        PageHeader header;
        if (current == 0 || current > mostPages || met.contains(current)
            || !readPageHeader(pageOffset(current, m_header.pageSize), header)) {
            return {};
        }
        met.insert(current);
        if (header.type == TableLeafPage) {
            leafPages.append(current);
            continue;
        }
        // A sound tree has fewer pages waiting than the file has pages; a hostile fan-out has not.
        QVector<quint32> children;
        if (header.type != TableInteriorPage || !childPages(current, children)
            || pending.size() + children.size() > mostPages + 1) {
            return {};
        }
        std::reverse_copy(children.cbegin(), children.cend(), std::back_inserter(pending));
    }
    return leafPages;
}

bool DatabaseReader::readPageHeader(qint64 fileOffset, PageHeader &header)
{
    uchar bytes[LeafHeaderSize];
    if (!m_device->seek(fileOffset)
        || m_device->read(reinterpret_cast<char *>(bytes), sizeof(bytes)) != sizeof(bytes)) {
        return false;
    }
    header = decodePageHeader(bytes);
    return true;
}

bool DatabaseReader::readCellPointers(int count, QVector<quint16> &pointers)
{
    const QByteArray bytes = m_device->read(2 * qint64(count));
    if (bytes.size() != 2 * count) {
        return false;
    }
    pointers = decodeCellPointers(asBytes(bytes), count);
    return true;
}

bool DatabaseReader::readLeafRows(const QVector<quint32> &leafPages, QVector<RowRef> &rows)
{
    for (const quint32 pageNo : leafPages) {
        const QByteArray bytes = readPage(pageNo);
        PageView page(bytes, pageNo);
        if (!page.readHeader(LeafHeaderSize)) {
            return false;
        }
        QVector<quint16> cells = page.cellPointers();
        std::sort(cells.begin(), cells.end());
        for (const quint16 cell : qAsConst(cells)) {
            RowRef row;
            if (!decodeLeafCell(bytes, pageNo, cell, row)) {
                return false;
            }
            rows.append(row);
        }
    }
    return true;
}

bool DatabaseReader::decodeLeafCell(const QByteArray &page, quint32 pageNo, int cellOffset,
                                    RowRef &row) const
{
    const uchar *begin = asBytes(page);
    const uchar *end = begin + page.size();
    if (!decodeCell(begin + std::min(cellOffset, page.size()), end, row)) {
        return false;
    }
    row.pageNo = pageNo;
    row.cellOffset = (qint64(pageNo) - 1) * m_header.pageSize + cellOffset;
    row.localSize = localPayloadSize(row.payloadSize);
    return true;
}

bool DatabaseReader::buildRecordLayout(RowRef &row)
{
    row.fields.clear();
    QVector<PayloadChunk> chunks;
    QVector<PayloadChunk> start;
    QByteArray header;
    qint64 headerSize = 0;
    if (!payloadChunks(row, chunks)) {
        return false;
    }
    ChunkCursor(chunks).take(std::min(row.payloadSize, MaxVarintLength), &start);
    if (!readChunks(start, header)
        || decodeVarint(asBytes(header), asBytes(header) + header.size(), headerSize) == 0) {
        return false;
    }
    ChunkCursor cursor(chunks);
    QVector<PayloadChunk> headerChunks;
    QVector<qint64> types;
    if (headerSize <= 0 || headerSize > MaxFields * MaxVarintLength
        || !cursor.take(headerSize, &headerChunks) || !readChunks(headerChunks, header)
        || !decodeSerialTypes(header, types)) {
        return false;
    }
    for (const qint64 type : qAsConst(types)) {
        QVector<PayloadChunk> field;
        if (!cursor.take(serialTypeSize(type), &field)) {
            row.fields.clear();
            return false;
        }
        row.fields.append(field);
    }
    return true;
}

qint32 DatabaseReader::localPayloadSize(qint64 payloadSize) const
{
    return ::localPayloadSize(payloadSize, m_header);
}

bool DatabaseReader::readRowPayload(const RowRef &row, QByteArray &payload)
{
    QVector<PayloadChunk> chunks;
    const bool isCounted =
        m_payloadBudget && localBytes(row) < row.payloadSize && row.payloadSize <= m_device->size();
    if ((!isCounted || m_payloadBudget->spend(row.payloadSize)) && payloadChunks(row, chunks)
        && readChunks(chunks, payload)) {
        return true;
    }
    payload.clear();
    return false;
}

bool DatabaseReader::readField(const RowRef &row, int index, QByteArray &bytes)
{
    bytes.clear();
    return index >= 0 && index < row.fields.size() && readChunks(row.fields[index], bytes);
}

QVector<FreeRegion> DatabaseReader::freeRegions()
{
    return collectFreeRegions(*m_device, m_header);
}

bool DatabaseReader::loadSchema()
{
    m_tables.clear();
    const QVector<quint32> leafPages = collectLeafPages(1);
    // Payloads share no bytes, so together they are no longer than the file; without this bound a
    // hostile schema could make every row walk the same long overflow chain.
    qint64 bytesLeft = m_device->size();
    for (const quint32 pageNo : leafPages) {
        QVector<RowRef> rows;
        if (!readLeafRows({pageNo}, rows)) {
            return false;
        }
        for (RowRef &row : rows) {
            bytesLeft -= row.payloadSize;
            if (row.payloadSize > MaxSchemaPayload || bytesLeft < 0 || !buildRecordLayout(row)
                || !addTable(row)) {
                return false;
            }
        }
    }
    return !leafPages.isEmpty();
}

/// Adds the table that the schema row describes; rows of other kinds are read and ignored.
bool DatabaseReader::addTable(const RowRef &row)
{
    QString type;
    QString tableName;
    QString sql;
    QByteArray rootPage;
    if (!readTextValue(row, TypeField, type) || !readTextValue(row, TableNameField, tableName)
        || !readField(row, RootPageField, rootPage) || !readTextValue(row, SqlField, sql)) {
        return false;
    }
    if (type.toLower() != QLatin1String("table")) {
        return true;
    }
    TableSchema schema;
    schema.name = tableName.toLower();
    if (!rootPage.isEmpty() && rootPage.size() <= 8) {
        schema.rootPage = qint32(decodeInteger(rootPage.constData(), rootPage.size()));
    }
    // One table that cannot be understood fails the whole load: a guess would carve nonsense.
    if (!parseCreateTable(sql, schema.columns)) {
        return false;
    }
    m_tables.append(schema);
    return true;
}

bool DatabaseReader::readTextValue(const RowRef &row, int index, QString &text)
{
    QByteArray bytes;
    if (!readField(row, index, bytes)) {
        return false;
    }
    text = decodeText(bytes, m_header.textEncoding);
    return true;
}

bool DatabaseReader::childPages(quint32 pageNo, QVector<quint32> &children)
{
    const QByteArray bytes = readPage(pageNo);
    PageView page(bytes, pageNo);
    if (!page.readHeader(InteriorHeaderSize)) {
        return false;
    }
    const QVector<quint16> cells = page.cellPointers();
    children.append(page.rightMostChild());
    for (const quint16 cell : cells) {
        const uchar *child = page.at(cell);
        qint64 rowid = 0;
        if (page.end() - child < 4 || decodeVarint(child + 4, page.end(), rowid) == 0) {
            return false;
        }
        children.append(qFromBigEndian<quint32>(child));
    }
    return true;
}

qint64 DatabaseReader::localBytes(const RowRef &row) const
{
    const bool isLocal = row.localSize == row.payloadSize;
    return isLocal ? row.payloadSize
                   : std::min(row.localSize - OverflowPointerSize, row.payloadSize);
}

bool DatabaseReader::overflowChain(const QByteArray &page, const RowRef &row,
                                   OverflowChain &chain) const
{
    const qint64 perPage = m_header.usableSize() - OverflowPointerSize;
    const qint64 local = localBytes(row);
    const qint64 missing = row.payloadSize - local;
    const qint64 pointer = row.cellOffset - (qint64(row.pageNo) - 1) * m_header.pageSize
                           + row.cellHeaderLength + local;
    if (local < 0 || missing <= 0 || perPage <= 0 || pointer > page.size() - OverflowPointerSize) {
        return false;
    }
    chain.firstPage = qFromBigEndian<quint32>(page.constData() + pointer);
    chain.pageCount = (missing + perPage - 1) / perPage;
    return true;
}

quint32 DatabaseReader::nextOverflowPage(quint32 pageNo)
{
    const QByteArray link = readAt(pageOffset(pageNo, m_header.pageSize), OverflowPointerSize);
    return link.isEmpty() ? 0 : qFromBigEndian<quint32>(link.constData());
}

/// Finds where the payload's bytes stand, by following its overflow chain.
bool DatabaseReader::payloadChunks(const RowRef &row, QVector<PayloadChunk> &chunks)
{
    const qint64 start = row.cellOffset + row.cellHeaderLength;
    const qint64 local = localBytes(row);
    const qint64 perPage = m_header.usableSize() - OverflowPointerSize;
    const qint64 fileSize = m_device->size();
    if (local < 0 || row.payloadSize > fileSize || start + local > fileSize) {
        return false;
    }
    chunks.append({start, local});
    QSet<quint32> met;
    qint64 pointerOffset = start + local;
    for (qint64 missing = row.payloadSize - local; missing > 0;) {
        const QByteArray pointer = readAt(pointerOffset, OverflowPointerSize);
        const quint32 page = pointer.isEmpty() ? 0 : qFromBigEndian<quint32>(pointer.constData());
        if (page == 0 || perPage <= 0 || met.contains(page)) {
            return false;
        }
        met.insert(page);
        pointerOffset = pageOffset(page, m_header.pageSize);
        const qint64 part = std::min(missing, perPage);
        if (pointerOffset + OverflowPointerSize + part > fileSize) {
            return false;
        }
        chunks.append({pointerOffset + OverflowPointerSize, part});
        missing -= part;
    }
    return true;
}

QByteArray DatabaseReader::readPage(quint32 pageNo)
{
    if (!m_device->seek((qint64(pageNo) - 1) * m_header.pageSize)) {
        return {};
    }
    return m_device->read(m_header.pageSize);
}

QByteArray DatabaseReader::readAt(qint64 offset, qint64 size)
{
    if (!m_device->seek(offset)) {
        return {};
    }
    const QByteArray bytes = m_device->read(size);
    return bytes.size() == size ? bytes : QByteArray();
}

bool DatabaseReader::readChunks(const QVector<PayloadChunk> &chunks, QByteArray &bytes)
{
    bytes.clear();
    for (const PayloadChunk &chunk : chunks) {
        const QByteArray part = readAt(chunk.offset, chunk.length);
        if (part.size() != chunk.length) {
            return false;
        }
        bytes += part;
    }
    return true;
}
