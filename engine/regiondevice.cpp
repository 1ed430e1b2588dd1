#include "engine/regiondevice.h"

#include <algorithm>
#include <cstring>

RegionDevice::RegionDevice()
{
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

qint64 RegionDevice::readData(char *data, qint64 maxSize)
{
    const qint64 count = std::min(maxSize, m_size - pos());
    if (count <= 0) {
        return 0;
    }
    std::memcpy(data, m_data + pos(), size_t(count));
    return count;
}

qint64 RegionDevice::writeData(const char *, qint64)
{
    return -1;
}
