#include "engine/pageheader.h"

#include <QtEndian>

PageHeader decodePageHeader(const uchar *bytes)
{
    PageHeader header;
    header.type = bytes[0];
    header.firstFreeblock = qFromBigEndian<quint16>(bytes + 1);
    header.cellCount = qFromBigEndian<quint16>(bytes + 3);
    header.contentStart = qFromBigEndian<quint16>(bytes + 5);
    header.fragmentedBytes = bytes[7];
    return header;
}

QVector<quint16> decodeCellPointers(const uchar *bytes, int count)
{
    QVector<quint16> pointers(count);
    for (int i = 0; i < count; ++i) {
        pointers[i] = qFromBigEndian<quint16>(bytes + 2 * i);
    }
    return pointers;
}
