#pragma once

#include <QVector>
#include <QtGlobal>

class QIODevice;

/// Longest varint of the SQLite file format, in bytes.
constexpr int MaxVarintLength = 9;

/// Decodes the varint that begins at `begin`. Every byte, the ninth included, gives its low 7 bits;
/// a ninth byte with its high bit set makes the varint invalid. (The published format takes 8 bits
/// from the ninth byte; such varints stand for negative numbers, which no sound header holds.)
/// Returns its length in bytes; 0 when it is invalid or not whole before `end`.
int decodeVarint(const uchar *begin, const uchar *end, qint64 &value);

/// Decodes the varint whose last byte lies just before `end`, looking back no further than `begin`.
/// Its last byte must have its high bit clear; bytes in front of it with their high bit set belong
/// to it. Returns its length in bytes; 0 when there is none or it is longer than nine bytes.
int decodeVarintBackward(const uchar *begin, const uchar *end, qint64 &value);

/// Returns the length in bytes of the varint of `value` (not negative).
int varintLength(qint64 value);

/// True when the bytes just before `end`, looking back no further than `begin`, are the varint of
/// `value` (not negative). Unlike decoding backwards this is not misled by what precedes it.
bool endsInVarint(const uchar *begin, const uchar *end, qint64 value);

/// Decodes `count` varints from `begin` on into `values`, which has room for them. Returns the
/// bytes consumed; -1 when one is invalid or not whole before `end`.
int decodeVarints(const uchar *begin, const uchar *end, int count, qint64 *values);

/// Decodes the `count` varints that end just before `end` into `values`, in file order. Returns the
/// bytes consumed; -1 when one is invalid or begins before `begin`.
int decodeVarintsBackward(const uchar *begin, const uchar *end, int count, qint64 *values);

/// Reads `count` varints from the device's position. Forward, values are appended to `out` and the
/// device is left behind the last one. Backward (`forward` false), the varints that end just before
/// the position are read, values are put in front of `out` so that it stays in file order, and the
/// device is left on the first byte of the foremost one. With `skipOnly` no value is stored.
/// Returns the number of bytes consumed. When a varint is invalid or the data runs out it returns
/// 0, clears `out` and puts the device back to where it was.
int readVarints(QIODevice &device, int count, QVector<qint64> &out, bool skipOnly, bool forward);
