#include "recoverers/matchedanchors.h"

#include <algorithm>

bool MatchedAnchors::isKnown(qint64 fileOffset)
{
    // Both searches go through a region alike, so mostly it is the next one.
    if (m_next >= m_places.size() || m_places[m_next] != fileOffset) {
        const auto place = std::lower_bound(m_places.cbegin(), m_places.cend(), fileOffset);
        if (place == m_places.cend() || *place != fileOffset) {
            return false;
        }
        m_next = size_t(place - m_places.cbegin());
    }
    ++m_next;
    return true;
}

void MatchedAnchors::startSecondSearch()
{
    std::sort(m_places.begin(), m_places.end());
    m_isSecond = true;
}
