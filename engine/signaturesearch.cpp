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
            m_patterns.append({&matcher, pattern.size() == 1 ? uchar(pattern[0]) : -1, -1});
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
    if (pattern.single < 0) {
        return pattern.matcher->indexIn(m_region, pos);
    }
    const char *data = m_region.constData();
    const void *hit = std::memchr(data + pos, pattern.single, size_t(m_region.size() - pos));
    return hit ? int(static_cast<const char *>(hit) - data) : -1;
}

int findNextSignature(RegionSignatures &patterns, int &pos)
{
    const int index = patterns.next(pos);
    if (index >= 0) {
        pos = index + 1;
    }
    return index;
}
