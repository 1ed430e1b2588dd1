#include "wal/bookmarktablechangecollector.h"

#include "api/walrecovery.h"
#include "wal/recordparser.h"

namespace {

class BookmarkParser : public RecordParser<BookmarkRecord>
{
public:
    void parseColumn(BookmarkRecord &record, const QString &columnName,
                     const ColumnValue &column) override
    {
        if (columnName == QLatin1String("title")) {
            record.title = column.text();
        } else if (columnName == QLatin1String("url")) {
            record.url = column.text();
        } else if (columnName == QLatin1String("parent")) {
            record.parent = column.integer();
        }
    }
};

BookmarkRecord bookmarkOf(const TableVersion &table, const TableRow &row)
{
    BookmarkParser parser;
    BookmarkRecord record;
    parseRow(parser, table, row, &record);
    return record;
}

QString tableName()
{
    return QStringLiteral("bookmarks");
}

} // namespace

BookmarkTableChangeCollector::BookmarkTableChangeCollector(WalRecovery *resultHolder)
    : m_resultHolder(resultHolder)
{
}

BookmarkTableChangeCollector::~BookmarkTableChangeCollector() = default;

QStringList BookmarkTableChangeCollector::tableNames()
{
    return {tableName()};
}

void BookmarkTableChangeCollector::collectRow(const TableVersion &earlier, const TableRow &row)
{
    add(bookmarkOf(earlier, row));
}

void BookmarkTableChangeCollector::collectChangedRow(const TableVersion &earlier,
                                                     const TableRow &earlierRow,
                                                     const TableVersion &later,
                                                     const TableRow &laterRow)
{
    const BookmarkRecord record = bookmarkOf(earlier, earlierRow);
    if (contentKey(record) != contentKey(bookmarkOf(later, laterRow))) {
        add(record);
    }
}

void BookmarkTableChangeCollector::add(const BookmarkRecord &record)
{
    if (record.url.contains(QLatin1String("://"))) {
        m_records.add(record);
    }
}

void BookmarkTableChangeCollector::finishCollection()
{
    TableChangeCollector::finishCollection();
    const TableVersion last = lastVersion(tableName());
    if (last.exists() && !m_records.isEmpty()) {
        last.forEachRow([&](const TableRow &row) {
            m_records.remove(bookmarkOf(last, row));
            return !m_records.isEmpty();
        });
    }
    const QVector<BookmarkRecord> records = m_records.records();
    for (const BookmarkRecord &record : records) {
        m_resultHolder->m_bookmarks.append(record);
    }
}
