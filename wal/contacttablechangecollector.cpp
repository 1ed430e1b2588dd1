#include "wal/contacttablechangecollector.h"

#include "api/walrecovery.h"
#include "recoverers/communication/contactassembler.h"
#include "wal/distinctrecords.h"

#include <algorithm>

namespace {

const QString PersonTable = QStringLiteral("abperson");
const QString ValueTable = QStringLiteral("abmultivalue");
const QString EntryTable = QStringLiteral("abmultivalueentry");
const QString LabelTable = QStringLiteral("abmultivaluelabel");
const QString KeyTable = QStringLiteral("abmultivalueentrykey");

Multivalue valueOf(const TableVersion &table, const TableRow &row)
{
    return parsed<MultivalueParser, Multivalue>(table, row);
}

MultivalueEntry partOf(const TableVersion &table, const TableRow &row)
{
    return parsed<MultivalueEntryParser, MultivalueEntry>(table, row);
}

/// True when `whole` is the value with at least these parts.
bool holds(const PersonValue &whole, const PersonValue &part)
{
    const auto isThere = [&whole](const PersonValueEntry &entry) {
        return std::any_of(whole.entries.cbegin(), whole.entries.cend(),
                           [&entry](const PersonValueEntry &other) {
                               return other.key == entry.key && other.value == entry.value;
                           });
    };
    return whole.property == part.property && whole.label == part.label && whole.value == part.value
           && std::all_of(part.entries.cbegin(), part.entries.cend(), isThere);
}

/// Takes out of recovered contacts what the last version holds under other identifiers.
class HeldContacts
{
public:
    /// `live` is borrowed.
    explicit HeldContacts(const LiveAddressBook &live);
    QVector<PersonRecord> without(const QVector<PersonRecord> &contacts) const;

private:
    static constexpr int MostNamesakes = 20; // a hostile file may hold any number

    bool hasValue(qint64 person, const PersonValue &value) const;
    bool isHeld(const PersonRecord &contact) const;

    const LiveAddressBook &m_live;
    QHash<qint64, QVector<PersonValue>> m_values; ///< by person
    QHash<QString, QVector<qint64>> m_byContent;
};

HeldContacts::HeldContacts(const LiveAddressBook &live)
    : m_live(live)
{
    QHash<qint64, QList<PersonValueEntry>> parts;
    for (const MultivalueEntry &entry : live.entries) {
        parts[entry.parentId].append({live.entryKeys.value(entry.key), entry.value});
    }
    for (auto value = live.values.cbegin(); value != live.values.cend(); ++value) {
        m_values[value->recordId].append({value->property, live.labels.value(value->label),
                                          value->value, parts.value(value.key())});
    }
    for (const PersonRecord &person : live.persons) {
        m_byContent[contentKey(person)].append(person.rowId);
    }
}

bool HeldContacts::hasValue(qint64 person, const PersonValue &value) const
{
    const auto values = m_values.constFind(person);
    return values != m_values.cend()
           && std::any_of(values->cbegin(), values->cend(),
                          [&value](const PersonValue &whole) { return holds(whole, value); });
}

/// True when the person is as the contact says, or, where that person is gone, somebody of the same
/// content has all that is left of the contact: it was put back. People delete duplicates: one who
/// had another number is lost.
bool HeldContacts::isHeld(const PersonRecord &contact) const
{
    const auto itself = m_live.persons.constFind(contact.rowId);
    if (itself != m_live.persons.cend()) {
        return contact.values.isEmpty() && contentKey(*itself) == contentKey(contact);
    }
    const QVector<qint64> twins = m_byContent.value(contentKey(contact)).mid(0, MostNamesakes);
    return std::any_of(twins.cbegin(), twins.cend(), [&](qint64 twin) {
        return std::all_of(contact.values.cbegin(), contact.values.cend(),
                           [&](const PersonValue &value) { return hasValue(twin, value); });
    });
}

QVector<PersonRecord> HeldContacts::without(const QVector<PersonRecord> &contacts) const
{
    QVector<PersonRecord> left;
    for (PersonRecord contact : contacts) {
        if (m_live.persons.contains(contact.rowId)) {
            QList<PersonValue> &values = contact.values;
            values.erase(std::remove_if(values.begin(), values.end(),
                                        [&](const PersonValue &value) {
                                            return hasValue(contact.rowId, value);
                                        }),
                         values.end());
        }
        if (!isHeld(contact)) {
            left.append(contact);
        }
    }
    return left;
}

} // namespace

void NameParser::parseColumn(QString &name, const QString &columnName, const ColumnValue &column)
{
    if (columnName == QLatin1String("value")) {
        name = column.name();
    }
}

void PartParser::parseColumn(KeyedRow<qint64, MultivalueEntry> &row, const QString &columnName,
                             const ColumnValue &column)
{
    MultivalueEntryParser().parseColumn(row.value, columnName, column);
    row.key = row.value.parentId;
}

ContactTableChangeCollector::ContactTableChangeCollector(WalRecovery *resultHolder)
    : m_resultHolder(resultHolder)
{
}

ContactTableChangeCollector::~ContactTableChangeCollector() = default;

/// Parts come before values, since they belong to the life of the value that ends with the same
/// commit.
QStringList ContactTableChangeCollector::tableNames()
{
    return {EntryTable, ValueTable, PersonTable, LabelTable, KeyTable};
}

void ContactTableChangeCollector::collectRow(const TableVersion &earlier, const TableRow &row)
{
    const QString &table = earlier.schema().name;
    if (table == PersonTable) {
        m_persons.push_back(personOf(earlier, row));
    } else if (table == ValueTable) {
        collectValue(earlier, row);
    } else if (table == EntryTable) {
        addEntry(earlier, partOf(earlier, row));
    } else if (table == LabelTable) {
        m_labels.addFormer(earlier, row);
    } else if (table == KeyTable) {
        m_keys.addFormer(earlier, row);
    }
}

void ContactTableChangeCollector::collectChangedRow(const TableVersion &earlier,
                                                    const TableRow &earlierRow,
                                                    const TableVersion &later,
                                                    const TableRow &laterRow)
{
    const QString &table = earlier.schema().name;
    if (table == PersonTable) {
        const PersonRecord person = personOf(earlier, earlierRow);
        if (contentKey(person) != contentKey(personOf(later, laterRow))) {
            m_persons.push_back(person);
        }
    } else if (table == ValueTable) {
        collectChangedValue(earlier, earlierRow, later, laterRow);
    } else if (table == EntryTable) {
        collectChangedEntry(earlier, earlierRow, later, laterRow);
    }
}

void ContactTableChangeCollector::collectValue(const TableVersion &table, const TableRow &row)
{
    m_lastNumber.insert(row.rowid, addValue(table, row.rowid, valueOf(table, row)));
    ++m_endedLives[row.rowid];
}

void ContactTableChangeCollector::collectChangedValue(const TableVersion &earlier,
                                                      const TableRow &earlierRow,
                                                      const TableVersion &later,
                                                      const TableRow &laterRow)
{
    const Multivalue row = valueOf(earlier, earlierRow);
    const Multivalue changed = valueOf(later, laterRow);
    const auto labelIn = [this](const TableVersion &table, const Multivalue &value) {
        return nameIn(table.sibling(LabelTable), value.label, &m_labels).text;
    };
    const bool isSame =
        row.recordId == changed.recordId && row.property == changed.property
        && row.value == changed.value
        && (row.label == changed.label || labelIn(earlier, row) == labelIn(later, changed));
    if (!isSame) {
        addValue(earlier, earlierRow.rowid, row);
        addParts(m_values.back());
    }
}

void ContactTableChangeCollector::collectChangedEntry(const TableVersion &earlier,
                                                      const TableRow &earlierRow,
                                                      const TableVersion &later,
                                                      const TableRow &laterRow)
{
    const MultivalueEntry row = partOf(earlier, earlierRow);
    const MultivalueEntry changed = partOf(later, laterRow);
    if (row.parentId != changed.parentId || row.key != changed.key || row.value != changed.value) {
        addEntry(earlier, row);
    }
}

/// Returns the number of the value.
qint64 ContactTableChangeCollector::addValue(const TableVersion &table, qint64 uid,
                                             const Multivalue &row)
{
    m_owners.insert(row.recordId);
    m_values.push_back({numberOf(uid, row), uid, row,
                        nameIn(table.sibling(LabelTable), row.label, &m_labels), table});
    return m_values.back().number;
}

/// Adds the parts that the value had in its version.
void ContactTableChangeCollector::addParts(const LostValue &value)
{
    if (value.row.value.isEmpty()) {
        const TableVersion table = value.version.sibling(EntryTable);
        const QVector<MultivalueEntry> parts = m_parts.find(table, value.uid);
        for (const MultivalueEntry &part : parts) {
            m_entries.push_back(entryOf(table, part));
            m_entries.back().value = value.number;
        }
    }
}

void ContactTableChangeCollector::addEntry(const TableVersion &table, const MultivalueEntry &row)
{
    LostEntry entry = entryOf(table, row);
    const TableVersion values = table.sibling(ValueTable);
    TableRow value;
    if (values.exists() && values.findRow(row.parentId, &value)) {
        const Multivalue parent = valueOf(values, value);
        entry.value = numberOf(row.parentId, parent);
        m_owners.insert(parent.recordId);
    } else {
        entry.value = m_lastNumber.value(row.parentId);
    }
    m_entries.push_back(entry);
}

ContactTableChangeCollector::LostEntry
ContactTableChangeCollector::entryOf(const TableVersion &version, const MultivalueEntry &row)
{
    LostEntry entry;
    entry.parent = row.parentId;
    entry.key = nameIn(version.sibling(KeyTable), row.key, &m_keys);
    entry.text = row.value;
    return entry;
}

ContactTableChangeCollector::Name
ContactTableChangeCollector::nameIn(const TableVersion &table, qint64 rowid, Names *names) const
{
    Name name;
    name.rowid = rowid;
    name.isKnown = rowid == 0 || names->find(table, rowid, &name.text);
    return name;
}

void ContactTableChangeCollector::findElsewhere(const QString &table, Names *names,
                                                Name *name) const
{
    if (!name->isKnown) {
        name->isKnown = names->findElsewhere({lastVersion(table), firstVersion(table)}, name->rowid,
                                             &name->text);
    }
}

/// Returns the number of what the value is in its present life.
qint64 ContactTableChangeCollector::numberOf(qint64 uid, const Multivalue &row)
{
    const QByteArray content =
        contentOf(uid, m_endedLives.value(uid), row.recordId, row.property, row.label, row.value);
    auto number = m_numbers.constFind(content);
    if (number == m_numbers.cend()) {
        number = m_numbers.insert(content, m_numbers.size() + 1);
    }
    return *number;
}

void ContactTableChangeCollector::finishCollection()
{
    TableChangeCollector::finishCollection();
    if (m_persons.empty() && m_values.empty() && m_entries.empty()) {
        return;
    }
    completeEntries();
    completeNames();
    const LiveAddressBook book = live(readLastBook(lastVersion(PersonTable), wanted()));
    LiveAddressBook names = book;
    addUnlistedPersons(&names);
    CarvedAddressBook lost = carved();
    names.labels = book.labels;
    for (auto name = m_nameNumbers.cbegin(); name != m_nameNumbers.cend(); ++name) {
        names.labels.insert(*name, name.key());
        names.entryKeys.insert(*name, name.key());
    }
    m_contacts = HeldContacts(book).without(assembleContacts(names, lost));
}

/// Adds the parts of values that went away without them.
void ContactTableChangeCollector::completeEntries()
{
    QSet<qint64> haveParts;
    for (LostEntry &entry : m_entries) {
        TableRow row;
        const TableVersion values = lastVersion(ValueTable);
        if (entry.value == 0 && values.exists() && values.findRow(entry.parent, &row)) {
            const Multivalue parent = valueOf(values, row);
            entry.value = numberOf(entry.parent, parent);
            m_owners.insert(parent.recordId);
        }
        haveParts.insert(entry.value);
    }
    for (const LostValue &value : m_values) {
        if (!haveParts.contains(value.number)) {
            addParts(value);
        }
    }
}

void ContactTableChangeCollector::completeNames()
{
    for (LostValue &value : m_values) {
        findElsewhere(LabelTable, &m_labels, &value.label);
    }
    for (LostEntry &entry : m_entries) {
        findElsewhere(KeyTable, &m_keys, &entry.key);
    }
}

WantedContacts ContactTableChangeCollector::wanted() const
{
    WantedContacts wanted;
    wanted.persons = m_owners;
    for (const PersonRecord &person : m_persons) {
        wanted.persons.insert(person.rowId);
        wanted.lost.insert(person.rowId);
        wanted.content.insert(contentKey(person));
    }
    wanted.areValuesWanted = !m_values.empty() || !m_entries.empty();
    return wanted;
}

/// Returns the last version with the numbers that are used here for values, labels and keys.
LiveAddressBook ContactTableChangeCollector::live(const LiveAddressBook &last)
{
    LiveAddressBook live;
    live.persons = last.persons;
    QHash<qint64, qint64> numbers;
    for (auto value = last.values.cbegin(); value != last.values.cend(); ++value) {
        Name label = nameIn(lastVersion(LabelTable), value->label, &m_labels);
        findElsewhere(LabelTable, &m_labels, &label);
        const qint64 number = numberOf(value.key(), *value);
        numbers.insert(value.key(), number);
        Multivalue row = *value;
        row.label = nameNumber(label.text, &live.labels);
        live.values.insert(number, row);
    }
    for (MultivalueEntry entry : last.entries) {
        Name key = nameIn(lastVersion(KeyTable), entry.key, &m_keys);
        findElsewhere(KeyTable, &m_keys, &key);
        entry.parentId = numbers.value(entry.parentId);
        entry.key = nameNumber(key.text, &live.entryKeys);
        live.entries.append(entry);
    }
    for (const qint64 owner : qAsConst(m_owners)) {
        live.highestPersonId = std::max(live.highestPersonId, owner);
    }
    return live;
}

/// Adds the persons of values who are neither there any more nor known to have gone: the scan was
/// stopped before.
void ContactTableChangeCollector::addUnlistedPersons(LiveAddressBook *live) const
{
    QSet<qint64> lost;
    for (const PersonRecord &person : m_persons) {
        lost.insert(person.rowId);
    }
    for (const LostValue &value : m_values) {
        const qint64 rowid = value.row.recordId;
        PersonRecord person;
        if (!live->persons.contains(rowid) && !lost.contains(rowid)
            && (findPerson(value.version.sibling(PersonTable), rowid, &person)
                || findPerson(firstVersion(PersonTable), rowid, &person))) {
            live->persons.insert(rowid, person);
        }
    }
}

/// Returns the lost rows, each content once: of persons as it was last, so that values come under
/// the last version of their person.
CarvedAddressBook ContactTableChangeCollector::carved()
{
    CarvedAddressBook carved;
    carved.isFromVersions = true;
    QSet<QByteArray> known;
    for (auto person = m_persons.crbegin(); person != m_persons.crend(); ++person) {
        const QByteArray content = contentOf(person->rowId, contentKey(*person));
        if (!known.contains(content)) {
            known.insert(content);
            carved.persons.push_front({{person->rowId, true, true}, *person, false});
        }
    }
    QSet<qint64> values;
    for (const LostValue &value : m_values) {
        if (!values.contains(value.number)) {
            values.insert(value.number);
            Multivalue row = value.row;
            row.label = nameNumber(value.label.text, nullptr);
            carved.values.push_back({{value.number, true, true}, row});
        }
    }
    for (const LostEntry &entry : m_entries) {
        if (!entry.text.isEmpty()) {
            carved.entries.push_back(
                {entry.value, nameNumber(entry.key.text, nullptr), entry.text});
        }
    }
    return carved;
}

/// Returns the number that stands for the text, and lists it under that number.
qint64 ContactTableChangeCollector::nameNumber(const QString &text, QHash<qint64, QString> *names)
{
    if (text.isEmpty()) {
        return 0;
    }
    auto number = m_nameNumbers.constFind(text);
    if (number == m_nameNumbers.cend()) {
        number = m_nameNumbers.insert(text, m_nameNumbers.size() + 1);
    }
    if (names) {
        names->insert(*number, text);
    }
    return *number;
}

/// The records of an earlier scan are not deleted: the caller may still hold them.
void ContactTableChangeCollector::publishResults()
{
    QList<PersonRecord *> contacts;
    for (const PersonRecord &contact : qAsConst(m_contacts)) {
        contacts.append(new PersonRecord(contact));
    }
    m_resultHolder->m_contacts = contacts;
}
