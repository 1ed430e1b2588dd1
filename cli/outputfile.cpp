#include "cli/outputfile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

// Nothing else of a path can be taken out: behind a link ".." is not where it seems to be.
QString withoutLastSlashes(QString path)
{
    while (path.size() > 1 && path.endsWith(QLatin1Char('/'))) {
        path.chop(1);
    }
    return path;
}

// Follows links to a file that need not exist, and spells its folder the one canonical way.
QString canonicalTarget(const QString &path)
{
    QFileInfo info(withoutLastSlashes(path));
    for (int links = 0; info.isSymLink() && !info.exists() && links < 40; ++links) {
        info.setFile(info.symLinkTarget());
    }
    if (info.exists()) {
        return info.canonicalFilePath();
    }
    const QString folder = QFileInfo(info.path()).canonicalFilePath();
    return folder + QLatin1Char('/') + info.fileName();
}

QString existsText(const QString &path)
{
    return QStringLiteral("the file exists, --force replaces it: %1").arg(path);
}

} // namespace

/// A file of which the first failure is kept: later ones, and closing it, would make an unknown
/// error of it.
class NewFile : public QSaveFile
{
public:
    using QSaveFile::QSaveFile;

    bool isWritten()
    {
        errno = 0;
        keepReason(flush() && error() == QFileDevice::NoError);
        return m_reason.isNull();
    }
    QString reason() const { return m_reason.isNull() ? errorString() : m_reason; }

protected:
    qint64 writeData(const char *data, qint64 size) override
    {
        errno = 0;
        const qint64 written = QSaveFile::writeData(data, size);
        keepReason(written == size);
        return written;
    }

private:
    void keepReason(bool isGood)
    {
        if (!isGood && m_reason.isNull()) {
            // Of a disk that took a part Qt says nothing but that it failed.
            m_reason = errno != 0 ? QString::fromLocal8Bit(std::strerror(errno)) : errorString();
        }
    }

    QString m_reason;
};

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

bool liesWithin(const QString &path, const QString &folder)
{
    const QString inside = QFileInfo(folder).canonicalFilePath() + QLatin1Char('/');
    return (canonicalTarget(path) + QLatin1Char('/')).startsWith(inside);
}

OutputFile::OutputFile() = default;
OutputFile::~OutputFile() = default;

bool OutputFile::open(const QString &path, bool replaces)
{
    if (path.isEmpty()) {
        auto *file = new QFile;
        m_device.reset(file);
        return file->open(stdout, QIODevice::WriteOnly);
    }
    const QFileInfo info(path);
    if (info.isFile() && !replaces) {
        m_error = existsText(path);
        return false;
    }
    // Replacing a device or a pipe by a file would be a nasty surprise: these are written directly.
    if (info.exists() && !info.isFile() && !info.isDir()) {
        m_device.reset(new QFile(path));
    } else {
        m_device.reset(new NewFile(path));
    }
    return m_device->open(QIODevice::WriteOnly);
}

bool OutputFile::commit()
{
    if (auto *file = dynamic_cast<NewFile *>(m_device.data())) {
        return file->isWritten() && file->commit();
    }
    return m_device->flush() && m_device->error() == QFileDevice::NoError;
}

QString OutputFile::errorString() const
{
    if (!m_error.isNull()) {
        return m_error;
    }
    const auto *file = dynamic_cast<const NewFile *>(m_device.data());
    return file != nullptr ? file->reason() : m_device->errorString();
}

OutputFolder::OutputFolder() = default;

OutputFolder::~OutputFolder()
{
    m_files.clear();
    if (m_isPrepared && m_workPath != m_path) {
        QDir(m_workPath).removeRecursively();
    }
}

bool OutputFolder::open(const QString &path, const QStringList &names, bool replaces)
{
    m_path = withoutLastSlashes(path);
    const QFileInfo info(m_path);
    if (info.exists() && !info.isDir()) {
        m_error = QStringLiteral("not a folder: %1").arg(path);
        return false;
    }
    for (const QString &name : names) {
        const QString file = m_path + QLatin1Char('/') + name;
        if (QFileInfo::exists(file)) {
            m_replaced.append(file);
        }
    }
    if (!replaces && !m_replaced.isEmpty()) {
        m_error = existsText(m_replaced.first());
        return false;
    }
    return prepare();
}

bool OutputFolder::prepare()
{
    const QString unfinished =
        m_path + QStringLiteral(".part%1").arg(QCoreApplication::applicationPid());
    m_workPath = QFileInfo(m_path).isDir() ? m_path : unfinished;
    m_isPrepared = m_workPath == m_path ? QFileInfo(m_path).isWritable() : QDir().mkdir(m_workPath);
    if (!m_isPrepared) {
        m_error = QStringLiteral("cannot create files in the folder: %1").arg(m_path);
    }
    return m_isPrepared;
}

QIODevice *OutputFolder::add(const QString &name)
{
    auto file = std::make_unique<NewFile>(m_workPath + QLatin1Char('/') + name);
    if (!file->open(QIODevice::WriteOnly)) {
        m_error = file->errorString();
        return nullptr;
    }
    m_files.push_back(std::move(file));
    return m_files.back().get();
}

bool OutputFolder::commit()
{
    for (const std::unique_ptr<NewFile> &file : m_files) {
        if (!file->isWritten()) {
            m_error = file->reason();
            return false;
        }
    }
    for (const std::unique_ptr<NewFile> &file : m_files) {
        if (!file->commit()) {
            m_error = file->reason();
            return false;
        }
        m_replaced.removeAll(file->fileName());
    }
    // What this run has no records of would seem to belong to it.
    for (const QString &former : qAsConst(m_replaced)) {
        QFile::remove(former);
    }
    if (m_workPath != m_path && !QDir().rename(m_workPath, m_path)) {
        m_error = QStringLiteral("cannot create the folder: %1").arg(m_path);
        return false;
    }
    m_isPrepared = false;
    return true;
}

QString OutputFolder::errorString() const
{
    if (!m_error.isEmpty() || m_files.empty()) {
        return m_error;
    }
    return m_files.back()->reason();
}

bool writeAll(QIODevice &out, const QByteArray &bytes)
{
    return out.write(bytes) == bytes.size();
}
