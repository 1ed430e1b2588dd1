#pragma once

#include <QByteArray>
#include <QVariant>
#include <QVector>

/// A row as SQLite stores it, without the row identifier's column, which is the first:
///
///     ... | header size | 0 | types | body |
struct EncodedRow
{
    QVector<quint64> serialTypes;
    QByteArray types; ///< the serial types as bytes
    QByteArray body;  ///< the values, one after the other
};

/// Encodes the values of a row whose columns have the affinities of the call tables. `encoding` is
/// the one of SampleOptions.
EncodedRow encodeRow(const QVariantList &row, const QByteArray &encoding);

/// Encodes all values, the first one included, with the same rules.
EncodedRow encodeValues(const QVariantList &values, const QByteArray &encoding);

/// Returns the varint that stands for `value`, 7 bits a byte.
QByteArray varint(quint64 value);

/// Encodes a text as a database of that encoding stores it.
QByteArray encodeText(const QString &text, const QByteArray &encoding);
