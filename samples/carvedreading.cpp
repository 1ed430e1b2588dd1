#include "samples/carvedreading.h"

#include "samples/recordencoder.h"

#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace {

constexpr int encodingOffset = 59; // last byte of the text encoding in the database header

/// Serial types and values in front of the address are shorter than this.
qint64 longestWayToAddress(CallLayout layout)
{
    return isStore(layout) ? 300 : 60;
}

QByteArray textEncoding(const DatabaseMap &map)
{
    static const char *const names[] = {"UTF-8", "UTF-16le", "UTF-16be"};
    return names[std::clamp<int>(map.bytes().at(encodingOffset), 1, 3) - 1];
}

bool isText(quint64 type)
{
    return type >= 12;
}

qint64 sizeOf(quint64 type)
{
    static const int sizes[] = {0, 1, 2, 3, 4, 6, 8, 8, 0, 0};
    if (type < 10) {
        return sizes[type];
    }
    return type < 12 ? -1 : qint64(type - 12) / 2; // the invalid types count as a byte less
}

/// Reads forward; returns false at the end of the page or on a varint of more than nine bytes.
bool readType(const QByteArray &bytes, qint64 pageEnd, qint64 *position, quint64 *type)
{
    *type = 0;
    for (int i = 0; i < 9 && *position < pageEnd; ++i) {
        const quint8 byte = quint8(bytes.at(int((*position)++)));
        *type = *type << 7 | (byte & 0x7f);
        if (!(byte & 0x80)) {
            return true;
        }
    }
    return false;
}

bool readTypes(const DatabaseMap &map, int count, bool firstIsByte, CarvedReading *reading)
{
    const QByteArray &bytes = map.bytes();
    const qint64 pageEnd = map.pageOf(reading->types.begin) * map.pageSize();
    qint64 at = reading->types.begin;
    reading->serialTypes.resize(count);
    int first = 0;
    if (firstIsByte) {
        reading->serialTypes[0] = quint8(bytes.at(int(at++)));
        first = 1;
    }
    for (int i = first; i < count; ++i) {
        if (!readType(bytes, pageEnd, &at, &reading->serialTypes[i])) {
            return false;
        }
    }
    reading->types.end = at;
    return at < pageEnd;
}

QString utf16Of(const QByteArray &bytes, bool bigEndian)
{
    QString text;
    for (int i = 0; i + 1 < bytes.size(); i += 2) {
        const char *unit = bytes.constData() + i;
        text += QChar(bigEndian ? qFromBigEndian<quint16>(unit) : qFromLittleEndian<quint16>(unit));
    }
    const QVector<uint> characters = text.toUcs4(); // replaces lone surrogates
    return QString::fromUcs4(characters.constData(), characters.size());
}

QString textOf(const QByteArray &bytes, const QByteArray &encoding)
{
    return encoding == "UTF-8" ? QString::fromUtf8(bytes.constData(), bytes.size())
                               : utf16Of(bytes, encoding == "UTF-16be");
}

qint64 integerOf(quint64 type, const QByteArray &bytes)
{
    if (type == 7 && bytes.size() == 8) {
        const quint64 bits = qFromBigEndian<quint64>(bytes.constData());
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return std::abs(value) < 9e18 ? qint64(value) : std::numeric_limits<qint64>::min();
    }
    if (type < 1 || type > 6 || bytes.isEmpty()) {
        return type == 9 ? 1 : 0;
    }
    quint64 value = (bytes.at(0) & 0x80) ? ~quint64(0) : 0;
    for (const char byte : bytes) {
        value = value << 8 | quint8(byte);
    }
    return qint64(value);
}

/// Puts one value into the record, by the name of its column.
void setField(const char *column, quint64 type, const QByteArray &bytes, const QByteArray &encoding,
              CallhistoryRecord *record)
{
    const auto is = [column](const char *name) { return qstricmp(column, name) == 0; };
    if (is("address") || is("zaddress")) {
        record->address = isText(type) ? textOf(bytes, encoding) : QString();
    } else if (is("date")) {
        record->date = integerOf(type, bytes);
    } else if (is("zdate")) {
        const qint64 date = integerOf(type, bytes);
        record->date = date == 0 ? 0 : date + 978307200;
    } else if (is("duration") || is("zduration")) {
        record->duration = qint32(integerOf(type, bytes));
    } else if (is("flags")) {
        record->flags = qint32(integerOf(type, bytes));
    } else if (is("zoriginated")) {
        record->flags |= qint32(integerOf(type, bytes)) != 0 ? 1 : 0;
    } else if (is("zface_time_data")) {
        record->flags |= type != 0 ? 16 : 0;
    }
}

int countDigitsBefore(const QByteArray &bytes, qint64 position)
{
    int count = 0;
    while (bytes.at(int(position - count - 1)) >= '0'
           && bytes.at(int(position - count - 1)) <= '9') {
        ++count;
    }
    return count;
}

void readFields(const DatabaseMap &map, CallLayout layout, CarvedReading *reading)
{
    const QVector<CallColumn> &columns = callColumns(layout);
    const QByteArray encoding = textEncoding(map);
    const qint64 limit = map.nextCellOnPage(reading->types.end + 1);
    const qint64 pageEnd = map.pageOf(reading->types.begin) * map.pageSize();
    qint64 at = reading->body.begin;
    for (int i = 0; i < reading->serialTypes.size(); ++i) {
        const quint64 type = reading->serialTypes.at(i);
        const qint64 size = sizeOf(type);
        reading->cutByCell |= limit != 0 && at + size > limit;
        if (size != 0 && limit != 0 && at >= limit) {
            continue; // another row's bytes; a value without bytes stands in its type
        }
        const bool isThere = size <= pageEnd - at;
        setField(columns.at(i + 1).name, type,
                 isThere ? map.bytes().mid(int(at), int(std::max<qint64>(size, 0))) : QByteArray(),
                 encoding, &reading->record);
        at = isThere ? at + size : pageEnd;
    }
    reading->body.end = at;
}

void addReadings(const DatabaseMap &map, CallLayout layout, const CallhistoryRecord &record,
                 const DatabaseMap::Extent &range, QVector<CarvedReading> *readings)
{
    CarvedReading reading;
    for (qint64 at = range.begin; at < range.end; ++at) {
        const bool highBit = map.bytes().at(int(at)) & 0x80;
        for (int firstTypeIsByte = 0; firstTypeIsByte <= int(highBit); ++firstTypeIsByte) {
            if (readCarvedCall(map, layout, at, firstTypeIsByte != 0, &reading)
                && sameCall(reading.record, record)) {
                *readings << reading;
            }
        }
    }
}

} // namespace

bool sameCall(const CallhistoryRecord &a, const CallhistoryRecord &b)
{
    return a.date == b.date && a.duration == b.duration && a.flags == b.flags
           && a.address == b.address;
}

bool readCarvedCall(const DatabaseMap &map, CallLayout layout, qint64 position,
                    bool firstTypeIsByte, CarvedReading *reading)
{
    *reading = CarvedReading();
    reading->types.begin = position;
    if (!readTypes(map, callColumns(layout).size() - 1, firstTypeIsByte, reading)) {
        return false;
    }
    reading->digitsBefore =
        isStore(layout) ? 0 : countDigitsBefore(map.bytes(), reading->types.end);
    reading->body.begin = reading->types.end - reading->digitsBefore;
    readFields(map, layout, reading);
    return !reading->record.address.isEmpty();
}

QVector<CarvedReading> findReadings(const DatabaseMap &map, CallLayout layout,
                                    const CallhistoryRecord &record)
{
    const QByteArray address = encodeText(record.address, textEncoding(map));
    QVector<CarvedReading> readings;
    qint64 from = map.pageSize();
    for (const qint64 at : map.find(address)) {
        from = std::max(from, at - longestWayToAddress(layout));
        addReadings(map, layout, record, {from, at}, &readings);
        from = std::max(from, at);
    }
    if (readings.isEmpty()) { // an address of bytes that are no text cannot be searched for
        addReadings(map, layout, record, {map.pageSize(), map.bytes().size()}, &readings);
    }
    return readings;
}
