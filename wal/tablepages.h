#pragma once

#include "engine/databasereader.h"
#include "wal/treepage.h"

#include <QHash>
#include <QSet>
#include <QVector>

/// Which pages the b-tree of one table has in one version of the database: interior pages, leaf
/// pages, and the overflow pages of the rows of each leaf. It is read once as a whole, every level
/// in the order of the file, and then follows the versions by looking at what each commit wrote.
///
/// Pages that cannot be read, lie outside the database or are claimed twice count as having no
/// rows: the rows of all others are worth having.
class TablePages
{
public:
    /// The leaf pages on which the rows of two consecutive versions may differ, ascending. A row
    /// that only moved is on pages of both lists.
    struct ChangedLeaves
    {
        QVector<quint32> earlier;
        QVector<quint32> later;
        int visited = 0; ///< pages that were read to know them
    };

    void clear();
    bool isEmpty() const { return m_root == 0; }

    /// Tells whether any of the pages belongs to the table.
    bool containsAny(const QVector<quint32> &pages) const;

    /// Follows the table from the version it was last brought to into `version`, in which its root
    /// page is `rootPage`, and which differs in the pages `written` (ascending). An empty map is
    /// filled. Reads nothing but pages among those and pages that were not known.
    ChangedLeaves update(DatabaseReader &version, quint32 rootPage,
                         const QVector<quint32> &written);

    /// Tells whether the last update() met a written page among the overflow pages that begin with
    /// `firstPage`, before or after the commit.
    bool wasChainWritten(quint32 firstPage) const
    {
        return m_now.writtenChains.contains(firstPage);
    }

private:
    struct Node
    {
        quint32 parent = 0; ///< 0 for none; that of the root is the root
        TreePage::Kind kind = TreePage::Unreadable;
        QVector<quint32> links; ///< children, or the first overflow pages of rows
    };

    struct Chain
    {
        quint32 leaf = 0;
        int update = 0; ///< the last one that met it
        QVector<quint32> pages;
    };

    /// A chain that a visited leaf begins.
    struct FoundChain
    {
        quint32 leaf;
        OverflowChain chain;
    };

    /// A step of the walk along a chain.
    struct Link
    {
        quint32 firstPage;
        quint32 pageNo;
        qint64 pagesLeft;
    };

    /// What one update() keeps in mind.
    struct Update
    {
        QVector<quint32> dirty; ///< pages of the tree that must be read again, ascending
        QVector<quint32> orphans;
        QVector<quint32> staleChains; ///< such as may be
        QVector<FoundChain> foundChains;
        QSet<quint32> visited;
        QSet<quint32> claimed;
        QSet<quint32> writtenChains;
    };

    void findWritten(const QVector<quint32> &written);
    void detachDirty();
    void detachChildren(quint32 pageNo, const Node &node);
    void setRoot(quint32 rootPage);
    void visitDirty(DatabaseReader &version);
    void visit(DatabaseReader &version, quint32 pageNo, QVector<quint32> *next);
    void claim(quint32 pageNo, quint32 parent, QVector<quint32> *next);
    QVector<quint32> readChains(const DatabaseReader &version, const TreePage &leaf);
    void dropOrphans(QVector<quint32> *leaves);
    void keepKnownChains();
    void dropStaleChains();
    void walkNewChains(DatabaseReader &version, const QVector<quint32> &written);
    void walkLink(DatabaseReader &version, const Link &link, const QVector<quint32> &written,
                  QVector<Link> *next);

    quint32 m_root = 0;
    QHash<quint32, Node> m_nodes;
    QHash<quint32, Chain> m_chains;          ///< by first page
    QHash<quint32, quint32> m_overflowPages; ///< the first page of their chain
    int m_updateCount = 0;
    Update m_now;
};
