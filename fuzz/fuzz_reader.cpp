// Loads the header and the schema of a file, walks every table, and reads every row of it.

#include "engine/databasereader.h"
#include "engine/spilledpayload.h"
#include "fuzz/fuzzsupport.h"
#include "fuzz/pagemutator.h"

#include <QBuffer>
#include <QSet>

namespace {

qint64 lengthOf(const QVector<PayloadChunk> &chunks, qint64 fileSize)
{
    qint64 length = 0;
    for (const PayloadChunk &chunk : chunks) {
        require(chunk.offset >= 0 && chunk.length > 0 && chunk.offset + chunk.length <= fileSize,
                "a chunk is in the file");
        length += chunk.length;
    }
    return length;
}

/// Reads the fields and the payload of a row; returns about how many bytes that took.
qint64 readRow(DatabaseReader *reader, RowRef row, qint64 fileSize)
{
    qint64 fieldBytes = 0;
    QByteArray bytes;
    const bool hasLayout = reader->buildRecordLayout(row);
    for (int i = 0; i < row.fields.size(); ++i) {
        const qint64 length = lengthOf(row.fields.at(i), fileSize);
        require(reader->readField(row, i, bytes) && bytes.size() == length,
                "a field has the bytes of its chunks");
        fieldBytes += length;
    }
    require(hasLayout || row.fields.isEmpty(), "without a layout there are no fields");
    require(fieldBytes <= row.payloadSize, "the fields are no longer than the payload");
    require(!reader->readField(row, row.fields.size(), bytes), "no field is behind the last");
    const bool isRead = reader->readRowPayload(row, bytes);
    require(bytes.size() == (isRead ? row.payloadSize : 0), "a payload is read whole");
    return 1 + fieldBytes + row.fields.size() + bytes.size();
}

void readTable(DatabaseReader *reader, QBuffer *device, const TableSchema &table, qint64 *bytesLeft)
{
    const QVector<quint32> leafPages = reader->collectLeafPages(quint32(table.rootPage));
    QSet<quint32> met;
    QVector<RowRef> rows;
    for (const quint32 pageNo : leafPages) {
        require(pageNo > 0 && !met.contains(pageNo), "a leaf page is met once");
        met.insert(pageNo);
        reader->readLeafRows({pageNo}, rows);
    }
    require(rows.size() <= device->size(), "rows have bytes");
    for (const RowRef &row : qAsConst(rows)) {
        // Rows may share bytes: all of them would take time in proportion to the square.
        if (*bytesLeft > 0) {
            *bytesLeft -= readRow(reader, row, device->size());
        }
    }
    for (const quint32 pageNo : overflowPagesInUse(*reader, *device, table)) {
        require(pageNo > 1 && pageNo <= reader->headerInfo().pageCount, "an overflow page exists");
    }
}

void checkFreeRegions(const QVector<FreeRegion> &regions, const DatabaseHeader &header)
{
    QSet<QPair<quint32, bool>> met; // of a page that claims to be both, a trunk and a leaf
    for (const FreeRegion &region : regions) {
        require(region.pageNo > 0 && region.pageNo <= header.pageCount, "a free page exists");
        require(qint64(region.offset) + region.length <= header.pageSize,
                "a free region is on its page");
        const QPair<quint32, bool> page(region.pageNo, region.offset == 0);
        require(!met.contains(page), "a free page is met once");
        met.insert(page);
    }
}

} // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t maxSize, unsigned seed)
{
    return mutatePages(data, size, maxSize, seed, 0);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    QBuffer device;
    device.setData(reinterpret_cast<const char *>(data), int(size));
    device.open(QIODevice::ReadOnly);
    DatabaseReader reader(&device);
    qint64 bytesLeft = 16 * qint64(size);
    if (reader.open()) {
        for (const TableSchema *table : reader.tablesWithPrefix(QString())) {
            readTable(&reader, &device, *table, &bytesLeft);
        }
    }
    if (reader.readHeader()) {
        checkFreeRegions(reader.freeRegions(), reader.headerInfo());
    }
    return 0;
}
