#pragma once

#include <QRandomGenerator>
#include <QString>

/// Makes up what stands in samples: numbers, names, addresses. Equal seeds give equal values.
class SampleRandom
{
public:
    explicit SampleRandom(quint32 seed)
        : m_random(seed)
    {
    }

    bool chance(int percent) { return m_random.bounded(100) < percent; }
    /// A number of at least `from` and below `to`.
    int number(int from, int to) { return m_random.bounded(from, to); }
    QString digits(int count);
    QString firstName();
    QString lastName();
    QString city();
    QString telephoneNumber();
    QString mailAddress();
    /// 36 characters in upper case, as devices write it.
    QString guid();
    template<int size> QString pick(const char *const (&words)[size])
    {
        return QString::fromUtf8(words[m_random.bounded(size)]);
    }

private:
    QRandomGenerator m_random;
};
