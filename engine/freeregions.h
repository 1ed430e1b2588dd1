#pragma once

#include "engine/databaseheader.h"

#include <QVector>

class QIODevice;

/// Bytes of the file that belong to no page in use.
struct FreeRegion
{
    quint32 pageNo = 0;
    quint32 offset = 0; ///< in the page
    quint32 length = 0;
};

/// Walks the freelist of the database in `device` and lists its free space: of every trunk page the
/// tail behind the list of leaf pages, then each of these leaf pages whole. The layout of a trunk
/// page: 0..3 next trunk page, 4..7 number L of leaf pages, then L leaf page numbers.
/// A list that cannot be read on ends there and keeps what was gathered; no trunk page and no leaf
/// page is listed twice, and none that the file does not hold.
QVector<FreeRegion> collectFreeRegions(QIODevice &device, const DatabaseHeader &header);
