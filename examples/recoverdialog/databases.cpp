#include "databases.h"

#include <sqliterecovery/backupindex.h>
#include <sqliterecovery/databasecheck.h>

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

namespace {

/// Newer backups keep a file in a folder of its name's first two digits, older ones beside the
/// index.
QString findFile(const QDir &backup, const QString &name)
{
    const QString inFolder = backup.filePath(name.left(2) + QLatin1Char('/') + name);
    const QString flat = backup.filePath(name);
    if (QFileInfo(inFolder).isFile()) {
        return inFolder;
    }
    return QFileInfo(flat).isFile() ? flat : QString();
}

void addDatabase(const QDir &backup, int type, const QString &domain, const QString &relativePath,
                 QVector<Database> *databases)
{
    const QString path = findFile(backup, backupFileName(domain, relativePath));
    if (!path.isEmpty()) {
        const QString log =
            findFile(backup, backupFileName(domain, relativePath + QLatin1String("-wal")));
        databases->append({type, domain + QLatin1Char('/') + relativePath, path, log});
    }
}

/// Every account of WeChat has a folder, whose name only the backup's index tells.
void addChats(const QDir &backup, QVector<Database> *databases)
{
    const QString domain = QStringLiteral("AppDomain-com.tencent.xin");
    const QRegularExpression chat(
        QStringLiteral("\\ADocuments/[0-9a-f]{32}/DB/(?:MM|message_[0-9]{1,4})\\.sqlite\\z"));
    QVector<BackupFile> files;
    readBackupIndex(backup.path(), domain, &files);
    for (const BackupFile &file : files) {
        if (chat.match(file.relativePath).hasMatch()) {
            addDatabase(backup, ScanTypeWeChat, domain, file.relativePath, databases);
        }
    }
}

} // namespace

QVector<Database> databasesIn(const QString &folder)
{
    const QDir backup(folder);
    QVector<Database> databases;
    for (const BackupLocation &location : backupLocations()) {
        addDatabase(backup, location.type, location.domain, location.relativePath, &databases);
    }
    addChats(backup, &databases);
    return databases;
}

QString problemOf(const QString &path)
{
    switch (checkDatabase(path)) {
    case DatabaseState::Readable:
        return QString();
    case DatabaseState::Missing:
        return QStringLiteral("The file is not there any more.");
    case DatabaseState::Unreadable:
        return QStringLiteral("The system refuses to read the file.");
    case DatabaseState::NotADatabase:
        return QStringLiteral("The file is no database.");
    case DatabaseState::LooksEncrypted:
        return QStringLiteral("The file looks encrypted. Decrypt the backup first.");
    case DatabaseState::Damaged:
        return QStringLiteral("The database is damaged.");
    }
    return QString();
}

QString reasonForNothing(int type, const QString &path)
{
    switch (whyNothingFound(type, path)) {
    case EmptyReason::NoSuchTable:
    case EmptyReason::ColumnsMissing:
        return QStringLiteral("Its tables are not those of a known version.");
    case EmptyReason::NoFreeSpace:
        return QStringLiteral("Nothing was deleted in it, or it was compacted since.");
    case EmptyReason::FreeSpaceErased:
        return QStringLiteral("What was deleted was overwritten with zeros.");
    case EmptyReason::NothingLeft:
        return QStringLiteral("What was deleted has been overwritten.");
    case EmptyReason::Unknown:
        break;
    }
    return QString();
}
