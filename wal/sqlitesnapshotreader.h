#pragma once

#include <QIODevice>

class WalFile;

/// The database file as it stood after one commit of its log: every page that the log holds up to
/// that commit comes from there, all others from the database file.
class SqliteSnapshotReader : public QIODevice
{
    Q_OBJECT
public:
    /// Borrows the open database file and the loaded log, which must outlive the reader.
    SqliteSnapshotReader(QIODevice *database, WalFile *wal, quint32 commitIndex,
                         QObject *parent = nullptr);
    ~SqliteSnapshotReader() override;

    /// Opens the version for reading. Any other mode fails, also reading with a further flag:
    /// whoever asks for more expects what a version of the past cannot do.
    bool open(OpenMode mode) override;

    /// The size that the commit gave the database; 0 when there is no such commit.
    qint64 size() const override;

protected:
    /// One call reads no further than to the end of a page; -1 when the file cannot be positioned.
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *data, qint64 maxSize) override;

private:
    QIODevice *m_database;
    WalFile *m_wal;
    quint32 m_commitIndex;
};
