#pragma once

#include <QByteArray>
#include <QString>

/// True when an address of the web begins at `pos`, as most addresses do.
bool isWebAddressAt(const QByteArray &region, qint64 pos);

/// Addresses are written in printable ASCII; all else is escaped in them.
inline bool isAddressByte(char c)
{
    return c > ' ' && c < 0x7F;
}

/// True when the text begins as addresses do, with the name of a scheme and a colon.
bool hasScheme(const QString &url);
