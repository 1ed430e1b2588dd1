#pragma once

#include "api/scantype.h"
#include "cli/report.h"

#include <QStringList>
#include <QVector>

/// A database of a backup, perhaps with the log that lay beside it on the device.
struct BackupDatabase
{
    ScanType type = ScanTypeContacts;
    QString place; ///< on the device: "HomeDomain/Library/SMS/sms.db"
    QString path;
    QString logPath; ///< empty without a log, as `logPlace` is
    QString logPlace;
};

/// What a folder holds that can be scanned.
struct BackupContents
{
    DeviceInfo device;
    bool hasDevice = false;
    QVector<BackupDatabase> databases;
    QString problem;      ///< why nothing can be scanned, and what to do about it; else empty
    QStringList warnings; ///< what could not be read, one line each
};

/// Finds the databases of the backup in `folder`: those at the known places in the order of
/// backupLocations(), then those of the accounts of WeChat. A file may lie in the folder itself or
/// in a folder of the first two digits of its name; the latter counts where both are there.
///
/// Only names that are computed are looked for, so that no index leads out of the folder. Symbolic
/// links are followed: large backups are often put together of them, and nothing is written.
/// A file that cannot be read is listed all the same, so that the scan of it says so.
BackupContents readBackup(const QString &folder);
