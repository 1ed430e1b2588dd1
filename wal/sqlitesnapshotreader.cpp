#include "wal/sqlitesnapshotreader.h"

#include "wal/walfile.h"

#include <algorithm>

SqliteSnapshotReader::SqliteSnapshotReader(QIODevice *database, WalFile *wal, quint32 commitIndex,
                                           QObject *parent)
    : QIODevice(parent)
    , m_database(database)
    , m_wal(wal)
    , m_commitIndex(commitIndex)
{
}

SqliteSnapshotReader::~SqliteSnapshotReader() = default;

bool SqliteSnapshotReader::open(OpenMode mode)
{
    // Unbuffered underneath: there may be one reader for each of thousands of commits.
    return mode == QIODevice::ReadOnly && QIODevice::open(mode | QIODevice::Unbuffered);
}

qint64 SqliteSnapshotReader::size() const
{
    return m_wal->snapshotSize(m_commitIndex);
}

qint64 SqliteSnapshotReader::readData(char *data, qint64 maxSize)
{
    const qint64 pageSize = m_wal->pageSize();
    if (pageSize <= 0) {
        return -1; // the log was never loaded
    }
    const qint64 inPage = pos() % pageSize;
    const qint64 frame = m_wal->findFrame(m_commitIndex, quint32(pos() / pageSize + 1));
    QIODevice &file = frame > 0 ? m_wal->file() : *m_database;
    if (!file.seek(frame > 0 ? frame + inPage : pos())) {
        return -1;
    }
    return file.read(data, std::min(pageSize - inPage, maxSize));
}

qint64 SqliteSnapshotReader::writeData(const char *, qint64)
{
    return -1;
}
