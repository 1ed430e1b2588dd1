#pragma once

#include "api/scantype.h"
#include "cli/recordkind.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

#include <memory>

// What a run of the program gave, as the printers get it.

/// What a backup says about the device that it was made of; empty where it says nothing.
struct DeviceInfo
{
    QString name;
    QString model;
    QString systemVersion;
    QString backupDate; ///< ISO 8601, UTC
};

/// A file that was scanned, or could not be. A log is an entry of its own behind its database.
struct ScannedDatabase
{
    ScanType type = ScanTypeContacts;
    QString typeName; ///< as on the command line
    /// Where it lies in the backup, as in "HomeDomain/Library/SMS/sms.db"; that of a log ends in
    /// "-wal". Of a file that was given by itself its path.
    QString place;
    QString path;
    qint64 size = 0; ///< in bytes
    double seconds = 0;
    bool isLog = false;
    QByteArray sha256; ///< 32 bytes; empty when not wanted
    QString problem;   ///< why it could not be scanned; empty when it was
    QString remark;    ///< why nothing was found, where that is known, or not all
    ScanResults results;
    std::shared_ptr<void> facade; ///< what the results are read from
};

/// A whole run.
struct Report
{
    QString source;        ///< the folder or the file, as given
    bool isBackup = false; ///< whether the source is a backup: records then name their database
    DeviceInfo device;
    QVector<ScannedDatabase> databases;
    QStringList warnings; ///< what of the source could not be read
    bool wasStopped = false;
    QString programVersion;
    QString started; ///< ISO 8601, UTC
};
