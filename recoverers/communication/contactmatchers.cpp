#include "recoverers/communication/contactmatchers.h"

#include "engine/fieldreader.h"
#include "engine/serialtype.h"

#include <QDebug>

#include <algorithm>

namespace {

// Columns of a person that must hold text or NULL.
constexpr const char *TextColumns[] = {"first",         "last",           "middle",
                                       "firstphonetic", "middlephonetic", "lastphonetic",
                                       "organization",  "department",     "note"};

/// Property, identifier and label of a value, most often small numbers or the constants 0 and 1.
/// A label of two bytes is searched for and then refused by the header test; the search order is
/// part of which of two overlapping candidates is met first, so the patterns stay.
constexpr char ValueSignatures[][4] = {"\x01\x01\x01", "\x01\x08\x01", "\x01\x09\x01",
                                       "\x01\x01\x09", "\x01\x08\x09", "\x01\x09\x09",
                                       "\x01\x01\x02", "\x01\x08\x02", "\x01\x09\x02"};

/// Parent and key of a part.
constexpr char EntrySignatures[][3] = {"\x01\x01", "\x01\x09", "\x02\x01", "\x02\x09"};

template<int size, int length>
QList<QByteArrayMatcher> matchersOf(const char (&signatures)[size][length])
{
    QList<QByteArrayMatcher> matchers;
    for (const auto &signature : signatures) {
        matchers.append(QByteArrayMatcher(signature, length - 1));
    }
    return matchers;
}

/// Overflow pages that were freed may be damaged in the middle. Keeps what stands in front of the
/// damage; returns true when there is any.
bool cutBeforeDamage(QString *text)
{
    const int damage = firstUnwritableCharacter(*text);
    text->truncate(damage < 0 ? text->size() : damage);
    return damage >= 0;
}

} // namespace

ContactDbFile::ABPersonMatcher::ABPersonMatcher(ContactDbFile *recoverer)
    : NumberedMatcher(recoverer->m_livePersonIds)
    , m_owner(recoverer)
{
    owner = recoverer;
    signatures = {QByteArrayMatcher("\x04\x04", 2)}; // dates of creation and of the last change
}

bool ContactDbFile::ABPersonMatcher::bindColumns(const TableSchema &table)
{
    m_creationDate = table.columnIndex(QLatin1String("creationdate"));
    m_externalUuid = table.columnIndex(QLatin1String("externaluuid"));
    m_isPreferredName = table.columnIndex(QLatin1String("ispreferredname"));
    m_textColumns.clear();
    for (const char *column : TextColumns) {
        m_textColumns.append(table.columnIndex(QLatin1String(column)));
    }
    bindFields(table);
    return m_creationDate >= 1 && m_externalUuid >= 1 && m_isPreferredName >= 1
           && std::all_of(m_textColumns.cbegin(), m_textColumns.cend(),
                          [](int column) { return column >= 1; });
}

void ContactDbFile::ABPersonMatcher::bindFields(const TableSchema &table)
{
    m_fields.fill(nullptr, table.columns.size());
    for (const PersonField &field : PersonFields) {
        const int column = table.columnIndex(QLatin1String(field.column));
        if (column >= 0) {
            m_fields[column] = field.field;
        }
    }
    m_modificationDate = table.columnIndex(QLatin1String("modificationdate"));
}

bool ContactDbFile::ABPersonMatcher::matchHeader(const TableSchema &table, const QByteArray &region,
                                                 int anchorPos)
{
    const int columnCount = table.columns.size();
    decodeAround(region, anchorPos, m_creationDate - 1, columnCount - m_creationDate);
    if (serialTypes.size() != columnCount - 1
        || !std::all_of(m_textColumns.cbegin(), m_textColumns.cend(),
                        [this](int column) { return isTextSerialType(columnType(column), true); })
        || !isUuidSerialType(columnType(m_externalUuid), true)
        || !isBooleanSerialType(columnType(m_isPreferredName))) {
        return false;
    }
    if (columnType(m_externalUuid) != 0) {
        alignToGuid(region, bodyOffset(m_externalUuid), m_isPreferredName);
    }
    if (isCellOfOtherLayout(region)) {
        return false;
    }
    keepRowid(region);
    m_isNew = m_anchors.add(m_owner->regionOffset() + anchorPos);
    return true;
}

void ContactDbFile::ABPersonMatcher::extractRecord(const TableSchema &table,
                                                   const QByteArray &payload, bool isDeleted,
                                                   int limit)
{
    NumberedMatcher::extractRecord(table, payload, isDeleted, limit);
    m_isHeldNew = m_isNew;
}

void ContactDbFile::ABPersonMatcher::readRow(const TableSchema &, const Row &row)
{
    if (!m_isHeldNew) {
        number(nullptr, row);
        return;
    }
    CarvedPerson carved;
    RecordFields fields = fieldsOf(row);
    while (fields.nextOfAll()) {
        const int column = fields.index() + 1;
        if (const Field field = m_fields.at(column)) {
            carved.person.*field =
                field == &PersonRecord::note ? fields.textBeforeLimit() : fields.uncoveredText();
        } else if (column == m_modificationDate) {
            carved.person.modificationDate = qint32(fields.uncoveredInteger());
        }
    }
    if (isCut(row, fields)) {
        return;
    }
    const bool isNoteDamaged = row.isRebuilt && cutBeforeDamage(&carved.person.note);
    carved.isIncomplete = fields.isCovered() || fields.isCut() || isNoteDamaged;
    carved.rowid = keptRowid();
    m_owner->m_carved.persons.push_back(carved);
    // A row that another one covers is not in sequence with its neighbours any more.
    if (!carved.isIncomplete) {
        number(&m_owner->m_carved.persons.back().rowid, row);
    }
}

void ContactDbFile::ABPersonMatcher::startSecondSearch()
{
    finish();
    m_anchors.startSecondSearch();
}

ContactDbFile::ABMultivalueMatcher::ABMultivalueMatcher(ContactDbFile *recoverer)
    : NumberedMatcher(recoverer->m_liveValueIds)
    , m_owner(recoverer)
{
    owner = recoverer;
    signatures = matchersOf(ValueSignatures);
}

bool ContactDbFile::ABMultivalueMatcher::bindColumns(const TableSchema &table)
{
    m_property = table.columnIndex(QLatin1String("property"));
    return m_property >= 1;
}

bool ContactDbFile::ABMultivalueMatcher::matchHeader(const TableSchema &table,
                                                     const QByteArray &region, int anchorPos)
{
    const int columnCount = table.columns.size();
    const int record = m_property - 1;
    const int label = m_property + 2;
    const int value = m_property + 3;
    if (record < 1 || value >= columnCount) {
        return false;
    }
    decodeAround(region, anchorPos, m_property - 1, columnCount - m_property);
    if (serialTypes.size() != columnCount - 1 || !isIntegerSerialType(columnType(record), false)
        || serialTypeClass(columnType(record)) == ZeroClass
        || !(columnType(label) == 0 || columnType(label) == 1 || columnType(label) == 9)
        || !isTextSerialType(columnType(value), true)) {
        return false;
    }
    keepRowid(region);
    return true;
}

void ContactDbFile::ABMultivalueMatcher::readRow(const TableSchema &table, const Row &row)
{
    CarvedMultivalue carved;
    RecordFields fields = fieldsOf(row);
    while (fields.nextOfAll()) {
        const QString &column = table.columns[fields.index() + 1].name;
        if (column == QLatin1String("record_id")) {
            carved.row.recordId = fields.uncoveredInteger();
        } else if (column == QLatin1String("property")) {
            carved.row.property = fields.uncoveredInteger();
        } else if (column == QLatin1String("identifier")) {
            carved.row.identifier = fields.uncoveredInteger();
        } else if (column == QLatin1String("label")) {
            carved.row.label = fields.uncoveredInteger();
        } else if (column == QLatin1String("value")) {
            carved.row.value = fields.uncoveredText();
        }
    }
    // Half a telephone number helps nobody.
    if (fields.isCut() || fields.isCovered()) {
        return;
    }
    // A row that is no value of any person still took a number.
    if (carved.row.recordId == 0 || carved.row.property == 0) {
        number(nullptr, row);
        return;
    }
    carved.uid = keptRowid();
    m_owner->m_carved.values.push_back(carved);
    number(&m_owner->m_carved.values.back().uid, row);
}

void ContactDbFile::ABMultivalueMatcher::inspectLiveCell(const QByteArray &region, int cellOffset)
{
    qDebug() << "live value at" << cellOffset << "of" << region.size();
}

ContactDbFile::ABMultivalueEntryMatcher::ABMultivalueEntryMatcher(ContactDbFile *recoverer)
    : m_owner(recoverer)
{
    owner = recoverer;
    signatures = matchersOf(EntrySignatures);
}

bool ContactDbFile::ABMultivalueEntryMatcher::bindColumns(const TableSchema &table)
{
    m_key = table.columnIndex(QLatin1String("key"));
    return m_key >= 1;
}

bool ContactDbFile::ABMultivalueEntryMatcher::matchHeader(const TableSchema &table,
                                                          const QByteArray &region, int anchorPos)
{
    // The table has no rowid alias: every column is stored, and the anchor is the first of them.
    constexpr int NoCellPrefix = 0;
    const int columnCount = table.columns.size();
    const int value = m_key + 1;
    if (value >= columnCount) {
        return false;
    }
    decodeAround(region, anchorPos, m_key - 1, columnCount, NoCellPrefix);
    return serialTypes.size() == columnCount && isTextSerialType(serialTypes[value], false);
}

void ContactDbFile::ABMultivalueEntryMatcher::readRow(const TableSchema &, const Row &row)
{
    // The parent is read as one byte whatever its type says: only small identifiers are believed,
    // and what follows a longer one is read one byte early.
    constexpr qint64 OneByteInteger = 1;
    const int parent = m_key - 1;
    Row read = row;
    read.serialTypes[parent] = OneByteInteger;
    MultivalueEntry entry;
    entry.isMisread = row.serialTypes[parent] != OneByteInteger;
    RecordFields fields = fieldsOf(read);
    while (fields.nextOfAll()) {
        if (fields.index() == parent) {
            entry.parentId = fields.uncoveredInteger();
        } else if (fields.index() == m_key) {
            entry.key = fields.uncoveredInteger();
        } else if (fields.index() == m_key + 1) {
            entry.value = fields.uncoveredText();
        }
    }
    if (!fields.isCut() && !fields.isCovered() && entry.parentId != 0 && !entry.value.isEmpty()
        && m_owner->m_live.entryKeys.contains(entry.key)) {
        m_owner->m_carved.entries.push_back(entry);
    }
}
