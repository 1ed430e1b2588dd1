#pragma once

#include <QByteArray>
#include <QString>

/// The bytes of a write-ahead log, composed by hand: for logs that SQLite would never write.
class WalBuilder
{
public:
    static constexpr quint32 LittleEndianMagic = 0x377F0682;
    static constexpr quint32 BigEndianMagic = 0x377F0683;

    /// Starts with a header. The checksums, here as in frames, are wrong.
    explicit WalBuilder(quint32 pageSize = 512, quint32 magic = LittleEndianMagic);

    /// The salts of the frames that follow; those of the header stay.
    WalBuilder &salts(quint32 salt1, quint32 salt2);
    /// A page; with a size of the database in pages it ends a transaction.
    WalBuilder &frame(quint32 pageNo, const QByteArray &page, quint32 commitSize = 0);
    /// A page filled with one letter.
    WalBuilder &frame(quint32 pageNo, char letter, quint32 commitSize = 0);

    const QByteArray &bytes() const { return m_bytes; }
    /// Writes the first `length` bytes to `path`, all of them when it is negative.
    bool save(const QString &path, int length = -1) const;

private:
    WalBuilder &put32(quint32 value);

    QByteArray m_bytes;
    quint32 m_pageSize;
    quint32 m_salt1 = 0x11111111;
    quint32 m_salt2 = 0x22222222;
};
