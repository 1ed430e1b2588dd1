#include "wal/columnvalue.h"

#include "engine/fieldreader.h"
#include "engine/tableschema.h"
#include "engine/varint.h"
#include "wal/tableversion.h"

#include <QtEndian>

namespace {

constexpr qint64 EightByteInteger = 6;
constexpr int RealDigits = 15; // as SQLite writes reals out

/// A column whose values stand in place of the row identifier, and in records as NULL.
bool isRowidAlias(const ColumnDef &column)
{
    // The first test spares most columns the second, which costs an allocation.
    return column.definition.contains(QLatin1String("primary"))
           && column.definition.simplified().startsWith(column.name
                                                     + QLatin1String(" integer primary key"));
}

QString realText(double value)
{
    const QString text = QString::number(value, 'g', RealDigits);
    const bool looksIntegral = !text.contains(QLatin1Char('.')) && !text.contains(QLatin1Char('e'));
    return looksIntegral ? text + QLatin1String(".0") : text;
}

} // namespace

ColumnValue::ColumnValue(const char *bytes, qint64 serialType, int encoding)
    : m_bytes(bytes)
    , m_serialType(serialType)
    , m_encoding(encoding)
{
}

ColumnValue ColumnValue::ofRowid(qint64 rowid)
{
    ColumnValue value;
    value.m_serialType = EightByteInteger;
    value.m_rowid = rowid;
    value.m_isRowid = true;
    return value;
}

qint64 ColumnValue::integer() const
{
    constexpr bool parseText = true;
    return m_isRowid ? m_rowid
                     : decodeIntegerField(m_bytes, serialTypeSize(m_serialType), m_serialType,
                                          m_encoding, parseText);
}

QString ColumnValue::text() const
{
    switch (kind()) {
    case TextClass:
    case BlobClass:
        return decodeText(m_bytes, serialTypeSize(m_serialType), m_encoding);
    case RealClass:
        return realText(qFromBigEndian<double>(m_bytes));
    case NullClass:
    case InvalidClass:
        return QString();
    default:
        return QString::number(integer());
    }
}

QByteArray ColumnValue::bytes() const
{
    const bool hasBytes = kind() == TextClass || kind() == BlobClass;
    return hasBytes ? QByteArray(m_bytes, int(serialTypeSize(m_serialType))) : QByteArray();
}

QVector<ColumnValue> decodeRow(const TableRow &row, const TableSchema &schema, int encoding)
{
    const auto *begin = reinterpret_cast<const uchar *>(row.record.constData());
    const uchar *end = begin + row.record.size();
    qint64 headerSize = 0;
    const int sizeLength = decodeVarint(begin, end, headerSize);
    if (sizeLength == 0 || headerSize < sizeLength || headerSize > end - begin) {
        return {};
    }
    QVector<ColumnValue> values;
    values.reserve(schema.columns.size());
    const uchar *header = begin + sizeLength;
    const uchar *body = begin + headerSize;
    const uchar *headerEnd = body;
    for (const ColumnDef &column : schema.columns) {
        qint64 type = 0;
        const int length = decodeVarint(header, headerEnd, type);
        const qint64 size = serialTypeSize(type);
        if ((length == 0 && header != headerEnd) || size < 0 || size > end - body) {
            return {};
        }
        values.append(length > 0 && type == 0 && isRowidAlias(column)
                          ? ColumnValue::ofRowid(row.rowid)
                          : ColumnValue(reinterpret_cast<const char *>(body), type, encoding));
        header += length;
        body += size;
    }
    return values;
}
