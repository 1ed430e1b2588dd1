#include "recoverers/communication/matchedanchors.h"

#include <algorithm>

bool MatchedAnchors::add(qint64 fileOffset)
{
    if (m_isSecond) {
        return !std::binary_search(m_places.cbegin(), m_places.cend(), fileOffset);
    }
    m_places.push_back(fileOffset);
    return true;
}

void MatchedAnchors::startSecondSearch()
{
    std::sort(m_places.begin(), m_places.end());
    m_isSecond = true;
}
