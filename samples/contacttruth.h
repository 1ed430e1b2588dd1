#pragma once

#include "samples/contactsamples.h"

/// How many of some kind of thing were deleted, and what became of them.
struct ContactCount
{
    int deleted = 0;
    int refused = 0; ///< of these: such that no header test takes
    int recovered = 0;

    int missed() const { return deleted - refused - recovered; }
    void add(const ContactCount &other);
};

/// What a scan made of a sample address book.
struct ContactReport
{
    ContactCount persons;
    ContactCount values; ///< also those that came back without their person
    ContactCount parts;
    int formerVersions = 0;
    int cut = 0;           ///< recovered persons of whom some field is cut or missing
    int nameless = 0;      ///< contacts of whom only values came back
    int unknownRowids = 0; ///< recovered persons without their row identifier
    int wrongRowids = 0;   ///< recovered persons with another's
    int wrongPersons = 0;  ///< values that came back under another person
    int wrongParts = 0;    ///< parts that their value never had
    int copies = 0;        ///< persons and values that still exist
    int repeated = 0;      ///< persons and values that came back before
    int invented = 0;      ///< all else
    QStringList details;   ///< one line for each miss and for each fault

    /// What must not happen, ever.
    int faults() const { return wrongPersons + wrongParts + copies + repeated + invented; }
    void add(const ContactReport &other);
    /// The numbers in one line.
    QString summary() const;
};

/// Compares what a scan found with the truth.
ContactReport compareContacts(const ContactSample &sample, const QVector<PersonRecord> &found);

/// True when all text fields are equal; row identifier, date and values are not looked at.
bool sameTexts(const PersonRecord &a, const PersonRecord &b);

/// The person in one line, for people.
QString contactText(const PersonRecord &person);
QString contactText(const PersonValue &value);
