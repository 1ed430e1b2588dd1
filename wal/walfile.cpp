#include "wal/walfile.h"

#include <QFileInfo>
#include <QtEndian>

#include <algorithm>

namespace {

// The two differ in the byte order of the checksums only.
constexpr quint32 MagicLittleEndian = 0x377F0682;
constexpr quint32 MagicBigEndian = 0x377F0683;
constexpr quint32 SmallestPage = 512;
constexpr quint32 LargestPage = 65536;
constexpr int HeaderWords = 8;
constexpr int FrameWords = 6;
/// Keeps the list within what one block of memory holds; at 512 bytes a page, 16 GiB of log.
constexpr int MaxFrames = 32 * 1024 * 1024;

/// Reads big-endian words. Returns false when they are not all there.
template<int count> bool readWords(QFile &file, quint32 (&words)[count])
{
    char bytes[4 * count];
    if (file.read(bytes, sizeof bytes) != qint64(sizeof bytes)) {
        return false;
    }
    qFromBigEndian<quint32>(bytes, count, words);
    return true;
}

} // namespace

WalFile::WalFile(const QString &walPath)
    : m_file(walPath)
{
}

WalFile::~WalFile()
{
    clearTransactions();
    clearFrames();
}

bool WalFile::load()
{
    clearTransactions();
    clearFrames();
    m_file.close();
    // Anything but a regular file, such as a pipe, could make a read wait for ever.
    if (!QFileInfo(m_file).isFile() || !m_file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return false;
    }
    if (!readHeader()) {
        m_file.close();
        return false;
    }
    m_fileSize = m_file.size();
    readFrames();
    return true;
}

bool WalFile::readHeader()
{
    quint32 words[HeaderWords];
    if (!readWords(m_file, words)) {
        return false;
    }
    m_header = {words[0], words[1], words[2], words[3], words[4], words[5], words[6], words[7]};
    // Whether the page size is a power of two is not asked: a log with another one fits no database
    // and harms nothing.
    return (m_header.magic == MagicLittleEndian || m_header.magic == MagicBigEndian)
           && m_header.pageSize >= SmallestPage && m_header.pageSize <= LargestPage;
}

bool WalFile::readFrame(WalFrame *frame)
{
    quint32 words[FrameWords];
    if (!readWords(m_file, words)) {
        return false;
    }
    *frame = {words[0], words[1], words[2], words[3], words[4], words[5], m_file.pos()};
    return frame->salt1 == m_header.salt1 && frame->salt2 == m_header.salt2;
}

/// A frame with other salts is left from before the log was restarted, and so is all behind it.
void WalFile::readFrames()
{
    WalTransaction open;
    WalFrame frame;
    while (m_frames.size() < MaxFrames && readFrame(&frame)) {
        m_frames.append(frame);
        ++open.frameCount;
        if (frame.commitSize != 0) {
            commit(open);
            open = {m_frames.size(), 0};
        }
        // A last page that is cut off still counts; no frame header can follow it.
        if (!m_file.seek(frame.dataOffset + m_header.pageSize)) {
            break;
        }
    }
}

void WalFile::commit(const WalTransaction &transaction)
{
    const int commitIndex = m_transactions.size();
    m_transactions.append(transaction);
    for (int i = 0; i < transaction.frameCount; ++i) {
        const WalFrame &frame = m_frames.at(transaction.firstFrame + i);
        QVector<PageVersion> &versions = m_pages[frame.pageNo];
        // Of a page that the commit wrote twice, the later frame counts.
        if (!versions.isEmpty() && versions.last().commitIndex == commitIndex) {
            versions.last().dataOffset = frame.dataOffset;
        } else {
            versions.append({commitIndex, frame.dataOffset});
        }
    }
}

qint64 WalFile::findFrame(quint32 commitIndex, quint32 pageNo) const
{
    const auto page = m_pages.constFind(pageNo);
    if (commitIndex >= quint32(transactionCount()) || page == m_pages.cend()) {
        return -1;
    }
    const auto behind = std::upper_bound(
        page->cbegin(), page->cend(), int(commitIndex),
        [](int wanted, const PageVersion &version) { return wanted < version.commitIndex; });
    return behind == page->cbegin() ? -1 : (behind - 1)->dataOffset;
}

qint64 WalFile::snapshotSize(quint32 commitIndex) const
{
    if (commitIndex >= quint32(transactionCount())) {
        return 0;
    }
    const WalTransaction &transaction = m_transactions.at(int(commitIndex));
    const WalFrame &last = m_frames.at(transaction.firstFrame + transaction.frameCount - 1);
    return qint64(last.commitSize) * m_header.pageSize;
}

QVector<quint32> WalFile::pagesOf(int commitIndex) const
{
    QVector<quint32> pages;
    if (commitIndex < 0 || commitIndex >= transactionCount()) {
        return pages;
    }
    const WalTransaction &transaction = m_transactions.at(commitIndex);
    for (int i = 0; i < transaction.frameCount; ++i) {
        pages.append(m_frames.at(transaction.firstFrame + i).pageNo);
    }
    std::sort(pages.begin(), pages.end());
    pages.erase(std::unique(pages.begin(), pages.end()), pages.end());
    return pages;
}

bool WalFile::isWhole(int commitIndex) const
{
    if (commitIndex < 0 || commitIndex >= transactionCount()) {
        return false;
    }
    const WalTransaction &transaction = m_transactions.at(commitIndex);
    const WalFrame &last = m_frames.at(transaction.firstFrame + transaction.frameCount - 1);
    return last.dataOffset + m_header.pageSize <= m_fileSize;
}

void WalFile::clearTransactions()
{
    m_transactions.clear();
    m_pages.clear();
}

void WalFile::clearFrames()
{
    m_frames.clear();
}
