#include "engine/signaturesearch.h"

#include <algorithm>
#include <cstring>

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
}

int RegionSignatures::next(int pos)
{
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
