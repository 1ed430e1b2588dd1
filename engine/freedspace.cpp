#include "engine/freedspace.h"

#include "engine/databasereader.h"

#include <QBitArray>
#include <QtEndian>

#include <algorithm>
#include <climits>

namespace {

constexpr int FreeblockHeaderSize = 4;

/// Whether the page holds anything from `begin` up to `end` that a row could be. Where space is
/// erased row by row, SQLite leaves the headers of blocks in it that have become one since.
bool hasBytes(const QByteArray &page, int begin, int end)
{
    const int stop = std::min(end, page.size());
    int run = 0;
    for (int i = begin; i < stop && run <= FreeblockHeaderSize; ++i) {
        run = page.at(i) != 0 ? run + 1 : 0;
    }
    return run > FreeblockHeaderSize;
}

/// A block that is no longer than its header has held nothing that could be told.
FreedSpace spaceOfFreeblocks(const QByteArray &page, int firstBlock)
{
    FreedSpace found = FreedSpace::None;
    int block = firstBlock;
    while (block > 0 && block + FreeblockHeaderSize <= page.size()) {
        const int next = qFromBigEndian<quint16>(page.constData() + block);
        const int size = qFromBigEndian<quint16>(page.constData() + block + 2);
        if (hasBytes(page, block + FreeblockHeaderSize, block + size)) {
            return FreedSpace::Filled;
        }
        found = size > FreeblockHeaderSize ? FreedSpace::Erased : found;
        block = next > block ? next : 0; // they are listed in their order; anything else is a loop
    }
    return found;
}

/// A list of numbers in a page is cut at its end when one is taken from it, and the number stays.
/// Returns where such numbers, from 1 to `most` each, end behind the list that ends at `listEnd`.
template<typename Number> int endOfFormerNumbers(const QByteArray &page, int listEnd, quint32 most)
{
    int end = listEnd;
    for (; end + int(sizeof(Number)) <= page.size(); end += int(sizeof(Number))) {
        const quint32 number = qFromBigEndian<Number>(page.constData() + end);
        if (number == 0 || number > most) {
            break;
        }
    }
    return end;
}

FreedSpace spaceOfLeafPage(const QByteArray &bytes, quint32 pageNo)
{
    PageView page(bytes, pageNo);
    if (!page.readHeader(LeafHeaderSize)) {
        return FreedSpace::Unknown;
    }
    const int contentStart = page.header().contentStart;
    const int cells = contentStart > 0 ? contentStart : bytes.size(); // 0 stands for 65536
    const int gap =
        endOfFormerNumbers<quint16>(bytes, page.cellPointersEnd(), quint32(bytes.size()));
    return hasBytes(bytes, gap, cells) ? FreedSpace::Filled
                                       : spaceOfFreeblocks(bytes, page.header().firstFreeblock);
}

FreedSpace spaceOfFreePages(DatabaseReader &reader)
{
    FreedSpace found = FreedSpace::None;
    const QVector<FreeRegion> regions = reader.freeRegions();
    for (const FreeRegion &region : regions) {
        const QByteArray page = reader.readPage(region.pageNo);
        const bool isTrunk = region.offset > 0;
        const int begin = isTrunk ? endOfFormerNumbers<quint32>(page, int(region.offset),
                                                                reader.headerInfo().pageCount)
                                  : 0;
        if (hasBytes(page, begin, page.size())) {
            return FreedSpace::Filled;
        }
        found = FreedSpace::Erased;
    }
    return found;
}

/// `met` says which pages were looked at for other tables: in a damaged file many may claim one.
FreedSpace spaceOfTable(DatabaseReader &reader, quint32 rootPage, QBitArray *met)
{
    const QVector<quint32> leafPages = reader.collectLeafPages(rootPage);
    FreedSpace found = leafPages.isEmpty() ? FreedSpace::Unknown : FreedSpace::None;
    for (const quint32 pageNo : leafPages) {
        if (qint64(pageNo) >= met->size() || met->testBit(int(pageNo))) {
            continue;
        }
        met->setBit(int(pageNo));
        found = std::max(found, spaceOfLeafPage(reader.readPage(pageNo), pageNo));
        if (found == FreedSpace::Filled) {
            break;
        }
    }
    return found;
}

} // namespace

FreedSpace findFreedSpace(DatabaseReader &reader, const QSet<quint32> &rootPages)
{
    QBitArray met(reader.headerInfo().pageBits() + 1);
    FreedSpace found = spaceOfFreePages(reader);
    for (const quint32 rootPage : rootPages) {
        if (found == FreedSpace::Filled) {
            break;
        }
        found = std::max(found, spaceOfTable(reader, rootPage, &met));
    }
    return found;
}
