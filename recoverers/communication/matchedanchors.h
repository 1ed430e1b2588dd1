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
    bool add(qint64 fileOffset);

    /// Ends the first search.
    void startSecondSearch();

private:
    std::vector<qint64> m_places; ///< ascending in the second search
    bool m_isSecond = false;
};
