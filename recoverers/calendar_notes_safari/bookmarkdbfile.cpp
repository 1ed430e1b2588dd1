#include "recoverers/calendar_notes_safari/bookmarkdbfile.h"

#include "api/sqliterecovery.h"
#include "recoverers/calendar_notes_safari/bookmarkmatchers.h"
#include "recoverers/livequery.h"

namespace {

QString recordKey(const QString &title, const QString &url)
{
    return title + QLatin1Char('|') + url;
}

} // namespace

BookmarkDbFile::BookmarkDbFile(QObject *parent)
    : SqliteDbFile(parent)
{
}

BookmarkDbFile::~BookmarkDbFile() = default;

int BookmarkDbFile::scanDeletedRecords(SqliteRecovery *resultHolder)
{
    readLiveKeys();
    m_resultHolder = resultHolder;
    if (const TableSchema *bookmarks = table(QStringLiteral("bookmarks"))) {
        BookmarMatcher matcher(this);
        carveTable(*bookmarks, matcher, progressValue(), false);
        matcher.finish();
    }
    return 0;
}

void BookmarkDbFile::readLiveKeys()
{
    m_seenKeys.clear();
    LiveQuery query(path);
    query.forEachRow(
        QStringLiteral("select title, url from bookmarks"),
        [this](const LiveRow &row) { m_seenKeys.insert(recordKey(row.text(0), row.text(1))); });
}

void BookmarkDbFile::addRecord(const BookmarkRecord &record)
{
    if (!m_resultHolder) {
        return;
    }
    const QString key = recordKey(record.title, record.url);
    if (!m_seenKeys.contains(key) && record.url.contains(QLatin1String("://"))) {
        m_seenKeys.insert(key);
        m_resultHolder->m_bookmarks.append(record);
    }
}
