#include "wal/tableversion.h"

#include "engine/databasereader.h"
#include "wal/snapshotcontext.h"
#include "wal/treepage.h"

#include <QSet>

#include <algorithm>

namespace {

/// Deeper than any tree of 2^32 pages.
constexpr int MaxDepth = 40;

int rowidColumnOf(const TableSchema &schema)
{
    for (int i = 0; i < schema.columns.size(); ++i) {
        const ColumnDef &column = schema.columns.at(i);
        if (column.definition.contains(QLatin1String("primary"))
            && column.definition.simplified().startsWith(column.name
                                                         + QLatin1String(" integer primary key"))) {
            return i;
        }
    }
    return -1;
}

quint32 childFor(const TreePage &page, qint64 rowid)
{
    const auto key = std::lower_bound(page.keys.cbegin(), page.keys.cend(), rowid);
    return page.children.at(int(key - page.keys.cbegin()));
}

bool findOnLeaf(DatabaseReader &reader, const TreePage &leaf, qint64 rowid, TableRow *row)
{
    for (const quint16 cell : leaf.cells) {
        RowRef ref;
        if (reader.decodeLeafCell(leaf.bytes, leaf.pageNo, cell, ref) && ref.rowid == rowid) {
            return readRecord(reader, leaf.bytes, ref, row);
        }
    }
    return false;
}

/// Returns false when `visit` did.
bool visitLeaf(DatabaseReader &reader, const TreePage &leaf,
               const std::function<bool(const TableRow &)> &visit)
{
    for (const quint16 cell : leaf.cells) {
        RowRef ref;
        TableRow row;
        if (reader.decodeLeafCell(leaf.bytes, leaf.pageNo, cell, ref)
            && readRecord(reader, leaf.bytes, ref, &row) && !visit(row)) {
            return false;
        }
    }
    return true;
}

} // namespace

bool readRecord(DatabaseReader &reader, const QByteArray &page, const RowRef &ref, TableRow *row)
{
    row->rowid = ref.rowid;
    const qint64 start = ref.cellOffset % reader.headerInfo().pageSize + ref.cellHeaderLength;
    if (reader.localBytes(ref) == ref.payloadSize && start + ref.payloadSize <= page.size()) {
        row->record = page.mid(int(start), ref.payloadSize);
        return true;
    }
    return ref.payloadSize <= MaxRecordSize && reader.readRowPayload(ref, row->record);
}

TableVersion::TableVersion(SnapshotContext *context, DatabaseReader *reader,
                           const TableSchema &schema, int commitIndex)
    : m_context(context)
    , m_reader(reader)
    , m_schema(schema)
    , m_commitIndex(commitIndex)
    , m_rowidColumn(rowidColumnOf(schema))
{
}

int TableVersion::textEncoding() const
{
    return m_reader->headerInfo().textEncoding;
}

TableVersion TableVersion::sibling(const QString &name) const
{
    return m_context ? m_context->table(name, m_commitIndex) : TableVersion();
}

bool TableVersion::findRow(qint64 rowid, TableRow *row) const
{
    quint32 pageNo = quint32(m_schema.rootPage);
    for (int depth = 0; depth < MaxDepth; ++depth) {
        const TreePage page = readTreePage(*m_reader, pageNo);
        if (page.kind == TreePage::Leaf) {
            return findOnLeaf(*m_reader, page, rowid, row);
        }
        if (page.kind == TreePage::Unreadable) {
            return false;
        }
        pageNo = childFor(page, rowid);
    }
    return false;
}

void TableVersion::forEachRow(const std::function<bool(const TableRow &)> &visit) const
{
    QSet<quint32> met;
    QVector<quint32> level{quint32(m_schema.rootPage)};
    while (!level.isEmpty()) {
        std::sort(level.begin(), level.end()); // reads in the order of the file
        QVector<quint32> next;
        for (const quint32 pageNo : qAsConst(level)) {
            if (met.contains(pageNo)) {
                continue;
            }
            met.insert(pageNo);
            const TreePage page = readTreePage(*m_reader, pageNo);
            if (page.kind == TreePage::Leaf && !visitLeaf(*m_reader, page, visit)) {
                return;
            }
            next += page.children;
        }
        level = next;
    }
}
