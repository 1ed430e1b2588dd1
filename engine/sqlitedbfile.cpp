#include "engine/sqlitedbfile.h"

#include "api/scanprogress.h"

#include <QFileInfo>

SqliteDbFile::SqliteDbFile(QObject *parent)
    : QObject(parent)
{
}

SqliteDbFile::~SqliteDbFile() = default;

bool SqliteDbFile::open(const QString &newPath)
{
    path = newPath;
    freeRegions.clear();
    m_isStopped = false;
    m_boundRoots.clear();
    m_refusedTables = 0;
    if (file.isOpen()) {
        file.close();
    }
    file.setFileName(path);
    // Unbuffered: every read is of a whole region or page. Anything but a regular file, such as a
    // pipe, could make a read wait for ever.
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return false;
    }
    reader = std::make_unique<DatabaseReader>(&file);
    return reader->open();
}

void SqliteDbFile::setProgress(ScanProgress *newProgress)
{
    progress = newProgress;
}

double SqliteDbFile::progressValue() const
{
    return progress ? progress->progressValue() : 0;
}

bool SqliteDbFile::reportProgress(double step)
{
    m_isStopped = m_isStopped || (progress && !progress->reportProgress(step));
    return !m_isStopped;
}
