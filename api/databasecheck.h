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

/// Why a scan found nothing, as far as the file tells.
enum class EmptyReason {
    Unknown,         ///< the kind is unknown, or the file or one of its tables cannot be read
    NoSuchTable,     ///< the file has no table of this kind
    ColumnsMissing,  ///< it has, but none with the columns by which a row is told
    NoFreeSpace,     ///< deletions left no space in it: nothing was deleted, or it was vacuumed
    FreeSpaceErased, ///< there is such space, but all of it was overwritten with zeros
    NothingLeft,     ///< there is such space, but no row of this kind is left in it
};

/// Says why a scan of the file `path` as the kind `type` (a ScanType) found nothing. It asks for
/// the tables and for free space, and searches for no rows: what it returns for a file in which
/// a scan does find rows is NothingLeft, or tells nothing. Contacts that only the search index
/// still lists do not count. Reads the file only, as a scan does; takes far less time than one.
SQLITERECOVERY_EXPORT EmptyReason whyNothingFound(int type, const QString &path);
