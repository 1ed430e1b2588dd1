#pragma once

#include <QtGlobal>

/// What may still be spent on one file. Parts of a damaged or hostile file can refer to the same
/// bytes any number of times; sound files need a few times their own size.
class WorkBudget
{
public:
    explicit WorkBudget(qint64 bytes = 0)
        : m_left(bytes)
    {
    }

    /// Spends bytes. Returns false, and spends none, when not so many are left.
    bool spend(qint64 bytes)
    {
        if (bytes > m_left) {
            return false;
        }
        m_left -= bytes;
        return true;
    }

private:
    qint64 m_left;
};
