#include "samples/backupsample.h"

#include "samples/sampledatabase.h"

#include <QCryptographicHash>
#include <QDataStream>
#include <QDir>
#include <QFile>

namespace {

constexpr quint16 FileMode = 0x81A4;
constexpr quint16 FolderMode = 0x41ED;
constexpr quint32 Changed = 1546300800;

QString digitsOf(const IndexedFile &file)
{
    const QString name = file.domain + QLatin1Char('-') + file.relativePath;
    const QByteArray hash = QCryptographicHash::hash(name.toUtf8(), QCryptographicHash::Sha1);
    return QString::fromLatin1(hash.toHex());
}

void writeText(QDataStream *out, const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    *out << quint16(bytes.size());
    out->writeRawData(bytes.constData(), bytes.size());
}

void writeNoText(QDataStream *out)
{
    *out << quint16(0xFFFF);
}

/// Every third file has a property, as files with extended attributes have.
void writeListed(QDataStream *out, const IndexedFile &file, quint64 number)
{
    constexpr quint32 mobile = 501; // user and group
    constexpr quint8 protection = 4;
    writeText(out, file.domain);
    writeText(out, file.relativePath);
    writeNoText(out); // of a symbolic link only
    writeNoText(out); // no hash
    writeNoText(out); // not encrypted
    *out << (file.isFolder ? FolderMode : FileMode) << number << mobile << mobile << Changed
         << Changed << Changed << quint64(file.size) << quint8(file.isFolder ? 0 : protection);
    const bool hasProperty = number % 3 == 0;
    *out << quint8(hasProperty);
    if (hasProperty) {
        writeText(out, QStringLiteral("com.apple.installd.uniqueInstallID"));
        writeText(out, QStringLiteral("install"));
    }
}

bool writeBytes(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QString element(const char *key, const char *type, const QString &value)
{
    return QStringLiteral("\t<key>%1</key>\n\t<%2>%3</%2>\n")
        .arg(QLatin1String(key), QLatin1String(type), value.toHtmlEscaped());
}

QString truth(const char *key, bool value)
{
    return QStringLiteral("\t<key>%1</key>\n\t<%2/>\n")
        .arg(QLatin1String(key), QLatin1String(value ? "true" : "false"));
}

bool writePropertyList(const QString &path, const QString &elements)
{
    const QString list = QStringLiteral(R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
%1</dict>
</plist>
)");
    return writeBytes(path, list.arg(elements).toUtf8());
}

QString infoOf(const BackupFacts &facts)
{
    return element("Build Version", "string", QStringLiteral("21B80"))
           + element("Device Name", "string", facts.deviceName)
           + element("Display Name", "string", facts.deviceName)
           + element("Last Backup Date", "date", facts.date.toUTC().toString(Qt::ISODate))
           + (facts.productName.isNull() ? QString()
                                         : element("Product Name", "string", facts.productName))
           + element("Product Type", "string", facts.productType)
           + element("Product Version", "string", facts.productVersion);
}

} // namespace

QString sampleBackupName(BackupLayout layout, const IndexedFile &file)
{
    const QString digits = digitsOf(file);
    return layout == BackupLayout::Flat ? digits : digits.left(2) + QLatin1Char('/') + digits;
}

QByteArray manifestList(const QVector<IndexedFile> &files)
{
    QByteArray list;
    QDataStream out(&list, QIODevice::WriteOnly);
    out.writeRawData("mbdb\5\0", 6);
    quint64 number = 0;
    for (const IndexedFile &file : files) {
        writeListed(&out, file, ++number);
    }
    return list;
}

bool makeManifestDatabase(const QString &path, const QVector<IndexedFile> &files)
{
    SampleDatabase db;
    bool ok = db.create(path)
              && db.exec(QStringLiteral(
                  "CREATE TABLE Files (fileID TEXT PRIMARY KEY, domain TEXT, relativePath TEXT, "
                  "flags INTEGER, file BLOB);"
                  "CREATE INDEX FilesDomainIdx ON Files(domain);"
                  "CREATE INDEX FilesRelativePathIdx ON Files(relativePath);"
                  "CREATE INDEX FilesFlagsIdx ON Files(flags);"
                  "CREATE TABLE Properties (key TEXT PRIMARY KEY, value BLOB);"
                  "BEGIN"));
    for (const IndexedFile &file : files) {
        ok = ok
             && db.run(QStringLiteral("INSERT INTO Files VALUES (?, ?, ?, ?, ?)"),
                       {digitsOf(file), file.domain, file.relativePath, file.isFolder ? 2 : 1,
                        QByteArray("bplist00")});
    }
    return ok && db.exec(QStringLiteral("COMMIT")) && db.close();
}

bool writeBackupIndex(const QString &folder, BackupLayout layout, const QVector<IndexedFile> &files)
{
    const QDir dir(folder);
    return layout == BackupLayout::Flat
               ? writeBytes(dir.filePath(QStringLiteral("Manifest.mbdb")), manifestList(files))
               : makeManifestDatabase(dir.filePath(QStringLiteral("Manifest.db")), files);
}

bool writePropertyLists(const QString &folder, const BackupFacts &facts)
{
    const QDir dir(folder);
    const QString date = facts.date.toUTC().toString(Qt::ISODate);
    const QString status = element("BackupState", "string", QStringLiteral("new"))
                           + element("Date", "date", date) + truth("IsFullBackup", true)
                           + element("SnapshotState", "string", QStringLiteral("finished"));
    const QString manifest = element("Date", "date", date) + truth("IsEncrypted", facts.isEncrypted)
                             + truth("WasPasscodeSet", true);
    return writePropertyList(dir.filePath(QStringLiteral("Info.plist")), infoOf(facts))
           && writePropertyList(dir.filePath(QStringLiteral("Status.plist")), status)
           && writePropertyList(dir.filePath(QStringLiteral("Manifest.plist")), manifest);
}
