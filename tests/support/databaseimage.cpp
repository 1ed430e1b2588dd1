#include "tests/support/databaseimage.h"

#include "tests/support/testfiles.h"

QByteArray record(const QVariantList &values)
{
    const EncodedRow row = encodeValues(values, "UTF-8");
    const int headerSize = row.types.size() + (row.types.size() < 127 ? 1 : 2);
    return varint(quint64(headerSize)) + row.types + row.body;
}

QByteArray leafCell(qint64 rowid, const QByteArray &payload)
{
    return varint(quint64(payload.size())) + varint(quint64(rowid)) + payload;
}

DatabaseImage::DatabaseImage(int pageSize, int pageCount)
    : m_bytes(pageSize * pageCount, '\0')
    , m_pageSize(pageSize)
{
    putBytes(0, QByteArray("SQLite format 3", 16));
    put16(16, pageSize == 65536 ? 1 : pageSize).put8(18, 1).put8(19, 1).put32(56, 1);
    leafPage(1, {});
}

DatabaseImage &DatabaseImage::put8(int offset, int value)
{
    m_bytes[offset] = char(value);
    return *this;
}

DatabaseImage &DatabaseImage::put16(int offset, int value)
{
    return putBytes(offset, bigEndian(quint16(value)));
}

DatabaseImage &DatabaseImage::put32(int offset, quint32 value)
{
    return putBytes(offset, bigEndian(value));
}

DatabaseImage &DatabaseImage::putBytes(int offset, const QByteArray &bytes)
{
    m_bytes.replace(offset, bytes.size(), bytes);
    return *this;
}

DatabaseImage &DatabaseImage::leafPage(int pageNo, const QVector<QByteArray> &cells)
{
    btreePage(pageNo, 13, 8, cells);
    return *this;
}

DatabaseImage &DatabaseImage::interiorPage(int pageNo, const QVector<quint32> &leftChildren,
                                           quint32 rightMostChild, const QVector<qint64> &keys)
{
    QVector<QByteArray> cells;
    for (const quint32 child : leftChildren) {
        const qint64 key = keys.value(cells.size(), cells.size() + 1);
        cells.append(bigEndian(child) + varint(quint64(key)));
    }
    const int header = btreePage(pageNo, 5, 12, cells);
    return put32(header + 8, rightMostChild);
}

DatabaseImage &DatabaseImage::schemaTable(const QString &name, quint32 rootPage, const QString &sql)
{
    return leafPage(1, {leafCell(1, record({QStringLiteral("table"), name, name, rootPage, sql}))});
}

DatabaseImage &DatabaseImage::trunkPage(int pageNo, quint32 next, const QVector<quint32> &leaves,
                                        quint32 claimedLeaves)
{
    put32(pageStart(pageNo), next).put32(pageStart(pageNo) + 4, claimedLeaves);
    for (int i = 0; i < leaves.size(); ++i) {
        put32(pageStart(pageNo) + 8 + 4 * i, leaves[i]);
    }
    return *this;
}

bool DatabaseImage::save(const QString &path) const
{
    return writeFile(path, m_bytes);
}

/// Writes a b-tree page and returns the place of its header.
int DatabaseImage::btreePage(int pageNo, int type, int headerSize, const QVector<QByteArray> &cells)
{
    const int header = pageStart(pageNo) + (pageNo == 1 ? 100 : 0);
    int content = m_pageSize;
    for (int i = 0; i < cells.size(); ++i) {
        content -= cells[i].size();
        putBytes(pageStart(pageNo) + content, cells[i]);
        put16(header + headerSize + 2 * i, content);
    }
    put8(header, type).put16(header + 3, cells.size()).put16(header + 5, content & 0xFFFF);
    return header;
}
