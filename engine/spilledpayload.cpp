#include "engine/spilledpayload.h"

#include "engine/databaseheader.h"
#include "engine/pageheader.h"
#include "engine/serialtype.h"

#include <QIODevice>
#include <QtEndian>

#include <algorithm>

namespace {

constexpr qint64 MaxRebuilt = 4 * 1024 * 1024; ///< rows of a device stay far below
constexpr qint64 MaxOneByteVarint = 127;

bool readOverflowPage(QIODevice &device, quint32 pageNo, const DatabaseHeader &header,
                      QByteArray *page)
{
    // Chains never lead to page 1, and pageOffset() points behind the database header there.
    if (pageNo < 2 || pageNo > header.pageCount
        || !device.seek(pageOffset(pageNo, header.pageSize))) {
        return false;
    }
    *page = device.read(header.usableSize());
    return page->size() > OverflowPointerSize;
}

} // namespace

qint32 localPayloadSize(qint64 payloadSize, const DatabaseHeader &header)
{
    const qint64 usable = header.usableSize();
    const qint64 most = usable - 35;
    if (payloadSize < most || usable - OverflowPointerSize <= 0) {
        return qint32(payloadSize);
    }
    const qint64 least = quint16((usable - 12) * 32 / 255 - 23);
    const qint64 best = least + (payloadSize - least) % (usable - OverflowPointerSize);
    return qint32((best <= most ? best : least) + OverflowPointerSize);
}

CandidatePayload::CandidatePayload(qint64 bodyStart, int typesLength,
                                   const QVector<qint64> &serialTypes)
{
    qint64 body = 0;
    for (const qint64 type : serialTypes) {
        const qint64 length = serialTypeSize(type);
        if (length < 0 || length > MaxRebuilt - body) {
            return;
        }
        body += length;
    }
    // The header counts its own size and the rowid alias, whose type is NULL.
    const int rest = typesLength + 1;
    const int header = rest + (rest + 1 <= MaxOneByteVarint ? 1 : 2);
    start = bodyStart - header;
    size = header + body;
}

bool spills(const CandidatePayload &payload, const DatabaseHeader &header)
{
    return payload.size > 0 && localPayloadSize(payload.size, header) < payload.size;
}

QByteArray rebuildPayload(const QByteArray &region, QIODevice &device, const DatabaseHeader &header,
                          const CandidatePayload &payload)
{
    const qint64 local = localPayloadSize(payload.size, header) - OverflowPointerSize;
    const qint64 localEnd = payload.start + local;
    if (localEnd < 0 || localEnd > region.size() - OverflowPointerSize) {
        return region;
    }
    quint32 pageNo = qFromBigEndian<quint32>(region.constData() + localEnd);
    QByteArray bytes = region.left(int(localEnd));
    qint64 missing = payload.size - local;
    QByteArray page;
    while (missing > 0 && readOverflowPage(device, pageNo, header, &page)) {
        const qint64 part = std::min<qint64>(missing, page.size() - OverflowPointerSize);
        bytes.append(page.constData() + OverflowPointerSize, int(part));
        missing -= part;
        pageNo = qFromBigEndian<quint32>(page.constData());
    }
    return missing == 0 && pageNo == 0 ? bytes : region.left(int(localEnd));
}
