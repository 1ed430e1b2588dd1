#pragma once

#include "sqliterecovery_global.h"

class QString;

/// What a file is good for, as far as a scan is concerned.
enum class DatabaseState {
    Readable,       ///< an SQLite database whose header and schema can be read
    Missing,        ///< there is no file of that name
    Unreadable,     ///< not a regular file, or the system refuses to read it
    NotADatabase,   ///< it does not begin as an SQLite database does
    LooksEncrypted, ///< likewise, and its bytes look random, as those of an encrypted backup do
    Damaged,        ///< it begins as an SQLite database, but its header or schema cannot be read
};

/// Says what a scan of the file `path` can expect. A scan itself is silent about files that it
/// cannot open, so a program calls this to tell its user. Reads the file only; may be called from
/// any thread.
SQLITERECOVERY_EXPORT DatabaseState checkDatabase(const QString &path);

/// What a file is good for as a write-ahead log.
enum class LogState {
    Usable,           ///< a log in which something is committed
    Missing,          ///< there is no file of that name
    Unreadable,       ///< not a regular file, or the system refuses to read it
    NotALog,          ///< it does not begin as a log does; an empty file is none either
    NothingCommitted, ///< a log without a whole transaction, or without a byte
};

/// Says what a comparison of the versions in the log `path` can expect, as checkDatabase() does of
/// a scan. Whether the log belongs to a database cannot be told.
SQLITERECOVERY_EXPORT LogState checkLog(const QString &path);
