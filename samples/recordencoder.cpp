#include "samples/recordencoder.h"

#include <QTextCodec>
#include <QtEndian>

#include <cmath>
#include <cstring>

namespace {

struct Value
{
    quint64 serialType = 0;
    QByteArray bytes;
};

QByteArray bigEndian(qint64 value, int size)
{
    QByteArray bytes(8, '\0');
    qToBigEndian(value, bytes.data());
    return bytes.right(size);
}

Value integerValue(qint64 value)
{
    static const int sizes[] = {1, 2, 3, 4, 6, 8};
    if (value == 0 || value == 1) {
        return {quint64(8 + value), QByteArray()};
    }
    int type = 1;
    while (type < 6 && (value >> (8 * sizes[type - 1] - 1)) != (value < 0 ? -1 : 0)) {
        ++type;
    }
    return {quint64(type), bigEndian(value, sizes[type - 1])};
}

/// SQLite keeps a number without fraction as an integer, also in columns of the other affinities.
Value realValue(double value)
{
    if (value == std::floor(value) && std::abs(value) < 9e18) {
        return integerValue(qint64(value));
    }
    qint64 bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return {7, bigEndian(bits, 8)};
}

Value encodeValue(const QVariant &value, const QByteArray &encoding)
{
    if (value.isNull()) {
        return {};
    }
    switch (value.userType()) {
    case QMetaType::QString: {
        const QByteArray bytes = encodeText(value.toString(), encoding);
        return {13 + 2 * quint64(bytes.size()), bytes};
    }
    case QMetaType::QByteArray:
        return {12 + 2 * quint64(value.toByteArray().size()), value.toByteArray()};
    case QMetaType::Double:
        return realValue(value.toDouble());
    default:
        return integerValue(value.toLongLong());
    }
}

} // namespace

QByteArray varint(quint64 value)
{
    QByteArray bytes(1, char(value & 0x7f));
    while (value >>= 7) {
        bytes.prepend(char(0x80 | (value & 0x7f)));
    }
    return bytes;
}

EncodedRow encodeRow(const QVariantList &row, const QByteArray &encoding)
{
    return encodeValues(row.mid(1), encoding);
}

EncodedRow encodeValues(const QVariantList &values, const QByteArray &encoding)
{
    EncodedRow encoded;
    for (const QVariant &field : values) {
        const Value value = encodeValue(field, encoding);
        encoded.serialTypes << value.serialType;
        encoded.types += varint(value.serialType);
        encoded.body += value.bytes;
    }
    return encoded;
}

QByteArray encodeText(const QString &text, const QByteArray &encoding)
{
    if (encoding == "UTF-8") {
        return text.toUtf8();
    }
    const QTextCodec *codec =
        QTextCodec::codecForName(encoding == "UTF-16le" ? "UTF-16LE" : "UTF-16BE");
    QTextCodec::ConverterState noMark(QTextCodec::IgnoreHeader);
    return codec->fromUnicode(text.constData(), text.size(), &noMark);
}
