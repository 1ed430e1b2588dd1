#include "recoverers/communication/numberedmatcher.h"

#include "engine/spilledpayload.h"
#include "engine/varint.h"

void NumberedMatcher::trackRowid(const TableSchema &, bool restart, bool isDeleted)
{
    if (restart) {
        m_numbering.restart();
    }
    if (!isDeleted) {
        m_numbering.addLive(m_rowid.value);
    }
}

void NumberedMatcher::keepRowid(const QByteArray &region, int anchorPos)
{
    // The stored header size counts itself and the NULL of the rowid alias as well.
    const bool isPrefix = m_cellPrefix.size() == CellPrefix && m_cellPrefix[0] != 0
                          && m_cellPrefix[1] == m_typesLength + 2 && m_cellPrefix[2] == 0;
    m_rowid.value = isPrefix ? m_cellPrefix[0] : 0;
    m_rowid.isIntact = m_rowid.value > 0 && hasPayloadSize(region, anchorPos - headerStart);
}

/// True when the payload size stands in front of the record. A freeblock header overwrites it
/// before anything else, and with it the first bytes of a long identifier, of which the rest would
/// pass for a shorter one.
bool NumberedMatcher::hasPayloadSize(const QByteArray &region, int recordStart) const
{
    const auto *begin = reinterpret_cast<const uchar *>(region.constData());
    const CandidatePayload payload(bodyStart, m_typesLength, serialTypes);
    return recordStart > 0 && endsInVarint(begin, begin + recordStart, payload.size);
}
