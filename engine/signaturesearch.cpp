#include "engine/signaturesearch.h"

#include <algorithm>
#include <cstring>

namespace {

/// From so many on, looking at every byte once takes less time than looking for each of them.
constexpr int ManyBytes = 3;

} // namespace

RegionSignatures::RegionSignatures(const QList<QByteArrayMatcher> &signatures,
                                   const QByteArray &region)
    : m_region(region)
{
    for (const QByteArrayMatcher &matcher : signatures) {
        const QByteArray pattern = matcher.pattern();
        if (!pattern.isEmpty()) {
            m_patterns.append({pattern, -1});
        }
    }
    m_areBytes = m_patterns.size() >= ManyBytes
                 && std::all_of(m_patterns.cbegin(), m_patterns.cend(),
                                [](const Pattern &pattern) { return pattern.bytes.size() == 1; });
    if (m_areBytes) {
        for (const Pattern &pattern : qAsConst(m_patterns)) {
            m_isPattern[uchar(pattern.bytes[0])] = true;
        }
    }
}

int RegionSignatures::next(int pos)
{
    if (m_areBytes) {
        return nextOfBytes(pos);
    }
    int lowest = -1;
    for (int i = 0; i < m_patterns.size();) {
        Pattern &pattern = m_patterns[i];
        if (pattern.index < pos) {
            pattern.index = search(pattern, pos);
        }
        if (pattern.index < 0) {
            pattern = m_patterns.last();
            m_patterns.removeLast();
            continue;
        }
        lowest = lowest < 0 ? pattern.index : std::min(lowest, pattern.index);
        ++i;
    }
    return lowest;
}

int RegionSignatures::nextOfBytes(int pos) const
{
    const auto *bytes = reinterpret_cast<const uchar *>(m_region.constData());
    const int size = m_region.size();
    while (pos < size && !m_isPattern[bytes[pos]]) {
        ++pos;
    }
    return pos < size ? pos : -1;
}

int RegionSignatures::search(const Pattern &pattern, int pos) const
{
    if (pos >= m_region.size()) {
        return -1;
    }
    // The C library finds a single byte many times faster than a run of bytes, and patterns begin
    // with bytes that are rare.
    const QByteArray &bytes = pattern.bytes;
    const char *begin = m_region.constData();
    const char *end = begin + m_region.size() - bytes.size() + 1;
    for (const char *at = begin + pos; at < end; ++at) {
        at = static_cast<const char *>(std::memchr(at, bytes[0], size_t(end - at)));
        if (!at) {
            return -1;
        }
        if (std::equal(bytes.cbegin() + 1, bytes.cend(), at + 1)) {
            return int(at - begin);
        }
    }
    return -1;
}

int findNextSignature(RegionSignatures &patterns, int &pos)
{
    const int index = patterns.next(pos);
    if (index >= 0) {
        pos = index + 1;
    }
    return index;
}
