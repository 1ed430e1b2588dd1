#include "engine/fieldreader.h"

#include "engine/serialtype.h"

#include <QIODevice>
#include <QtEndian>

#include <algorithm>
#include <limits>

namespace {

constexpr qint64 MaxNumberText = 256;

/// Returns the `size` bytes at the device's position, or no bytes when they are not all there.
QByteArray readWhole(QIODevice &device, qint64 size)
{
    if (size <= 0 || size > device.size() - device.pos()) {
        return {};
    }
    const QByteArray bytes = device.read(size);
    return bytes.size() == size ? bytes : QByteArray();
}

QString decodeUtf16(const QByteArray &bytes, bool bigEndian)
{
    QString text(bytes.size() / 2, Qt::Uninitialized);
    bool surrogates = false;
    for (int i = 0; i < text.size(); ++i) {
        const char *bytesOfUnit = bytes.constData() + 2 * i;
        const QChar unit(bigEndian ? qFromBigEndian<quint16>(bytesOfUnit)
                                   : qFromLittleEndian<quint16>(bytesOfUnit));
        text[i] = unit;
        surrogates = surrogates || unit.isSurrogate();
    }
    if (!surrogates) {
        return text;
    }
    // Lone surrogates become U+FFFD on the way through UCS-4.
    const QVector<uint> codePoints = text.toUcs4();
    return QString::fromUcs4(codePoints.constData(), codePoints.size());
}

qint64 numberFromText(const QString &text)
{
    bool isInteger = false;
    const qint64 number = text.trimmed().toLongLong(&isInteger);
    return isInteger ? number : truncateToInteger(text.toDouble());
}

bool isMeaningful(QChar c)
{
    return c.isMark() || c.isLetterOrNumber() || c.isPunct()
           || (c.isSymbol() && c.category() != QChar::Symbol_Other);
}

} // namespace

QString decodeText(const QByteArray &bytes, int encoding)
{
    if (encoding == 2 || encoding == 3) {
        return decodeUtf16(bytes, encoding == 3);
    }
    return QString::fromUtf8(bytes.constData(), bytes.size()); // an embedded NUL ends no text
}

qint64 decodeInteger(const char *bytes, int size)
{
    quint64 bits = static_cast<signed char>(bytes[0]) < 0 ? ~quint64(0) : 0;
    for (int i = 0; i < size; ++i) {
        bits = bits << 8 | uchar(bytes[i]);
    }
    return qint64(bits);
}

qint64 truncateToInteger(double value)
{
    constexpr double Limit = 9223372036854775808.0; // 2^63
    if (!(value >= -Limit && value < Limit)) {
        return std::numeric_limits<qint64>::min();
    }
    return qint64(value);
}

qint64 readIntegerField(QIODevice &device, qint64 st, int encoding, bool parseText)
{
    const SerialClass kind = serialTypeClass(st);
    if (kind == OneClass) {
        return 1;
    }
    if (kind == TextClass && parseText) {
        const qint64 size = std::min(serialTypeSize(st), MaxNumberText);
        return numberFromText(decodeText(readWhole(device, size), encoding));
    }
    if (kind != IntegerClass && kind != RealClass) {
        return 0;
    }
    char bytes[8];
    const qint64 size = serialTypeSize(st);
    if (device.read(bytes, size) != size) {
        return 0;
    }
    return kind == IntegerClass ? decodeInteger(bytes, int(size))
                                : truncateToInteger(qFromBigEndian<double>(bytes));
}

QString readTextField(QIODevice &device, qint64 st, int encoding)
{
    return decodeText(readWhole(device, serialTypeSize(st)), encoding);
}

bool isPlausibleText(const QString &text)
{
    int printable = 0;
    int meaningful = 0;
    for (const QChar c : text) {
        printable += !c.isSpace();
        meaningful += !c.isSpace() && isMeaningful(c);
    }
    return printable > 0 && double(meaningful) / printable > 0.6;
}
