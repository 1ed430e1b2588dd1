#include "wal/tablediff.h"

#include "api/scanprogress.h"
#include "wal/tablechangecollector.h"
#include "wal/treecheck.h"

#include <algorithm>
#include <cstring>

namespace {

/// What a row that is kept costs besides its bytes.
constexpr qint64 RowCost = 128;

/// Where a row stands.
struct RowPlace
{
    qint64 rowid;
    quint32 pageNo;
    quint16 cell;
};

/// Returns the rows on the leaf pages by ascending identifier; of rows with the same one the first.
QVector<RowPlace> rowsOn(DatabaseReader &version, const QVector<quint32> &leafPages)
{
    QVector<RowPlace> rows;
    for (const quint32 pageNo : leafPages) {
        const TreePage page = readTreePage(version, pageNo);
        for (const quint16 cell : page.cells) {
            RowRef row;
            if (version.decodeLeafCell(page.bytes, pageNo, cell, row)) {
                rows.append({row.rowid, pageNo, cell});
            }
        }
    }
    const auto isBefore = [](const RowPlace &a, const RowPlace &b) { return a.rowid < b.rowid; };
    const auto isSame = [](const RowPlace &a, const RowPlace &b) { return a.rowid == b.rowid; };
    std::stable_sort(rows.begin(), rows.end(), isBefore);
    rows.erase(std::unique(rows.begin(), rows.end(), isSame), rows.end());
    return rows;
}

/// Reads rows of one version one after the other. Neighbours mostly share a page.
class RowReader
{
public:
    explicit RowReader(DatabaseReader &version)
        : m_version(version)
    {
    }

    /// Moves to a row. Returns false when it cannot be read.
    bool moveTo(const RowPlace &place)
    {
        if (m_page.pageNo != place.pageNo) {
            m_page = readTreePage(m_version, place.pageNo);
        }
        return m_version.decodeLeafCell(m_page.bytes, place.pageNo, place.cell, m_row);
    }

    qint64 payloadSize() const { return m_row.payloadSize; }
    bool readRow(TableRow *row) { return readRecord(m_version, m_page.bytes, m_row, row); }

    /// The part of the record on the leaf page.
    QByteArray localPart() const
    {
        const qint64 start =
            m_row.cellOffset % m_version.headerInfo().pageSize + m_row.cellHeaderLength;
        const qint64 length = std::min(m_version.localBytes(m_row), m_page.bytes.size() - start);
        return length > 0 ? QByteArray::fromRawData(m_page.bytes.constData() + start, int(length))
                          : QByteArray();
    }

    /// The first overflow page of the row; 0 when it has none.
    quint32 firstOverflowPage() const
    {
        OverflowChain chain;
        return m_version.overflowChain(m_page.bytes, m_row, chain) ? chain.firstPage : 0;
    }

private:
    DatabaseReader &m_version;
    TreePage m_page;
    RowRef m_row;
};

/// Tells whether the rows are equal as far as can be seen without following overflow pages: those
/// that no commit wrote have not changed.
bool areSurelyEqual(const RowReader &earlier, const RowReader &later, const TablePages &pages)
{
    const quint32 overflow = earlier.firstOverflowPage();
    return earlier.payloadSize() == later.payloadSize() && earlier.localPart() == later.localPart()
           && overflow == later.firstOverflowPage()
           && (overflow == 0 || !pages.wasChainWritten(overflow));
}

} // namespace

TableDiff::TableDiff(SnapshotContext *context, TableChangeCollector *collector,
                     ScanProgress *progress)
    : m_context(context)
    , m_collector(collector)
    , m_progress(progress)
{
}

bool TableDiff::reportProgress(double step)
{
    return !m_progress || m_progress->reportProgress(step);
}

void TableDiff::run()
{
    start();
    const int commits = m_context->wal().transactionCount();
    for (int commitIndex = 0; commitIndex < commits && compareCommit(commitIndex); ++commitIndex) {
    }
    m_collector->finishCollection();
    m_collector->setContext(nullptr);
}

void TableDiff::start()
{
    m_collector->setContext(m_context);
    const QStringList names = m_collector->tableNames();
    const double parts = double(m_context->wal().transactionCount()) * names.size();
    m_step = m_progress && parts > 0 ? m_progress->progressValue() / parts : 0;
    m_tables.resize(names.size());
    for (int i = 0; i < names.size(); ++i) {
        m_tables[i].name = names.at(i);
        m_tables[i].earlier = m_context->table(names.at(i), DatabaseFileVersion);
    }
    m_isOwnLog = doesLogFit();
}

/// Nothing in a log names the database that it belongs to, but in the last version the pages from
/// the log and those of the file make sound trees. A few damaged pages are no reason to give up.
bool TableDiff::doesLogFit() const
{
    constexpr int onePageIn = 4;
    const int last = m_context->lastWholeCommit();
    const auto isInLog = [this, last](quint32 pageNo) {
        return m_context->wal().findFrame(quint32(last), pageNo) >= 0;
    };
    TreeCheck sum;
    for (const ComparedTable &table : m_tables) {
        const TableVersion version = m_context->table(table.name, last);
        if (version.exists() && table.earlier.exists()) {
            sum.add(checkTree(*version.m_reader, quint32(version.schema().rootPage), isInLog));
        }
    }
    return sum.inLog.misfits * onePageIn <= sum.inLog.checked
           && sum.inFile.misfits * onePageIn <= sum.inFile.checked;
}

/// Returns false when the scan is to end.
bool TableDiff::compareCommit(int commitIndex)
{
    if (!reportProgress(0)) {
        return false;
    }
    QVector<TableVersion> later;
    for (const ComparedTable &table : qAsConst(m_tables)) {
        later.append(m_context->table(table.name, commitIndex));
    }
    m_collector->beginCommit(commitIndex);
    for (int i = 0; i < m_tables.size(); ++i) {
        ComparedTable &table = m_tables[i];
        if (!reportProgress(0) || !compareTable(&table, later.at(i))) {
            return false;
        }
        table.earlier = later.at(i);
    }
    return true;
}

bool TableDiff::compareTable(ComparedTable *table, const TableVersion &later)
{
    const TableVersion &earlier = table->earlier;
    if (!m_isOwnLog || !earlier.exists() || !later.exists()) {
        return true;
    }
    TablePages &pages = table->pages;
    const auto earlierRoot = quint32(earlier.schema().rootPage);
    const auto laterRoot = quint32(later.schema().rootPage);
    // Where the table was away for a while, nothing is known of its pages any more.
    if (pages.isEmpty() || table->pagesOfCommit != earlier.commitIndex()) {
        pages.clear();
        pages.update(*earlier.m_reader, earlierRoot, {});
    }
    table->pagesOfCommit = later.commitIndex();
    const QVector<quint32> written = m_context->wal().pagesOf(later.commitIndex());
    if (earlierRoot == laterRoot && !pages.containsAny(written)) {
        return true;
    }
    const TablePages::ChangedLeaves leaves = pages.update(*later.m_reader, laterRoot, written);
    return spendOnPages(leaves) && compareRows(*table, later, leaves);
}

bool TableDiff::spendOnPages(const TablePages::ChangedLeaves &leaves)
{
    const qint64 pages = leaves.visited + leaves.earlier.size() + leaves.later.size();
    return m_context->spendOnPages(pages * m_context->wal().pageSize());
}

bool TableDiff::compareRows(const ComparedTable &table, const TableVersion &later,
                            const TablePages::ChangedLeaves &leaves)
{
    const QVector<RowPlace> laterRows = rowsOn(*later.m_reader, leaves.later);
    RowReader earlierReader(*table.earlier.m_reader);
    RowReader laterReader(*later.m_reader);
    auto match = laterRows.cbegin();
    const QVector<RowPlace> earlierRows = rowsOn(*table.earlier.m_reader, leaves.earlier);
    for (const RowPlace &place : earlierRows) {
        if (!reportProgress(m_step)) {
            return false;
        }
        while (match != laterRows.cend() && match->rowid < place.rowid) {
            ++match;
        }
        const bool isLeft = match != laterRows.cend() && match->rowid == place.rowid;
        TableRow earlierRow;
        TableRow laterRow;
        if (!earlierReader.moveTo(place)
            || (isLeft
                && (!laterReader.moveTo(*match)
                    || areSurelyEqual(earlierReader, laterReader, table.pages)))) {
            continue;
        }
        if (!earlierReader.readRow(&earlierRow)
            || !m_context->spendOnRows(earlierRow.record.size() + RowCost)) {
            continue;
        }
        if (!isLeft) {
            m_collector->collectRow(table.earlier, earlierRow);
        } else if (laterReader.readRow(&laterRow) && laterRow.record != earlierRow.record) {
            m_collector->collectChangedRow(table.earlier, earlierRow, later, laterRow);
        }
    }
    return true;
}
