#pragma once

#include "recoverers/communication/addressbook.h"
#include "wal/recordparser.h"

/// Reads the rows of persons, but for their identifiers and values.
class PersonParser : public RecordParser<PersonRecord>
{
public:
    void parseColumn(PersonRecord &person, const QString &columnName,
                     const ColumnValue &column) override;
};

class MultivalueParser : public RecordParser<Multivalue>
{
public:
    void parseColumn(Multivalue &row, const QString &columnName,
                     const ColumnValue &column) override;
};

class MultivalueEntryParser : public RecordParser<MultivalueEntry>
{
public:
    void parseColumn(MultivalueEntry &row, const QString &columnName,
                     const ColumnValue &column) override;
};

PersonRecord personOf(const TableVersion &table, const TableRow &row);

/// Finds the person of the identifier; false when the version has none.
bool findPerson(const TableVersion &table, qint64 rowid, PersonRecord *person);

/// What of the last version of an address book is to be looked at.
struct WantedContacts
{
    QSet<qint64> persons;  ///< by identifier, with values
    QSet<qint64> lost;     ///< persons who went away or changed
    QSet<QString> content; ///< of these
    bool areValuesWanted = false;
};

/// Reads these persons, those who equal one that went away, and the values and parts of all. Labels
/// and keys are numbers of their tables' rows.
///
/// Persons are looked up by their identifier. A table is read as a whole, once, only where its rows
/// have to be found by something else.
LiveAddressBook readLastBook(const TableVersion &persons, const WantedContacts &wanted);
