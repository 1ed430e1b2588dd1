#pragma once

#include <QIODevice>

/// Reads bytes in memory that somebody else owns, as a device. Unlike QBuffer it is pointed at
/// other bytes without being closed and without an allocation, which the search does for every
/// region.
class RegionDevice : public QIODevice
{
public:
    RegionDevice();

    /// Reads from `bytes` from now on; they must outlive the reads. Does not move the position.
    void setBytes(const QByteArray &bytes)
    {
        m_data = bytes.constData();
        m_size = bytes.size();
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
