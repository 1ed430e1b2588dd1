#include "wal/treepage.h"

#include "engine/databasereader.h"
#include "engine/pageheader.h"
#include "engine/varint.h"

#include <QtEndian>

namespace {

constexpr int ChildPointerSize = 4;

/// Returns false at the first cell that is not all there.
bool readInteriorCells(const PageView &page, TreePage *tree)
{
    const QVector<quint16> cells = page.cellPointers();
    for (const quint16 cell : cells) {
        const uchar *child = page.at(cell);
        qint64 key = 0;
        if (page.end() - child < ChildPointerSize
            || decodeVarint(child + ChildPointerSize, page.end(), key) == 0) {
            return false;
        }
        tree->children.append(qFromBigEndian<quint32>(child));
        tree->keys.append(key);
    }
    tree->children.append(page.rightMostChild());
    return true;
}

} // namespace

TreePage readTreePage(DatabaseReader &version, quint32 pageNo)
{
    TreePage tree;
    tree.pageNo = pageNo;
    if (pageNo == 0 || pageNo > version.headerInfo().pageCount) {
        return tree;
    }
    tree.bytes = version.readPage(pageNo);
    PageView page(tree.bytes, pageNo);
    const int start = pageNo == 1 ? DatabaseHeaderSize : 0;
    if (!page.readHeader(LeafHeaderSize)) {
        return tree;
    }
    const auto type = quint8(tree.bytes.at(start));
    if (type == TableLeafPage) {
        tree.cells = page.cellPointers();
        tree.kind = TreePage::Leaf;
    } else if (type == TableInteriorPage && page.readHeader(InteriorHeaderSize)
               && readInteriorCells(page, &tree)) {
        tree.kind = TreePage::Interior;
    }
    return tree;
}
