#include "wal/columnvalue.h"

#include "engine/fieldreader.h"
#include "engine/varint.h"
#include "wal/tableversion.h"

#include <QtEndian>

namespace {

constexpr qint64 EightByteInteger = 6;
constexpr int RealDigits = 15; // as SQLite writes reals out

/// Takes the fields of a record one after the other.
class RecordWalk
{
public:
    RecordWalk(const TableRow &row, int encoding)
        : m_header(reinterpret_cast<const uchar *>(row.record.constData()))
        , m_end(m_header + row.record.size())
        , m_encoding(encoding)
    {
        qint64 headerSize = 0;
        const int length = decodeVarint(m_header, m_end, headerSize);
        m_isSound = length > 0 && headerSize >= length && headerSize <= m_end - m_header;
        m_body = m_isSound ? m_header + headerSize : m_end;
        m_headerEnd = m_body;
        m_header += m_isSound ? length : 0;
    }

    /// Goes on to the next field. Behind the last one, all are NULL. Returns false at one that is
    /// not sound.
    bool next()
    {
        m_body += m_isSound ? serialTypeSize(m_type) : 0;
        m_type = 0;
        m_isThere = m_header < m_headerEnd;
        const int length = m_isThere ? decodeVarint(m_header, m_headerEnd, m_type) : 0;
        const qint64 size = serialTypeSize(m_type);
        m_isSound = m_isSound && (length > 0 || !m_isThere) && size >= 0 && size <= m_end - m_body;
        m_header += length;
        return m_isSound;
    }

    bool isNullThere() const { return m_isThere && m_type == 0; }
    ColumnValue value() const
    {
        return ColumnValue(reinterpret_cast<const char *>(m_body), m_type, m_encoding);
    }

private:
    const uchar *m_header;
    const uchar *m_end;
    const uchar *m_headerEnd;
    const uchar *m_body;
    int m_encoding;
    qint64 m_type = 0;
    bool m_isThere = false;
    bool m_isSound = false;
};

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
    return value;
}

qint64 ColumnValue::integer() const
{
    constexpr bool parseText = true;
    const bool isRowid = m_serialType == EightByteInteger && m_bytes == nullptr;
    return isRowid ? m_rowid
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

QString ColumnValue::name() const
{
    return cutName(text());
}

QByteArray ColumnValue::bytes() const
{
    const bool hasBytes = kind() == TextClass || kind() == BlobClass;
    return hasBytes ? QByteArray(m_bytes, int(serialTypeSize(m_serialType))) : QByteArray();
}

QVector<ColumnValue> decodeRow(const TableRow &row, const TableVersion &table)
{
    const int columns = table.schema().columns.size();
    QVector<ColumnValue> values;
    values.reserve(columns);
    RecordWalk walk(row, table.textEncoding());
    for (int i = 0; i < columns; ++i) {
        if (!walk.next()) {
            return {};
        }
        const bool isRowid = walk.isNullThere() && i == table.rowidColumn();
        values.append(isRowid ? ColumnValue::ofRowid(row.rowid) : walk.value());
    }
    return values;
}

ColumnValue decodeColumn(const TableRow &row, const TableVersion &table, int column)
{
    RecordWalk walk(row, table.textEncoding());
    for (int i = 0; i <= column; ++i) {
        if (!walk.next()) {
            return ColumnValue();
        }
    }
    const bool isRowid = walk.isNullThere() && column == table.rowidColumn();
    return isRowid ? ColumnValue::ofRowid(row.rowid) : walk.value();
}
