#include "tests/support/hostiledatabase.h"

#include "engine/databasereader.h"
#include "engine/serialtype.h"
#include "engine/spilledpayload.h"
#include "engine/varint.h"
#include "samples/sampledatabase.h"
#include "tests/support/databaseimage.h"
#include "tests/support/testfiles.h"

#include <QtEndian>

#include <algorithm>

namespace {

QVector<qint64> typesOf(const QByteArray &record)
{
    const auto *pos = reinterpret_cast<const uchar *>(record.constData());
    const uchar *end = pos + record.size();
    qint64 headerSize = 0;
    pos += decodeVarint(pos, end, headerSize);
    end = std::min(end, reinterpret_cast<const uchar *>(record.constData()) + headerSize);
    QVector<qint64> types;
    qint64 type = 0;
    for (int length = 0; (length = decodeVarint(pos, end, type)) > 0; pos += length) {
        types.append(type);
    }
    return types;
}

QByteArray bodyOf(const QByteArray &record)
{
    const auto *begin = reinterpret_cast<const uchar *>(record.constData());
    qint64 headerSize = 0;
    decodeVarint(begin, begin + record.size(), headerSize);
    return record.mid(int(headerSize));
}

LongRecord longRecord(QVector<qint64> types, const QByteArray &body, int field, qint64 length)
{
    constexpr int FirstTextType = 13;
    LongRecord record;
    qint64 before = 0;
    qint64 all = 0;
    for (int i = 0; i < types.size(); ++i) {
        before += i < field ? serialTypeSize(types[i]) : 0;
        types[i] = i == field ? 2 * length + FirstTextType : types[i];
        record.header += varint(quint64(types[i]));
        all += serialTypeSize(types[i]);
    }
    const int size = record.header.size() + 1;
    record.header.prepend(varint(quint64(size + (size > 127 ? 1 : 0))));
    record.front = body.left(int(before));
    record.size = record.header.size() + all;
    return record;
}

} // namespace

QVector<SampleRow> firstRows(const QByteArray &database)
{
    ImageDevice device(database);
    DatabaseReader reader(&device);
    QVector<SampleRow> found;
    if (!reader.open()) {
        return found;
    }
    for (const TableSchema *table : reader.tablesWithPrefix(QString())) {
        QVector<RowRef> rows;
        QByteArray record;
        if (reader.readLeafRows(reader.collectLeafPages(quint32(table->rootPage)), rows)
            && !rows.isEmpty() && reader.readRowPayload(rows.first(), record)) {
            found.append({table->name, rows.first().rowid, record});
        }
    }
    return found;
}

QVector<quint32> rootPages(const QByteArray &database)
{
    ImageDevice device(database);
    DatabaseReader reader(&device);
    QVector<quint32> roots;
    if (reader.open()) {
        for (const TableSchema *table : reader.tablesWithPrefix(QString())) {
            roots.append(quint32(table->rootPage));
        }
    }
    return roots;
}

QVector<LongRecord> withLongTexts(const QByteArray &record, qint64 length)
{
    const QVector<qint64> types = typesOf(record);
    QVector<LongRecord> records;
    for (int i = 0; i < types.size(); ++i) {
        if (isTextSerialType(types[i], false)) {
            records.append(longRecord(types, bodyOf(record), i, length));
        }
    }
    return records;
}

HostileDatabase::HostileDatabase(const QByteArray &sound)
    : m_bytes(sound)
    , m_pageSize(qFromBigEndian<quint16>(sound.constData() + 16))
{
    m_pageSize = m_pageSize == 1 ? 65536 : m_pageSize;
}

quint32 HostileDatabase::add(const QByteArray &page)
{
    const quint32 pageNo = nextPage();
    m_bytes += page.leftJustified(m_pageSize, '\0', true);
    return pageNo;
}

quint32 HostileDatabase::addLeaf(const QVector<QByteArray> &cells)
{
    DatabaseImage image(m_pageSize, 2);
    return add(image.leafPage(2, cells).bytes().mid(m_pageSize));
}

quint32 HostileDatabase::addInterior(const QVector<quint32> &children, const QVector<qint64> &keys)
{
    DatabaseImage image(m_pageSize, 2);
    image.interiorPage(2, children.mid(0, children.size() - 1), children.last(), keys);
    return add(image.bytes().mid(m_pageSize));
}

quint32 HostileDatabase::addTree(QVector<Branch> pages)
{
    constexpr int MostCellSize = 9; // with a row identifier of three bytes and its pointer
    const int fanOut = (m_pageSize - 12) / MostCellSize;
    while (pages.size() > 1) {
        QVector<Branch> parents;
        for (int i = 0; i < pages.size(); i += fanOut) {
            QVector<quint32> children;
            QVector<qint64> keys;
            for (const Branch &child : pages.mid(i, fanOut)) {
                children.append(child.pageNo);
                keys.append(child.lastRowid);
            }
            parents.append({addInterior(children, keys), keys.last()});
        }
        pages = parents;
    }
    return pages.first().pageNo;
}

void HostileDatabase::addChain(int pages)
{
    const QByteArray text(m_pageSize - OverflowPointerSize, 'x');
    for (int left = pages; left > 0; --left) {
        add(bigEndian(left > 1 ? nextPage() + 1 : 0) + text);
    }
    m_chainEnd = nextPage();
}

QByteArray HostileDatabase::cell(qint64 rowid, const LongRecord &record) const
{
    DatabaseHeader header;
    header.pageSize = m_pageSize;
    const qint64 local = localPayloadSize(record.size, header) - OverflowPointerSize;
    const qint64 perPage = m_pageSize - OverflowPointerSize;
    const qint64 pages = (record.size - local + perPage - 1) / perPage;
    return varint(quint64(record.size)) + varint(quint64(rowid))
           + (record.header + record.front).leftJustified(int(local), 'x', true)
           + bigEndian(m_chainEnd - quint32(pages));
}

void HostileDatabase::put32(int offset, quint32 value)
{
    m_bytes.replace(offset, 4, bigEndian(value));
}

const QByteArray &HostileDatabase::bytes()
{
    put32(28, nextPage() - 1);
    m_bytes.replace(92, 4, m_bytes.mid(24, 4)); // the number of pages counts as up to date
    return m_bytes;
}

QByteArray changeSchema(const QString &path, const QString &sql)
{
    SampleDatabase db;
    return db.open(path) && db.exec(QStringLiteral("pragma writable_schema = on;") + sql)
                   && db.close()
               ? readFile(path)
               : QByteArray();
}

QString rootPageSql(quint32 page, const QString &table)
{
    const QString of = table.isEmpty() ? QStringLiteral("1") : QStringLiteral("lower(name) = '%1'");
    return QStringLiteral("update sqlite_master set rootpage = %1 where type = 'table' and %2;")
        .arg(page)
        .arg(table.isEmpty() ? of : of.arg(table));
}
