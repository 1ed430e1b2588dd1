#pragma once

#include "api/sqliterecovery.h"

/// Returns the contacts that the object holds; those of a scan when it has made one only.
inline QVector<PersonRecord> contactsOf(SqliteRecovery *recovery)
{
    QVector<PersonRecord> contacts;
    for (unsigned i = 0; i < recovery->getContactCount(); ++i) {
        contacts << *recovery->getContact(i);
    }
    return contacts;
}

inline QVector<PersonRecord> hiddenContactsOf(SqliteRecovery *recovery)
{
    QVector<PersonRecord> contacts;
    for (unsigned i = 0; i < recovery->getHiddenContactCount(); ++i) {
        contacts << *recovery->getHiddenContact(i);
    }
    return contacts;
}

/// Returns the deleted contacts that the public interface finds in the file. Inline, so that the
/// sample library itself does not need the library under test.
inline QVector<PersonRecord> scanContacts(const QString &path)
{
    SqliteRecovery recovery;
    recovery.scanRecoveryForType(ScanTypeContacts, path, nullptr);
    return contactsOf(&recovery);
}
