#include "samples/safarisamples.h"

#include "samples/safarigenerator.h"

#include <QMap>

#include <algorithm>

namespace {

constexpr qint64 FirstFolder = 1; ///< the menu; every tenth row is a further folder

bool execAll(SampleDatabase *db, const QStringList &statements)
{
    return std::all_of(statements.begin(), statements.end(),
                       [db](const QString &statement) { return db->exec(statement); });
}

QString insertStatement(const char *table, const QVariantMap &row)
{
    const QStringList columns = row.keys();
    QStringList marks;
    for (int i = 0; i < columns.size(); ++i) {
        marks << QStringLiteral("?");
    }
    return QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
        .arg(QLatin1String(table), columns.join(QLatin1Char(',')), marks.join(QLatin1Char(',')));
}

bool insertRow(SampleDatabase *db, const char *table, const QVariantMap &row)
{
    return db->run(insertStatement(table, row), row.values());
}

/// Lives a plan of bookmarks through in the database, keeping the truth up to date.
class BookmarkRunner
{
public:
    BookmarkRunner(SampleDatabase *db, const BookmarkPlan &plan, BookmarkSample *sample)
        : m_db(db)
        , m_plan(plan)
        , m_sample(sample)
        , m_generator(plan.seed)
        , m_random(m_generator.random())
    {
    }

    bool run();

private:
    bool insertAll();
    bool insert();
    QVariantMap rowOf(const SampleBookmark &bookmark);
    void addSyncColumns(QVariantMap *row);
    bool insertWords(const SampleBookmark &bookmark);
    bool removeAt(int index);
    bool removeScattered(int percent);
    bool removeRange();
    bool removeAll();
    bool edit(int percent);
    bool rewrite(SampleBookmark *bookmark);

    SampleDatabase *m_db;
    BookmarkPlan m_plan;
    BookmarkSample *m_sample;
    SafariGenerator m_generator;
    SampleRandom &m_random;
    QVector<qint64> m_folders{FirstFolder};
    int m_order = 0;
};

bool BookmarkRunner::run()
{
    if (!execAll(m_db, safariTables(m_plan.layout)) || !insertAll()) {
        return false;
    }
    switch (m_plan.deletion) {
    case BookmarkDeletion::Scattered:
        return removeScattered(30);
    case BookmarkDeletion::Contiguous:
        return removeRange();
    case BookmarkDeletion::WholeTable:
        return removeAll();
    case BookmarkDeletion::Edited:
        return edit(25) && removeScattered(20);
    case BookmarkDeletion::ThenInserts: {
        bool ok = removeScattered(30);
        for (int i = 0; ok && i < m_plan.rows / 10; ++i) {
            ok = insert();
        }
        return ok;
    }
    }
    return false;
}

/// The newer system comes when two thirds of the rows are there.
bool BookmarkRunner::insertAll()
{
    for (int i = 0; i < m_plan.rows; ++i) {
        if ((i == m_plan.rows * 2 / 3 && !execAll(m_db, addedColumns(m_plan.layout)))
            || !insert()) {
            return false;
        }
    }
    return true;
}

bool BookmarkRunner::insert()
{
    SampleBookmark bookmark;
    bookmark.order = m_order++;
    bookmark.isFolder = bookmark.order % 10 == 0;
    bookmark.record.parent = m_folders.at(m_random.number(0, m_folders.size()));
    bookmark.record.title = m_generator.title();
    // Bookmarks that came from elsewhere may have identifiers of another making.
    bookmark.uuid = m_random.chance(4) ? m_random.digits(20) : m_random.guid();
    if (!bookmark.isFolder) {
        bookmark.record.url =
            m_random.chance(3) ? QStringLiteral("javascript:history.back()") : m_generator.url();
    }
    if (!m_db->exec(QStringLiteral("BEGIN")) || !insertRow(m_db, "bookmarks", rowOf(bookmark))) {
        return false;
    }
    bookmark.id = m_db->lastRowid();
    if (bookmark.isFolder) {
        m_folders << bookmark.id;
    } else {
        m_sample->live << bookmark;
    }
    return insertWords(bookmark) && m_db->exec(QStringLiteral("COMMIT"));
}

QVariantMap BookmarkRunner::rowOf(const SampleBookmark &bookmark)
{
    QVariantMap row{{QStringLiteral("parent"), bookmark.record.parent},
                    {QStringLiteral("type"), bookmark.isFolder ? 1 : 0},
                    {QStringLiteral("title"), bookmark.record.title},
                    {QStringLiteral("url"), bookmark.record.url},
                    {QStringLiteral("order_index"), bookmark.order},
                    {QStringLiteral("external_uuid"), bookmark.uuid}};
    if (m_plan.layout != BookmarkLayout::Ios3) {
        addSyncColumns(&row);
    }
    return row;
}

/// The blobs of a synchronized bookmark may go on to overflow pages.
void BookmarkRunner::addSyncColumns(QVariantMap *row)
{
    row->insert(QStringLiteral("last_modified"), 1400000000.5 + m_order * 4321);
    if (m_random.chance(50)) {
        row->insert(QStringLiteral("server_id"), m_random.guid() + QStringLiteral(".xml"));
        row->insert(QStringLiteral("sync_key"), m_random.digits(16));
        row->insert(QStringLiteral("sync_data"), m_generator.blob(60, 300));
    }
    if (m_random.chance(15)) {
        row->insert(QStringLiteral("extra_attributes"), m_generator.blob(200, 700));
    }
    if (m_random.chance(6)) {
        row->insert(QStringLiteral("icon"), m_generator.blob(1500, 9000));
    }
}

bool BookmarkRunner::insertWords(const SampleBookmark &bookmark)
{
    if (m_plan.layout == BookmarkLayout::Ios3) {
        return true;
    }
    int index = 0;
    for (const QString &word : bookmark.record.title.toLower().split(QLatin1Char(' '))) {
        if (!m_db->run(QStringLiteral("INSERT INTO bookmark_title_words (bookmark_id, word, "
                                      "word_index) VALUES (?, ?, ?)"),
                       {bookmark.id, word, index++})) {
            return false;
        }
    }
    return true;
}

bool BookmarkRunner::removeAt(int index)
{
    const SampleBookmark bookmark = m_sample->live.takeAt(index);
    m_sample->deleted << bookmark;
    const bool hasWords = m_plan.layout != BookmarkLayout::Ios3;
    return m_db->exec(QStringLiteral("BEGIN"))
           && m_db->run(QStringLiteral("DELETE FROM bookmarks WHERE id=?"), {bookmark.id})
           && (!hasWords
               || m_db->run(QStringLiteral("DELETE FROM bookmark_title_words WHERE bookmark_id=?"),
                            {bookmark.id}))
           && m_db->exec(QStringLiteral("COMMIT"));
}

bool BookmarkRunner::removeScattered(int percent)
{
    for (int left = m_sample->live.size() * percent / 100; left > 0; --left) {
        if (!removeAt(m_random.number(0, m_sample->live.size()))) {
            return false;
        }
    }
    return true;
}

bool BookmarkRunner::removeRange()
{
    const int first = m_sample->live.size() / 3;
    for (int left = m_sample->live.size() / 3; left > 0; --left) {
        if (!removeAt(first)) {
            return false;
        }
    }
    return true;
}

bool BookmarkRunner::removeAll()
{
    m_sample->deleted << m_sample->live;
    m_sample->live.clear();
    return m_db->exec(QStringLiteral("DELETE FROM bookmarks"));
}

bool BookmarkRunner::edit(int percent)
{
    for (SampleBookmark &bookmark : m_sample->live) {
        if (m_random.chance(percent) && !rewrite(&bookmark)) {
            return false;
        }
    }
    return true;
}

bool BookmarkRunner::rewrite(SampleBookmark *bookmark)
{
    m_sample->formerVersions << *bookmark;
    if (m_random.chance(60)) {
        bookmark->record.title += QStringLiteral(" (read later)");
    } else {
        bookmark->record.parent = m_folders.at(m_random.number(0, m_folders.size()));
        bookmark->order = m_order++;
    }
    return m_db->run(
        QStringLiteral("UPDATE bookmarks SET title=?, parent=?, order_index=? WHERE id=?"),
        {bookmark->record.title, bookmark->record.parent, bookmark->order, bookmark->id});
}

/// One address of the history, with its visits that are still there.
struct Item
{
    qint64 id = 0;
    QString url;
    int visitCount = 0;
    int lastDay = 0;
    QVector<qint32> daily; ///< visits of each of the last days, the last day first
    QMap<qint64, QString> visits;
};

} // namespace

Q_DECLARE_TYPEINFO(Item, Q_MOVABLE_TYPE); // large samples take items out of long lists

namespace {

QByteArray counterBytes(const QVector<qint32> &counters)
{
    QByteArray bytes;
    for (const qint32 counter : counters) {
        bytes.append(char(counter & 0xff)).append(char(counter >> 8)).append(2, '\0');
    }
    return bytes;
}

/// Lives a plan of a history through in the database, keeping the truth up to date.
class HistoryRunner
{
public:
    HistoryRunner(SampleDatabase *db, const HistoryPlan &plan, HistorySample *sample)
        : m_db(db)
        , m_plan(plan)
        , m_sample(sample)
        , m_generator(plan.seed)
        , m_random(m_generator.random())
    {
    }

    bool run();

private:
    bool runPlan();
    bool visitAll(int visits);
    bool visit();
    bool writeItem(Item *item);
    void countVisit(Item *item);
    bool writeVisit(Item *item);
    bool retitle(qint64 visitId, Item *item, const QString &title);
    BookmarkRecord recordOf(const Item &item) const;
    bool removeItem(int index);
    bool removeItems(int percent);
    bool removeVisits(qint64 first, qint64 last);
    bool removeEverything();
    bool bury(const QVariant &url);

    SampleDatabase *m_db;
    HistoryPlan m_plan;
    HistorySample *m_sample;
    SafariGenerator m_generator;
    SampleRandom &m_random;
    QVector<Item> m_items;
    bool m_hasScore = false;
    double m_time = 480000000;
    qint64 m_lastVisit = 0;
};

bool HistoryRunner::run()
{
    m_hasScore = m_plan.layout == HistoryLayout::Ios10 || m_plan.layout == HistoryLayout::Safari27;
    if (!execAll(m_db, safariTables(m_plan.layout)) || !visitAll(m_plan.visits * 2 / 3)
        || !execAll(m_db, addedColumns(m_plan.layout))) {
        return false;
    }
    m_hasScore = m_plan.layout != HistoryLayout::Ios9;
    if (!visitAll(m_plan.visits / 3) || !runPlan()) {
        return false;
    }
    for (const Item &item : qAsConst(m_items)) {
        m_sample->live << recordOf(item);
    }
    return true;
}

bool HistoryRunner::runPlan()
{
    switch (m_plan.deletion) {
    case HistoryDeletion::SingleItems:
        return removeItems(30);
    case HistoryDeletion::TimeSpan:
        return removeVisits(m_lastVisit * 2 / 3, m_lastVisit);
    case HistoryDeletion::Expired:
        return removeVisits(1, m_lastVisit / 3);
    case HistoryDeletion::Everything:
        return removeEverything();
    case HistoryDeletion::ThenVisits:
        return removeItems(30) && visitAll(m_plan.visits / 8);
    }
    return false;
}

bool HistoryRunner::visitAll(int visits)
{
    for (int i = 0; i < visits; ++i) {
        if (!visit()) {
            return false;
        }
    }
    return true;
}

/// Mostly a new page, otherwise one of the pages that were visited before.
bool HistoryRunner::visit()
{
    m_time += m_random.number(5, 9000) + m_random.number(0, 1000000) / 1e6;
    if (m_items.isEmpty() || m_random.chance(70)) {
        Item item;
        item.url = m_generator.url();
        m_items << item;
        return m_db->exec(QStringLiteral("BEGIN")) && writeItem(&m_items.last())
               && writeVisit(&m_items.last());
    }
    Item &item = m_items[m_random.number(0, m_items.size())];
    return m_db->exec(QStringLiteral("BEGIN")) && writeItem(&item) && writeVisit(&item);
}

void HistoryRunner::countVisit(Item *item)
{
    const int day = int(m_time / 86400);
    if (item->daily.isEmpty()) {
        item->lastDay = day;
    }
    const int days = item->daily.isEmpty() ? 1 : std::min(day - item->lastDay, 13);
    for (int i = 0; i < days; ++i) {
        item->daily.prepend(0);
    }
    item->daily.resize(std::min(item->daily.size(), 14));
    item->daily.first() += 100;
    item->lastDay = day;
    ++item->visitCount;
}

bool HistoryRunner::writeItem(Item *item)
{
    countVisit(item);
    QVariantMap row{
        {QStringLiteral("url"), item->url},
        {QStringLiteral("domain_expansion"), SafariGenerator::domainOf(item->url)},
        {QStringLiteral("visit_count"), item->visitCount},
        {QStringLiteral("daily_visit_counts"), counterBytes(item->daily)},
        {QStringLiteral("weekly_visit_counts"),
         item->visitCount > 4 ? QVariant(counterBytes({100, 200})) : QVariant()},
        {QStringLiteral("should_recompute_derived_visit_counts"), m_random.chance(10) ? 1 : 0}};
    if (m_hasScore) {
        row.insert(QStringLiteral("visit_count_score"), 100 * item->visitCount);
    }
    if (item->id == 0) {
        const bool ok = insertRow(m_db, "history_items", row);
        item->id = m_db->lastRowid();
        return ok;
    }
    QStringList assignments;
    for (const QString &column : row.keys()) {
        assignments << column + QStringLiteral("=?");
    }
    return m_db->run(QStringLiteral("UPDATE history_items SET %1 WHERE id=?")
                         .arg(assignments.join(QLatin1Char(','))),
                     row.values() << item->id);
}

/// A page has its title when it is loaded, which is after the visit was written.
bool HistoryRunner::writeVisit(Item *item)
{
    const QString title = m_generator.title();
    const bool isLoaded = m_random.chance(40);
    const double time = m_random.chance(3) ? double(qint64(m_time)) : m_time;
    QVariantMap row{{QStringLiteral("history_item"), item->id},
                    {QStringLiteral("visit_time"), time},
                    {QStringLiteral("title"), isLoaded ? QVariant(title) : QVariant(QString())},
                    {QStringLiteral("load_successful"), 1},
                    {QStringLiteral("http_non_get"), m_random.chance(3) ? 1 : 0},
                    {QStringLiteral("synthesized"), m_random.chance(3) ? 1 : 0},
                    {QStringLiteral("generation"), m_random.number(0, 300)}};
    if (m_random.chance(5) && m_lastVisit > 0) {
        row.insert(QStringLiteral("redirect_source"), m_lastVisit);
    }
    if (m_hasScore) {
        row.insert(QStringLiteral("score"), 100);
    }
    if (!insertRow(m_db, "history_visits", row)) {
        return false;
    }
    m_lastVisit = m_db->lastRowid();
    item->visits.insert(m_lastVisit, isLoaded ? title : QString());
    if (isLoaded) {
        m_sample->titles[item->url] << title;
    }
    return m_db->exec(QStringLiteral("COMMIT"))
           && (isLoaded || m_random.chance(10) || retitle(m_lastVisit, item, title));
}

bool HistoryRunner::retitle(qint64 visitId, Item *item, const QString &title)
{
    item->visits[visitId] = title;
    m_sample->titles[item->url] << title;
    return m_db->run(QStringLiteral("UPDATE history_visits SET title=? WHERE id=?"),
                     {title, visitId});
}

BookmarkRecord HistoryRunner::recordOf(const Item &item) const
{
    BookmarkRecord record{QString(), item.url, 0};
    for (const QString &title : item.visits) {
        record.title = title.isEmpty() ? record.title : title;
    }
    return record;
}

bool HistoryRunner::bury(const QVariant &url)
{
    return m_db->run(QStringLiteral("INSERT INTO history_tombstones (start_time, end_time, url) "
                                    "VALUES (?, ?, ?)"),
                     {m_time - 1000.5, m_time + 0.25, url});
}

bool HistoryRunner::removeItem(int index)
{
    const Item item = m_items.takeAt(index);
    m_sample->deleted << recordOf(item);
    if (m_random.chance(15)) {
        m_sample->removed << item.url;
    }
    return m_db->exec(QStringLiteral("BEGIN"))
           && m_db->run(QStringLiteral("DELETE FROM history_visits WHERE history_item=?"),
                        {item.id})
           && m_db->run(QStringLiteral("DELETE FROM history_items WHERE id=?"), {item.id})
           && (!m_sample->removed.endsWith(item.url) || bury(item.url))
           && m_db->exec(QStringLiteral("COMMIT"));
}

bool HistoryRunner::removeItems(int percent)
{
    for (int left = m_items.size() * percent / 100; left > 0; --left) {
        if (!removeItem(m_random.number(0, m_items.size()))) {
            return false;
        }
    }
    return true;
}

/// Items go with their last visit.
bool HistoryRunner::removeVisits(qint64 first, qint64 last)
{
    QVector<Item> kept;
    for (const Item &item : qAsConst(m_items)) {
        Item remains = item;
        for (const qint64 visit : item.visits.keys()) {
            if (visit >= first && visit <= last) {
                remains.visits.remove(visit);
            }
        }
        if (remains.visits.isEmpty()) {
            m_sample->deleted << recordOf(item);
        } else {
            kept << remains;
        }
    }
    m_items = kept;
    return m_db->exec(QStringLiteral("BEGIN"))
           && m_db->run(QStringLiteral("DELETE FROM history_visits WHERE id BETWEEN ? AND ?"),
                        {first, last})
           && m_db->exec(QStringLiteral("DELETE FROM history_items WHERE id NOT IN (SELECT "
                                        "history_item FROM history_visits)"))
           && bury(QVariant()) && m_db->exec(QStringLiteral("COMMIT"));
}

bool HistoryRunner::removeEverything()
{
    for (const Item &item : qAsConst(m_items)) {
        m_sample->deleted << recordOf(item);
    }
    m_items.clear();
    return m_db->exec(QStringLiteral("BEGIN; DELETE FROM history_visits;"
                                     "DELETE FROM history_items;"))
           && bury(QVariant()) && m_db->exec(QStringLiteral("COMMIT"));
}

} // namespace

QVector<BookmarkDeletion> allBookmarkDeletions()
{
    return {BookmarkDeletion::Scattered, BookmarkDeletion::Contiguous, BookmarkDeletion::WholeTable,
            BookmarkDeletion::Edited, BookmarkDeletion::ThenInserts};
}

QVector<HistoryDeletion> allHistoryDeletions()
{
    return {HistoryDeletion::SingleItems, HistoryDeletion::TimeSpan, HistoryDeletion::Expired,
            HistoryDeletion::Everything, HistoryDeletion::ThenVisits};
}

QString deletionName(BookmarkDeletion deletion)
{
    static const char *const names[] = {"scattered", "contiguous", "whole table", "edited",
                                        "then inserts"};
    return QString::fromLatin1(names[int(deletion)]);
}

QString deletionName(HistoryDeletion deletion)
{
    static const char *const names[] = {"single items", "time span", "expired", "everything",
                                        "then visits"};
    return QString::fromLatin1(names[int(deletion)]);
}

SampleOptions deviceOptions(BookmarkLayout layout)
{
    SampleOptions options;
    options.autoVacuum = layout == BookmarkLayout::Ios3 ? 0 : 2;
    return options;
}

SampleOptions deviceOptions(HistoryLayout)
{
    SampleOptions options;
    options.autoVacuum = 2;
    return options;
}

bool makeBookmarkSample(SampleDatabase *db, const BookmarkPlan &plan, BookmarkSample *sample)
{
    *sample = BookmarkSample();
    return BookmarkRunner(db, plan, sample).run();
}

bool makeHistorySample(SampleDatabase *db, const HistoryPlan &plan, HistorySample *sample)
{
    *sample = HistorySample();
    return HistoryRunner(db, plan, sample).run();
}

bool canComeBack(const SampleBookmark &bookmark)
{
    return bookmark.uuid.size() == 36 && bookmark.record.url.contains(QStringLiteral("://"));
}

QVector<BookmarkRecord> recordsOf(const QVector<SampleBookmark> &bookmarks)
{
    QVector<BookmarkRecord> records;
    for (const SampleBookmark &bookmark : bookmarks) {
        records << bookmark.record;
    }
    return records;
}
