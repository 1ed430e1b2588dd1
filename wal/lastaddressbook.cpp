#include "wal/lastaddressbook.h"

#include <algorithm>

namespace {

const QString ValueTable = QStringLiteral("abmultivalue");
const QString EntryTable = QStringLiteral("abmultivalueentry");

/// Returns true when some person who was lost is not there any more.
bool readPersons(const TableVersion &table, const WantedContacts &wanted, LiveAddressBook *book)
{
    for (const qint64 rowid : wanted.persons) {
        PersonRecord person;
        if (findPerson(table, rowid, &person)) {
            book->persons.insert(rowid, person);
        }
    }
    return std::any_of(wanted.lost.cbegin(), wanted.lost.cend(),
                       [book](qint64 rowid) { return !book->persons.contains(rowid); });
}

void readTwins(const TableVersion &table, const WantedContacts &wanted, LiveAddressBook *book)
{
    table.forEachRow([&](const TableRow &row) {
        const PersonRecord person = personOf(table, row);
        if (wanted.content.contains(contentKey(person))) {
            book->persons.insert(row.rowid, person);
        }
        return true;
    });
}

/// Returns true when some value consists of parts.
bool readValues(const TableVersion &table, const WantedContacts &wanted, LiveAddressBook *book)
{
    bool haveParts = false;
    MultivalueParser parser;
    table.forEachRow([&](const TableRow &row) {
        Multivalue value;
        parseRow(parser, table, row, &value);
        if (wanted.persons.contains(value.recordId) || book->persons.contains(value.recordId)) {
            book->values.insert(row.rowid, value);
            haveParts = haveParts || value.value.isEmpty();
        }
        return true;
    });
    return haveParts;
}

void readEntries(const TableVersion &table, LiveAddressBook *book)
{
    MultivalueEntryParser parser;
    table.forEachRow([&](const TableRow &row) {
        MultivalueEntry entry;
        parseRow(parser, table, row, &entry);
        if (book->values.contains(entry.parentId)) {
            book->entries.append(entry);
        }
        return true;
    });
}

} // namespace

void PersonParser::parseColumn(PersonRecord &person, const QString &columnName,
                               const ColumnValue &column)
{
    if (columnName == QLatin1String("modificationdate")) {
        person.modificationDate = qint32(column.integer());
        return;
    }
    for (const PersonField &field : PersonFields) {
        if (columnName == QLatin1String(field.column)) {
            person.*field.field = column.text();
            return;
        }
    }
}

void MultivalueParser::parseColumn(Multivalue &row, const QString &columnName,
                                   const ColumnValue &column)
{
    if (columnName == QLatin1String("record_id")) {
        row.recordId = column.integer();
    } else if (columnName == QLatin1String("property")) {
        row.property = column.integer();
    } else if (columnName == QLatin1String("identifier")) {
        row.identifier = column.integer();
    } else if (columnName == QLatin1String("label")) {
        row.label = column.integer();
    } else if (columnName == QLatin1String("value")) {
        row.value = column.text();
    }
}

void MultivalueEntryParser::parseColumn(MultivalueEntry &row, const QString &columnName,
                                        const ColumnValue &column)
{
    if (columnName == QLatin1String("parent_id")) {
        row.parentId = column.integer();
    } else if (columnName == QLatin1String("key")) {
        row.key = column.integer();
    } else if (columnName == QLatin1String("value")) {
        row.value = column.text();
    }
}

PersonRecord personOf(const TableVersion &table, const TableRow &row)
{
    PersonParser parser;
    PersonRecord person;
    parseRow(parser, table, row, &person);
    person.rowId = row.rowid;
    return person;
}

bool findPerson(const TableVersion &table, qint64 rowid, PersonRecord *person)
{
    TableRow row;
    if (!table.exists() || !table.findRow(rowid, &row)) {
        return false;
    }
    *person = personOf(table, row);
    return true;
}

LiveAddressBook readLastBook(const TableVersion &persons, const WantedContacts &wanted)
{
    LiveAddressBook book;
    if (!persons.exists()) {
        return book;
    }
    if (readPersons(persons, wanted, &book)) {
        readTwins(persons, wanted, &book);
    }
    const TableVersion values = persons.sibling(ValueTable);
    if (wanted.areValuesWanted && values.exists() && readValues(values, wanted, &book)) {
        const TableVersion entries = persons.sibling(EntryTable);
        if (entries.exists()) {
            readEntries(entries, &book);
        }
    }
    return book;
}
