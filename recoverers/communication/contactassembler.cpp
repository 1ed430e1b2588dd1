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

/// False for texts that nobody can have written: bytes of something else that happened to fit.
bool isReadable(const QString &text)
{
    const auto isControl = [](QChar c) {
        return c.category() == QChar::Other_Control && !c.isSpace();
    };
    return text.isEmpty()
           || (isPlausibleText(text) && std::none_of(text.cbegin(), text.cend(), isControl));
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

/// The persons, in the order found, each once.
class PersonCollector
{
public:
    explicit PersonCollector(const LiveAddressBook &live)
        : m_live(live)
    {
        for (const PersonRecord &person : live.persons) {
            m_liveContents.insert(contentKey(person));
        }
    }

    void add(const CarvedPerson &carved);
    QVector<PersonRecord> &persons() { return m_persons; }
    /// The persons that values can belong to, by row identifier: of several versions of a person
    /// the last one. Forgets concluded identifiers that turn out to be somebody else's.
    QHash<qint64, int> owners();

private:
    CarvedRowid believedRowid(const CarvedPerson &carved) const;
    bool isCopyOfLive(const CarvedPerson &carved, const CarvedRowid &rowid,
                      const QString &content) const;
    bool isKnown(const CarvedRowid &rowid, const QString &content);
    bool isBetterOwner(int place, int known) const;

    const LiveAddressBook &m_live;
    QSet<QString> m_liveContents;
    QVector<PersonRecord> m_persons;
    QVector<bool> m_isIntact;                 ///< of the persons' row identifiers
    QHash<QString, QVector<int>> m_byContent; ///< places in m_persons
};

void PersonCollector::add(const CarvedPerson &carved)
{
    const CarvedRowid rowid = believedRowid(carved);
    const QString content = contentKey(carved.person);
    if (isCopyOfLive(carved, rowid, content) || isKnown(rowid, content)) {
        return;
    }
    m_byContent[content].append(m_persons.size());
    m_persons.append(carved.person);
    m_persons.last().rowId = rowid.value;
    m_isIntact.append(rowid.isIntact);
}

/// A concluded identifier that was never given out is wrong, and so is one of a live person who
/// shares no text at all with this one: a former version would.
CarvedRowid PersonCollector::believedRowid(const CarvedPerson &carved) const
{
    const qint64 rowid = carved.rowid.value;
    const auto live = m_live.persons.constFind(rowid);
    const bool isPossible = carved.rowid.isIntact || (rowid > 0 && rowid <= m_live.highestPersonId);
    const bool isOtherPerson = !carved.rowid.isIntact && live != m_live.persons.cend()
                               && !sharesText(*live, carved.person);
    return isPossible && !isOtherPerson ? carved.rowid : CarvedRowid();
}

/// True when every field equals a live person's. A row that is known to be of a person who is gone
/// is no copy, even if somebody of equal names still exists: people delete duplicates.
bool PersonCollector::isCopyOfLive(const CarvedPerson &carved, const CarvedRowid &rowid,
                                   const QString &content) const
{
    if (!hasText(carved.person) || !m_liveContents.contains(content)) {
        return false;
    }
    const auto live = m_live.persons.constFind(rowid.value);
    if (live != m_live.persons.cend()) {
        return !rowid.isIntact || contentKey(*live) == content;
    }
    return !rowid.isIntact && !m_live.deletedPersons.contains(rowid.value);
}

/// True when the same person was added before. Only two intact identifiers tell persons of equal
/// names apart; otherwise the better identifier is kept.
bool PersonCollector::isKnown(const CarvedRowid &rowid, const QString &content)
{
    const QVector<int> places = m_byContent.value(content);
    for (const int place : places) {
        PersonRecord &person = m_persons[place];
        if (m_isIntact[place] && rowid.isIntact && person.rowId != rowid.value) {
            continue;
        }
        if (rowid.isIntact || person.rowId == 0) {
            person.rowId = rowid.value;
            m_isIntact[place] = rowid.isIntact;
        }
        return true;
    }
    return false;
}

QHash<qint64, int> PersonCollector::owners()
{
    QHash<qint64, int> owners;
    for (int i = 0; i < m_persons.size(); ++i) {
        const qint64 rowid = m_persons[i].rowId;
        const auto known = owners.constFind(rowid);
        if (rowid != 0 && !m_live.persons.contains(rowid)
            && (known == owners.cend() || isBetterOwner(i, *known))) {
            owners.insert(rowid, i);
        }
    }
    for (int i = 0; i < m_persons.size(); ++i) {
        const int owner = owners.value(m_persons[i].rowId, i);
        if (!m_isIntact[i] && m_isIntact[owner] && !sharesText(m_persons[i], m_persons[owner])) {
            m_persons[i].rowId = 0;
        }
    }
    return owners;
}

bool PersonCollector::isBetterOwner(int place, int known) const
{
    if (m_isIntact[place] != m_isIntact[known]) {
        return m_isIntact[place];
    }
    return m_persons[place].modificationDate > m_persons[known].modificationDate;
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
        if (isReadable(value.row.value)) {
            addValue(value);
        }
    }
    for (const MultivalueEntry &entry : carved.entries) {
        if (isReadable(entry.value)) {
            addEntry(entry);
        }
    }
}

void ValueCollector::addValue(const CarvedMultivalue &carved)
{
    // A concluded identifier of a live value would take that value's parts.
    const bool isBelieved = carved.uid.isIntact || !m_live.values.contains(carved.uid.value);
    const qint64 uid = isBelieved ? carved.uid.value : 0;
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
/// when there is none. A live value with a text of its own has no parts.
int ValueCollector::valueOf(qint64 uid)
{
    const auto known = m_byUid.constFind(uid);
    if (known != m_byUid.cend()) {
        return *known;
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
    PersonCollector collector(live);
    for (const CarvedPerson &person : carved.persons) {
        collector.add(person);
    }
    QVector<PersonRecord> &persons = collector.persons();
    const QHash<qint64, int> owners = collector.owners();
    PersonList livePersons;
    PersonList nameless;
    const auto values = ValueCollector(live, carved).values();
    for (const ValueCollector::Value &value : values) {
        const auto person = live.persons.constFind(value.recordId);
        const auto owner = owners.constFind(value.recordId);
        if (person != live.persons.cend()) {
            livePersons.add(*person, value.value);
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
