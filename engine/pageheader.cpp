#include "engine/pageheader.h"

#include <QtEndian>

#include <algorithm>

namespace {

const uchar *asBytes(const QByteArray &bytes)
{
    return reinterpret_cast<const uchar *>(bytes.constData());
}

} // namespace

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

PageView::PageView(const QByteArray &page, quint32 pageNo)
    : m_page(page)
    , m_headerOffset(pageNo == 1 ? DatabaseHeaderSize : 0)
{
}

bool PageView::readHeader(int headerSize)
{
    if (m_page.size() < m_headerOffset + headerSize) {
        return false;
    }
    m_header = decodePageHeader(asBytes(m_page) + m_headerOffset);
    m_pointers = m_headerOffset + headerSize;
    return m_page.size() >= cellPointersEnd();
}

QVector<quint16> PageView::cellPointers() const
{
    return decodeCellPointers(asBytes(m_page) + m_pointers, m_header.cellCount);
}

quint32 PageView::rightMostChild() const
{
    return qFromBigEndian<quint32>(asBytes(m_page) + m_headerOffset + LeafHeaderSize);
}

const uchar *PageView::at(int offset) const
{
    return asBytes(m_page) + std::min(offset, m_page.size());
}

const uchar *PageView::end() const
{
    return asBytes(m_page) + m_page.size();
}
