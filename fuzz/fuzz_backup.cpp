// Reads the index of a backup, or a property list of it. The first byte says what the rest is.

#include "api/backupindex.h"
#include "cli/propertylist.h"
#include "fuzz/fuzzsupport.h"

#include <QDateTime>
#include <QFileInfo>

namespace {

void checkIndex(const QString &folder, qint64 bytes)
{
    QVector<BackupFile> files;
    readBackupIndex(folder, QStringLiteral("HomeDomain"), &files);
    require(files.size() <= bytes, "files have bytes");
    for (const BackupFile &file : files) {
        require(file.name == backupFileName(file.domain, file.relativePath),
                "the name follows from the place");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static constexpr const char *names[] = {"Manifest.mbdb", "Manifest.db", "Info.plist"};
    if (size == 0) {
        return 0;
    }
    const char *name = names[data[0] % 3];
    ScratchFile file(name);
    file.write(reinterpret_cast<const char *>(data) + 1, size - 1);
    if (qstrcmp(name, "Info.plist") != 0) {
        checkIndex(QFileInfo(file.path()).path(), qint64(size));
        return 0;
    }
    PropertyList list;
    if (list.read(file.path())) {
        require(list.text("Device Name").size() <= int(size) + 16, "a text has bytes");
        list.isTrue("IsEncrypted");
        list.date("Last Backup Date");
    }
    return 0;
}
