#pragma once

#include <QByteArrayMatcher>
#include <QList>
#include <QVarLengthArray>

/// The signature patterns of one matcher in one region. Each pattern remembers where it occurs
/// next, so that a region is searched once per pattern however many hits the other patterns have,
/// and a pattern that no longer occurs is dropped for the rest of the region. More than a few
/// patterns of one byte each are looked for all at once.
class RegionSignatures
{
public:
    /// Both arguments must outlive the object.
    RegionSignatures(const QList<QByteArrayMatcher> &signatures, const QByteArray &region);

    /// Returns the lowest index from `pos` on at which any remaining pattern occurs; -1 when none
    /// does. `pos` must not decrease from call to call.
    int next(int pos);

private:
    struct Pattern
    {
        QByteArray bytes;
        int index; ///< where it occurs next; -1 when not yet searched
    };

    int search(const Pattern &pattern, int pos) const;
    int nextOfBytes(int pos) const;

    const QByteArray &m_region;
    QVarLengthArray<Pattern, 16> m_patterns;
    bool m_areBytes = false;    ///< all patterns are of one byte, and many
    bool m_isPattern[256] = {}; ///< then: by byte
};

/// Returns what patterns.next(pos) returns; on success `pos` becomes that index plus one.
int findNextSignature(RegionSignatures &patterns, int &pos);
