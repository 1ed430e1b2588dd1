#include "wal/tablepages.h"

#include "engine/databasereader.h"
#include <algorithm>

namespace {

bool isAmong(const QVector<quint32> &ascending, quint32 pageNo)
{
    return std::binary_search(ascending.cbegin(), ascending.cend(), pageNo);
}

void sortUnique(QVector<quint32> *pages)
{
    std::sort(pages->begin(), pages->end());
    pages->erase(std::unique(pages->begin(), pages->end()), pages->end());
}

} // namespace

void TablePages::clear()
{
    *this = TablePages();
}

bool TablePages::containsAny(const QVector<quint32> &pages) const
{
    return std::any_of(pages.cbegin(), pages.cend(), [this](quint32 pageNo) {
        return m_nodes.contains(pageNo) || m_overflowPages.contains(pageNo);
    });
}

TablePages::ChangedLeaves TablePages::update(DatabaseReader &version, quint32 rootPage,
                                             const QVector<quint32> &written)
{
    m_now = Update();
    ++m_updateCount;
    findWritten(written);
    ChangedLeaves changed;
    for (const quint32 pageNo : qAsConst(m_now.dirty)) {
        if (m_nodes.value(pageNo).kind == TreePage::Leaf) {
            changed.earlier.append(pageNo);
        }
    }
    detachDirty();
    setRoot(rootPage);
    visitDirty(version);
    dropOrphans(&changed.earlier);
    keepKnownChains();
    dropStaleChains();
    walkNewChains(version, written);
    for (const quint32 pageNo : qAsConst(m_now.visited)) {
        if (m_nodes.value(pageNo).kind == TreePage::Leaf) {
            changed.later.append(pageNo);
        }
    }
    changed.visited = m_now.visited.size();
    sortUnique(&changed.earlier);
    sortUnique(&changed.later);
    return changed;
}

/// Finds the pages of the tree that were written or own an overflow page that was.
void TablePages::findWritten(const QVector<quint32> &written)
{
    for (const quint32 pageNo : written) {
        if (m_nodes.contains(pageNo)) {
            m_now.dirty.append(pageNo);
        }
        const quint32 firstPage = m_overflowPages.value(pageNo);
        if (firstPage != 0) {
            m_now.writtenChains.insert(firstPage);
            m_now.dirty.append(m_chains.value(firstPage).leaf);
        }
    }
    sortUnique(&m_now.dirty);
}

/// Forgets what the dirty pages hold. Their children are orphans until a page claims them.
void TablePages::detachDirty()
{
    for (const quint32 pageNo : qAsConst(m_now.dirty)) {
        const Node node = m_nodes.value(pageNo);
        if (node.kind == TreePage::Leaf) {
            m_now.staleChains += node.links;
        } else {
            detachChildren(pageNo, node);
        }
        m_nodes[pageNo].links.clear();
    }
}

void TablePages::detachChildren(quint32 pageNo, const Node &node)
{
    for (const quint32 child : node.links) {
        const auto found = m_nodes.find(child);
        if (found != m_nodes.end() && found->parent == pageNo) {
            found->parent = 0;
            m_now.orphans.append(child);
        }
    }
}

void TablePages::setRoot(quint32 rootPage)
{
    const auto former = m_nodes.find(m_root);
    if (m_root != rootPage && former != m_nodes.end()) {
        former->parent = 0;
        m_now.orphans.append(m_root);
    }
    m_root = rootPage;
    if (!m_nodes.contains(rootPage)) {
        m_now.dirty.append(rootPage);
        sortUnique(&m_now.dirty);
    }
    m_nodes[rootPage].parent = rootPage;
}

/// Reads the dirty pages, and those that turn up below them and are dirty or new, level by level in
/// the order of the file. Pages without a parent wait until they are claimed.
void TablePages::visitDirty(DatabaseReader &version)
{
    QVector<quint32> level = m_now.dirty;
    while (!level.isEmpty()) {
        sortUnique(&level);
        QVector<quint32> next;
        for (const quint32 pageNo : qAsConst(level)) {
            if (m_nodes.value(pageNo).parent != 0 && !m_now.visited.contains(pageNo)) {
                visit(version, pageNo, &next);
            }
        }
        level = next;
    }
}

void TablePages::visit(DatabaseReader &version, quint32 pageNo, QVector<quint32> *next)
{
    m_now.visited.insert(pageNo);
    const TreePage page = readTreePage(version, pageNo);
    m_nodes[pageNo].kind = page.kind;
    if (page.kind == TreePage::Leaf) {
        m_nodes[pageNo].links = readChains(version, page);
    } else if (page.kind == TreePage::Interior) {
        m_nodes[pageNo].links = page.children;
        for (const quint32 child : page.children) {
            claim(child, pageNo, next);
        }
    }
}

/// Makes the page a child of `parent`, unless another page claimed it first.
void TablePages::claim(quint32 pageNo, quint32 parent, QVector<quint32> *next)
{
    if (pageNo == 0 || pageNo == m_root || m_now.claimed.contains(pageNo)) {
        return;
    }
    m_now.claimed.insert(pageNo);
    if (!m_nodes.contains(pageNo) || isAmong(m_now.dirty, pageNo)) {
        next->append(pageNo);
    }
    m_nodes[pageNo].parent = parent;
}

/// Finds the rows of the leaf that go on on overflow pages. Returns the first one of each.
QVector<quint32> TablePages::readChains(const DatabaseReader &version, const TreePage &leaf)
{
    QVector<quint32> firstPages;
    for (const quint16 cell : leaf.cells) {
        RowRef row;
        OverflowChain chain;
        if (version.decodeLeafCell(leaf.bytes, leaf.pageNo, cell, row)
            && version.overflowChain(leaf.bytes, row, chain)) {
            firstPages.append(chain.firstPage);
            m_now.foundChains.append({leaf.pageNo, chain});
        }
    }
    return firstPages;
}

/// Keeps the chains that are known and of which no page was written. Only now is it known which of
/// the visited leaves are still in the tree.
void TablePages::keepKnownChains()
{
    for (const FoundChain &found : qAsConst(m_now.foundChains)) {
        const auto known = m_chains.find(found.chain.firstPage);
        if (known != m_chains.end() && known->pages.size() == found.chain.pageCount
            && !m_now.writtenChains.contains(found.chain.firstPage)
            && m_nodes.contains(found.leaf)) {
            known->leaf = found.leaf;
            known->update = m_updateCount;
        }
    }
}

/// Removes what no page claimed, and all below it.
void TablePages::dropOrphans(QVector<quint32> *leaves)
{
    while (!m_now.orphans.isEmpty()) {
        const quint32 pageNo = m_now.orphans.takeLast();
        const Node node = m_nodes.value(pageNo);
        if (node.parent != 0 || !m_nodes.contains(pageNo)) {
            continue;
        }
        if (node.kind != TreePage::Leaf) {
            detachChildren(pageNo, node);
        } else {
            m_now.staleChains += node.links;
        }
        // What was only visited on the way was no leaf of the earlier version.
        if (node.kind == TreePage::Leaf && !m_now.visited.contains(pageNo)) {
            leaves->append(pageNo);
        }
        m_nodes.remove(pageNo);
    }
}

void TablePages::dropStaleChains()
{
    for (const quint32 firstPage : qAsConst(m_now.staleChains)) {
        const auto chain = m_chains.find(firstPage);
        if (chain != m_chains.end() && chain->update != m_updateCount) {
            for (const quint32 pageNo : qAsConst(chain->pages)) {
                m_overflowPages.remove(pageNo);
            }
            m_chains.erase(chain);
        }
    }
}

/// Walks all chains side by side, so that their pages are read in the order of the file.
void TablePages::walkNewChains(DatabaseReader &version, const QVector<quint32> &written)
{
    QVector<Link> links;
    for (const FoundChain &found : qAsConst(m_now.foundChains)) {
        const quint32 firstPage = found.chain.firstPage;
        if (m_nodes.contains(found.leaf) && !m_chains.contains(firstPage)) {
            m_chains.insert(firstPage, {found.leaf, m_updateCount, {}});
            links.append({firstPage, firstPage, found.chain.pageCount});
        }
    }
    while (!links.isEmpty()) {
        std::sort(links.begin(), links.end(),
                  [](const Link &a, const Link &b) { return a.pageNo < b.pageNo; });
        QVector<Link> next;
        for (const Link &link : qAsConst(links)) {
            walkLink(version, link, written, &next);
        }
        links = next;
    }
}

/// A page that lies outside or belongs to another chain ends the chain.
void TablePages::walkLink(DatabaseReader &version, const Link &link,
                          const QVector<quint32> &written, QVector<Link> *next)
{
    if (link.pageNo < 2 || link.pageNo > version.headerInfo().pageCount
        || m_overflowPages.contains(link.pageNo)) {
        return;
    }
    m_overflowPages.insert(link.pageNo, link.firstPage);
    m_chains[link.firstPage].pages.append(link.pageNo);
    if (isAmong(written, link.pageNo)) {
        m_now.writtenChains.insert(link.firstPage);
    }
    const quint32 following = link.pagesLeft > 1 ? version.nextOverflowPage(link.pageNo) : 0;
    if (following != 0) {
        next->append({link.firstPage, following, link.pagesLeft - 1});
    }
}
