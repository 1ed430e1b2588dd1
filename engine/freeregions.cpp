#include "engine/freeregions.h"

#include "engine/pageheader.h"

#include <QBitArray>
#include <QByteArray>
#include <QIODevice>
#include <QtEndian>

#include <algorithm>

namespace {

constexpr quint32 TrunkHeaderSize = 8;

/// Marks the page as listed. Returns false when it was already, or when it cannot be free: page 1
/// never is, and the file must hold it.
bool claim(QBitArray &listed, quint32 pageNo)
{
    if (pageNo <= 1 || qint64(pageNo) >= listed.size() || listed.testBit(int(pageNo))) {
        return false;
    }
    listed.setBit(int(pageNo));
    return true;
}

} // namespace

QVector<FreeRegion> collectFreeRegions(QIODevice &device, const DatabaseHeader &header)
{
    QVector<FreeRegion> regions;
    const quint32 pageSize = quint32(header.pageSize);
    if (pageSize < TrunkHeaderSize) {
        return regions;
    }
    QBitArray trunks(header.pageBits());
    QBitArray leaves(trunks.size());
    quint32 trunk = header.firstFreelistTrunk;
    while (claim(trunks, trunk)) {
        const qint64 offset = pageOffset(trunk, header.pageSize);
        if (!device.seek(offset)) {
            break;
        }
        const QByteArray page = device.read(pageSize);
        if (page.size() < int(TrunkHeaderSize)) {
            break;
        }
        const char *bytes = page.constData();
        const quint32 leafLimit = quint32(page.size()) / 4 - 2;
        const quint32 leafCount = std::min(qFromBigEndian<quint32>(bytes + 4), leafLimit);
        const quint32 listEnd = TrunkHeaderSize + 4 * leafCount;
        regions.append({trunk, listEnd, pageSize - listEnd});
        for (quint32 i = 0; i < leafCount; ++i) {
            const quint32 leaf = qFromBigEndian<quint32>(bytes + TrunkHeaderSize + 4 * i);
            if (claim(leaves, leaf)) {
                regions.append({leaf, 0, pageSize});
            }
        }
        trunk = qFromBigEndian<quint32>(bytes);
    }
    return regions;
}
