#include "recoverers/communication/rownumbering.h"

#include <algorithm>
#include <limits>

namespace {

constexpr qint64 NoNumber = -1;

} // namespace

RowNumbering::RowNumbering(const QVector<qint64> &liveIds)
    : m_liveIds(liveIds)
{
}

void RowNumbering::restart()
{
    settle(0);
    m_lastLive = 0;
}

void RowNumbering::addCarved(CarvedRowid *row)
{
    m_pending.append(row);
}

void RowNumbering::addLive(qint64 rowid)
{
    if (rowid <= 0) {
        m_pending.append(nullptr);
        return;
    }
    settle(rowid);
    m_lastLive = rowid;
}

/// Numbers the pending rows upwards from the live row `behind` them (0: there is none), and forgets
/// them.
void RowNumbering::settle(qint64 behind)
{
    const QVector<qint64> bounds = upperBounds(behind);
    qint64 number = behind != 0 ? behind : forcedStart();
    for (int i = m_pending.size() - 1; i >= 0; --i) {
        CarvedRowid *row = m_pending[i];
        if (row && row->isIntact) {
            number = std::max(number, row->value); // a lower one lies in space that was used again
            continue;
        }
        number += number != NoNumber;
        if (row) {
            row->value = number != NoNumber && number < bounds[i] ? number : 0;
        }
    }
    m_pending.clear();
}

/// For every pending row the identifier that its own must stay below: that of the nearest row in
/// front of it of which it is known.
QVector<qint64> RowNumbering::upperBounds(qint64 behind) const
{
    qint64 bound = m_lastLive > behind ? m_lastLive : std::numeric_limits<qint64>::max();
    QVector<qint64> bounds;
    bounds.reserve(m_pending.size());
    for (const CarvedRowid *row : m_pending) {
        bounds.append(bound);
        if (row && row->isIntact && row->value > behind) {
            bound = std::min(bound, row->value);
        }
    }
    return bounds;
}

/// The number below that of the last pending row, for rows behind the last live one: known only if
/// the live rows leave exactly as many identifiers free below the nearest known one as there are
/// rows. Any other number would be a guess.
qint64 RowNumbering::forcedStart() const
{
    const auto known = std::find_if(m_pending.crbegin(), m_pending.crend(),
                                    [](const CarvedRowid *row) { return row && row->isIntact; });
    const qint64 top = known != m_pending.crend() ? (*known)->value : m_lastLive;
    const auto live = std::lower_bound(m_liveIds.cbegin(), m_liveIds.cend(), top);
    const qint64 below = live == m_liveIds.cbegin() ? 0 : std::max<qint64>(*(live - 1), 0);
    return top - below - 1 == known - m_pending.crbegin() ? below : NoNumber;
}
