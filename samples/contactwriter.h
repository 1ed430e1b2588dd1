#pragma once

#include "samples/contactlayout.h"

class SampleDatabase;

/// Does to an address book what a device does to it. Operations return false when SQLite refuses a
/// step.
class ContactWriter
{
public:
    /// `db` is borrowed.
    ContactWriter(SampleDatabase *db, ContactLayout layout)
        : m_db(db)
        , m_layout(layout)
    {
    }

    /// Makes the tables and indexes in the empty database.
    bool createTables();
    /// Inserts the person with all that belongs to it, in one transaction, and gives all rows their
    /// identifiers.
    bool insert(SamplePerson *person);
    /// Writes the person's row anew, in one transaction.
    bool update(const SamplePerson &person);
    /// Deletes the person with all that belongs to it but the search index; `noteRemoval` tells
    /// whether the deletion is written down for the next synchronization.
    bool remove(const SamplePerson &person, bool noteRemoval);
    bool removeFullText(qint64 personId);
    bool removeValue(qint64 personId, const SampleValue &value);
    /// Empties the tables of persons and values.
    bool removeEverything();
    bool begin();
    bool commit();

private:
    bool insertFullText(const SamplePerson &person);
    bool noteChange(qint64 personId, int type);
    bool insertRow(const QString &table, const QVariantList &row);
    bool insertValue(qint64 personId, SampleValue *value);
    bool insertEntries(const SampleValue &value);
    bool insertSearchKey(const SamplePerson &person);
    bool deleteRow(const char *table, const char *column, qint64 id);
    qint64 wordId(const char *table, const QString &word);

    SampleDatabase *m_db;
    ContactLayout m_layout;
};
