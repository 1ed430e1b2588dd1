#pragma once

#include "api/personrecord.h"

#include <QStringList>
#include <QVariant>
#include <QVector>

/// The generations of the address book database that differ in what a person's row holds.
enum class ContactLayout { Ios4, Ios8, Ios15 };

/// One value of a person, with what its row holds besides the value itself.
struct SampleValue
{
    qint64 uid = 0;
    int identifier = 0;
    qint64 labelId = 0; ///< row of the label; 0 stores NULL
    QString guid;
    PersonValue value;
};

/// One person with everything that any layout stores. A null text is stored as NULL.
struct SamplePerson
{
    PersonRecord fields; ///< its values stay empty: they are below
    QVector<SampleValue> values;
    int kind = 0; ///< 0 person, 1 organization
    qint32 creationDate = 0;
    int storeId = 0; ///< 0 is the device's own store
    QString compositeNameFallback;
    QString externalIdentifier;
    QString externalUuid;
    QString guid;
};

QVector<ContactLayout> allContactLayouts();
QString layoutName(ContactLayout layout);
/// True where the search index keeps its words in tables of the same file.
bool hasFullText(ContactLayout layout);
/// The statements that make all tables and indexes.
QStringList contactTables(ContactLayout layout);

/// The values of the rows in the order of their columns.
QVariantList personRow(ContactLayout layout, const SamplePerson &person);
QVariantList valueRow(ContactLayout layout, qint64 personId, const SampleValue &value);
QVariantList fullTextRow(ContactLayout layout, const SamplePerson &person);

/// Names of the person's columns behind the row identifier.
QStringList personColumns(ContactLayout layout);

/// The spelling of a telephone number that one would dial: "+" and digits.
QString dialableNumber(const QString &number);

/// What recovery is to return for the person and all its values.
PersonRecord expectedPerson(const SamplePerson &person);
/// What the search index tells of the person: no dates of change, and of its values the numbers
/// to dial and the mail addresses.
PersonRecord expectedHiddenPerson(const SamplePerson &person);

/// True for rows whose header the test of their table never takes: such a row cannot come back.
bool isRefused(const SamplePerson &person);
bool isRefused(const SampleValue &value);
/// True for values whose parts cannot come back.
bool arePartsRefused(const SampleValue &value);
