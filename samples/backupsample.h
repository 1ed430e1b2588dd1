#pragma once

#include <QDateTime>
#include <QString>
#include <QVector>

class QByteArray;

/// Where the files of a backup lie: all in one folder, or in folders of their first two digits.
enum class BackupLayout { Flat, Folders };

/// A file or folder of the device, as the index of a backup lists it.
struct IndexedFile
{
    QString domain;
    QString relativePath;
    qint64 size = 0;
    bool isFolder = false;
};

/// The name of a file in a backup, with its folder where the layout has folders.
QString sampleBackupName(BackupLayout layout, const IndexedFile &file);

/// The bytes of Manifest.mbdb, as flat backups have it.
QByteArray manifestList(const QVector<IndexedFile> &files);

/// Makes Manifest.db, as backups with folders have it. Returns false when it cannot be written.
bool makeManifestDatabase(const QString &path, const QVector<IndexedFile> &files);

/// Writes the index of the layout into the folder. Returns false when it cannot be written.
bool writeBackupIndex(const QString &folder, BackupLayout layout,
                      const QVector<IndexedFile> &files);

/// What the property lists of a backup say.
struct BackupFacts
{
    QString deviceName;
    QString productName;
    QString productType;
    QString productVersion;
    QDateTime date;
    bool isEncrypted = false;
};

/// Writes Info.plist, Status.plist and Manifest.plist. Returns false when one cannot be written.
bool writePropertyLists(const QString &folder, const BackupFacts &facts);
