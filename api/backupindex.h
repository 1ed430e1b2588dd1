#pragma once

#include "scantype.h"
#include "sqliterecovery_global.h"

#include <QString>
#include <QVector>

// What a program needs to find databases in the folder of a backup.

/// Returns the name under which a backup stores the file `relativePath` of `domain`: the SHA-1, in
/// 40 lower-case hexadecimal digits, of the UTF-8 bytes of "domain-relativePath" in Unicode
/// normalisation form D. The file lies in the backup's folder itself or, in newer backups, in a
/// folder of it that has the first two digits for a name. May be called from any thread.
SQLITERECOVERY_EXPORT QString backupFileName(const QString &domain, const QString &relativePath);

/// A place in which backups keep a database.
struct BackupLocation
{
    ScanType type;
    QString domain;
    QString relativePath;
    /// SqliteRecovery::scanRecovery() looks there too.
    bool isInWholeScan;
};

/// Returns the known places: first those of a whole scan, in its order, then those that systems and
/// programs took to later. Databases that every account has a folder of its own for (WeChat) are
/// not among them; readBackupIndex() finds those. May be called from any thread.
SQLITERECOVERY_EXPORT QVector<BackupLocation> backupLocations();

/// A file that a backup's index lists.
struct BackupFile
{
    QString name; ///< as backupFileName() gives it, whatever the index says
    QString domain;
    QString relativePath;
};

/// What came of reading a backup's index.
enum class BackupIndexState {
    Read,           ///< the index was read
    ReadInPart,     ///< what stands in front of damage, or of the place where it is cut off
    Missing,        ///< the folder has none, or is none
    Unreadable,     ///< not a regular file, or the system refuses to read it
    NotAnIndex,     ///< it is no database with a list of files, or does not begin as a list does
    LooksEncrypted, ///< no database, and its bytes look random, as in an encrypted backup
};

/// Puts the regular files of `domain` that the backup in `folder` lists into `files`, in the order
/// of the index and in place of what was there. The index is Manifest.db or, where that is missing
/// or cannot be read, Manifest.mbdb. The state tells of Manifest.db when neither can be read and
/// both are there.
///
/// A Manifest.mbdb that is cut off between two files passes for a whole one: it has no mark at its
/// end. Whether the files exist is not looked at.
/// `relativePath` is whatever the index says, so it must not be used as a path.
///
/// Reads the index only, and creates nothing beside it: where a write-ahead log lies beside
/// Manifest.db, both are copied to the folder for temporary files. May be called from any thread.
SQLITERECOVERY_EXPORT BackupIndexState readBackupIndex(const QString &folder, const QString &domain,
                                                       QVector<BackupFile> *files);
