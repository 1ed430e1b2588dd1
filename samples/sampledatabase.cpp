#include "samples/sampledatabase.h"

#include <QFile>

#include <sqlite3.h>

namespace {

int bindText(sqlite3_stmt *statement, int index, const QString &text)
{
    const QByteArray utf8 = text.toUtf8();
    return sqlite3_bind_text(statement, index, utf8.constData(), utf8.size(), SQLITE_TRANSIENT);
}

int bindBlob(sqlite3_stmt *statement, int index, const QByteArray &bytes)
{
    return sqlite3_bind_blob(statement, index, bytes.constData(), bytes.size(), SQLITE_TRANSIENT);
}

int bindValue(sqlite3_stmt *statement, int index, const QVariant &value)
{
    if (value.isNull()) {
        return sqlite3_bind_null(statement, index);
    }
    switch (value.userType()) {
    case QMetaType::QString:
        return bindText(statement, index, value.toString());
    case QMetaType::QByteArray:
        return bindBlob(statement, index, value.toByteArray());
    case QMetaType::Double:
        return sqlite3_bind_double(statement, index, value.toDouble());
    default:
        return sqlite3_bind_int64(statement, index, value.toLongLong());
    }
}

int bindAll(sqlite3_stmt *statement, const QVariantList &values)
{
    int code = sqlite3_reset(statement);
    for (int i = 0; i < values.size() && code == SQLITE_OK; ++i) {
        code = bindValue(statement, i + 1, values.at(i));
    }
    return code;
}

QVariant columnValue(sqlite3_stmt *statement)
{
    switch (sqlite3_column_type(statement, 0)) {
    case SQLITE_INTEGER:
        return QVariant(qint64(sqlite3_column_int64(statement, 0)));
    case SQLITE_FLOAT:
        return QVariant(sqlite3_column_double(statement, 0));
    case SQLITE_TEXT: {
        const void *text = sqlite3_column_text(statement, 0);
        return QVariant(QString::fromUtf8(static_cast<const char *>(text)));
    }
    default:
        return QVariant();
    }
}

} // namespace

SampleDatabase::~SampleDatabase()
{
    close();
}

bool SampleDatabase::create(const QString &path, const SampleOptions &options)
{
    close();
    if (QFile::exists(path) && !QFile::remove(path)) {
        m_error = QStringLiteral("cannot replace %1").arg(path);
        return false;
    }
    if (!check(sqlite3_open(QFile::encodeName(path).constData(), &m_db))) {
        return false;
    }
    // Some builds of SQLite wipe deleted rows unless told not to; devices do not wipe them.
    const QString setup =
        QStringLiteral("PRAGMA page_size=%1; PRAGMA auto_vacuum=%2; PRAGMA encoding='%3';"
                       "PRAGMA secure_delete=OFF; PRAGMA synchronous=OFF; PRAGMA journal_mode=%4;"
                       "PRAGMA cache_size=%5;");
    return exec(setup.arg(options.pageSize)
                    .arg(options.autoVacuum)
                    .arg(QString::fromLatin1(options.encoding))
                    .arg(QLatin1String(options.bulk ? "OFF" : "MEMORY"))
                    .arg(options.bulk ? -128 * 1024 : -2000));
}

bool SampleDatabase::open(const QString &path)
{
    close();
    return check(sqlite3_open_v2(QFile::encodeName(path).constData(), &m_db, SQLITE_OPEN_READWRITE,
                                 nullptr));
}

bool SampleDatabase::startLog()
{
    return exec(QStringLiteral("PRAGMA journal_mode=WAL; PRAGMA wal_autocheckpoint=0;"));
}

bool SampleDatabase::copyWithLog(const QString &copyPath)
{
    const QString path = QFile::decodeName(sqlite3_db_filename(m_db, "main"));
    const QString log = QStringLiteral("-wal");
    QFile::remove(copyPath);
    QFile::remove(copyPath + log);
    const bool isCopied = QFile::copy(path, copyPath) && QFile::copy(path + log, copyPath + log);
    if (!isCopied) {
        m_error = QStringLiteral("cannot copy %1 and its log").arg(path);
    }
    return isCopied;
}

bool SampleDatabase::exec(const QString &sql)
{
    return check(sqlite3_exec(m_db, sql.toUtf8().constData(), nullptr, nullptr, nullptr));
}

bool SampleDatabase::run(const QString &sql, const QVariantList &values)
{
    sqlite3_stmt *statement = prepare(sql);
    if (!statement || !check(bindAll(statement, values))) {
        return false;
    }
    sqlite3_step(statement);
    return check(sqlite3_reset(statement));
}

QVariant SampleDatabase::scalar(const QString &sql, const QVariantList &values)
{
    sqlite3_stmt *statement = prepare(sql);
    if (!statement || !check(bindAll(statement, values))) {
        return QVariant();
    }
    const QVariant value =
        sqlite3_step(statement) == SQLITE_ROW ? columnValue(statement) : QVariant();
    check(sqlite3_reset(statement));
    return value;
}

qint64 SampleDatabase::lastRowid() const
{
    return sqlite3_last_insert_rowid(m_db);
}

qint64 SampleDatabase::size()
{
    const qint64 pages = scalar(QStringLiteral("PRAGMA page_count")).toLongLong();
    return pages * scalar(QStringLiteral("PRAGMA page_size")).toLongLong();
}

bool SampleDatabase::close()
{
    for (sqlite3_stmt *statement : qAsConst(m_statements)) {
        sqlite3_finalize(statement);
    }
    m_statements.clear();
    const int code = sqlite3_close(m_db);
    m_db = nullptr;
    return code == SQLITE_OK;
}

bool SampleDatabase::check(int code)
{
    if (code != SQLITE_OK) {
        m_error = QString::fromUtf8(sqlite3_errmsg(m_db));
    }
    return code == SQLITE_OK;
}

sqlite3_stmt *SampleDatabase::prepare(const QString &sql)
{
    sqlite3_stmt *statement = m_statements.value(sql);
    if (!statement) {
        check(sqlite3_prepare_v2(m_db, sql.toUtf8().constData(), -1, &statement, nullptr));
        if (statement) {
            m_statements.insert(sql, statement);
        }
    }
    return statement;
}
