#include "recoverers/calendar_notes_safari/calendarmatchers.h"

#include "engine/fieldreader.h"
#include "engine/serialtype.h"
#include "engine/varint.h"

#include <QDebug>

#include <algorithm>

namespace {

// Serial types of the anchors.
constexpr char Text36[] = "\x55";                               // a unique identifier
constexpr char Integers[] = "\x01\x02\x03\x04\x05\x06\x08\x09"; // a row identifier of any size

constexpr char LastControlCharacter = 31;

bool isPrintable(char c)
{
    return uchar(c) > LastControlCharacter;
}

/// What the declared type of the column makes of all that is stored in it: texts, bytes or, for
/// NullClass, numbers.
SerialClass declaredClass(const QString &definition)
{
    const QString type = definition.section(QLatin1Char(' '), 1, 1);
    return type == QLatin1String("text")   ? TextClass
           : type == QLatin1String("blob") ? BlobClass
                                           : NullClass;
}

QVector<SerialClass> declaredClasses(const TableSchema &table)
{
    QVector<SerialClass> classes;
    for (const ColumnDef &column : table.columns) {
        classes.append(declaredClass(column.definition));
    }
    return classes;
}

/// True when the columns from `first` on can hold values of these types.
bool fitColumns(const QVector<qint64> &types, const QVector<SerialClass> &declared, int first)
{
    for (int i = 0; i < types.size(); ++i) {
        const SerialClass column = declared[first + i];
        const SerialClass kind = serialTypeClass(types[i]);
        if (kind != NullClass && (column == NullClass ? types[i] > 9 : kind != column)) {
            return false;
        }
    }
    return true;
}

/// Keeps what stands in front of the first character that nobody writes; returns true when there
/// was one.
bool cutBeforeDamage(QString *text)
{
    const int damage = firstUnwritableCharacter(*text);
    text->truncate(damage < 0 ? text->size() : damage);
    return damage >= 0;
}

/// True when there was a number other than 0 and 1, which cannot be read any more.
bool isLost(const RecordFields &fields)
{
    return serialTypeSize(fields.serialType()) > 0 && fields.isFieldLost();
}

/// Where a row covers another one, bytes that are neither's may stand between them. No title has
/// other white space than blanks.
void cutBehindTitle(QString *title)
{
    const auto end = std::find_if(title->cbegin(), title->cend(),
                                  [](QChar c) { return c.isSpace() && c != QLatin1Char(' '); });
    title->truncate(int(end - title->cbegin()));
}

/// The same of a text that may have lines.
void cutBehindText(QString *text)
{
    while (!text->isEmpty() && text->back().isSpace()) {
        text->chop(1);
    }
}

bool isIdentifier(const QString &text)
{
    return !text.isEmpty() && std::all_of(text.cbegin(), text.cend(), [](QChar c) {
        return c.unicode() > 0x20 && c.unicode() < 0x7f;
    });
}

/// Completes what was read of a row. Returns false when it may be misread, or when what is left of
/// it says nothing.
template<typename Row, typename Carved>
bool isWorthKeeping(const Row &row, const RecordFields &fields, bool isDamaged, Carved *carved)
{
    carved->isIncomplete = fields.isCovered() || fields.isCut() || isDamaged;
    if (fields.isCovered()) {
        cutBehindTitle(&carved->summary);
        cutBehindText(&carved->description);
    }
    const bool saysNothing = fields.isCovered() && carved->summary.isEmpty();
    const bool isTail =
        row.isRebuilt || fields.isCovered(); // what is damaged is the end of the row
    return !saysNothing && (isTail || !(fields.isCut() || isDamaged));
}

} // namespace

CalendarDbFile::CalendarItemMatcher::CalendarItemMatcher(CalendarDbFile *recoverer)
    : m_owner(recoverer)
{
    owner = recoverer;
    signatures = {QByteArrayMatcher(Text36, 1)};
}

bool CalendarDbFile::CalendarItemMatcher::bindColumns(const TableSchema &table)
{
    m_uuid = table.columnIndex(QLatin1String("uuid"));
    m_uniqueIdentifier = table.columnIndex(QLatin1String("unique_identifier"));
    m_hidden = table.columnIndex(QLatin1String("hidden"));
    m_hasRecurrences = table.columnIndex(QLatin1String("has_recurrences"));
    m_hasAttendees = table.columnIndex(QLatin1String("has_attendees"));
    m_entityType = table.columnIndex(QLatin1String("entity_type"));
    m_priority = table.columnIndex(QLatin1String("priority"));
    m_summary = table.columnIndex(QLatin1String("summary"));
    m_declared = declaredClasses(table);
    m_locationId = table.columnIndex(QLatin1String("location_id"));
    m_description = table.columnIndex(QLatin1String("description"));
    m_startDate = table.columnIndex(QLatin1String("start_date"));
    m_endDate = table.columnIndex(QLatin1String("end_date"));
    m_allDay = table.columnIndex(QLatin1String("all_day"));
    m_calendarId = table.columnIndex(QLatin1String("calendar_id"));
    m_completionDate = table.columnIndex(QLatin1String("completion_date"));
    return m_uuid >= 1 && m_uniqueIdentifier >= 1 && m_hidden >= 1 && m_hasRecurrences >= 1
           && m_hasAttendees >= 1 && m_entityType >= 1 && m_priority >= 1 && m_summary >= 1;
}

bool CalendarDbFile::CalendarItemMatcher::matchHeader(const TableSchema &table,
                                                      const QByteArray &region, int anchorPos)
{
    const int columnCount = table.columns.size();
    // The same test as below, of the one byte that most hits fail by.
    if (m_hasAttendees == m_uuid - 1
        && (anchorPos == 0 || !isBooleanSerialType(uchar(region[anchorPos - 1])))) {
        return false;
    }
    decodeAround(region, anchorPos, m_uuid - 1, columnCount - m_uuid, CellPrefix,
                 m_summary == 1 ? int(TextClass) : NoExpectedClass);
    if (serialTypes.size() != columnCount - 1 || !isBooleanSerialType(columnType(m_hidden))
        || !isBooleanSerialType(columnType(m_hasAttendees))
        || !isBooleanSerialType(columnType(m_hasRecurrences))
        || !isIntegerSerialType(columnType(m_entityType), false)
        || !isIntegerSerialType(columnType(m_priority), false)) {
        return false;
    }
    findHeaderEnd(region, anchorPos);
    return true;
}

int CalendarDbFile::CalendarItemMatcher::readSerialTypes(QIODevice &device, int count,
                                                         QVector<qint64> &out)
{
    const int known = out.size();
    int consumed = count > 0 ? readVarints(device, 1, out, false, true) : 0;
    if (consumed == 0) {
        return 0;
    }
    const qint64 start = device.pos();
    const QByteArray bytes = device.read(count);
    int read = 0;
    for (; read < count - 1 && read < bytes.size(); ++read) {
        const bool isLast = read + 1 == bytes.size();
        if (!isLast && isPrintable(bytes[read]) && isPrintable(bytes[read + 1])) {
            break;
        }
        out.append(uchar(bytes[read]));
    }
    device.seek(start + read);
    out.resize(known + count); // with NULL
    return consumed + read;
}

/// Chooses between the ways to read what follows the anchor: as bytes, as varints, or as the header
/// of an older row with fewer columns. The size in front of the header tells where it is left; the
/// types of the columns tell where a freeblock header overwrote it.
void CalendarDbFile::CalendarItemMatcher::findHeaderEnd(const QByteArray &region, int anchorPos)
{
    const auto *begin = reinterpret_cast<const uchar *>(region.constData());
    const uchar *front = begin + typesStart();
    // The size counts itself and the NULL of the rowid alias.
    const bool hasSize = front - begin >= 2 && front[-1] == 0 && front[-2] < 0x80;
    const int stored = hasSize ? front[-2] - 2 - int(begin + anchorPos - front) : 0;
    const int count = m_declared.size() - m_uuid;
    if (isCellOfOtherLayout(region) && takeHeader(region, anchorPos, stored)) {
        return;
    }
    m_behindAnchor.resize(count);
    const int whole =
        decodeVarints(begin + anchorPos, begin + region.size(), count, m_behindAnchor.data());
    const bool isWhole =
        whole > 0 && (whole == stored || fitColumns(m_behindAnchor, m_declared, m_uuid));
    takeHeader(region, anchorPos, isWhole ? whole : stored);
}

/// Reads the `length` bytes from the anchor on as the rest of the header; columns behind count as
/// NULL. Returns false, and changes nothing, when that does not come out even.
bool CalendarDbFile::CalendarItemMatcher::takeHeader(const QByteArray &region, int anchorPos,
                                                     int length)
{
    if (length <= 0 || length > region.size() - anchorPos) {
        return false;
    }
    const int count = m_declared.size() - m_uuid;
    const auto *pos = reinterpret_cast<const uchar *>(region.constData()) + anchorPos;
    const uchar *end = pos + length;
    m_behindAnchor.clear();
    while (pos < end && m_behindAnchor.size() < count) {
        qint64 type = 0;
        const int read = decodeVarint(pos, end, type);
        if (read == 0) {
            return false;
        }
        m_behindAnchor.append(type);
        pos += read;
    }
    const bool isWhole = m_behindAnchor.size() == count;
    if (pos != end || m_behindAnchor.size() <= m_priority - m_uuid
        || !(isWhole || fitColumns(m_behindAnchor, m_declared, m_uuid))) {
        return false;
    }
    m_typesLength = anchorPos - int(typesStart()) + length;
    bodyStart = anchorPos + length;
    m_behindAnchor.resize(count);
    std::copy(m_behindAnchor.cbegin(), m_behindAnchor.cend(), serialTypes.begin() + m_uuid - 1);
    return true;
}

void CalendarDbFile::CalendarItemMatcher::readRow(const TableSchema &, const Row &row)
{
    RecordFields fields = fieldsOf(row);
    bool isFrontSound = false;
    while (fields.nextOfAll() && fields.index() < m_uuid - 1) {
        if (fields.index() == m_uniqueIdentifier - 1) {
            isFrontSound = !fields.isFieldLost() && isIdentifier(fields.text());
        }
    }
    if (fields.isFieldLost()) {
        readItem(row, false);
    } else if (isIdentifier(fields.text())) {
        readItem(row, !row.isRebuilt);
    } else {
        readItem(ownPart(row, isFrontSound ? m_uuid - 1 : m_summary), false);
    }
}

void CalendarDbFile::CalendarItemMatcher::readItem(const Row &row, bool isSound)
{
    CarvedCalendarItem item;
    bool isDamaged = false;
    RecordFields fields = proseFieldsOf(row);
    while (fields.nextOfAll()) {
        const int column = fields.index() + 1;
        if (column == m_summary) {
            item.summary = fields.textBeforeLimit();
        } else if (column == m_locationId) {
            item.locationId = fields.uncoveredInteger();
        } else if (column == m_description) {
            item.description = fields.textBeforeLimit();
            isDamaged = !isSound && cutBeforeDamage(&item.description);
        } else if (column == m_startDate) {
            item.startDate = fields.uncoveredInteger();
        } else if (column == m_endDate) {
            item.endDate = fields.uncoveredInteger();
            item.hasEnd = item.endDate != 0 || isLost(fields);
        } else if (column == m_allDay) {
            item.allDay = qint32(fields.uncoveredInteger());
        } else if (column == m_calendarId) {
            item.calendarId = fields.uncoveredInteger();
        } else if (column == m_priority) {
            item.priority = qint32(fields.uncoveredInteger());
        } else if (column == m_completionDate) {
            item.completionDate = fields.uncoveredInteger();
        }
    }
    if (isWorthKeeping(row, fields, isDamaged, &item)
        && (isSound || !hasUnwritableCharacters(item.summary))) {
        m_owner->m_carved.items.push_back(item);
    }
}

CalendarDbFile::EventItemMatcher::EventItemMatcher(CalendarDbFile *recoverer)
    : m_owner(recoverer)
{
    owner = recoverer;
    signatures = {QByteArrayMatcher(Text36, 1)};
}

bool CalendarDbFile::EventItemMatcher::bindColumns(const TableSchema &table)
{
    m_uniqueIdentifier = table.columnIndex(QLatin1String("unique_identifier"));
    return m_uniqueIdentifier >= 1;
}

bool CalendarDbFile::EventItemMatcher::matchHeader(const TableSchema &table,
                                                   const QByteArray &region, int anchorPos)
{
    // Every generation of this table begins with the same columns, so their places are fixed.
    constexpr int summary = 1;
    constexpr int location = 2;
    constexpr int description = 3;
    constexpr int allDay = 7;
    constexpr int calendarId = 8;
    const int columnCount = table.columns.size();
    if (columnCount <= calendarId) {
        return false;
    }
    decodeAround(region, anchorPos, m_uniqueIdentifier - 1, columnCount - m_uniqueIdentifier);
    widenFirstType(region);
    return serialTypes.size() == columnCount - 1 && isTextSerialType(columnType(summary), true)
           && isTextSerialType(columnType(location), true)
           && isTextSerialType(columnType(description), true)
           && isBooleanSerialType(columnType(allDay))
           && isIntegerSerialType(columnType(calendarId), false);
}

void CalendarDbFile::EventItemMatcher::readRow(const TableSchema &table, const Row &row)
{
    RecordFields fields = fieldsOf(row);
    while (fields.nextOfAll() && fields.index() < m_uniqueIdentifier - 1) {
    }
    const bool isLost = fields.isFieldLost();
    const bool isSound = !isLost && isIdentifier(fields.text());
    readEvent(table, isLost || isSound ? row : ownPart(row, 1), isSound && !row.isRebuilt);
}

void CalendarDbFile::EventItemMatcher::readEvent(const TableSchema &table, const Row &row,
                                                 bool isSound)
{
    CarvedEvent event;
    bool isDamaged = false;
    RecordFields fields = proseFieldsOf(row);
    while (fields.nextOfAll()) {
        const QString &column = table.columns[fields.index() + 1].name;
        if (column == QLatin1String("summary")) {
            event.summary = fields.textBeforeLimit();
        } else if (column == QLatin1String("location")) {
            event.location = fields.textBeforeLimit();
        } else if (column == QLatin1String("description")) {
            event.description = fields.textBeforeLimit();
            isDamaged = !isSound && cutBeforeDamage(&event.description);
        } else if (column == QLatin1String("calendar_id")) {
            event.calendarId = fields.uncoveredInteger();
        } else if (column == QLatin1String("start_date")) {
            event.startDate = fields.uncoveredInteger();
        } else if (column == QLatin1String("end_date")) {
            event.endDate = fields.uncoveredInteger();
        } else if (column == QLatin1String("all_day")) {
            event.allDay = qint32(fields.uncoveredInteger());
        }
    }
    if (isWorthKeeping(row, fields, isDamaged, &event)
        && (isSound || !hasUnwritableCharacters(event.summary + event.location))) {
        m_owner->m_carved.events.push_back(event);
    }
}

CalendarDbFile::LocationMatcher::LocationMatcher(CalendarDbFile *recoverer)
    : m_owner(recoverer)
{
    owner = recoverer;
    for (const char &type : Integers) {
        if (type != 0) {
            signatures.append(QByteArrayMatcher(&type, 1));
        }
    }
}

bool CalendarDbFile::LocationMatcher::bindColumns(const TableSchema &table)
{
    m_itemOwnerId = table.columnIndex(QLatin1String("item_owner_id"));
    m_title = table.columnIndex(QLatin1String("title"));
    m_latitude = table.columnIndex(QLatin1String("latitude"));
    m_longitude = table.columnIndex(QLatin1String("longitude"));
    m_addressBookId = table.columnIndex(QLatin1String("address_book_id"));
    m_radius = table.columnIndex(QLatin1String("radius"));
    m_alarmOwnerId = table.columnIndex(QLatin1String("alarm_owner_id"));
    m_declared = declaredClasses(table);
    return m_itemOwnerId >= 1 && m_title >= 1 && m_latitude >= 1 && m_longitude >= 1
           && m_addressBookId >= 1 && m_radius >= 1 && m_alarmOwnerId >= 1;
}

bool CalendarDbFile::LocationMatcher::matchHeader(const TableSchema &table,
                                                  const QByteArray &region, int anchorPos)
{
    const int columnCount = table.columns.size();
    decodeAround(region, anchorPos, m_itemOwnerId - 1, columnCount - m_itemOwnerId);
    return serialTypes.size() == columnCount - 1 && isTextSerialType(columnType(m_title), false)
           && isRealSerialType(columnType(m_latitude), true)
           && isRealSerialType(columnType(m_longitude), true)
           && isTextSerialType(columnType(m_addressBookId), true)
           && isIntegerSerialType(columnType(m_radius), true)
           && isIntegerSerialType(columnType(m_itemOwnerId), false)
           && isIntegerSerialType(columnType(m_alarmOwnerId), false);
}

void CalendarDbFile::LocationMatcher::inspectLiveCell(const QByteArray &region, int cellOffset)
{
    qDebug() << "live location at" << cellOffset << "of" << region.size();
}

void CalendarDbFile::LocationMatcher::readRow(const TableSchema &, const Row &row)
{
    QString title;
    qint64 itemOwnerId = 0;
    RecordFields fields = fieldsOf(row);
    while (fields.nextOfAll()) {
        const int column = fields.index() + 1;
        if (column == m_title) {
            title = fields.uncoveredText();
        } else if (column == m_itemOwnerId) {
            itemOwnerId = fields.uncoveredInteger();
        }
    }
    // The signatures occur everywhere, so what the header test leaves open must fit as well.
    if (fitColumns(row.serialTypes, m_declared, 1) && !title.isEmpty()
        && !hasUnwritableCharacters(title) && itemOwnerId <= m_owner->m_live.highestItemId) {
        m_owner->m_carved.locations.push_back(title);
    }
}
