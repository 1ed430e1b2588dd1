#pragma once

#include "wal/walfile.h"

#include <QFile>
#include <QStringList>
#include <QTemporaryDir>
#include <QVector>

#include <sqlite3.h>

/// Lets SQLite itself make every version of a database that its log holds, by cutting a copy of the
/// log behind each commit, and asks each one. The first version is the file without its log.
class LogVersions
{
public:
    explicit LogVersions(const QString &dbPath)
        : m_copy(m_dir.filePath(QStringLiteral("version.db")))
        , m_log(dbPath + QStringLiteral("-wal"))
    {
        QFile::copy(dbPath, m_copy);
        WalFile log(m_log);
        m_lengths.append(0);
        if (log.load()) {
            for (const WalFrame &frame : log.frames()) {
                if (frame.commitSize != 0) {
                    m_lengths.append(frame.dataOffset + log.pageSize());
                }
            }
        }
    }

    int count() const { return m_lengths.size(); }
    /// Where the log ends that makes the version.
    qint64 logLength(int version) const { return m_lengths.at(version); }

    /// The rows of a version, each as a list of texts.
    QVector<QStringList> rows(int version, const QString &sql, int columns) const
    {
        QVector<QStringList> found;
        if (!writeLog(logLength(version))) {
            return found;
        }
        sqlite3 *db = nullptr;
        sqlite3_stmt *statement = nullptr;
        sqlite3_open_v2(QFile::encodeName(m_copy).constData(), &db, SQLITE_OPEN_READWRITE, nullptr);
        // Otherwise closing would copy the log into the file.
        sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
        sqlite3_prepare_v2(db, sql.toUtf8().constData(), -1, &statement, nullptr);
        while (statement && sqlite3_step(statement) == SQLITE_ROW) {
            found.append(rowOf(statement, columns));
        }
        sqlite3_finalize(statement);
        sqlite3_close(db);
        QFile::remove(m_copy + QStringLiteral("-shm"));
        return found;
    }

private:
    /// Mostly the versions are asked for in their order: then only what is new is written.
    bool writeLog(qint64 length) const
    {
        QFile log(m_log);
        QFile part(m_copy + QStringLiteral("-wal"));
        const qint64 kept = part.size() <= length ? part.size() : 0;
        const auto mode = kept > 0 ? QIODevice::Append : QIODevice::WriteOnly;
        return log.open(QIODevice::ReadOnly) && log.seek(kept) && part.open(mode)
               && part.write(log.read(length - kept)) == length - kept;
    }

    static QStringList rowOf(sqlite3_stmt *statement, int columns)
    {
        QStringList values;
        for (int column = 0; column < columns; ++column) {
            const auto *text =
                reinterpret_cast<const char *>(sqlite3_column_text(statement, column));
            values.append(QString::fromUtf8(text, sqlite3_column_bytes(statement, column)));
        }
        return values;
    }

    QTemporaryDir m_dir;
    QString m_copy;
    QString m_log;
    QVector<qint64> m_lengths;
};
