#pragma once

#include <QtGlobal>

#include <vector>

/// Places of the file at which candidates matched, for a table that is searched twice under two
/// column lists: a candidate at a place that the first search matched is the same row once more, or
/// that row read shifted by some columns.
class MatchedAnchors
{
public:
    /// Notes a match of the first search. Returns true when the place is new: always in the first
    /// search; in the second when the first had no match there.
    bool add(qint64 fileOffset)
    {
        if (!m_isSecond) {
            m_places.push_back(fileOffset);
        }
        return !isRepeated(fileOffset);
    }

    /// True in the second search when the first matched at this place.
    bool isRepeated(qint64 fileOffset) { return m_isSecond && isKnown(fileOffset); }

    /// Ends the first search.
    void startSecondSearch();

private:
    bool isKnown(qint64 fileOffset);

    std::vector<qint64> m_places; ///< ascending in the second search
    size_t m_next = 0;            ///< the place behind the last one that was found again
    bool m_isSecond = false;
};
