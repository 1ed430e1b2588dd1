#pragma once

#include <QFile>
#include <QHash>
#include <QString>
#include <QVector>

/// The 32-byte header of a log, as stored.
struct WalHeader
{
    quint32 magic = 0;
    quint32 formatVersion = 0;
    quint32 pageSize = 0;
    quint32 checkpointSequence = 0;
    quint32 salt1 = 0;
    quint32 salt2 = 0;
    quint32 checksum1 = 0;
    quint32 checksum2 = 0;
};

/// One frame: a 24-byte header and a page behind it.
struct WalFrame
{
    quint32 pageNo = 0;
    quint32 commitSize = 0; ///< pages of the database after the commit; 0 when it ends none
    quint32 salt1 = 0;
    quint32 salt2 = 0;
    quint32 checksum1 = 0;
    quint32 checksum2 = 0;
    qint64 dataOffset = 0; ///< of the page, in the log
};

/// The frames of one commit, which lie side by side in the list of all frames.
struct WalTransaction
{
    int firstFrame = 0;
    int frameCount = 0;
};

/// Reads a write-ahead log into its committed transactions, each of which is a version of the
/// database. The transaction's place in the list, from 0, is its commit index.
///
/// Checksums are not verified: whoever recovers data wants frames with a damaged byte as well. The
/// salts alone tell which frames belong to the log and which are left from before it was restarted.
class WalFile
{
public:
    /// Reads nothing yet.
    explicit WalFile(const QString &walPath);
    ~WalFile();
    Q_DISABLE_COPY(WalFile)

    /// Reads the headers of the log and of its frames, and leaves the file open. Returns false,
    /// with the file closed, when it is no regular file that can be read or its header is none.
    bool load();

    QString path() const { return m_file.fileName(); }
    int transactionCount() const { return m_transactions.size(); }
    quint32 pageSize() const { return m_header.pageSize; }
    const WalHeader &header() const { return m_header; }
    const QVector<WalFrame> &frames() const { return m_frames; }
    QFile &file() { return m_file; }

    /// Returns where the page `pageNo` stands in the log as of the commit: the newest of its frames
    /// up to that commit. -1 when there is none, or no such commit.
    qint64 findFrame(quint32 commitIndex, quint32 pageNo) const;

    /// Returns the size of the database in bytes after the commit; 0 when there is no such commit.
    qint64 snapshotSize(quint32 commitIndex) const;

    /// Returns the pages that the commit wrote, ascending, each once.
    QVector<quint32> pagesOf(int commitIndex) const;

    /// False for a commit whose last page is cut off. It counts as one all the same, and that page
    /// reads short.
    bool isWhole(int commitIndex) const;

    void clearTransactions();
    void clearFrames();

private:
    bool readHeader();
    bool readFrame(WalFrame *frame);
    void readFrames();
    void commit(const WalTransaction &transaction);

    /// Where a page stands as of a commit.
    struct PageVersion
    {
        int commitIndex;
        qint64 dataOffset;
    };

    QFile m_file;
    qint64 m_fileSize = 0;
    WalHeader m_header;
    QVector<WalFrame> m_frames;
    QVector<WalTransaction> m_transactions;
    QHash<quint32, QVector<PageVersion>> m_pages; ///< by page number, commits ascending
};
