#include "samples/databasemap.h"

#include <QFile>

#include <algorithm>

namespace {

constexpr int tableInteriorPage = 5;
constexpr int tableLeafPage = 13;

bool overlapsAny(const QVector<DatabaseMap::Extent> &extents, const DatabaseMap::Extent &extent)
{
    return std::any_of(extents.begin(), extents.end(), [&extent](const DatabaseMap::Extent &e) {
        return e.begin < extent.end && extent.begin < e.end;
    });
}

} // namespace

bool DatabaseMap::load(const QString &path, quint32 rootPage)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return false;
    }
    m_bytes = file.readAll();
    m_pageSize = int(number(16, 2)) == 1 ? 65536 : int(number(16, 2));
    m_leaves.clear();
    m_cells.clear();
    m_freeblockHeaders.clear();
    const bool sound = m_pageSize > 0 && loadPage(rootPage, 0);
    std::sort(m_cells.begin(), m_cells.end(),
              [](const Extent &a, const Extent &b) { return a.begin < b.begin; });
    return sound;
}

bool DatabaseMap::overlapsCell(const Extent &extent) const
{
    return overlapsAny(m_cells, extent);
}

bool DatabaseMap::overlapsFreeblockHeader(const Extent &extent) const
{
    return overlapsAny(m_freeblockHeaders, extent);
}

qint64 DatabaseMap::nextCellOnPage(qint64 position) const
{
    for (const Extent &cell : m_cells) {
        if (cell.begin >= position) {
            return pageOf(cell.begin) == pageOf(position) ? cell.begin : 0;
        }
    }
    return 0;
}

QVector<qint64> DatabaseMap::find(const QByteArray &pattern) const
{
    QVector<qint64> positions;
    for (int at = m_bytes.indexOf(pattern); at >= 0; at = m_bytes.indexOf(pattern, at + 1)) {
        positions << at;
    }
    return positions;
}

QString DatabaseMap::hex(const Extent &extent) const
{
    const QByteArray part = m_bytes.mid(int(extent.begin), int(extent.end - extent.begin));
    return QString::fromLatin1(part.toHex(' '));
}

quint32 DatabaseMap::number(qint64 position, int size) const
{
    quint32 value = 0;
    for (int i = 0; i < size; ++i) {
        value = value << 8 | quint8(m_bytes.at(int(position) + i));
    }
    return value;
}

bool DatabaseMap::loadPage(quint32 page, int depth)
{
    const qint64 start = qint64(page - 1) * m_pageSize;
    if (page < 2 || start + m_pageSize > m_bytes.size() || depth > 20) {
        return false;
    }
    const quint32 type = number(start, 1);
    if (type == tableLeafPage) {
        loadLeaf(page, start);
        return true;
    }
    const int count = int(number(start + 3, 2));
    bool sound = type == tableInteriorPage && loadPage(number(start + 8, 4), depth + 1);
    for (int i = 0; i < count && sound; ++i) {
        sound = loadPage(number(start + number(start + 12 + 2 * i, 2), 4), depth + 1);
    }
    return sound;
}

void DatabaseMap::loadLeaf(quint32 page, qint64 start)
{
    m_leaves << page;
    const int count = int(number(start + 3, 2));
    for (int i = 0; i < count; ++i) {
        m_cells << cellAt(start + number(start + 8 + 2 * i, 2));
    }
    for (quint32 block = number(start + 1, 2); block != 0; block = number(start + block, 2)) {
        m_freeblockHeaders << Extent{start + block, start + block + 4};
    }
}

/// Calls are too short to spill onto overflow pages, so a cell ends where its payload does.
DatabaseMap::Extent DatabaseMap::cellAt(qint64 position) const
{
    qint64 at = position;
    quint64 payload = 0;
    quint8 byte = 0;
    do {
        byte = quint8(m_bytes.at(int(at++)));
        payload = payload << 7 | (byte & 0x7f);
    } while (byte & 0x80);
    while (quint8(m_bytes.at(int(at++))) & 0x80) {
    }
    return {position, at + qint64(payload)};
}
