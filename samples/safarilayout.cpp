#include "samples/safarilayout.h"

namespace {

template<int size> QStringList statements(const char *const (&texts)[size])
{
    QStringList list;
    for (const char *text : texts) {
        list << QString::fromLatin1(text);
    }
    return list;
}

QStringList addColumns(const char *table, const QStringList &columns)
{
    QStringList list;
    for (const QString &column : columns) {
        list << QStringLiteral("ALTER TABLE %1 ADD COLUMN %2").arg(QLatin1String(table), column);
    }
    return list;
}

const char ios3Bookmarks[] =
    "CREATE TABLE bookmarks (id INTEGER PRIMARY KEY, special_id INTEGER DEFAULT 0, parent INTEGER, "
    "type INTEGER, title TEXT, url TEXT COLLATE NOCASE, num_children INTEGER DEFAULT 0, editable "
    "INTEGER DEFAULT 1, deletable INTEGER DEFAULT 1, order_index INTEGER NOT NULL, external_uuid "
    "TEXT)";

/// What stands between the identifier and the end of the table since iOS 7.
const char ios7Columns[] =
    "special_id INTEGER DEFAULT 0, parent INTEGER, type INTEGER, title TEXT, url TEXT COLLATE "
    "NOCASE, num_children INTEGER DEFAULT 0, editable INTEGER DEFAULT 1, deletable INTEGER DEFAULT "
    "1, hidden INTEGER DEFAULT 0, hidden_ancestor_count INTEGER DEFAULT 0, order_index INTEGER NOT "
    "NULL, external_uuid TEXT%1, read INTEGER DEFAULT NULL, last_modified REAL DEFAULT NULL, "
    "server_id TEXT, sync_key TEXT, sync_data BLOB, added INTEGER DEFAULT 1, deleted INTEGER "
    "DEFAULT 0, extra_attributes BLOB DEFAULT NULL, local_attributes BLOB DEFAULT NULL, "
    "fetched_icon BOOL DEFAULT 0, icon BLOB DEFAULT NULL, dav_generation INTEGER DEFAULT 0, "
    "locally_added BOOL DEFAULT 0, archive_status INTEGER DEFAULT 0, syncable BOOL DEFAULT 1, "
    "web_filter_status INTEGER DEFAULT 0";

const char *const safari18Columns[] = {"modified_attributes UNSIGNED BIG INT DEFAULT 0",
                                       "date_closed REAL DEFAULT NULL",
                                       "last_selected_child INTEGER DEFAULT NULL",
                                       "subtype INTEGER DEFAULT 0",
                                       "cookies_uuid TEXT DEFAULT NULL",
                                       "local_storage_uuid TEXT DEFAULT NULL",
                                       "session_storage_uuid TEXT DEFAULT NULL",
                                       "is_marked_for_expiration INTEGER",
                                       "topic_title TEXT",
                                       "feature_text TEXT",
                                       "fetched_feature_text BOOL DEFAULT 0"};

const char *const bookmarkNeighbours[] = {
    "CREATE TABLE generations (generation INTEGER NOT NULL)",
    "CREATE TABLE sync_properties (key TEXT NOT NULL, value TEXT NOT NULL)",
    "CREATE TABLE bookmark_title_words (id INTEGER PRIMARY KEY, bookmark_id INTEGER NOT NULL "
    "CONSTRAINT fk_bookmark_id REFERENCES bookmarks(id) ON DELETE CASCADE, word TEXT, word_index "
    "INTEGER)",
    "CREATE TABLE folder_ancestors (id INTEGER PRIMARY KEY, folder_id INTEGER NOT NULL CONSTRAINT "
    "fk_ancestors_folder_id REFERENCES bookmarks(id) ON DELETE CASCADE, ancestor_id INTEGER NOT "
    "NULL)",
    "CREATE INDEX sync_properties_key_index ON sync_properties (key)",
    "CREATE INDEX special_id_index ON bookmarks (special_id)",
    "CREATE INDEX autocomplete_index ON bookmarks (url)",
    "CREATE INDEX folder_list_index ON bookmarks (parent, type, order_index)",
    "CREATE INDEX group_index ON bookmarks (parent, order_index)",
    "CREATE INDEX sync_index ON bookmarks (external_uuid)",
    "CREATE INDEX server_id_index ON bookmarks(server_id)",
    "CREATE INDEX dav_generation_index ON bookmarks(dav_generation)",
    "CREATE INDEX title_word_index ON bookmark_title_words(word)",
    "CREATE INDEX title_bookmark_id_index ON bookmark_title_words(bookmark_id)",
    "CREATE INDEX ancestor_folder_id_index on folder_ancestors(folder_id)",
    "CREATE INDEX ancestor_ancestor_id_index on folder_ancestors(ancestor_id)"};

QString bookmarkTable(BookmarkLayout layout)
{
    const QString columns = QString::fromLatin1(ios7Columns);
    const QString table = QStringLiteral("CREATE TABLE bookmarks (id INTEGER PRIMARY KEY");
    const QString numbered =
        table + QStringLiteral(" AUTOINCREMENT, ") + columns.arg(QStringLiteral(" UNIQUE"));
    switch (layout) {
    case BookmarkLayout::Ios3:
        return QString::fromLatin1(ios3Bookmarks);
    case BookmarkLayout::Ios7:
        return table + QStringLiteral(", ") + columns.arg(QString()) + QLatin1Char(')');
    case BookmarkLayout::Safari18:
        return numbered + QLatin1Char(')');
    case BookmarkLayout::Safari27:
        break;
    }
    return numbered + QStringLiteral(", ") + statements(safari18Columns).join(QStringLiteral(", "))
           + QStringLiteral(", FOREIGN KEY (last_selected_child) REFERENCES bookmarks (id) ON "
                            "DELETE SET NULL)");
}

QString historyItems(HistoryLayout layout)
{
    const QString columns = QStringLiteral(
        "CREATE TABLE history_items ( id INTEGER PRIMARY KEY AUTOINCREMENT, url TEXT NOT NULL "
        "UNIQUE, domain_expansion TEXT NULL, visit_count INTEGER NOT NULL, daily_visit_counts BLOB "
        "NOT NULL, weekly_visit_counts BLOB NULL, autocomplete_triggers BLOB NULL, "
        "should_recompute_derived_visit_counts INTEGER NOT NULL%1)");
    const bool hasScore = layout == HistoryLayout::Ios10 || layout == HistoryLayout::Safari27;
    return columns.arg(hasScore ? QStringLiteral(", visit_count_score INTEGER NOT NULL")
                                : QString());
}

QString historyVisits(HistoryLayout layout)
{
    const QString columns = QStringLiteral(
        "CREATE TABLE history_visits ( id INTEGER PRIMARY KEY AUTOINCREMENT, history_item INTEGER "
        "NOT NULL REFERENCES history_items(id) ON DELETE CASCADE, visit_time REAL NOT NULL, title "
        "TEXT NULL, load_successful BOOLEAN NOT NULL DEFAULT 1, http_non_get BOOLEAN NOT NULL "
        "DEFAULT 0, synthesized BOOLEAN NOT NULL DEFAULT 0, redirect_source INTEGER NULL UNIQUE "
        "REFERENCES history_visits(id) ON DELETE CASCADE, redirect_destination INTEGER NULL UNIQUE "
        "REFERENCES history_visits(id) ON DELETE CASCADE, origin INTEGER NOT NULL DEFAULT 0, "
        "generation INTEGER NOT NULL DEFAULT 0%1)");
    const bool hasScore = layout == HistoryLayout::Ios10 || layout == HistoryLayout::Safari27;
    return columns.arg(hasScore ? QStringLiteral(", attributes INTEGER NOT NULL DEFAULT 0, score "
                                                 "INTEGER NOT NULL DEFAULT 0")
                                : QString());
}

const char *const historyNeighbours[] = {
    "CREATE TABLE history_tombstones ( id INTEGER PRIMARY KEY AUTOINCREMENT, start_time REAL NOT "
    "NULL, end_time REAL NOT NULL, url TEXT, generation INTEGER NOT NULL DEFAULT 0)",
    "CREATE TABLE metadata (key TEXT NOT NULL UNIQUE, value)",
    "CREATE TABLE history_client_versions (client_version INTEGER PRIMARY KEY, last_seen REAL NOT "
    "NULL)",
    "CREATE INDEX history_items__domain_expansion ON history_items (domain_expansion)",
    "CREATE INDEX history_visits__last_visit ON history_visits (history_item, visit_time DESC, "
    "synthesized ASC)",
    "CREATE INDEX history_visits__origin ON history_visits (origin, generation)",
    "CREATE INDEX history_tombstones__generation ON history_tombstones (generation)",
    "CREATE INDEX history_tombstones__end_time ON history_tombstones (end_time)"};

const char *const historyEvents[] = {
    "CREATE TABLE history_event_listeners ( listener_name TEXT PRIMARY KEY NOT NULL UNIQUE, "
    "last_seen REAL NOT NULL)",
    "CREATE TABLE history_events ( id INTEGER PRIMARY KEY AUTOINCREMENT, event_type TEXT NOT NULL, "
    "event_time REAL NOT NULL, pending_listeners TEXT NOT NULL, value BLOB)"};

} // namespace

QVector<BookmarkLayout> allBookmarkLayouts()
{
    return {BookmarkLayout::Ios3, BookmarkLayout::Ios7, BookmarkLayout::Safari18,
            BookmarkLayout::Safari27};
}

QVector<HistoryLayout> allHistoryLayouts()
{
    return {HistoryLayout::Ios9, HistoryLayout::Ios10, HistoryLayout::Ios11,
            HistoryLayout::Safari27};
}

QString layoutName(BookmarkLayout layout)
{
    static const char *const names[] = {"iOS 3", "iOS 7", "Safari 18", "Safari 27"};
    return QString::fromLatin1(names[int(layout)]);
}

QString layoutName(HistoryLayout layout)
{
    static const char *const names[] = {"iOS 9", "iOS 10", "iOS 11", "Safari 27"};
    return QString::fromLatin1(names[int(layout)]);
}

QStringList safariTables(BookmarkLayout layout)
{
    const QStringList table(bookmarkTable(layout));
    return layout == BookmarkLayout::Ios3 ? table : table + statements(bookmarkNeighbours);
}

QStringList safariTables(HistoryLayout layout)
{
    const QStringList tables =
        QStringList{historyItems(layout), historyVisits(layout)} + statements(historyNeighbours);
    return layout < HistoryLayout::Ios11 ? tables : tables + statements(historyEvents);
}

QStringList addedColumns(BookmarkLayout layout)
{
    return layout == BookmarkLayout::Safari18 ? addColumns("bookmarks", statements(safari18Columns))
                                              : QStringList();
}

QStringList addedColumns(HistoryLayout layout)
{
    switch (layout) {
    case HistoryLayout::Ios11:
        return addColumns("history_items",
                          {QStringLiteral("visit_count_score INTEGER NOT NULL DEFAULT 0")})
               + addColumns("history_visits",
                            {QStringLiteral("attributes INTEGER NOT NULL DEFAULT 0"),
                             QStringLiteral("score INTEGER NOT NULL DEFAULT 0")});
    case HistoryLayout::Safari27:
        return addColumns("history_items",
                          {QStringLiteral("status_code INTEGER NOT NULL DEFAULT 0")});
    default:
        return QStringList();
    }
}
