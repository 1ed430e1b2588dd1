#pragma once

#include <QString>
#include <QVector>
#include <QtGlobal>

class QIODevice;

/// Decodes text as `encoding` says (1 UTF-8, 2 UTF-16 little-endian, 3 UTF-16 big-endian, anything
/// else UTF-8). The bytes are decoded whole: an embedded NUL is kept, what cannot be decoded
/// becomes U+FFFD, and the odd last byte of UTF-16 is dropped.
QString decodeText(const char *bytes, qint64 size, int encoding);
QString decodeText(const QByteArray &bytes, int encoding);

/// Decodes the big-endian integer of 1 to 8 bytes at `bytes`, its first byte sign-extended.
qint64 decodeInteger(const char *bytes, int size);

/// Returns the double cut towards zero; the smallest integer for NaN and for values out of range.
qint64 truncateToInteger(double value);

/// Decodes the value of serial type `st` that begins at `bytes`, of which `left` can be read, as an
/// integer. A real is cut towards zero. A text gives the number that it spells when `parseText` is
/// set (at most its first 256 bytes are read). NULL, blobs, all other texts and values whose bytes
/// are not all there give 0.
qint64 decodeIntegerField(const char *bytes, qint64 left, qint64 st, int encoding,
                          bool parseText = false);

/// Decodes the bytes of the value of serial type `st` that begins at `bytes` as text. Returns an
/// empty text when they are not all among the `left` bytes: a cut value must not pass for a whole
/// one.
QString decodeTextField(const char *bytes, qint64 left, qint64 st, int encoding);

/// As decodeIntegerField(), of the value at the device's position.
qint64 readIntegerField(QIODevice &device, qint64 st, int encoding, bool parseText = false);

/// As decodeTextField(), of the value at the device's position.
QString readTextField(QIODevice &device, qint64 st, int encoding);

/// Far longer than any name on a device.
constexpr int MostNameLength = 1024;

/// Returns the beginning of a text that names something in many records, such as a label: the few
/// bytes of a hostile file that refer to a longer one would make any number of characters of it.
QString cutName(const QString &text);

/// True when more than 0.6 of the characters that are not white space are marks, letters, digits,
/// punctuation or symbols of a kind other than Symbol_Other. Counts UTF-16 units. False for a text
/// without such characters.
bool isPlausibleText(const QString &text);

/// Returns the place of the first character that nobody writes: a control character other than
/// white space, or U+FFFD, as which bytes that are no text are decoded. -1 when there is none.
int firstUnwritableCharacter(const QString &text);
inline bool hasUnwritableCharacters(const QString &text)
{
    return firstUnwritableCharacter(text) >= 0;
}
