#include "recoverers/rownumbering.h"

#include <algorithm>

namespace {

/// The most bytes between the body of a row and the serial types of the next one when their cells
/// lie side by side: payload size, rowid, header size, NULL, and up to 3 bytes of fragments.
constexpr qint64 MaxDistance = 16;

constexpr int NoEntry = -1;

} // namespace

RowNumbering::RowNumbering(const QVector<qint64> &liveIds)
    : m_liveIds(liveIds)
{
}

void RowNumbering::restart()
{
    settle();
    m_entries.clear();
}

void RowNumbering::addCarved(CarvedRowid *row, const Place &place)
{
    m_entries.append({row, place, row && row->isIntact ? row->value : 0});
}

void RowNumbering::addLive(qint64 rowid, const Place &place)
{
    m_entries.append({nullptr, place, std::max<qint64>(rowid, 0)});
    if (rowid > 0) {
        settle();
        m_entries.erase(m_entries.begin(), m_entries.end() - 1);
    }
}

/// Numbers the rows between every two rows whose identifiers are known. Known identifiers descend
/// towards the end of a page; one that does not lies in space that was used again and says nothing.
void RowNumbering::settle()
{
    int behind = NoEntry;
    for (int i = m_entries.size() - 1; i >= 0; --i) {
        const qint64 known = m_entries[i].known;
        if (known == 0 || (behind != NoEntry && known <= m_entries[behind].known)) {
            continue;
        }
        if (behind == NoEntry) {
            numberTail(i);
        } else {
            numberRun(i, behind);
        }
        behind = i;
    }
    if (behind != NoEntry) {
        numberRun(NoEntry, behind);
    } else {
        numberTail(NoEntry);
    }
}

/// Numbers the rows between two known ones, of which that in front may be missing.
void RowNumbering::numberRun(int front, int behind)
{
    const qint64 lowest = m_entries[behind].known;
    const qint64 highest = front != NoEntry ? m_entries[front].known : 0;
    const int count = behind - front - 1;
    const bool fits = front != NoEntry && highest - lowest - 1 == count;
    bool isChained = true;
    for (int i = behind - 1; i > front; --i) {
        isChained = isChained && areSideBySide(i, i + 1);
        const qint64 number = lowest + (behind - i);
        CarvedRowid *row = m_entries[i].row;
        if (row && !row->isIntact) {
            row->value = front == NoEntry || number < highest ? number : 0;
            row->isSure = row->value != 0 && (fits || (isChained && front == NoEntry));
        }
    }
    // With more rows than free numbers some row is not what it seems, and any can be that one.
    if (fits || front == NoEntry || count > highest - lowest - 1) {
        return;
    }
    // Some row is missing. Up to the place where it is missing the numbers are sure from either
    // side; without a gap in between it can be anywhere.
    QVector<int> gaps;
    for (int i = front; i < behind; ++i) {
        if (!areSideBySide(i, i + 1)) {
            gaps.append(i);
        }
    }
    if (gaps.isEmpty()) {
        return;
    }
    for (int i = front + 1; i <= gaps.first(); ++i) {
        CarvedRowid *row = m_entries[i].row;
        if (row && !row->isIntact && highest - (i - front) > lowest) {
            row->value = highest - (i - front);
            row->isSure = true;
        }
    }
    for (int i = gaps.last() + 1; i < behind; ++i) {
        CarvedRowid *row = m_entries[i].row;
        if (row && !row->isIntact) {
            row->isSure = row->value != 0;
        }
    }
}

/// Numbers the rows behind the last known one, downwards from it: they may be its neighbours, or
/// exactly as many as the live rows leave identifiers free. Without either a number would be a
/// guess, and there is nothing to guess from without a known row.
void RowNumbering::numberTail(int front)
{
    const qint64 highest = front != NoEntry ? m_entries[front].known : 0;
    const qint64 below = highestLiveBelow(highest);
    const bool fits = front != NoEntry && highest - below - 1 == m_entries.size() - front - 1;
    bool isChained = front != NoEntry;
    for (int i = front + 1; i < m_entries.size(); ++i) {
        isChained = isChained && areSideBySide(i - 1, i);
        const qint64 number = highest - (i - front);
        CarvedRowid *row = m_entries[i].row;
        if (row && !row->isIntact) {
            row->isSure = number > below && (fits || isChained);
            row->value = row->isSure ? number : 0;
        }
    }
}

bool RowNumbering::areSideBySide(int front, int behind) const
{
    if (front < 0) {
        return false;
    }
    const qint64 distance = m_entries[behind].place.begin - m_entries[front].place.end;
    return distance >= 0 && distance <= MaxDistance;
}

qint64 RowNumbering::highestLiveBelow(qint64 rowid) const
{
    const auto live = std::lower_bound(m_liveIds.cbegin(), m_liveIds.cend(), rowid);
    return live == m_liveIds.cbegin() ? 0 : std::max<qint64>(*(live - 1), 0);
}
