#pragma once

#include "samples/contactlayout.h"
#include "samples/samplerandom.h"

/// Makes up persons as they stand in an address book of the layout's time. Equal seeds give equal
/// persons. Row identifiers, and those of the labels, are the caller's to give.
class ContactGenerator
{
public:
    ContactGenerator(ContactLayout layout, quint32 seed);

    /// The next person; it was changed later than every one before.
    SamplePerson next();
    /// Changes some of what the person's row holds, with a new date of change.
    void edit(PersonRecord *fields);
    /// A date of change later than any before.
    qint32 nextDate();

private:
    void addNames(SamplePerson *person);
    void addDetails(SamplePerson *person);
    void addNote(PersonRecord *fields);
    void addOrigin(SamplePerson *person);
    void addValues(SamplePerson *person);
    void addValue(SamplePerson *person, int property, const QString &label, const QString &text);
    void addParts(SamplePerson *person, int property, const QString &label,
                  const QList<PersonValueEntry> &parts);
    void addAddress(SamplePerson *person);
    void addProfiles(SamplePerson *person);
    QString telephoneNumber();
    QString words(int size);

    ContactLayout m_layout;
    SampleRandom m_random;
    qint32 m_date;
    int m_count = 0;
};
