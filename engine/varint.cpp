#include "engine/varint.h"

#include <QIODevice>

#include <algorithm>
#include <cstring>

namespace {

bool isEightBytesBelow128(const uchar *bytes)
{
    quint64 word = 0;
    std::memcpy(&word, bytes, sizeof(word));
    return (word & Q_UINT64_C(0x8080808080808080)) == 0;
}

int fail(QIODevice &device, qint64 start, QVector<qint64> &out)
{
    out.clear();
    device.seek(start);
    return 0;
}

/// Varints that one read of the device takes in.
constexpr int VarintsPerRead = 28;

int readForward(QIODevice &device, int count, QVector<qint64> &out, bool skipOnly)
{
    const qint64 start = device.pos();
    qint64 pos = start;
    while (count > 0) {
        uchar bytes[VarintsPerRead * MaxVarintLength];
        qint64 values[VarintsPerRead];
        const int part = std::min(count, VarintsPerRead);
        if (!device.seek(pos)) {
            return fail(device, start, out);
        }
        const qint64 got = device.read(reinterpret_cast<char *>(bytes), part * MaxVarintLength);
        const int length = decodeVarints(bytes, bytes + std::max<qint64>(got, 0), part, values);
        if (length < 0) {
            return fail(device, start, out);
        }
        for (int i = 0; i < part && !skipOnly; ++i) {
            out.append(values[i]);
        }
        pos += length;
        count -= part;
    }
    return device.seek(pos) ? int(pos - start) : fail(device, start, out);
}

int readBackward(QIODevice &device, int count, QVector<qint64> &out, bool skipOnly)
{
    const qint64 start = device.pos();
    qint64 pos = start;
    for (; count > 0; --count) {
        uchar bytes[MaxVarintLength + 1];
        const qint64 wanted = std::min<qint64>(pos, sizeof(bytes));
        qint64 value = 0;
        if (!device.seek(pos - wanted)
            || device.read(reinterpret_cast<char *>(bytes), wanted) != wanted) {
            return fail(device, start, out);
        }
        const int length = decodeVarintBackward(bytes, bytes + wanted, value);
        if (length == 0) {
            return fail(device, start, out);
        }
        if (!skipOnly) {
            out.prepend(value);
        }
        pos -= length;
    }
    return device.seek(pos) ? int(start - pos) : fail(device, start, out);
}

} // namespace

int decodeVarint(const uchar *begin, const uchar *end, qint64 &value)
{
    const uchar *last = end - begin > MaxVarintLength ? begin + MaxVarintLength : end;
    quint64 bits = 0;
    for (const uchar *pos = begin; pos < last; ++pos) {
        bits = bits << 7 | (*pos & 0x7F);
        if (*pos < 0x80) {
            value = qint64(bits);
            return int(pos - begin) + 1;
        }
    }
    return 0;
}

int decodeVarintBackward(const uchar *begin, const uchar *end, qint64 &value)
{
    if (begin >= end || end[-1] >= 0x80) {
        return 0;
    }
    const uchar *first = end - 1;
    while (first > begin && first[-1] >= 0x80) {
        --first;
        if (end - first > MaxVarintLength) {
            return 0;
        }
    }
    return decodeVarint(first, end, value);
}

int varintLength(qint64 value)
{
    int length = 1;
    while (value >>= 7) {
        ++length;
    }
    return length;
}

bool endsInVarint(const uchar *begin, const uchar *end, qint64 value)
{
    uchar continuation = 0;
    do {
        if (end == begin || *--end != ((value & 0x7F) | continuation)) {
            return false;
        }
        continuation = 0x80;
        value >>= 7;
    } while (value > 0);
    return true;
}

int decodeVarints(const uchar *begin, const uchar *end, int count, qint64 *values)
{
    const uchar *pos = begin;
    for (int i = 0; i < count;) {
        // Nearly all serial types are of one byte: eight of them are told by their clear high bits.
        if (count - i >= 8 && end - pos >= 8 && isEightBytesBelow128(pos)) {
            std::copy_n(pos, 8, values + i);
            pos += 8;
            i += 8;
            continue;
        }
        if (pos < end && *pos < 0x80) {
            values[i++] = *pos++;
            continue;
        }
        const int length = decodeVarint(pos, end, values[i]);
        if (length == 0) {
            return -1;
        }
        pos += length;
        ++i;
    }
    return int(pos - begin);
}

int decodeVarintsBackward(const uchar *begin, const uchar *end, int count, qint64 *values)
{
    const uchar *pos = end;
    for (int i = count - 1; i >= 0; --i) {
        if (pos - begin >= 2 && pos[-1] < 0x80 && pos[-2] < 0x80) {
            values[i] = *--pos;
            continue;
        }
        const int length = decodeVarintBackward(begin, pos, values[i]);
        if (length == 0) {
            return -1;
        }
        pos -= length;
    }
    return int(end - pos);
}

int readVarints(QIODevice &device, int count, QVector<qint64> &out, bool skipOnly, bool forward)
{
    return forward ? readForward(device, count, out, skipOnly)
                   : readBackward(device, count, out, skipOnly);
}
