#pragma once

#include <QByteArray>
#include <QMultiHash>
#include <QString>
#include <QTemporaryDir>
#include <QtGlobal>

#include <functional>
#include <memory>

struct sqlite3;
struct sqlite3_stmt;

/// The columns of the current row of a live query; valid only inside the callback.
class LiveRow
{
public:
    explicit LiveRow(sqlite3_stmt *statement)
        : m_statement(statement)
    {
    }

    /// Values of column `column`, counted from 0, converted as SQLite converts them; 0 or an empty
    /// text for NULL.
    qint64 integer(int column) const;
    QString text(int column) const;
    /// As text(), of what many records may name.
    QString name(int column) const;

private:
    sqlite3_stmt *m_statement;
};

/// Reads the live rows of a database with SQL, and changes nothing: neither the file nor a log or
/// shared-memory file beside it. Without a log the file is opened read-only and immutable, so that
/// SQLite takes no lock and looks for no journal. Where a log that holds anything lies beside it,
/// both are copied to a private temporary folder first, because SQLite must write to read a log;
/// where that fails, or gives nothing that can be read, the database is read without its log.
///
/// The database is untrusted: its views, triggers and virtual tables are off, so that a name means
/// a table, and a statement that reads a column which SQLite computes is refused; queries that
/// together take too many steps, or give many times more bytes than the file has, end early.
/// This is the only part of the library that uses SQLite.
class LiveQuery
{
public:
    using ColumnsByTable = QMultiHash<QByteArray, QByteArray>;

    explicit LiveQuery(const QString &dbPath);
    ~LiveQuery();
    Q_DISABLE_COPY(LiveQuery)

    /// False when SQLite cannot open the file; every query then gives no rows.
    bool isOpen() const { return m_database != nullptr; }

    /// Calls `row` for each row of the statement, until the first step that gives none. Returns
    /// false, without any call, when the statement cannot be prepared or is refused.
    bool forEachRow(const QString &sql, const std::function<void(const LiveRow &)> &row);
    /// False when the last query ended early: at damage, or at a limit.
    bool isEndReached() const { return m_isEndReached; }

private:
    void close();
    bool canRead();
    void open(const QString &dbPath, int flags, const char *uriOptions);
    void setLimits(qint64 fileSize);
    bool readsComputedColumn();

    std::unique_ptr<QTemporaryDir> m_copy;
    sqlite3 *m_database = nullptr;
    ColumnsByTable m_columnsRead; ///< by the statement that was prepared last
    bool m_isEndReached = false;
    qint64 m_checksLeft = 0; ///< of all queries, as are the bytes
    qint64 m_bytesLeft = 0;
};
