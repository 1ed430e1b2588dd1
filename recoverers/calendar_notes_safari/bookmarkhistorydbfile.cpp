#include "recoverers/calendar_notes_safari/bookmarkhistorydbfile.h"

#include "api/sqliterecovery.h"
#include "recoverers/calendar_notes_safari/bookmarkhistorymatchers.h"

namespace {

/// The table as most systems have it. Rows keep the layout under which they were written when a new
/// system adds columns, and are found under this list then.
const char ItemColumns[] =
    "id integer primary key autoincrement, url text not null unique, domain_expansion text null, "
    "visit_count integer not null, daily_visit_counts blob not null, weekly_visit_counts blob "
    "null, autocomplete_triggers blob null, should_recompute_derived_visit_counts integer not "
    "null, visit_count_score integer not null";

} // namespace

BookmarkHistoryDbFile::BookmarkHistoryDbFile(QObject *parent)
    : SqliteDbFile(parent)
{
}

BookmarkHistoryDbFile::~BookmarkHistoryDbFile() = default;

int BookmarkHistoryDbFile::scanDeletedRecords(SqliteRecovery *resultHolder)
{
    m_live = readHistory(path);
    m_liveItemIds = m_live.items.keys().toVector();
    m_carved = CarvedHistory();
    carve();
    const QVector<BookmarkRecord> records = assembleHistory(m_live, m_carved);
    for (const BookmarkRecord &record : records) {
        resultHolder->m_safariHistory.append(record);
    }
    return 0;
}

void BookmarkHistoryDbFile::carve()
{
    const TableSchema *items = table(QStringLiteral("history_items"));
    const TableSchema *visits = table(QStringLiteral("history_visits"));
    const double span = items && visits ? progressValue() / 2 : progressValue();
    if ((!items || carveItems(*items, span)) && visits) {
        carveVisits(*visits, span);
    }
}

bool BookmarkHistoryDbFile::carveItems(const TableSchema &items, double span)
{
    TableSchema fixed = items;
    fixed.columns = parseColumnList(QLatin1String(ItemColumns));
    BookmarHistoryMatcher matcher(this);
    bool goOn = carveTable(items, matcher, span / 2, false);
    matcher.startSecondSearch();
    goOn = goOn && carveTable(fixed, matcher, span / 2, false);
    matcher.finish();
    return goOn;
}

void BookmarkHistoryDbFile::carveVisits(const TableSchema &visits, double span)
{
    BookmarHistoryVisitMatcher matcher(this);
    carveTable(visits, matcher, span, false);
    matcher.finish();
}
