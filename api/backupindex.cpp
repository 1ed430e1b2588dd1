#include "api/backupindex.h"

#include "api/databasecheck.h"
#include "recoverers/livequery.h"

#include <QCryptographicHash>
#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

struct Location
{
    ScanType type;
    const char *domain;
    const char *relativePath;
    bool isInWholeScan;
};

/// Safari's history has had two places; a backup that holds both gives both.
constexpr Location Locations[] = {
    {ScanTypeContacts, "HomeDomain", "Library/AddressBook/AddressBook.sqlitedb", true},
    {ScanTypeMessages, "HomeDomain", "Library/SMS/sms.db", true},
    {ScanTypeCallHistory, "WirelessDomain", "Library/CallHistory/call_history.db", true},
    {ScanTypeCalendar, "HomeDomain", "Library/Calendar/Calendar.sqlitedb", true},
    {ScanTypeNotes, "HomeDomain", "Library/Notes/notes.sqlite", true},
    {ScanTypeBookmarks, "HomeDomain", "Library/Safari/Bookmarks.db", true},
    {ScanTypeSafariHistory, "AppDomain-com.apple.mobilesafari", "Library/Safari/History.db", true},
    {ScanTypeSafariHistory, "HomeDomain", "Library/Safari/History.db", true},
    {ScanTypeWhatsapp, "AppDomain-net.whatsapp.WhatsApp", "Documents/ChatStorage.sqlite", true},
    {ScanTypeCallHistory, "HomeDomain", "Library/CallHistoryDB/CallHistory.storedata", false},
    {ScanTypeCallHistory, "HomeDomain", "Library/CallHistoryDB/CallHistoryTemp.storedata", false},
    {ScanTypeIos9Notes, "AppDomainGroup-group.com.apple.notes", "NoteStore.sqlite", false},
    {ScanTypeWhatsapp, "AppDomainGroup-group.net.whatsapp.WhatsApp.shared", "ChatStorage.sqlite",
     false},
};

/// Far more than the index of any device takes, and still an end.
constexpr qint64 LongestList = 256 * 1024 * 1024;

BackupFile fileOf(const QString &domain, const QString &relativePath)
{
    return {backupFileName(domain, relativePath), domain, relativePath};
}

QString quoted(QString text)
{
    const QLatin1Char quote('\'');
    return quote + text.replace(quote, QLatin1String("''")) + quote;
}

bool readFiles(LiveQuery *query, const char *source, const QString &domain,
               QVector<BackupFile> *files)
{
    const QString sql =
        QStringLiteral("SELECT relativePath FROM %1 WHERE flags = 1 AND domain = %2")
            .arg(QLatin1String(source), quoted(domain));
    return query->forEachRow(
        sql, [&](const LiveRow &row) { files->append(fileOf(domain, row.text(0))); });
}

BackupIndexState readDatabase(const QString &path, const QString &domain,
                              QVector<BackupFile> *files)
{
    switch (checkDatabase(path)) {
    case DatabaseState::Missing:
        return BackupIndexState::Missing;
    case DatabaseState::Unreadable:
        return BackupIndexState::Unreadable;
    case DatabaseState::LooksEncrypted:
        return BackupIndexState::LooksEncrypted;
    case DatabaseState::NotADatabase:
        return BackupIndexState::NotAnIndex;
    case DatabaseState::Readable:
    case DatabaseState::Damaged: // for carving; SQLite may still read it
        break;
    }
    LiveQuery query(path);
    // SQLite goes by the index of the domains; damage to that leaves the table whole.
    for (const char *source : {"Files", "Files NOT INDEXED"}) {
        files->clear();
        if (!readFiles(&query, source, domain, files)) {
            return BackupIndexState::NotAnIndex;
        }
        if (query.isEndReached()) {
            return BackupIndexState::Read;
        }
    }
    return BackupIndexState::ReadInPart;
}

// Manifest.mbdb is "mbdb", 05 00, then one record a file, all numbers big-endian:
//
//   | domain | path | link target | hash | key |  mode (2) | inode (8) | user, group (4, 4)
//   | times of change, access, state (4, 4, 4) | size (8) | protection (1) | properties (1)
//   | name | value |  as often as there are properties
//
// where a text is its length (2), FF FF for none, and so many bytes.
class ListReader
{
public:
    explicit ListReader(QIODevice *device)
        : m_stream(device)
        , m_bytesLeft(LongestList)
    {
    }

    bool isAtEnd() const { return isGood() && m_stream.atEnd(); }
    bool readMagic() { return readBytes(6) == QByteArray("mbdb\5\0", 6); }
    /// Reads the next record. False at the end of the list, and where it is cut off.
    bool readRecord();
    const QByteArray &domain() const { return m_domain; }
    const QByteArray &path() const { return m_path; }
    bool isRegularFile() const { return (m_mode & 0xF000) == 0x8000; }

private:
    QByteArray readBytes(int size);
    QByteArray readText();
    bool isGood() const { return m_stream.status() == QDataStream::Ok && m_bytesLeft >= 0; }

    QDataStream m_stream;
    qint64 m_bytesLeft;
    QByteArray m_domain;
    QByteArray m_path;
    quint16 m_mode = 0;
};

bool ListReader::readRecord()
{
    constexpr int bytesBetweenModeAndProperties = 8 + 4 + 4 + 4 + 4 + 4 + 8 + 1;
    constexpr int otherTexts = 3; // link target, hash, key
    m_domain = readText();
    m_path = readText();
    for (int i = 0; i < otherTexts; ++i) {
        readText();
    }
    quint8 properties = 0;
    m_stream >> m_mode;
    readBytes(bytesBetweenModeAndProperties);
    m_stream >> properties;
    for (int i = 0; i < 2 * properties && isGood(); ++i) {
        readText();
    }
    return isGood();
}

QByteArray ListReader::readBytes(int size)
{
    m_bytesLeft -= size;
    QByteArray bytes(size, '\0');
    const bool isWhole = isGood() && m_stream.readRawData(bytes.data(), size) == size;
    if (!isWhole) {
        m_stream.setStatus(QDataStream::ReadPastEnd);
    }
    return isWhole ? bytes : QByteArray();
}

QByteArray ListReader::readText()
{
    constexpr quint16 none = 0xFFFF;
    quint16 size = none;
    m_stream >> size;
    m_bytesLeft -= qint64(sizeof(size));
    return size == none ? QByteArray() : readBytes(size);
}

BackupIndexState readList(const QString &path, const QString &domain, QVector<BackupFile> *files)
{
    const QFileInfo info(path);
    if (!info.exists()) {
        return BackupIndexState::Missing;
    }
    QFile file(path);
    if (!info.isFile() || !file.open(QIODevice::ReadOnly)) {
        return BackupIndexState::Unreadable;
    }
    ListReader list(&file);
    if (!list.readMagic()) {
        return BackupIndexState::NotAnIndex;
    }
    const QByteArray wanted = domain.toUtf8();
    while (!list.isAtEnd() && list.readRecord()) {
        if (list.isRegularFile() && list.domain() == wanted) {
            files->append(fileOf(domain, QString::fromUtf8(list.path())));
        }
    }
    return list.isAtEnd() ? BackupIndexState::Read : BackupIndexState::ReadInPart;
}

bool isRead(BackupIndexState state)
{
    return state == BackupIndexState::Read || state == BackupIndexState::ReadInPart;
}

} // namespace

QString backupFileName(const QString &domain, const QString &relativePath)
{
    const QString name = domain + QLatin1Char('-') + relativePath;
    const QByteArray bytes = name.normalized(QString::NormalizationForm_D).toUtf8();
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha1).toHex());
}

QVector<BackupLocation> backupLocations()
{
    QVector<BackupLocation> locations;
    for (const Location &location : Locations) {
        locations.append({location.type, QString::fromLatin1(location.domain),
                          QString::fromLatin1(location.relativePath), location.isInWholeScan});
    }
    return locations;
}

BackupIndexState readBackupIndex(const QString &folder, const QString &domain,
                                 QVector<BackupFile> *files)
{
    files->clear();
    const QDir backup(folder);
    const BackupIndexState database =
        readDatabase(backup.filePath(QStringLiteral("Manifest.db")), domain, files);
    if (isRead(database)) {
        return database;
    }
    const BackupIndexState list =
        readList(backup.filePath(QStringLiteral("Manifest.mbdb")), domain, files);
    const bool listDecides = isRead(list) || database == BackupIndexState::Missing;
    return listDecides ? list : database;
}
