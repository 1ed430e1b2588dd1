#pragma once

#include "engine/serialtype.h"

#include <QByteArray>
#include <QString>
#include <QVector>

class TableVersion;
struct TableRow;

/// The value of one column of a row. Borrows the bytes of the record.
class ColumnValue
{
public:
    /// NULL.
    ColumnValue() = default;
    ColumnValue(const char *bytes, qint64 serialType, int encoding);
    /// An integer that is not in the record: the row identifier.
    static ColumnValue ofRowid(qint64 rowid);

    bool isNull() const { return m_serialType == 0; }
    SerialClass kind() const { return serialTypeClass(m_serialType); }

    /// As SQLite converts: a real is cut towards zero, a text gives the number that it spells; NULL
    /// and blobs give 0.
    qint64 integer() const;
    /// As SQLite converts: NULL gives an empty text, a number is written out; a blob is decoded as
    /// a text.
    QString text() const;
    /// As text(), of what many records may name.
    QString name() const;
    /// The bytes of a text or blob; empty for all else.
    QByteArray bytes() const;

private:
    const char *m_bytes = nullptr;
    qint64 m_serialType = 0;
    int m_encoding = 1;
    qint64 m_rowid = 0; ///< of an integer without bytes
};

/// Returns the values of a row by column, as many as the table has columns: NULL for those that are
/// younger than the row, the row identifier for the column that stands for it. Borrows the bytes of
/// the row's record. Returns no values when the record cannot be decoded.
QVector<ColumnValue> decodeRow(const TableRow &row, const TableVersion &table);

/// Returns the value of the column at the place `column` alone; NULL when it cannot be decoded.
ColumnValue decodeColumn(const TableRow &row, const TableVersion &table, int column);
