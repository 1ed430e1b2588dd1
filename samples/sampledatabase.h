#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QVariant>

struct sqlite3;
struct sqlite3_stmt;

/// How the file of a sample database is laid out.
struct SampleOptions
{
    int pageSize = 4096;
    int autoVacuum = 0;                               ///< 0 none, 1 full, 2 incremental
    QByteArray encoding = QByteArrayLiteral("UTF-8"); ///< or "UTF-16le", "UTF-16be"
    bool bulk = false; ///< for large files: no journal, a larger cache
};

/// Writes a sample database through SQLite itself, so that its unused space looks as SQLite leaves
/// it on a device. Operations return false on failure; errorText() then says why.
class SampleDatabase
{
public:
    SampleDatabase() = default;
    ~SampleDatabase();
    Q_DISABLE_COPY(SampleDatabase)

    /// Makes a new, empty database at `path`, in place of a file that may be there.
    bool create(const QString &path, const SampleOptions &options = SampleOptions());
    /// Opens an existing database.
    bool open(const QString &path);
    /// Writes to a log from now on, which is copied back into the file only when told to.
    bool startLog();
    /// Copies the file and its log as they are now, the log beside the copy.
    bool copyWithLog(const QString &copyPath);
    /// Runs one or more statements without values.
    bool exec(const QString &sql);
    /// Runs one statement with its values; the prepared statement is kept for the next call.
    bool run(const QString &sql, const QVariantList &values = QVariantList());
    /// Returns the first value of the first row, or an invalid value.
    QVariant scalar(const QString &sql, const QVariantList &values = QVariantList());
    /// Identifier of the row that was inserted last.
    qint64 lastRowid() const;
    /// Size that the file has, or will have when the open transaction is committed.
    qint64 size();
    /// Closes the file; nothing is left beside it.
    bool close();
    QString errorText() const { return m_error; }

private:
    bool check(int code);
    sqlite3_stmt *prepare(const QString &sql);

    sqlite3 *m_db = nullptr;
    QHash<QString, sqlite3_stmt *> m_statements;
    QString m_error;
};
