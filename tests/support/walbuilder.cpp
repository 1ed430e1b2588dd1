#include "tests/support/walbuilder.h"

#include "tests/support/databaseimage.h"
#include "tests/support/testfiles.h"

namespace {

constexpr quint32 FormatVersion = 3007000;
constexpr quint32 WrongChecksum = 0xDEADBEEF;

} // namespace

WalBuilder::WalBuilder(quint32 pageSize, quint32 magic)
    : m_pageSize(pageSize)
{
    put32(magic).put32(FormatVersion).put32(pageSize).put32(7);
    put32(m_salt1).put32(m_salt2).put32(WrongChecksum).put32(WrongChecksum);
}

WalBuilder &WalBuilder::salts(quint32 salt1, quint32 salt2)
{
    m_salt1 = salt1;
    m_salt2 = salt2;
    return *this;
}

WalBuilder &WalBuilder::frame(quint32 pageNo, const QByteArray &page, quint32 commitSize)
{
    put32(pageNo).put32(commitSize).put32(m_salt1).put32(m_salt2);
    put32(WrongChecksum).put32(WrongChecksum);
    m_bytes += page.leftJustified(int(m_pageSize), '\0', true);
    return *this;
}

WalBuilder &WalBuilder::frame(quint32 pageNo, char letter, quint32 commitSize)
{
    return frame(pageNo, QByteArray(int(m_pageSize), letter), commitSize);
}

bool WalBuilder::save(const QString &path, int length) const
{
    return writeFile(path, m_bytes.mid(0, length));
}

WalBuilder &WalBuilder::put32(quint32 value)
{
    m_bytes += bigEndian(value);
    return *this;
}
