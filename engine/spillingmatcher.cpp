#include "engine/spillingmatcher.h"

#include "engine/spilledpayload.h"

QByteArray SpillingMatcher::readPayload(const QByteArray &region, QIODevice &device,
                                        const DatabaseHeader &header, qint64, int)
{
    m_localEnd = 0;
    const CandidatePayload payload(bodyStart, m_typesLength, serialTypes);
    return spills(payload, header) ? rebuildPayload(region, device, header, payload, &m_localEnd)
                                   : region;
}

bool SpillingMatcher::decodeAround(const QByteArray &region, int anchorPos, int typesBefore,
                                   int typesAfter)
{
    m_typesLength = decodeHeaderAt(region, anchorPos, typesBefore, typesAfter, m_cellPrefix,
                                   CellPrefix, NoExpectedClass);
    return m_typesLength > 0;
}
