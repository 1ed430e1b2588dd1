#include "cli/propertylist.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QVector>
#include <QtEndian>

#include <plist/plist.h>

#include <algorithm>

namespace {

constexpr qint64 LargestFile = 16 * 1024 * 1024;
constexpr int LongestText = 200;

// A list of a device with a thousand programs stays far below each of these.
constexpr int MostContainers = 10000; ///< no list of XML can be deeper than that
constexpr int MostElements = 250000;
constexpr int MostReferences = 1000; ///< such as &amp;
constexpr int MostValues = 100000;
constexpr qint64 MostBytes = 4 * LargestFile;

bool isSafeXml(const QByteArray &bytes)
{
    return bytes.count("<array") + bytes.count("<dict") <= MostContainers
           && bytes.count('<') <= MostElements && bytes.count('&') <= MostReferences;
}

// A binary list ends in a trailer of 32 bytes: 6 unused, the sizes of an offset and of a reference,
// then, of 8 bytes each, the number of objects, the first of them, and the place of the offsets.
// Objects begin with a byte of kind and size; a size of 15 stands for a number behind it. A set or
// an array goes on with references, a dictionary with twice as many.
class BinaryWalk
{
public:
    explicit BinaryWalk(const QByteArray &bytes)
        : m_bytes(bytes)
    {
    }

    /// Counts what the tree of values would hold. False when that is too much, or makes no sense.
    bool isSafe();

private:
    struct Value
    {
        quint64 object;
        int depth;
    };

    bool readTrailer();
    bool visit(const Value &value);
    bool addReferences(quint64 at, quint64 count, int depth);
    bool readNumber(quint64 at, int size, quint64 *number) const;
    bool readSize(quint64 *at, quint64 *size) const;

    const QByteArray &m_bytes;
    QVector<Value> m_waiting;
    int m_offsetSize = 0;
    int m_referenceSize = 0;
    quint64 m_offsets = 0;
    quint64 m_valuesLeft = MostValues;
    quint64 m_bytesLeft = MostBytes;
};

bool BinaryWalk::isSafe()
{
    if (!readTrailer()) {
        return false;
    }
    while (!m_waiting.isEmpty()) {
        if (!visit(m_waiting.takeLast())) {
            return false;
        }
    }
    return true;
}

bool BinaryWalk::readTrailer()
{
    constexpr int size = 32;
    if (m_bytes.size() < size) {
        return false;
    }
    const char *trailer = m_bytes.constData() + m_bytes.size() - size;
    m_offsetSize = uchar(trailer[6]);
    m_referenceSize = uchar(trailer[7]);
    m_offsets = qFromBigEndian<quint64>(trailer + 24);
    m_waiting.append({qFromBigEndian<quint64>(trailer + 16), 0});
    return m_offsetSize > 0 && m_referenceSize > 0 && m_offsets < quint64(m_bytes.size());
}

bool BinaryWalk::readNumber(quint64 at, int size, quint64 *number) const
{
    constexpr int largest = 8;
    if (size > largest || at > quint64(m_bytes.size()) || m_bytes.size() - at < quint64(size)) {
        return false;
    }
    *number = 0;
    for (int i = 0; i < size; ++i) {
        *number = *number << 8 | uchar(m_bytes.at(int(at) + i));
    }
    return true;
}

/// Moves `at` behind the size.
bool BinaryWalk::readSize(quint64 *at, quint64 *size) const
{
    *size = uchar(m_bytes.at(int(*at))) & 0x0F;
    ++*at;
    if (*size < 0x0F) {
        return true;
    }
    quint64 kind = 0;
    if (!readNumber(*at, 1, &kind) || kind >> 4 != 1) {
        return false;
    }
    const int bytes = 1 << std::min<quint64>(kind & 0x0F, 4);
    const bool isRead = readNumber(*at + 1, bytes, size);
    *at += 1 + bytes;
    return isRead;
}

bool BinaryWalk::visit(const Value &value)
{
    constexpr int deepest = 100;
    quint64 at = 0;
    quint64 size = 0;
    if (m_valuesLeft == 0 || value.depth > deepest || value.object >= quint64(m_bytes.size())
        || !readNumber(m_offsets + value.object * m_offsetSize, m_offsetSize, &at)
        || at >= quint64(m_bytes.size())) {
        return false;
    }
    --m_valuesLeft;
    const int kind = uchar(m_bytes.at(int(at))) >> 4;
    switch (kind) {
    case 0x4: // bytes
    case 0x5: // text
    case 0x6: // text of two bytes a character
        if (!readSize(&at, &size) || size > m_bytesLeft) {
            return false;
        }
        m_bytesLeft -= size;
        return true;
    case 0xA: // array
    case 0xC: // set
        return readSize(&at, &size) && addReferences(at, size, value.depth + 1);
    case 0xD: // dictionary
        return readSize(&at, &size) && size <= MostValues
               && addReferences(at, 2 * size, value.depth + 1);
    default:
        return true;
    }
}

bool BinaryWalk::addReferences(quint64 at, quint64 count, int depth)
{
    if (count > m_valuesLeft || count + quint64(m_waiting.size()) > m_valuesLeft) {
        return false;
    }
    for (quint64 i = 0; i < count; ++i) {
        Value value{0, depth};
        if (!readNumber(at + i * quint64(m_referenceSize), m_referenceSize, &value.object)) {
            return false;
        }
        m_waiting.append(value);
    }
    return true;
}

QByteArray readBounded(const QString &path)
{
    QFile file(path);
    const bool isReadable =
        QFileInfo(path).isFile() && file.size() <= LargestFile && file.open(QIODevice::ReadOnly);
    return isReadable ? file.read(LargestFile) : QByteArray();
}

plist_t parse(const QByteArray &bytes)
{
    plist_t list = nullptr;
    if (!bytes.startsWith("bplist")) {
        if (isSafeXml(bytes)) {
            plist_from_xml(bytes.constData(), quint32(bytes.size()), &list);
        }
    } else if (BinaryWalk(bytes).isSafe()) {
        plist_from_bin(bytes.constData(), quint32(bytes.size()), &list);
    }
    return list;
}

} // namespace

void PropertyList::Free::operator()(void *list) const
{
    plist_free(list);
}

bool PropertyList::read(const QString &path)
{
    const QByteArray bytes = readBounded(path);
    m_list.reset(bytes.isEmpty() ? nullptr : parse(bytes));
    if (m_list && plist_get_node_type(m_list.get()) != PLIST_DICT) {
        m_list.reset();
    }
    return m_list != nullptr;
}

void *PropertyList::value(const char *key, int type) const
{
    const plist_t value = m_list ? plist_dict_get_item(m_list.get(), key) : nullptr;
    return value && plist_get_node_type(value) == type ? value : nullptr;
}

QString PropertyList::text(const char *key) const
{
    const plist_t string = value(key, PLIST_STRING);
    const char *bytes = string ? plist_get_string_ptr(string, nullptr) : nullptr;
    return QString::fromUtf8(bytes).left(LongestText);
}

bool PropertyList::isTrue(const char *key) const
{
    quint8 truth = 0;
    if (const plist_t boolean = value(key, PLIST_BOOLEAN)) {
        plist_get_bool_val(boolean, &truth);
    }
    return truth != 0;
}

QDateTime PropertyList::date(const char *key) const
{
    constexpr qint64 secondsFrom1970To2001 = 978307200;
    const plist_t date = value(key, PLIST_DATE);
    if (!date) {
        return QDateTime();
    }
    qint32 seconds = 0;
    qint32 microseconds = 0;
    plist_get_date_val(date, &seconds, &microseconds);
    // The library cuts the number to 32 bits: what lies far ahead seems to lie before 2001.
    return seconds > 0 ? QDateTime::fromSecsSinceEpoch(secondsFrom1970To2001 + seconds, Qt::UTC)
                       : QDateTime();
}
