#pragma once

#include <QString>
#include <QVector>

/// A database of a backup, and what to call it.
struct Database
{
    int type; ///< a ScanType
    QString place;
    QString path;
    QString logPath; ///< of a write-ahead log beside it; empty when there is none
};

/// Returns the databases that lie in the folder of a backup.
QVector<Database> databasesIn(const QString &folder);

/// Returns why the file cannot be scanned, for people; empty when it can.
QString problemOf(const QString &path);

/// Returns why a scan of the file found nothing, for people; empty when that is not known.
QString reasonForNothing(int type, const QString &path);
