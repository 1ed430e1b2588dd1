#pragma once

#include "wal/lastaddressbook.h"
#include "wal/tablechangecollector.h"
#include "wal/versionedrows.h"

#include <QHash>
#include <QSet>

#include <deque>

class WalRecovery;

/// A text of the tables of labels and of keys of parts.
class NameParser : public RecordParser<QString>
{
public:
    void parseColumn(QString &name, const QString &columnName, const ColumnValue &column) override;
};

/// Parts by their value.
class PartParser : public RecordParser<KeyedRow<qint64, MultivalueEntry>>
{
public:
    void parseColumn(KeyedRow<qint64, MultivalueEntry> &row, const QString &columnName,
                     const ColumnValue &column) override;
};

/// Makes contacts of the rows of an address book, which take the place of those that the facade
/// has. A person of whom only the date of change differs has not changed.
///
/// Identifiers of values are given out again once the value is gone. Therefore each content that a
/// value had in one of its lives has a number here, and parts are joined with that.
class ContactTableChangeCollector : public TableChangeCollector
{
public:
    /// Borrows the facade, whose array receives the records.
    explicit ContactTableChangeCollector(WalRecovery *resultHolder);
    ~ContactTableChangeCollector() override;

    QStringList tableNames() override;
    void collectRow(const TableVersion &earlier, const TableRow &row) override;
    void collectChangedRow(const TableVersion &earlier, const TableRow &earlierRow,
                           const TableVersion &later, const TableRow &laterRow) override;
    void finishCollection() override;
    void publishResults() override;

private:
    using Names = IdentifiedRows<NameParser, QString>;

    /// A name that a row refers to by number.
    struct Name
    {
        qint64 rowid = 0;
        bool isKnown = false;
        QString text;
    };

    struct LostValue
    {
        qint64 number = 0;
        qint64 uid = 0;
        Multivalue row;
        Name label;
        TableVersion version; ///< of the table
    };

    struct LostEntry
    {
        qint64 value = 0;  ///< its number; 0 while not known
        qint64 parent = 0; ///< its identifier
        Name key;
        QString text;
    };

    void collectValue(const TableVersion &table, const TableRow &row);
    void collectChangedValue(const TableVersion &earlier, const TableRow &earlierRow,
                             const TableVersion &later, const TableRow &laterRow);
    void collectChangedEntry(const TableVersion &earlier, const TableRow &earlierRow,
                             const TableVersion &later, const TableRow &laterRow);
    qint64 addValue(const TableVersion &table, qint64 uid, const Multivalue &row);
    void addParts(const LostValue &value);
    void addEntry(const TableVersion &table, const MultivalueEntry &row);
    LostEntry entryOf(const TableVersion &version, const MultivalueEntry &row);
    Name nameIn(const TableVersion &table, qint64 rowid, Names *names) const;
    void findElsewhere(const QString &table, Names *names, Name *name) const;
    qint64 numberOf(qint64 uid, const Multivalue &row);

    void completeNames();
    void completeEntries();
    WantedContacts wanted() const;
    LiveAddressBook live(const LiveAddressBook &last);
    void addUnlistedPersons(LiveAddressBook *live) const;
    CarvedAddressBook carved();
    qint64 nameNumber(const QString &text, QHash<qint64, QString> *names);

    WalRecovery *m_resultHolder;
    Names m_labels;
    Names m_keys;
    KeyedRows<PartParser, qint64, MultivalueEntry> m_parts;
    std::deque<PersonRecord> m_persons;
    std::deque<LostValue> m_values;
    std::deque<LostEntry> m_entries;
    QSet<qint64> m_owners;              ///< the persons of values that were met
    QHash<qint64, int> m_endedLives;    ///< by identifier of a value: how often it went away
    QHash<qint64, qint64> m_lastNumber; ///< that it had then
    QHash<QByteArray, qint64> m_numbers;
    QHash<QString, qint64> m_nameNumbers;
    QVector<PersonRecord> m_contacts;
};
