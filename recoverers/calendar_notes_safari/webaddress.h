#pragma once

#include <QByteArray>

/// True when an address of the web begins at `pos`, as most addresses do.
bool isWebAddressAt(const QByteArray &region, qint64 pos);

/// Addresses are written in printable ASCII; all else is escaped in them.
inline bool isAddressByte(char c)
{
    return c > ' ' && c < 0x7F;
}
