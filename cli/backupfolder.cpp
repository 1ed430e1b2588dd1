#include "cli/backupfolder.h"

#include "api/backupindex.h"
#include "api/databasecheck.h"
#include "cli/propertylist.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>
#include <tuple>

namespace {

/// Also true of a link that leads nowhere.
bool isThere(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

/// True when the folder of the path does not tell whether the file is there.
bool mayHide(const QString &path)
{
    const QFileInfo folder(QFileInfo(path).path());
    return folder.isDir() && !folder.isExecutable();
}

/// Returns the path of the backup's file of that name; empty when there is none. What is no file
/// counts where nothing better is there.
QString findFile(const QDir &backup, const QString &name)
{
    const QString inFolder = backup.filePath(name.left(2) + QLatin1Char('/') + name);
    const QString flat = backup.filePath(name);
    if (QFileInfo(inFolder).isFile()) {
        return inFolder;
    }
    if (QFileInfo(flat).isFile() || isThere(flat)) {
        return flat;
    }
    return isThere(inFolder) || mayHide(inFolder) ? inFolder : QString();
}

/// A log without a byte is what SQLite leaves once all of it is in the database: as good as none.
QString findLog(const QDir &backup, const QString &path, const BackupFile &file)
{
    const QString name = backupFileName(file.domain, file.relativePath + QLatin1String("-wal"));
    for (const QString &log : {path + QLatin1String("-wal"), findFile(backup, name)}) {
        if (QFileInfo(log).size() > 0) {
            return log;
        }
    }
    return QString();
}

void addDatabase(const QDir &backup, ScanType type, const BackupFile &file,
                 QVector<BackupDatabase> *databases)
{
    BackupDatabase database;
    database.type = type;
    database.place = file.domain + QLatin1Char('/') + file.relativePath;
    database.path = findFile(backup, file.name);
    if (database.path.isEmpty()) {
        return;
    }
    database.logPath = findLog(backup, database.path, file);
    if (!database.logPath.isEmpty()) {
        database.logPlace = database.place + QLatin1String("-wal");
    }
    databases->append(database);
}

void addKnownDatabases(const QDir &backup, QVector<BackupDatabase> *databases)
{
    for (const BackupLocation &location : backupLocations()) {
        const QString name = backupFileName(location.domain, location.relativePath);
        addDatabase(backup, location.type, {name, location.domain, location.relativePath},
                    databases);
    }
}

/// A database of an account of WeChat: the older MM.sqlite, or one of the numbered ones that came
/// after it.
struct ChatFile
{
    QString account;
    int number; ///< -1 for the older one
    BackupFile file;
};

bool comesBefore(const ChatFile &left, const ChatFile &right)
{
    return std::tie(left.account, left.number, left.file.name)
           < std::tie(right.account, right.number, right.file.name);
}

bool isSameFile(const ChatFile &left, const ChatFile &right)
{
    return left.file.name == right.file.name;
}

/// What does not look exactly as those databases do is none: the index may say anything.
QVector<ChatFile> chatFiles(const QVector<BackupFile> &files)
{
    static const QRegularExpression pattern(
        QStringLiteral("\\ADocuments/([0-9a-f]{32})/DB/(?:MM|message_([0-9]{1,4}))\\.sqlite\\z"));
    QVector<ChatFile> found;
    for (const BackupFile &file : files) {
        const QRegularExpressionMatch match = pattern.match(file.relativePath);
        if (match.hasMatch()) {
            const QString number = match.captured(2);
            found.append({match.captured(1), number.isEmpty() ? -1 : number.toInt(), file});
        }
    }
    std::sort(found.begin(), found.end(), comesBefore);
    found.erase(std::unique(found.begin(), found.end(), isSameFile), found.end());
    return found;
}

BackupIndexState addChatDatabases(const QDir &backup, QVector<BackupDatabase> *databases)
{
    QVector<BackupFile> files;
    const BackupIndexState state =
        readBackupIndex(backup.path(), QStringLiteral("AppDomain-com.tencent.xin"), &files);
    for (const ChatFile &chat : chatFiles(files)) {
        addDatabase(backup, ScanTypeWeChat, chat.file, databases);
    }
    return state;
}

/// The files of which any makes a folder a backup. The index comes first.
QStringList manifests(const QDir &folder)
{
    QStringList found;
    for (const char *name : {"Manifest.db", "Manifest.mbdb", "Manifest.plist"}) {
        const QString path = folder.filePath(QLatin1String(name));
        if (isThere(path)) {
            found.append(path);
        }
    }
    return found;
}

QString indexWarning(const QDir &backup, BackupIndexState state)
{
    const QString loss = QStringLiteral("so that the databases of WeChat are not found");
    switch (state) {
    case BackupIndexState::Read:
        return QString();
    case BackupIndexState::ReadInPart:
        return QStringLiteral("the backup's index is damaged, so that databases of WeChat may be "
                              "missing: %1")
            .arg(manifests(backup).value(0));
    case BackupIndexState::Missing:
        return QStringLiteral("the backup has neither Manifest.db nor Manifest.mbdb, %1: %2")
            .arg(loss, backup.path());
    case BackupIndexState::Unreadable:
    case BackupIndexState::NotAnIndex:
    case BackupIndexState::LooksEncrypted:
        break;
    }
    return QStringLiteral("cannot read the backup's index, %1: %2")
        .arg(loss, manifests(backup).value(0));
}

void readDevice(const QDir &backup, BackupContents *contents)
{
    const QString path = backup.filePath(QStringLiteral("Info.plist"));
    PropertyList info;
    if (!isThere(path)) {
        return;
    }
    contents->hasDevice = info.read(path);
    if (!contents->hasDevice) {
        contents->warnings.append(
            QStringLiteral("cannot read what the backup says about its device: %1").arg(path));
        return;
    }
    const QString productName = info.text("Product Name");
    const QDateTime date = info.date("Last Backup Date");
    contents->device = {
        info.text("Device Name"), productName.isEmpty() ? info.text("Product Type") : productName,
        info.text("Product Version"), date.isValid() ? date.toString(Qt::ISODate) : QString()};
}

/// Whether the backup's own Manifest.plist calls it encrypted.
bool saysEncrypted(const QDir &backup, QStringList *warnings)
{
    const QString path = backup.filePath(QStringLiteral("Manifest.plist"));
    PropertyList manifest;
    if (isThere(path) && !manifest.read(path)) {
        warnings->append(
            QStringLiteral("cannot read whether the backup is encrypted: %1").arg(path));
    }
    return manifest.isTrue("IsEncrypted");
}

QVector<DatabaseState> statesOf(const QVector<BackupDatabase> &databases)
{
    QVector<DatabaseState> states;
    for (const BackupDatabase &database : databases) {
        states.append(checkDatabase(database.path));
    }
    return states;
}

/// Why nothing of a backup can be scanned; empty when something can.
QString backupObstacle(const QDir &backup, BackupIndexState index, BackupContents *contents)
{
    const QVector<DatabaseState> states = statesOf(contents->databases);
    const auto count = [&states](DatabaseState state) { return states.count(state); };
    const bool says = saysEncrypted(backup, &contents->warnings);
    const bool anyIsDatabase = count(DatabaseState::Readable) + count(DatabaseState::Damaged) > 0;
    const bool looksEncrypted = count(DatabaseState::LooksEncrypted) == states.size()
                                && (index == BackupIndexState::LooksEncrypted || !states.isEmpty());
    if (says && anyIsDatabase) { // a decrypted copy, which goes on to say so
        contents->warnings.append(
            QStringLiteral("the backup calls itself encrypted, though databases in it are not; "
                           "those are scanned: %1")
                .arg(backup.filePath(QStringLiteral("Manifest.plist"))));
        return QString();
    }
    if (says || looksEncrypted) {
        return QStringLiteral("the backup %1 encrypted; decrypt it first and scan the decrypted "
                              "copy: %2")
            .arg(QLatin1String(says ? "is" : "looks"), backup.path());
    }
    return states.isEmpty() ? QStringLiteral("the backup has none of the databases that can be "
                                             "scanned: %1")
                                  .arg(backup.path())
                            : QString();
}

QString folderObstacle(const QString &folder)
{
    const QFileInfo info(folder);
    if (!info.exists()) {
        return QStringLiteral("no such folder: %1").arg(folder);
    }
    if (!info.isDir()) {
        return QStringLiteral(
                   "not a folder; scan a single database with \"sqliterecovery scan TYPE "
                   "FILE\": %1")
            .arg(folder);
    }
    return QDir(folder).isReadable() ? QString()
                                     : QStringLiteral("cannot read the folder: %1").arg(folder);
}

/// True when databases lie there under the names that they have on a device.
bool hasRawDatabases(const QDir &folder)
{
    QStringList names{QStringLiteral("MM.sqlite"), QStringLiteral("message_*.sqlite")};
    for (const BackupLocation &location : backupLocations()) {
        names.append(QFileInfo(location.relativePath).fileName());
    }
    return !folder.entryList(names, QDir::Files).isEmpty();
}

/// The first folder in `folder` that is a backup, as it is given by who names the folder of all
/// backups; empty when there is none.
QString backupInside(const QDir &folder)
{
    const QFileInfoList inside =
        folder.entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    const auto found = std::find_if(inside.begin(), inside.end(), [](const QFileInfo &info) {
        return !manifests(QDir(info.filePath())).isEmpty();
    });
    return found == inside.end() ? QString() : found->filePath();
}

QString noBackup(const QDir &folder)
{
    if (hasRawDatabases(folder)) {
        return QStringLiteral("no backup, but single databases; scan them one by one with "
                              "\"sqliterecovery scan TYPE FILE\": %1")
            .arg(folder.path());
    }
    const QString inside = backupInside(folder);
    if (!inside.isEmpty()) {
        return QStringLiteral("no backup, but a folder of backups; give the folder of one: %1")
            .arg(inside);
    }
    return QStringLiteral("no backup, which has Manifest.db, Manifest.mbdb or files with names of "
                          "40 digits; give the folder that holds those: %1")
        .arg(folder.path());
}

} // namespace

BackupContents readBackup(const QString &folder)
{
    BackupContents contents;
    contents.problem = folderObstacle(folder);
    if (!contents.problem.isEmpty()) {
        return contents;
    }
    const QDir backup(folder);
    addKnownDatabases(backup, &contents.databases);
    if (contents.databases.isEmpty() && manifests(backup).isEmpty()) {
        contents.problem = noBackup(backup);
        return contents;
    }
    readDevice(backup, &contents);
    const BackupIndexState index = addChatDatabases(backup, &contents.databases);
    contents.problem = backupObstacle(backup, index, &contents);
    const QString warning = indexWarning(backup, index);
    if (!contents.problem.isEmpty()) {
        contents.databases.clear();
    } else if (!warning.isEmpty()) {
        contents.warnings.append(warning);
    }
    return contents;
}
