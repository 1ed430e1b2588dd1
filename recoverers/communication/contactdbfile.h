#pragma once

#include "engine/sqlitedbfile.h"
#include "recoverers/communication/addressbook.h"

/// Recovers deleted contacts from an address book: carves persons, their values (numbers, addresses
/// and so on) and the parts of values, and joins them with each other and with the live rows.
class ContactDbFile : public SqliteDbFile
{
    Q_OBJECT
public:
    class ABPersonMatcher;          ///< rows of "abperson"
    class ABMultivalueMatcher;      ///< rows of "abmultivalue"
    class ABMultivalueEntryMatcher; ///< rows of "abmultivalueentry"

    explicit ContactDbFile(QObject *parent = nullptr);
    ~ContactDbFile() override;

    /// A scan that is stopped delivers what was found until then.
    int scanDeletedRecords(SqliteRecovery *resultHolder) override;

private:
    void carve();
    bool carvePersons(double span);
    bool carveValues(double span);
    bool carveEntries(double span);

    LiveAddressBook m_live;
    QVector<qint64> m_livePersonIds; ///< ascending
    QVector<qint64> m_liveValueIds;  ///< ascending
    CarvedAddressBook m_carved;
};
