#pragma once

#include <QIODevice>

/// Reads bytes in memory that somebody else owns, as a device. Unlike QBuffer it is pointed at
/// other bytes without being closed and without an allocation, which the search does for every
/// region.
class RegionDevice : public QIODevice
{
public:
    RegionDevice();

    /// Reads from now on what `bytes` hold from `start` on; they must outlive the reads. The
    /// position is then at the beginning, to which only a position that was moved costs a seek.
    void setBytes(const QByteArray &bytes, int start)
    {
        m_data = bytes.constData() + start;
        m_size = bytes.size() - start;
        if (pos() != 0) {
            seek(0);
        }
    }

    /// The bytes that it reads from.
    const uchar *begin() const { return reinterpret_cast<const uchar *>(m_data); }
    const uchar *end() const { return begin() + m_size; }

    qint64 size() const override { return m_size; }

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *data, qint64 maxSize) override;

private:
    const char *m_data = nullptr;
    qint64 m_size = 0;
};
