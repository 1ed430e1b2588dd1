#include "samples/databasemap.h"

#include <QFile>

#include <algorithm>

namespace {

constexpr int tableInteriorPage = 5;
constexpr int tableLeafPage = 13;

/// No sample has more; a file that was made shorter still names pages behind its end.
constexpr quint32 mostPages = 1024;

} // namespace

bool DatabaseMap::load(const QString &path, quint32 rootPage)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return false;
    }
    m_bytes = file.readAll();
    m_pageSize = int(number(16, 2)) == 1 ? 65536 : int(number(16, 2));
    m_cells.clear();
    const bool sound = m_pageSize > 0 && loadPage(rootPage, 0);
    std::sort(m_cells.begin(), m_cells.end(),
              [](const Extent &a, const Extent &b) { return a.begin < b.begin; });
    return sound;
}

bool DatabaseMap::overlapsCell(const Extent &extent) const
{
    return std::any_of(m_cells.begin(), m_cells.end(), [&extent](const Extent &cell) {
        return cell.begin < extent.end && extent.begin < cell.end;
    });
}

bool DatabaseMap::isZeroOrPageNumber(qint64 position) const
{
    return position + 4 <= m_bytes.size() && number(position, 4) <= mostPages;
}

bool DatabaseMap::isPointerList(const Extent &extent) const
{
    const qint64 begin = extent.begin & ~qint64(1);
    for (qint64 at = begin; at < extent.end; at += 2) {
        const quint32 offset = number(at, 2);
        if (offset == 0 || int(offset) >= m_pageSize || offset >= number(at - 2, 2)) {
            return false;
        }
    }
    return true;
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
        loadLeaf(start);
        return true;
    }
    const int count = int(number(start + 3, 2));
    bool sound = type == tableInteriorPage && loadPage(number(start + 8, 4), depth + 1);
    for (int i = 0; i < count && sound; ++i) {
        const qint64 cell = start + number(start + 12 + 2 * i, 2);
        sound = loadPage(number(cell, 4), depth + 1);
    }
    return sound;
}

void DatabaseMap::loadLeaf(qint64 start)
{
    const int count = int(number(start + 3, 2));
    for (int i = 0; i < count; ++i) {
        m_cells << cellAt(start + number(start + 8 + 2 * i, 2));
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
