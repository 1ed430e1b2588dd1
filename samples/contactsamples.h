#pragma once

#include "samples/contactlayout.h"

class SampleDatabase;

/// In which way contacts get lost.
enum class ContactDeletion {
    Scattered,    ///< single persons with all that belongs to them
    Contiguous,   ///< one range of persons
    WholeBook,    ///< every table emptied in one statement
    SingleValues, ///< a number, an address and so on of persons who stay
    Edited,       ///< persons' rows are rewritten, and some of all persons deleted afterwards
    ThenInserts,  ///< single persons, whose space new ones then partly take
};

/// What to put into a sample.
struct ContactPlan
{
    ContactLayout layout = ContactLayout::Ios15;
    ContactDeletion deletion = ContactDeletion::Scattered;
    int persons = 120;
    quint32 seed = 1;
};

/// The truth about a sample database.
struct ContactSample
{
    ContactLayout layout = ContactLayout::Ios15;
    QVector<PersonRecord> deleted;        ///< with all their values
    QVector<PersonRecord> live;           ///< with the values that are left
    QVector<PersonRecord> formerVersions; ///< persons before their row was rewritten; no values
    QVector<PersonRecord> hidden;         ///< deleted persons whom the search index still lists
    QVector<PersonRecord> deletedValues;  ///< live persons with only what was deleted of them
    /// The rows of `deleted` and `deletedValues`, in the same order.
    QVector<SamplePerson> deletedRows;
    QVector<SamplePerson> deletedValueRows;
};

QVector<ContactDeletion> allContactDeletions();
QString deletionName(ContactDeletion deletion);

/// Makes the tables, and lives the plan through, every step a transaction of its own as on a
/// device. Returns false when SQLite refuses a step.
bool makeContactSample(SampleDatabase *db, const ContactPlan &plan, ContactSample *sample);
