#include "engine/sqlitedbfile.h"

#include "engine/recordmatcher.h"
#include "engine/serialtype.h"
#include "engine/signaturesearch.h"

#include <QBitArray>

#include <algorithm>
#include <climits>

// The carving half of SqliteDbFile.

namespace {

/// Returns the offset modulo the page size, mostly without a division.
qint64 inPage(qint64 offset, qint64 pageSize)
{
    return offset >= 0 && offset < pageSize ? offset : offset % pageSize;
}

/// Returns the place in the region of the first live cell behind `bodyOffset`; 0 when there is
/// none. Both offsets are relative to the page, of which the region begins at `regionOffset`.
int nextLiveCell(const QVector<quint16> &cellOffsets, qint64 bodyOffset, qint64 regionOffset)
{
    const auto cell = std::upper_bound(cellOffsets.cbegin(), cellOffsets.cend(), bodyOffset);
    return cell == cellOffsets.cend() ? 0 : int(*cell - regionOffset);
}

/// How many times the candidates of a region may claim its bytes as texts. Rows share no bytes, and
/// the copies that SQLite leaves of them lie side by side; but each of some thousand overlapping
/// candidates of a hostile page could claim all that follows.
constexpr qint64 MostClaims = 32;

/// How much of the region the candidate at hand takes for its texts.
qint64 claimedBytes(const RecordMatcher &matcher, const QByteArray &region)
{
    qint64 claimed = 0;
    const qint64 left = std::max<qint64>(region.size() - matcher.bodyStart, 0);
    for (const qint64 type : matcher.serialTypes) {
        const SerialClass kind = serialTypeClass(type);
        const bool hasBytes = kind == TextClass || kind == BlobClass;
        claimed = std::min(claimed + (hasBytes ? serialTypeSize(type) : 0), left);
    }
    return claimed;
}

} // namespace

bool isLiveCellStart(qint64 offsetInPage, const QVector<quint16> &cellOffsets)
{
    const auto behind = std::upper_bound(cellOffsets.cbegin(), cellOffsets.cend(), offsetInPage);
    return behind != cellOffsets.cbegin() && offsetInPage - *(behind - 1) <= 4;
}

bool SqliteDbFile::bind(RecordMatcher &matcher, const TableSchema &table)
{
    const bool isBound = matcher.bindColumns(table);
    const bool isOfTheFile = reader->table(table.name) == &table;
    if (isBound && isOfTheFile) {
        m_boundRoots.insert(quint32(table.rootPage));
    } else if (isOfTheFile) {
        ++m_refusedTables;
    }
    return isBound;
}

bool SqliteDbFile::carveTable(const TableSchema &table, RecordMatcher &matcher, double progressSpan,
                              bool freeListOnly)
{
    if (!bind(matcher, table) || m_isBindingOnly) {
        return reportProgress(progressSpan);
    }
    const QVector<quint32> leafPages = reader->collectLeafPages(quint32(table.rootPage));
    if (freeListOnly) {
        findFreeRegions();
    }
    const qint64 items = freeListOnly ? qint64(freeRegions.size()) + leafPages.size()
                                      : qint64(headerInfo().pageCount);
    const double step = items != 0 ? progressSpan / double(items) : 0;
    return carveLeafPages(table, leafPages, step, matcher)
           && (freeListOnly ? carveFreeRegions(table, step, matcher)
                            : carveOtherPages(table, leafPages, step, matcher));
}

void SqliteDbFile::findFreeRegions()
{
    if (freeRegions.isEmpty()) {
        freeRegions = reader->freeRegions();
    }
}

bool SqliteDbFile::carveLeafPages(const TableSchema &table, const QVector<quint32> &leafPages,
                                  double step, RecordMatcher &matcher)
{
    if (m_isBindingOnly) {
        return true;
    }
    QByteArray region;
    region.reserve(headerInfo().pageSize);
    for (const quint32 pageNo : leafPages) {
        carveLeafPage(table, pageNo, region, matcher);
        if (!reportProgress(step)) {
            return false;
        }
    }
    return true;
}

void SqliteDbFile::carveRegion(const TableSchema &table, qint64 fileOffset, qint64 length,
                               const QVector<quint16> &cellOffsets, RecordMatcher &matcher)
{
    QByteArray region;
    if (!m_isBindingOnly
        && readRegion(fileOffset, std::min(length, file.size() - fileOffset), region)) {
        searchRegion(table, fileOffset, region, cellOffsets, matcher);
    }
}

bool SqliteDbFile::readRegion(qint64 fileOffset, qint64 length, QByteArray &region)
{
    // Pages in sequence need no seek, which would cost a system call each; asking for the file's
    // size would as well.
    if (length <= 0 || length > INT_MAX || (file.pos() != fileOffset && !file.seek(fileOffset))) {
        return false;
    }
    region.resize(int(length));
    const qint64 got = file.read(region.data(), length);
    region.resize(int(std::max<qint64>(got, 0)));
    return got > 0;
}

/// Reads the page once and searches what follows its cell pointer array, which is decoded from the
/// bytes already read. A page whose cell pointer array is not all there is passed over.
void SqliteDbFile::carveLeafPage(const TableSchema &table, quint32 pageNo, QByteArray &region,
                                 RecordMatcher &matcher)
{
    const qint64 pageStart = (qint64(pageNo) - 1) * headerInfo().pageSize;
    if (!readRegion(pageStart, headerInfo().pageSize, region)) {
        return;
    }
    PageView page(region, pageNo);
    if (!page.readHeader(LeafHeaderSize)) {
        return;
    }
    QVector<quint16> cellOffsets = page.cellPointers();
    std::sort(cellOffsets.begin(), cellOffsets.end());
    matcher.liveCellTotal += cellOffsets.size();
    const int regionStart = page.cellPointersEnd();
    region.remove(0, regionStart);
    searchRegion(table, pageStart + regionStart, region, cellOffsets, matcher);
}

bool SqliteDbFile::carveOtherPages(const TableSchema &table, const QVector<quint32> &leafPages,
                                   double step, RecordMatcher &matcher)
{
    const DatabaseHeader &header = headerInfo();
    QByteArray region;
    region.reserve(header.pageSize);
    QBitArray isLeaf(header.pageBits());
    for (const quint32 pageNo : leafPages) {
        if (qint64(pageNo) < isLeaf.size()) {
            isLeaf.setBit(int(pageNo));
        }
    }
    for (qint64 pageNo = 2; pageNo < isLeaf.size(); ++pageNo) {
        if (isLeaf.testBit(int(pageNo))) {
            continue;
        }
        const qint64 offset = pageOffset(quint32(pageNo), header.pageSize);
        if (readRegion(offset, header.pageSize, region)) {
            searchRegion(table, offset, region, {}, matcher);
        }
        if (!reportProgress(step)) {
            return false;
        }
    }
    return true;
}

bool SqliteDbFile::carveFreeRegions(const TableSchema &table, double step, RecordMatcher &matcher)
{
    if (m_isBindingOnly) {
        return true;
    }
    QByteArray region;
    region.reserve(headerInfo().pageSize);
    for (const FreeRegion &free : qAsConst(freeRegions)) {
        const qint64 offset = pageOffset(free.pageNo, headerInfo().pageSize) + free.offset;
        if (readRegion(offset, free.length, region)) {
            searchRegion(table, offset, region, {}, matcher);
        }
        if (!reportProgress(step)) {
            return false;
        }
    }
    return true;
}

void SqliteDbFile::searchRegion(const TableSchema &table, qint64 fileOffset,
                                const QByteArray &region, const QVector<quint16> &cellOffsets,
                                RecordMatcher &matcher)
{
    const qint64 pageSize = headerInfo().pageSize;
    const qint64 regionOffset = fileOffset % pageSize;
    const qint64 pageStart = fileOffset - regionOffset;
    m_regionOffset = fileOffset;
    if (matcher.wantsLiveCells()) {
        for (const quint16 cell : cellOffsets) {
            const qint64 inRegion = cell - regionOffset;
            if (inRegion >= 0 && inRegion < region.size()) {
                matcher.inspectLiveCell(region, int(inRegion));
            }
        }
    }
    RegionSignatures signatures(matcher.signatures, region);
    WorkBudget claims(MostClaims * region.size());
    bool restart = true;
    int pos = 0;
    for (int hit = 0; (hit = findNextSignature(signatures, pos)) >= 0;) {
        if (!matcher.matchHeader(table, region, hit)) {
            continue;
        }
        const qint64 recordStart = fileOffset + hit - matcher.headerStart;
        const bool isDeleted =
            !isLiveCellStart(inPage(recordStart - pageStart, pageSize), cellOffsets);
        if (isDeleted && !claims.spend(claimedBytes(matcher, region))) {
            continue;
        }
        matcher.trackRowid(table, restart, isDeleted);
        restart = false;
        // A body without bytes at the very end is not told from one that is missing.
        if (matcher.bodyStart >= region.size()) {
            return;
        }
        const qint64 bodyOffset = inPage(regionOffset + matcher.bodyStart, pageSize);
        const int limit = nextLiveCell(cellOffsets, bodyOffset, regionOffset);
        if (isDeleted) {
            const int headerLength = int(fileOffset + matcher.bodyStart - recordStart);
            const QByteArray payload =
                matcher.readPayload(region, file, headerInfo(), recordStart, headerLength);
            matcher.extractRecord(table, payload, true, limit);
        } else {
            matcher.extractRecord(table, region, false, limit);
            // A live row's own header is not searched again.
            pos = std::max(pos, int(matcher.bodyStart));
        }
    }
}
