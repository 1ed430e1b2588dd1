#pragma once

#include "api/personrecord.h"
#include "recoverers/rownumbering.h"

#include <QHash>
#include <QMap>
#include <QSet>
#include <QVector>

#include <deque>

class LiveQuery;

/// A text field of a person and the column that holds it.
struct PersonField
{
    const char *column;
    QString PersonRecord::*field;
};

/// All fifteen text fields.
extern const PersonField PersonFields[15];

/// True when some text field is not empty.
bool hasText(const PersonRecord &person);

/// The text fields as one text, equal for two persons only when all fields are.
QString contentKey(const PersonRecord &person);

/// A row of the table of values. The label is a row identifier there.
struct Multivalue
{
    qint64 recordId = 0; ///< the person
    qint64 property = 0;
    qint64 identifier = 0;
    qint64 label = 0;
    QString value;
};

/// A row of the table of the parts of values. The key is a row identifier there.
struct MultivalueEntry
{
    qint64 parentId = 0; ///< the value
    qint64 key = 0;
    QString value;
    /// The parent takes more than the one byte that was read: the entry is not the one that it
    /// seems to be.
    bool isMisread = false;
};

/// What of an address book still exists; by row identifier unless said otherwise.
struct LiveAddressBook
{
    QHash<qint64, QString> entryKeys;
    QHash<qint64, QString> labels;
    QMap<qint64, PersonRecord> persons; ///< without values
    QMap<qint64, Multivalue> values;
    QVector<MultivalueEntry> entries;
    qint64 highestPersonId = 0;  ///< the highest identifier ever given to a person
    QSet<qint64> deletedPersons; ///< those that the database itself records as deleted
};

/// Reads what can be read of it. A statement that fails leaves its collection empty.
LiveAddressBook readAddressBook(LiveQuery &query);

struct CarvedPerson
{
    CarvedRowid rowid;
    PersonRecord person;       ///< without row identifier and values
    bool isIncomplete = false; ///< some field could not be read, or not to its end
};

struct CarvedMultivalue
{
    CarvedRowid uid;
    Multivalue row;
};

/// The carved rows of an address book in the order found. Rows stay where they are.
struct CarvedAddressBook
{
    std::deque<CarvedPerson> persons;
    std::deque<CarvedMultivalue> values;
    std::deque<MultivalueEntry> entries;
    /// The rows come whole from versions of the database, each content once: nothing is damaged and
    /// nothing is a guess. Of several versions of a person the last one is the latest.
    bool isFromVersions = false;
};
