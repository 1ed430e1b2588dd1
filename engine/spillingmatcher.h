#pragma once

#include "engine/recordmatcher.h"

/// Base of matchers whose rows may be longer than a cell holds: rebuilds the payload of a deleted
/// row across its overflow pages. Without that, the fields behind the local part would be read from
/// whatever lies behind the cell.
class SpillingMatcher : public RecordMatcher
{
public:
    QByteArray readPayload(const QByteArray &region, QIODevice &device,
                           const DatabaseHeader &header, qint64 recordStart,
                           int headerLength) override;

protected:
    /// As decodeHeaderAt() with the cell prefix of most tables, `typesBefore` types in front of the
    /// anchor and `typesAfter` from it on. Returns false when nothing could be decoded.
    bool decodeAround(const QByteArray &region, int anchorPos, int typesBefore, int typesAfter);

    /// The limit as it applies to the payload that readPayload() returned: overflow bytes lie
    /// behind the local part, where no live cell can be.
    int payloadLimit(int limit) const { return m_localEnd != 0 && limit >= m_localEnd ? 0 : limit; }

    /// True when the payload that readPayload() returned goes on in overflow pages: of these, some
    /// may be lost.
    bool isRebuilt() const { return m_localEnd != 0; }

    QVector<qint64> m_cellPrefix; ///< kept, so that a candidate needs no list of its own
    int m_typesLength = 0;        ///< bytes of the candidate's serial types

private:
    qint64 m_localEnd = 0;
};
