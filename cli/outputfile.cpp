#include "cli/outputfile.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <cstdio>

namespace {

// Follows links to a file that need not exist, and spells its folder the one canonical way.
QString canonicalTarget(const QString &path)
{
    QFileInfo info(path);
    for (int links = 0; info.isSymLink() && !info.exists() && links < 40; ++links) {
        info.setFile(info.symLinkTarget());
    }
    if (info.exists()) {
        return info.canonicalFilePath();
    }
    const QString folder = QFileInfo(info.path()).canonicalFilePath();
    return folder + QLatin1Char('/') + info.fileName();
}

} // namespace

bool namesEvidence(const QString &path, const QString &database)
{
    const QString target = canonicalTarget(path);
    // SQLite keeps the companions beside the file that a link leads to; copies made by hand may
    // lie beside the link.
    const QStringList names{database, QFileInfo(database).canonicalFilePath()};
    for (const QString &name : names) {
        for (const char *suffix : {"", "-wal", "-shm", "-journal"}) {
            if (target == canonicalTarget(name + QLatin1String(suffix))) {
                return true;
            }
        }
    }
    return false;
}

OutputFile::OutputFile() = default;
OutputFile::~OutputFile() = default;

bool OutputFile::open(const QString &path)
{
    if (path.isEmpty()) {
        auto *file = new QFile;
        m_device.reset(file);
        return file->open(stdout, QIODevice::WriteOnly);
    }
    // Replacing a device or a pipe by a file would be a nasty surprise: these are written directly.
    const QFileInfo info(path);
    if (info.exists() && !info.isFile() && !info.isDir()) {
        m_device.reset(new QFile(path));
    } else {
        m_device.reset(new QSaveFile(path));
    }
    return m_device->open(QIODevice::WriteOnly);
}

bool OutputFile::commit()
{
    if (auto *file = qobject_cast<QSaveFile *>(m_device.data())) {
        return file->commit();
    }
    return m_device->flush() && m_device->error() == QFileDevice::NoError;
}

QString OutputFile::errorString() const
{
    return m_device->errorString();
}

bool writeAll(QIODevice &out, const QByteArray &bytes)
{
    return out.write(bytes) == bytes.size();
}
