#include "recoverers/livequery.h"

#include "engine/fieldreader.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QUrl>

#include <sqlite3.h>

#include <algorithm>
#include <climits>
#include <filesystem>

namespace {

/// The queries of a file may take so many steps of SQLite's virtual machine together: many times
/// what a sound database of a device takes, and still an end in proportion to the file. Its tables
/// may all be the same pages.
constexpr int StepsPerCheck = 100000;
constexpr qint64 StepsPerByteOfFile = 64;

/// Rows can share bytes of a hostile file, and computed columns can make bytes of nothing.
constexpr qint64 BytesPerByteOfFile = 16;
constexpr qint64 SmallestLimit = 1024 * 1024;

int stopWhenTooLong(void *checksLeft)
{
    return --*static_cast<qint64 *>(checksLeft) < 0;
}

QString logPath(const QString &dbPath)
{
    return dbPath + QStringLiteral("-wal");
}

/// Does not wait for the disk, as QFile::copy() does.
bool copyFile(const QString &from, const QString &to)
{
    std::error_code error;
    return std::filesystem::copy_file(QFile::encodeName(from).toStdString(),
                                      QFile::encodeName(to).toStdString(), error);
}

/// Copies the database and its log to a folder of our own. Returns the copy's path; empty when that
/// failed.
QString copyWithLog(const QString &dbPath, const QTemporaryDir &folder)
{
    const QString copy = folder.filePath(QStringLiteral("copy.db"));
    const bool copied =
        folder.isValid() && copyFile(dbPath, copy) && copyFile(logPath(dbPath), logPath(copy));
    // A copy inherits the permissions, and evidence is often read-only.
    const auto writable = QFile::ReadOwner | QFile::WriteOwner;
    return copied && QFile::setPermissions(copy, writable)
                   && QFile::setPermissions(logPath(copy), writable)
               ? copy
               : QString();
}

void distrust(sqlite3 *database)
{
    sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    // No table is read by a module: what those make of a hostile file is their affair.
    sqlite3_drop_modules(database, nullptr);
    // The log of a copy need not be written back, which would wait for the disk.
    sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

/// Notes the columns that a statement reads while it is prepared.
int noteColumn(void *columns, int action, const char *table, const char *column, const char *,
               const char *)
{
    if (action == SQLITE_READ) {
        static_cast<LiveQuery::ColumnsByTable *>(columns)->insert(table, column);
    }
    return SQLITE_OK;
}

/// The columns of the table that SQLite computes whenever they are read.
QSet<QByteArray> computedColumns(sqlite3 *database, QByteArray table)
{
    QSet<QByteArray> computed;
    const QByteArray sql = "PRAGMA table_xinfo(\"" + table.replace('"', "\"\"") + "\")";
    sqlite3_stmt *statement = nullptr;
    sqlite3_prepare_v2(database, sql.constData(), -1, &statement, nullptr);
    while (sqlite3_step(statement) == SQLITE_ROW) {
        constexpr int nameColumn = 1;
        constexpr int hiddenColumn = 6;
        constexpr int isComputed = 2;
        if (sqlite3_column_int(statement, hiddenColumn) == isComputed) {
            computed.insert(
                reinterpret_cast<const char *>(sqlite3_column_text(statement, nameColumn)));
        }
    }
    sqlite3_finalize(statement);
    return computed;
}

/// The bytes of the current row, about.
qint64 rowSize(sqlite3_stmt *statement)
{
    constexpr int bytesOfNumber = 8;
    qint64 size = 0;
    for (int column = 0; column < sqlite3_column_count(statement); ++column) {
        const int type = sqlite3_column_type(statement, column);
        const bool isLong = type == SQLITE_TEXT || type == SQLITE_BLOB;
        size += isLong ? sqlite3_column_bytes(statement, column) : bytesOfNumber;
    }
    return size;
}

} // namespace

qint64 LiveRow::integer(int column) const
{
    return sqlite3_column_int64(m_statement, column);
}

QString LiveRow::text(int column) const
{
    const auto *bytes = reinterpret_cast<const char *>(sqlite3_column_text(m_statement, column));
    constexpr int utf8 = 1; // whatever the database stores, SQLite converts
    return decodeText(bytes, sqlite3_column_bytes(m_statement, column), utf8);
}

QString LiveRow::name(int column) const
{
    return cutName(text(column));
}

LiveQuery::LiveQuery(const QString &dbPath)
{
    if (QFileInfo(logPath(dbPath)).size() == 0) {
        open(dbPath, SQLITE_OPEN_READONLY, "?immutable=1");
        return;
    }
    m_copy = std::make_unique<QTemporaryDir>();
    const QString copy = copyWithLog(dbPath, *m_copy);
    if (!copy.isEmpty()) {
        open(copy, SQLITE_OPEN_READWRITE, "");
    }
    // What the file alone says is nearer to the truth than nothing: of rows that are not known to
    // be live, every copy would pass for a deleted one.
    if (!canRead()) {
        close();
        m_copy.reset();
        open(dbPath, SQLITE_OPEN_READONLY, "?immutable=1");
    }
}

LiveQuery::~LiveQuery()
{
    close();
}

void LiveQuery::close()
{
    sqlite3_close(m_database);
    m_database = nullptr;
}

bool LiveQuery::canRead()
{
    return forEachRow(QStringLiteral("select count(*) from sqlite_master"), [](const LiveRow &) {})
           && isEndReached();
}

void LiveQuery::open(const QString &dbPath, int flags, const char *uriOptions)
{
    const QString absolute = QFileInfo(dbPath).absoluteFilePath();
    const QByteArray uri = "file:" + QUrl::toPercentEncoding(absolute, "/") + uriOptions;
    if (sqlite3_open_v2(uri.constData(), &m_database, flags | SQLITE_OPEN_URI, nullptr)
        != SQLITE_OK) {
        close();
        return;
    }
    distrust(m_database);
    setLimits(QFileInfo(absolute).size() + QFileInfo(logPath(absolute)).size());
    sqlite3_set_authorizer(m_database, &noteColumn, &m_columnsRead);
    sqlite3_progress_handler(m_database, StepsPerCheck, &stopWhenTooLong, &m_checksLeft);
}

void LiveQuery::setLimits(qint64 fileSize)
{
    const qint64 longest = std::max(fileSize, SmallestLimit);
    sqlite3_limit(m_database, SQLITE_LIMIT_LENGTH, int(std::min<qint64>(longest, INT_MAX)));
    m_bytesLeft = BytesPerByteOfFile * longest;
    m_checksLeft = StepsPerByteOfFile * longest / StepsPerCheck;
}

bool LiveQuery::forEachRow(const QString &sql, const std::function<void(const LiveRow &)> &row)
{
    sqlite3_stmt *prepared = nullptr;
    m_columnsRead.clear();
    m_isEndReached = false;
    if (!m_database
        || sqlite3_prepare_v2(m_database, sql.toUtf8().constData(), -1, &prepared, nullptr)
               != SQLITE_OK) {
        return false;
    }
    const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt *)> statement(prepared,
                                                                           &sqlite3_finalize);
    if (readsComputedColumn()) {
        return false;
    }
    int step = SQLITE_ROW;
    while (m_bytesLeft > 0 && (step = sqlite3_step(prepared)) == SQLITE_ROW) {
        m_bytesLeft -= rowSize(prepared);
        row(LiveRow(prepared));
    }
    m_isEndReached = step == SQLITE_DONE;
    return true;
}

/// No step is counted within a function, and some take time in proportion to the square of a text.
bool LiveQuery::readsComputedColumn()
{
    const ColumnsByTable read = m_columnsRead;
    for (const QByteArray &table : read.uniqueKeys()) {
        const QSet<QByteArray> columns = computedColumns(m_database, table);
        const auto isRead = [&](const QByteArray &column) { return read.contains(table, column); };
        if (std::any_of(columns.cbegin(), columns.cend(), isRead)) {
            return true;
        }
    }
    return m_checksLeft < 0; // then it could not be found out
}
