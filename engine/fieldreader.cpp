#include "engine/fieldreader.h"

#include "engine/serialtype.h"

#include <QIODevice>
#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace {

constexpr qint64 MaxNumberText = 256;

/// Returns the `size` bytes at the device's position, or no bytes when they are not all there.
QByteArray readWhole(QIODevice &device, qint64 size)
{
    return size > 0 && size <= device.size() - device.pos() ? device.read(size) : QByteArray();
}

QString decodeUtf16(const char *bytes, qint64 size, bool bigEndian)
{
    QString text(int(size / 2), Qt::Uninitialized);
    bool surrogates = false;
    for (int i = 0; i < text.size(); ++i) {
        const char *bytesOfUnit = bytes + 2 * i;
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
    const double real = isInteger ? 0 : text.toDouble();
    // "nan" and "inf" are words here.
    return isInteger || !std::isfinite(real) ? number : truncateToInteger(real);
}

bool isMeaningful(QChar c)
{
    return c.isMark() || c.isLetterOrNumber() || c.isPunct()
           || (c.isSymbol() && c.category() != QChar::Symbol_Other);
}

} // namespace

QString decodeText(const char *bytes, qint64 size, int encoding)
{
    if (encoding == 2 || encoding == 3) {
        return decodeUtf16(bytes, size, encoding == 3);
    }
    // With its size, so that a NUL ends no text; Qt drops a leading byte-order mark.
    const QString text = QString::fromUtf8(bytes, int(size));
    const bool hasMark = size >= 3 && std::memcmp(bytes, "\xEF\xBB\xBF", 3) == 0;
    return hasMark ? QChar(QChar::ByteOrderMark) + text : text;
}

QString decodeText(const QByteArray &bytes, int encoding)
{
    return decodeText(bytes.constData(), bytes.size(), encoding);
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

qint64 decodeIntegerField(const char *bytes, qint64 left, qint64 st, int encoding, bool parseText)
{
    const SerialClass kind = serialTypeClass(st);
    const qint64 size = std::min(serialTypeSize(st), MaxNumberText);
    if (kind == OneClass) {
        return 1;
    }
    if (size <= 0 || size > left) {
        return 0;
    }
    if (kind == TextClass && parseText) {
        return numberFromText(decodeText(bytes, size, encoding));
    }
    if (kind == RealClass) {
        return truncateToInteger(qFromBigEndian<double>(bytes));
    }
    return kind == IntegerClass ? decodeInteger(bytes, int(size)) : 0;
}

QString decodeTextField(const char *bytes, qint64 left, qint64 st, int encoding)
{
    const qint64 size = serialTypeSize(st);
    return size > 0 && size <= left ? decodeText(bytes, size, encoding) : QString();
}

qint64 readIntegerField(QIODevice &device, qint64 st, int encoding, bool parseText)
{
    const QByteArray bytes = readWhole(device, std::min(serialTypeSize(st), MaxNumberText));
    return decodeIntegerField(bytes.constData(), bytes.size(), st, encoding, parseText);
}

QString readTextField(QIODevice &device, qint64 st, int encoding)
{
    const QByteArray bytes = readWhole(device, serialTypeSize(st));
    return decodeTextField(bytes.constData(), bytes.size(), st, encoding);
}

QString cutName(const QString &text)
{
    if (text.size() <= MostNameLength) {
        return text;
    }
    const bool isInCharacter = text.at(MostNameLength - 1).isHighSurrogate();
    return text.left(MostNameLength - int(isInCharacter));
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

int firstUnwritableCharacter(const QString &text)
{
    const auto found = std::find_if(text.cbegin(), text.cend(), [](QChar c) {
        const bool isPlain = c >= QLatin1Char(' ') && c <= QLatin1Char('~'); // nearly all are
        return !isPlain
               && (c == QChar::ReplacementCharacter
                   || (c.category() == QChar::Other_Control && !c.isSpace()));
    });
    return found == text.cend() ? -1 : int(found - text.cbegin());
}
