#include "engine/spilledpayload.h"

#include "engine/databaseheader.h"
#include "engine/databasereader.h"
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

/// The bytes of an overflow chain, page by page.
class ChainWalk
{
public:
    ChainWalk(QIODevice &device, const DatabaseHeader &header, const BrokenChain &broken,
              quint32 firstPage, qint64 missing)
        : m_device(device)
        , m_header(header)
        , m_broken(broken)
        , m_pageNo(firstPage)
        , m_missing(missing)
    {
    }

    /// Appends the next page to the bytes. Returns false when there is none, or none of this chain.
    bool next()
    {
        if (m_missing <= 0 || m_met.contains(m_pageNo)
            || (m_broken.isInUse && m_broken.isInUse(m_pageNo))
            || !readOverflowPage(m_device, m_pageNo, m_header, &m_page)) {
            return false;
        }
        const qint64 part = std::min<qint64>(m_missing, m_page.size() - OverflowPointerSize);
        const quint32 link = qFromBigEndian<quint32>(m_page.constData());
        if ((link == 0) != (part == m_missing)) {
            return false;
        }
        m_met.insert(m_pageNo);
        m_bytes.append(m_page.constData() + OverflowPointerSize, int(part));
        m_missing -= part;
        m_pageNo = link;
        return true;
    }

    bool isWhole() const { return m_missing == 0; }
    const QByteArray &bytes() const { return m_bytes; }

private:
    QIODevice &m_device;
    const DatabaseHeader &m_header;
    const BrokenChain &m_broken;
    quint32 m_pageNo;
    qint64 m_missing;
    QSet<quint32> m_met;
    QByteArray m_page;
    QByteArray m_bytes;
};

/// Adds the overflow pages of one live row. Returns false when they cannot be read.
bool addOverflowPages(QIODevice &device, const DatabaseHeader &header, const RowRef &row,
                      QSet<quint32> *pages)
{
    qint64 link = row.cellOffset + row.cellHeaderLength + row.localSize - OverflowPointerSize;
    for (;;) {
        char bytes[OverflowPointerSize];
        if (!device.seek(link) || device.read(bytes, sizeof bytes) != qint64(sizeof bytes)) {
            return false;
        }
        const quint32 pageNo = qFromBigEndian<quint32>(bytes);
        // A page that is known has been followed before: no page is read twice.
        if (pageNo < 2 || pageNo > header.pageCount || pages->contains(pageNo)) {
            return true;
        }
        pages->insert(pageNo);
        link = pageOffset(pageNo, header.pageSize);
    }
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
                          const CandidatePayload &payload, const BrokenChain &broken)
{
    const qint64 local = localPayloadSize(payload.size, header) - OverflowPointerSize;
    const qint64 localEnd = payload.start + local;
    if (localEnd < 0 || localEnd > region.size() - OverflowPointerSize) {
        return region;
    }
    ChainWalk chain(device, header, broken, qFromBigEndian<quint32>(region.constData() + localEnd),
                    payload.size - local);
    while (chain.next()) {
    }
    const bool isUsed = chain.isWhole() || broken.use == BrokenChain::WhatWasGathered;
    return isUsed ? region.left(int(localEnd)) + chain.bytes() : region.left(int(localEnd));
}

QSet<quint32> overflowPagesInUse(DatabaseReader &reader, QIODevice &device,
                                 const TableSchema &table)
{
    const DatabaseHeader &header = reader.headerInfo();
    QSet<quint32> pages;
    QVector<RowRef> rows;
    reader.readLeafRows(reader.collectLeafPages(table.rootPage), rows);
    for (const RowRef &row : qAsConst(rows)) {
        if (localPayloadSize(row.payloadSize, header) < row.payloadSize
            && !addOverflowPages(device, header, row, &pages)) {
            break;
        }
    }
    return pages;
}
