#include "tests/support/databaseimage.h"

#include <QFile>
#include <QtEndian>

namespace {

template<typename Number> QByteArray bigEndian(Number value)
{
    QByteArray bytes(sizeof(value), '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

QByteArray integerField(qint64 value, QByteArray &types)
{
    if (value == 0 || value == 1) {
        types += char(8 + value);
        return {};
    }
    const int sizes[] = {1, 2, 3, 4, 6, 8};
    for (int i = 0; i < 6; ++i) {
        const qint64 limit = sizes[i] < 8 ? qint64(1) << (8 * sizes[i] - 1) : 0;
        if (sizes[i] == 8 || (value >= -limit && value < limit)) {
            types += char(i + 1);
            return bigEndian(value).right(sizes[i]);
        }
    }
    return {};
}

QByteArray field(const QVariant &value, QByteArray &types)
{
    switch (int(value.type())) {
    case QMetaType::UnknownType:
        types += '\0';
        return {};
    case QMetaType::Double:
        types += '\x07';
        return bigEndian(value.toDouble());
    case QMetaType::QString: {
        const QByteArray text = value.toString().toUtf8();
        types += varint(quint64(text.size()) * 2 + 13);
        return text;
    }
    case QMetaType::QByteArray:
        types += varint(quint64(value.toByteArray().size()) * 2 + 12);
        return value.toByteArray();
    default:
        return integerField(value.toLongLong(), types);
    }
}

} // namespace

QByteArray varint(quint64 value)
{
    QByteArray bytes(1, char(value & 0x7F));
    while ((value >>= 7) != 0) {
        bytes.prepend(char(0x80 | (value & 0x7F)));
    }
    return bytes;
}

QByteArray record(const QVariantList &values)
{
    QByteArray types;
    QByteArray body;
    for (const QVariant &value : values) {
        body += field(value, types);
    }
    const int headerSize = types.size() + (types.size() < 127 ? 1 : 2);
    return varint(quint64(headerSize)) + types + body;
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
                                           quint32 rightMostChild)
{
    QVector<QByteArray> cells;
    for (const quint32 child : leftChildren) {
        cells.append(bigEndian(child) + varint(quint64(cells.size()) + 1));
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
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(m_bytes) == m_bytes.size();
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
