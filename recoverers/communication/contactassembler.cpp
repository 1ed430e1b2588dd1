#include "recoverers/communication/contactassembler.h"

#include "engine/fieldreader.h"

#include <algorithm>

namespace {

bool sharesText(const PersonRecord &a, const PersonRecord &b)
{
    return std::any_of(std::begin(PersonFields), std::end(PersonFields), [&](const PersonField &f) {
        return !(a.*f.field).isEmpty() && a.*f.field == b.*f.field;
    });
}

constexpr int MaxNamesakes = 20; ///< to compare with; a hostile file may hold any number of them

/// False for texts that nobody can have written: bytes of something else that happened to fit.
bool isReadable(const QString &text)
{
    return text.isEmpty() || (isPlausibleText(text) && !hasUnwritableCharacters(text));
}

/// False for a person with a field that nobody can have written: the row was read from a wrong
/// place. Notes are left out, since they may be damaged in the middle.
bool isWritten(const PersonRecord &person)
{
    return std::none_of(
        std::begin(PersonFields), std::end(PersonFields), [&person](const PersonField &f) {
            return f.field != &PersonRecord::note && hasUnwritableCharacters(person.*f.field);
        });
}

QString entryKey(const MultivalueEntry &entry)
{
    return QStringLiteral("%1|%2|").arg(entry.parentId).arg(entry.key) + entry.value;
}

QString valueKey(const Multivalue &row)
{
    return QStringLiteral("%1|%2|%3|").arg(row.recordId).arg(row.property).arg(row.label)
           + row.value;
}

QString valueKey(const PersonValue &value)
{
    QString key = QString::number(value.property) + QLatin1Char('|') + value.label
                  + QLatin1Char('|') + value.value;
    for (const PersonValueEntry &entry : value.entries) {
        key += QLatin1Char('|') + entry.key + QLatin1Char('|') + entry.value;
    }
    return key;
}

/// True when nothing stands in `part` but what `whole` has as well, texts perhaps cut.
bool isPartOf(const PersonRecord &part, const PersonRecord &whole)
{
    return std::all_of(std::begin(PersonFields), std::end(PersonFields), [&](const PersonField &f) {
        return (whole.*f.field).startsWith(part.*f.field);
    });
}

QString nameKey(const PersonRecord &person)
{
    return person.first + QLatin1Char('|') + person.last + QLatin1Char('|') + person.organization;
}

/// The persons, in the order found, each once.
class PersonCollector
{
public:
    PersonCollector(const LiveAddressBook &live, const CarvedAddressBook &carved);

    QVector<PersonRecord> persons() const;
    /// The places of the persons to whom values can belong, by row identifier: of several versions
    /// of a person the last one.
    const QHash<qint64, int> &owners() const { return m_owners; }

private:
    struct Found
    {
        PersonRecord person;
        bool isIntact; ///< the row identifier is
        int order;
    };
    void add(const CarvedPerson &carved, int order);
    void addIncomplete(const CarvedPerson &carved, int order);
    void append(const CarvedPerson &carved, const CarvedRowid &rowid, int order);
    void findOwners();
    void forgetWrongRowids();
    CarvedRowid believedRowid(const CarvedPerson &carved) const;
    bool isCopyOfLive(const CarvedPerson &carved, const CarvedRowid &rowid,
                      const QString &content) const;
    bool isKnown(const CarvedPerson &carved, const CarvedRowid &rowid, const QString &content);
    bool isSamePerson(const Found &known, const CarvedPerson &carved,
                      const CarvedRowid &rowid) const;
    bool isBetterOwner(const Found &found, const Found &known) const;

    const LiveAddressBook &m_live;
    const bool m_isFromVersions;
    QHash<QString, QSet<qint32>> m_liveContents; ///< their dates of change
    QMultiHash<QString, const PersonRecord *> m_liveNames;
    QVector<Found> m_found;
    QHash<QString, QVector<int>> m_byContent; ///< places in m_found
    QHash<QString, QVector<int>> m_byName;
    QHash<qint64, int> m_owners;
};

PersonCollector::PersonCollector(const LiveAddressBook &live, const CarvedAddressBook &carved)
    : m_live(live)
    , m_isFromVersions(carved.isFromVersions)
{
    for (const PersonRecord &person : live.persons) {
        m_liveContents[contentKey(person)].insert(person.modificationDate);
        m_liveNames.insert(nameKey(person), &person);
    }
    int order = 0;
    for (const CarvedPerson &person : carved.persons) {
        ++order;
        if (!person.isIncomplete && (m_isFromVersions || isWritten(person.person))) {
            add(person, order);
        }
    }
    order = 0;
    for (const CarvedPerson &person : carved.persons) {
        ++order;
        if (person.isIncomplete && isWritten(person.person)) {
            addIncomplete(person, order);
        }
    }
    std::sort(m_found.begin(), m_found.end(),
              [](const Found &a, const Found &b) { return a.order < b.order; });
    findOwners();
    forgetWrongRowids();
}

QVector<PersonRecord> PersonCollector::persons() const
{
    QVector<PersonRecord> persons;
    for (const Found &found : m_found) {
        persons.append(found.person);
    }
    return persons;
}

void PersonCollector::add(const CarvedPerson &carved, int order)
{
    const CarvedRowid rowid = believedRowid(carved);
    const QString content = contentKey(carved.person);
    if (!isCopyOfLive(carved, rowid, content)
        && (m_isFromVersions || !isKnown(carved, rowid, content))) {
        append(carved, rowid, order);
    }
}

/// Adds a person of whom something is missing, unless somebody known of that name has all that is
/// there.
void PersonCollector::addIncomplete(const CarvedPerson &carved, int order)
{
    const QString name = nameKey(carved.person);
    const auto live = m_liveNames.equal_range(name);
    int compared = 0;
    for (auto it = live.first; it != live.second && compared < MaxNamesakes; ++it, ++compared) {
        if (isPartOf(carved.person, **it)) {
            return;
        }
    }
    const QVector<int> places = m_byName.value(name).mid(0, MaxNamesakes);
    for (const int place : places) {
        if (isPartOf(carved.person, m_found[place].person)) {
            return;
        }
    }
    add(carved, order);
}

void PersonCollector::append(const CarvedPerson &carved, const CarvedRowid &rowid, int order)
{
    m_byContent[contentKey(carved.person)].append(m_found.size());
    m_byName[nameKey(carved.person)].append(m_found.size());
    m_found.append({carved.person, rowid.isIntact, order});
    m_found.last().person.rowId = rowid.value;
}

/// A concluded identifier that was never given out is wrong, and so is one of a live person who
/// shares no text at all with this one: a former version would.
CarvedRowid PersonCollector::believedRowid(const CarvedPerson &carved) const
{
    const qint64 rowid = carved.rowid.believed();
    const auto live = m_live.persons.constFind(rowid);
    const bool isPossible = carved.rowid.isIntact || (rowid > 0 && rowid <= m_live.highestPersonId);
    const bool isOtherPerson = !carved.rowid.isIntact && live != m_live.persons.cend()
                               && !sharesText(*live, carved.person);
    return isPossible && !isOtherPerson ? carved.rowid : CarvedRowid();
}

/// True when every field equals a live person's. A row that is known to be of a person who is gone
/// is no copy, even if somebody of equal names still exists: people delete duplicates. Against an
/// identifier that was merely concluded stands an equal date of change; where there is no date, the
/// database's own list of deleted persons decides.
bool PersonCollector::isCopyOfLive(const CarvedPerson &carved, const CarvedRowid &rowid,
                                   const QString &content) const
{
    const auto dates = m_liveContents.constFind(content);
    if (!hasText(carved.person) || dates == m_liveContents.cend()) {
        return false;
    }
    const auto live = m_live.persons.constFind(rowid.value);
    if (rowid.isIntact) {
        return live != m_live.persons.cend() && contentKey(*live) == content;
    }
    if (rowid.value == 0 || live != m_live.persons.cend()) {
        return true;
    }
    const qint32 date = carved.person.modificationDate;
    return date != 0 ? dates->contains(date) : !m_live.deletedPersons.contains(rowid.value);
}

/// True when the same person was added before; the better identifier is kept.
bool PersonCollector::isKnown(const CarvedPerson &carved, const CarvedRowid &rowid,
                              const QString &content)
{
    const QVector<int> places = m_byContent.value(content).mid(0, MaxNamesakes);
    for (const int place : places) {
        Found &known = m_found[place];
        if (!isSamePerson(known, carved, rowid)) {
            continue;
        }
        if (rowid.isIntact || known.person.rowId == 0) {
            known.person.rowId = rowid.value;
            known.isIntact = rowid.isIntact;
        }
        return true;
    }
    return places.size() == MaxNamesakes;
}

/// Persons of equal names are two when their identifiers differ. A copy of a row has its date of
/// change; where that is the same, an identifier that was merely concluded tells nothing.
bool PersonCollector::isSamePerson(const Found &known, const CarvedPerson &carved,
                                   const CarvedRowid &rowid) const
{
    const qint64 knownId = known.person.rowId;
    if (rowid.value == 0 || knownId == 0 || rowid.value == knownId) {
        return true;
    }
    const bool isProven = rowid.isIntact && known.isIntact;
    return !isProven && known.person.modificationDate == carved.person.modificationDate;
}

void PersonCollector::findOwners()
{
    for (int i = 0; i < m_found.size(); ++i) {
        const qint64 rowid = m_found[i].person.rowId;
        const auto known = m_owners.constFind(rowid);
        if (rowid != 0 && !m_live.persons.contains(rowid)
            && (known == m_owners.cend() || isBetterOwner(m_found[i], m_found[*known]))) {
            m_owners.insert(rowid, i);
        }
    }
}

bool PersonCollector::isBetterOwner(const Found &found, const Found &known) const
{
    if (m_isFromVersions) {
        return found.order > known.order;
    }
    if (found.isIntact != known.isIntact) {
        return found.isIntact;
    }
    return found.person.modificationDate > known.person.modificationDate;
}

/// Forgets concluded identifiers that are certainly somebody else's.
void PersonCollector::forgetWrongRowids()
{
    for (int i = 0; i < m_found.size(); ++i) {
        Found &found = m_found[i];
        const Found &owner = m_found[m_owners.value(found.person.rowId, i)];
        if (!found.isIntact && owner.isIntact && !sharesText(found.person, owner.person)) {
            found.person.rowId = 0;
        }
    }
}

/// The values, each once, with their parts.
class ValueCollector
{
public:
    ValueCollector(const LiveAddressBook &live, const CarvedAddressBook &carved);

    struct Value
    {
        qint64 recordId;
        PersonValue value;
    };
    /// Values without text and without parts are left out: nothing of them was recovered.
    QVector<Value> values() const;

private:
    void addValue(const CarvedMultivalue &carved);
    void addEntry(const MultivalueEntry &entry);
    int valueOf(qint64 uid);
    int append(const Multivalue &row);
    bool hasLiveCopy(const Multivalue &row) const { return m_liveValues.contains(valueKey(row)); }

    const LiveAddressBook &m_live;
    QSet<QString> m_liveValues;
    QSet<QString> m_seenEntries;
    QVector<Value> m_values;
    QHash<qint64, int> m_byUid;
    QSet<qint64> m_intactUids;
};

ValueCollector::ValueCollector(const LiveAddressBook &live, const CarvedAddressBook &carved)
    : m_live(live)
{
    for (const Multivalue &row : live.values) {
        m_liveValues.insert(valueKey(row));
    }
    for (const MultivalueEntry &entry : live.entries) {
        m_seenEntries.insert(entryKey(entry)); // so that copies of live ones count as seen
    }
    for (const CarvedMultivalue &value : carved.values) {
        if (carved.isFromVersions || isReadable(value.row.value)) {
            addValue(value);
        }
    }
    for (const MultivalueEntry &entry : carved.entries) {
        if (carved.isFromVersions || (!entry.isMisread && isReadable(entry.value))) {
            addEntry(entry);
        }
    }
}

void ValueCollector::addValue(const CarvedMultivalue &carved)
{
    // A concluded identifier of a live value would take that value's parts.
    const bool isBelieved = carved.uid.isIntact || !m_live.values.contains(carved.uid.value);
    const qint64 uid = isBelieved ? carved.uid.believed() : 0;
    const bool hasParts = carved.row.value.isEmpty();
    // A value with parts equals every other of its kind; its identifier tells whether it lives.
    if (hasParts ? m_live.values.contains(carved.uid.value) && hasLiveCopy(carved.row)
                 : hasLiveCopy(carved.row)) {
        return;
    }
    if (uid == 0) {
        append(carved.row);
        return;
    }
    // Of two rows with one identifier the one that really holds it takes the parts.
    const int place = append(carved.row);
    if (!m_byUid.contains(uid) || (carved.uid.isIntact && !m_intactUids.contains(uid))) {
        m_byUid.insert(uid, place);
    }
    if (carved.uid.isIntact) {
        m_intactUids.insert(uid);
    }
}

int ValueCollector::append(const Multivalue &row)
{
    PersonValue value;
    value.property = row.property;
    value.label = m_live.labels.value(row.label);
    value.value = row.value;
    m_values.append({row.recordId, value});
    return m_values.size() - 1;
}

void ValueCollector::addEntry(const MultivalueEntry &entry)
{
    const QString key = entryKey(entry);
    if (m_seenEntries.contains(key)) {
        return;
    }
    m_seenEntries.insert(key);
    const int place = valueOf(entry.parentId);
    if (place >= 0) {
        m_values[place].value.entries.append({m_live.entryKeys.value(entry.key), entry.value});
    }
}

/// The place of the value `uid`, which a live value takes when one of its parts was recovered; -1
/// when there is none. A value with a text of its own has no parts.
int ValueCollector::valueOf(qint64 uid)
{
    const auto known = m_byUid.constFind(uid);
    if (known != m_byUid.cend()) {
        return m_values[*known].value.value.isEmpty() ? *known : -1;
    }
    const auto live = m_live.values.constFind(uid);
    if (live == m_live.values.cend() || !live->value.isEmpty()) {
        return -1;
    }
    return *m_byUid.insert(uid, append(*live));
}

QVector<ValueCollector::Value> ValueCollector::values() const
{
    QVector<Value> values;
    QSet<QString> seen;
    for (const Value &value : m_values) {
        if (value.value.value.isEmpty() && value.value.entries.isEmpty()) {
            continue;
        }
        const QString key =
            QString::number(value.recordId) + QLatin1Char('|') + valueKey(value.value);
        if (!seen.contains(key)) {
            seen.insert(key);
            values.append(value);
        }
    }
    return values;
}

/// Persons to whom values are given one by one, in the order of their first value.
class PersonList
{
public:
    void add(const PersonRecord &person, const PersonValue &value)
    {
        auto place = m_places.constFind(person.rowId);
        if (place == m_places.cend()) {
            place = m_places.insert(person.rowId, m_persons.size());
            m_persons.append(person);
        }
        m_persons[*place].values.append(value);
    }
    const QVector<PersonRecord> &persons() const { return m_persons; }

private:
    QVector<PersonRecord> m_persons;
    QHash<qint64, int> m_places;
};

} // namespace

QVector<PersonRecord> assembleContacts(const LiveAddressBook &live, const CarvedAddressBook &carved)
{
    const PersonCollector collector(live, carved);
    QVector<PersonRecord> persons = collector.persons();
    const QHash<qint64, int> &owners = collector.owners();
    PersonList livePersons;
    PersonList nameless;
    const auto values = ValueCollector(live, carved).values();
    for (const ValueCollector::Value &value : values) {
        const auto person = live.persons.constFind(value.recordId);
        const auto owner = owners.constFind(value.recordId);
        if (person != live.persons.cend()) {
            PersonRecord names = *person;
            names.modificationDate = 0; // tells nothing of the values, which are older
            livePersons.add(names, value.value);
        } else if (owner != owners.cend()) {
            persons[*owner].values.append(value.value);
        } else if (value.recordId >= 1 && value.recordId <= live.highestPersonId) {
            PersonRecord unknown;
            unknown.rowId = value.recordId;
            nameless.add(unknown, value.value);
        }
    }
    const auto isEmpty = [](const PersonRecord &person) {
        return !hasText(person) && person.values.isEmpty();
    };
    persons.erase(std::remove_if(persons.begin(), persons.end(), isEmpty), persons.end());
    return persons + livePersons.persons() + nameless.persons();
}
