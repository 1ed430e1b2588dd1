#include "benchmarks/benchmatchers.h"

#include "engine/serialtype.h"
#include "engine/varint.h"

BenchMessageMatcher::BenchMessageMatcher(SqliteDbFile *recoverer)
{
    owner = recoverer;
    signatures = {QByteArrayMatcher("\x55", 1)}; // a text of 36 bytes
}

bool BenchMessageMatcher::bindColumns(const TableSchema &table)
{
    m_guid = table.columnIndex(QLatin1String("guid"));
    m_text = table.columnIndex(QLatin1String("text"));
    m_handle = table.columnIndex(QLatin1String("handle_id"));
    m_service = table.columnIndex(QLatin1String("service"));
    return m_guid >= 1 && m_text >= 1 && m_handle >= 1 && m_service >= 1;
}

bool BenchMessageMatcher::matchHeader(const TableSchema &table, const QByteArray &region,
                                      int anchorPos)
{
    // The text follows the guid. Looking at its type first spares the decoding of a whole header
    // behind most letters "U" of texts.
    const auto *bytes = reinterpret_cast<const uchar *>(region.constData());
    qint64 textType = 0;
    if (decodeVarint(bytes + anchorPos + 1, bytes + region.size(), textType) == 0
        || !isTextSerialType(textType, false)) {
        return false;
    }
    const int columnCount = table.columns.size();
    decodeHeaderAt(region, anchorPos, m_guid - 1, columnCount - m_guid, m_cellPrefix, CellPrefix,
                   NoExpectedClass);
    return serialTypes.size() == columnCount - 1 && isTextSerialType(columnType(m_text), false)
           && isIntegerSerialType(columnType(m_handle), false)
           && isTextSerialType(columnType(m_service), false);
}

void BenchMessageMatcher::extractRecord(const TableSchema &, const QByteArray &payload,
                                        bool isDeleted, int limit)
{
    if (!isDeleted) {
        ++liveMatches;
        return;
    }
    ++deletedMatches;
    RecordFields fields(payload, bodyStart, serialTypes, limit, owner->headerInfo().textEncoding);
    while (fields.next()) {
        if (fields.index() + 1 == m_text) {
            textLength += fields.text().size();
        }
    }
}
