#include "wal/treecheck.h"

#include "engine/databasereader.h"
#include "wal/treepage.h"

#include <QSet>

#include <algorithm>
#include <limits>

namespace {

// Leaves to look at that are not in the log.
constexpr int SamplesPerPage = 4;
constexpr int MostSamples = 256;

/// A page and the row identifiers that may stand below it: above `low`, up to `high`.
struct Branch
{
    quint32 pageNo;
    qint64 low;
    qint64 high;
};

/// True when the identifiers ascend within the bounds.
bool areInOrder(const QVector<qint64> &rowids, const Branch &branch)
{
    qint64 before = branch.low;
    bool isFirst = true;
    for (const qint64 rowid : rowids) {
        if (rowid > branch.high || rowid < before || (!isFirst && rowid == before)) {
            return false;
        }
        before = rowid;
        isFirst = false;
    }
    return true;
}

QVector<qint64> rowidsOn(const DatabaseReader &version, const TreePage &leaf)
{
    QVector<qint64> rowids;
    for (const quint16 cell : leaf.cells) {
        RowRef row;
        if (version.decodeLeafCell(leaf.bytes, leaf.pageNo, cell, row)) {
            rowids.append(row.rowid);
        }
    }
    return rowids;
}

class Checker
{
public:
    Checker(DatabaseReader &version, const std::function<bool(quint32)> &isInLog)
        : m_version(version)
        , m_isInLog(isInLog)
    {
    }

    TreeCheck run(quint32 rootPage)
    {
        m_open.append(
            {rootPage, std::numeric_limits<qint64>::min(), std::numeric_limits<qint64>::max()});
        while (!m_open.isEmpty()) {
            const Branch branch = m_open.takeLast();
            if (!m_met.contains(branch.pageNo)) {
                m_met.insert(branch.pageNo);
                check(branch);
            }
        }
        return m_result;
    }

private:
    void check(const Branch &branch)
    {
        const TreePage page = readTreePage(m_version, branch.pageNo);
        const bool fits =
            page.kind != TreePage::Unreadable
            && areInOrder(page.kind == TreePage::Leaf ? rowidsOn(m_version, page) : page.keys,
                          branch);
        TreeCheck::Count &count = m_isInLog(branch.pageNo) ? m_result.inLog : m_result.inFile;
        ++count.checked;
        count.misfits += !fits;
        if (page.kind == TreePage::Interior && fits) {
            follow(page, branch);
        }
    }

    /// Goes on to all interior pages and all pages in the log, and to few other leaves. One page
    /// tells what kind all of its level are.
    void follow(const TreePage &page, const Branch &branch)
    {
        const int count = page.children.size();
        const bool areLeaves =
            readTreePage(m_version, page.children.first()).kind != TreePage::Interior;
        for (int i = 0; i < count; ++i) {
            const quint32 child = page.children.at(i);
            const bool isSample = i % std::max(1, count / SamplesPerPage) == 0 && m_samples > 0;
            if (!areLeaves || isSample || m_isInLog(child)) {
                m_samples -= areLeaves && isSample;
                m_open.append({child, i > 0 ? page.keys.at(i - 1) : branch.low,
                               i < page.keys.size() ? page.keys.at(i) : branch.high});
            }
        }
    }

    DatabaseReader &m_version;
    const std::function<bool(quint32)> &m_isInLog;
    QVector<Branch> m_open;
    QSet<quint32> m_met;
    int m_samples = MostSamples;
    TreeCheck m_result;
};

} // namespace

TreeCheck checkTree(DatabaseReader &version, quint32 rootPage,
                    const std::function<bool(quint32)> &isInLog)
{
    return Checker(version, isInLog).run(rootPage);
}
