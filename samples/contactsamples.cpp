#include "samples/contactsamples.h"

#include "samples/contactgenerator.h"
#include "samples/sampledatabase.h"

#include <QHash>
#include <QSet>

namespace {

constexpr int PhoneProperty = 3;
constexpr int Added = 0;
constexpr int Changed = 1;
constexpr int Deleted = 2;

/// Writes the rows of persons and values to the tables of an address book.
class AddressBook
{
public:
    AddressBook(SampleDatabase *db, ContactLayout layout)
        : m_db(db)
        , m_layout(layout)
    {
    }

    /// Inserts the person with all that belongs to it, and gives all rows their identifiers.
    bool insert(SamplePerson *person);
    bool update(const SamplePerson &person);
    bool remove(const SamplePerson &person, bool noteRemoval);
    bool removeValue(qint64 personId, const SampleValue &value);
    bool removeEverything();
    bool insertFullText(const SamplePerson &person);
    bool removeFullText(qint64 personId);
    bool noteChange(qint64 personId, int type);
    bool begin() { return m_db->exec(QStringLiteral("BEGIN")); }
    bool commit() { return m_db->exec(QStringLiteral("COMMIT")); }

private:
    bool insertRow(const QString &table, const QVariantList &row);
    bool insertValue(qint64 personId, SampleValue *value);
    bool insertEntries(const SampleValue &value);
    bool insertSearchKey(const SamplePerson &person);
    bool deleteRow(const char *table, const char *column, qint64 id);
    qint64 wordId(const char *table, QHash<QString, qint64> *ids, const QString &word);

    SampleDatabase *m_db;
    ContactLayout m_layout;
    QHash<QString, qint64> m_labels;
    QHash<QString, qint64> m_keys;
};

bool AddressBook::insert(SamplePerson *person)
{
    QVariantList row = personRow(m_layout, *person);
    row.first() = QVariant();
    if (!begin() || !insertRow(QStringLiteral("ABPerson"), row)) {
        return false;
    }
    person->fields.rowId = m_db->lastRowid();
    for (SampleValue &value : person->values) {
        if (!insertValue(person->fields.rowId, &value)) {
            return false;
        }
    }
    return insertSearchKey(*person) && insertFullText(*person)
           && noteChange(person->fields.rowId, Added) && commit();
}

bool AddressBook::update(const SamplePerson &person)
{
    const QStringList columns = personColumns(m_layout);
    const QString update = QStringLiteral("UPDATE ABPerson SET %1=? WHERE ROWID=?")
                               .arg(columns.join(QLatin1String("=?,")));
    QVariantList values = personRow(m_layout, person).mid(1);
    values << person.fields.rowId;
    return begin() && m_db->run(update, values) && removeFullText(person.fields.rowId)
           && insertFullText(person) && noteChange(person.fields.rowId, Changed) && commit();
}

bool AddressBook::remove(const SamplePerson &person, bool noteRemoval)
{
    const qint64 id = person.fields.rowId;
    for (const SampleValue &value : person.values) {
        if (!deleteRow("ABMultiValueEntry", "parent_id", value.uid)
            || !deleteRow("ABPhoneLastFour", "multivalue_id", value.uid)) {
            return false;
        }
    }
    return deleteRow("ABMultiValue", "record_id", id)
           && deleteRow("ABPersonSearchKey", "person_id", id) && deleteRow("ABPerson", "ROWID", id)
           && (!noteRemoval || noteChange(id, Deleted));
}

bool AddressBook::removeValue(qint64 personId, const SampleValue &value)
{
    const QString note = QStringLiteral("INSERT INTO ABPersonMultiValueDeletes "
                                        "(record_id, property_id, identifier) VALUES (?,?,?)");
    return deleteRow("ABMultiValueEntry", "parent_id", value.uid)
           && deleteRow("ABPhoneLastFour", "multivalue_id", value.uid)
           && deleteRow("ABMultiValue", "UID", value.uid)
           && m_db->run(note, {personId, value.value.property, value.identifier});
}

bool AddressBook::removeEverything()
{
    return m_db->exec(QStringLiteral("DELETE FROM ABMultiValueEntry; DELETE FROM ABPhoneLastFour;"
                                     "DELETE FROM ABMultiValue; DELETE FROM ABPersonSearchKey;"
                                     "DELETE FROM ABPerson; DELETE FROM ABPersonChanges"));
}

bool AddressBook::insertFullText(const SamplePerson &person)
{
    return !hasFullText(m_layout)
           || (insertRow(QStringLiteral("ABPersonFullTextSearch_content"),
                         fullTextRow(m_layout, person))
               && insertRow(QStringLiteral("ABPersonFullTextSearch_docsize"),
                            {person.fields.rowId, QByteArray(24, '\1')}));
}

bool AddressBook::removeFullText(qint64 personId)
{
    return !hasFullText(m_layout)
           || (deleteRow("ABPersonFullTextSearch_content", "docid", personId)
               && deleteRow("ABPersonFullTextSearch_docsize", "docid", personId));
}

bool AddressBook::noteChange(qint64 personId, int type)
{
    return m_db->run(QStringLiteral("INSERT INTO ABPersonChanges (record, type) VALUES (?,?)"),
                     {personId, type});
}

bool AddressBook::insertRow(const QString &table, const QVariantList &row)
{
    QString places = QStringLiteral("?,").repeated(row.size());
    places.chop(1);
    return m_db->run(QStringLiteral("INSERT INTO %1 VALUES (%2)").arg(table, places), row);
}

bool AddressBook::insertValue(qint64 personId, SampleValue *value)
{
    const QString &label = value->value.label;
    value->labelId = label.isEmpty() ? 0 : wordId("ABMultiValueLabel", &m_labels, label);
    QVariantList row = valueRow(m_layout, personId, *value);
    row.first() = QVariant();
    if (!insertRow(QStringLiteral("ABMultiValue"), row)) {
        return false;
    }
    value->uid = m_db->lastRowid();
    return insertEntries(*value)
           && (value->value.property != PhoneProperty
               || insertRow(QStringLiteral("ABPhoneLastFour"),
                            {value->uid, value->value.value.right(4)}));
}

bool AddressBook::insertEntries(const SampleValue &value)
{
    for (const PersonValueEntry &entry : value.value.entries) {
        const qint64 key = wordId("ABMultiValueEntryKey", &m_keys, entry.key);
        if (!insertRow(QStringLiteral("ABMultiValueEntry"), {value.uid, key, entry.value})) {
            return false;
        }
    }
    return true;
}

bool AddressBook::insertSearchKey(const SamplePerson &person)
{
    const QByteArray name = person.fields.first.toUtf8() + person.fields.last.toUtf8();
    QVariantList row{person.fields.rowId, name.toHex()};
    if (m_layout != ContactLayout::Ios4) {
        row << name.left(4).toHex();
    }
    return insertRow(QStringLiteral("ABPersonSearchKey"), row);
}

bool AddressBook::deleteRow(const char *table, const char *column, qint64 id)
{
    return m_db->run(QStringLiteral("DELETE FROM %1 WHERE %2=?")
                         .arg(QLatin1String(table), QLatin1String(column)),
                     {id});
}

/// The row of a label or of a key, which is made when the word occurs for the first time.
qint64 AddressBook::wordId(const char *table, QHash<QString, qint64> *ids, const QString &word)
{
    if (!ids->contains(word) && insertRow(QString::fromLatin1(table), {word})) {
        ids->insert(word, m_db->lastRowid());
    }
    return ids->value(word);
}

/// Lives one plan through in the database, keeping the truth up to date.
class ContactPlanRunner
{
public:
    ContactPlanRunner(SampleDatabase *db, const ContactPlan &plan, ContactSample *sample)
        : m_book(db, plan.layout)
        , m_plan(plan)
        , m_sample(sample)
        , m_generator(plan.layout, plan.seed)
        , m_random(plan.seed ^ 0x5eed)
    {
    }

    bool run();

private:
    bool runPlan();
    bool insert(int count);
    bool removeAt(int index);
    bool removeFullTextOf(const SamplePerson &person);
    bool removeScattered(int percent);
    bool removeRange();
    bool removeAll();
    bool removeValues(int percent);
    bool removeValueOf(SamplePerson *person);
    bool edit(int percent);

    AddressBook m_book;
    ContactPlan m_plan;
    ContactSample *m_sample;
    ContactGenerator m_generator;
    SampleRandom m_random;
    QVector<SamplePerson> m_live;
};

bool ContactPlanRunner::run()
{
    if (!runPlan()) {
        return false;
    }
    for (const SamplePerson &person : qAsConst(m_live)) {
        m_sample->live << expectedPerson(person);
    }
    for (const SamplePerson &person : qAsConst(m_sample->deletedRows)) {
        m_sample->deleted << expectedPerson(person);
    }
    for (const SamplePerson &person : qAsConst(m_sample->deletedValueRows)) {
        m_sample->deletedValues << expectedPerson(person);
    }
    return true;
}

bool ContactPlanRunner::runPlan()
{
    if (!insert(m_plan.persons)) {
        return false;
    }
    switch (m_plan.deletion) {
    case ContactDeletion::Scattered:
        return removeScattered(30);
    case ContactDeletion::Contiguous:
        return removeRange();
    case ContactDeletion::WholeBook:
        return removeAll();
    case ContactDeletion::SingleValues:
        return removeValues(35);
    case ContactDeletion::Edited:
        return edit(30) && removeScattered(20);
    case ContactDeletion::ThenInserts:
        return removeScattered(30) && insert(m_plan.persons / 12);
    }
    return false;
}

bool ContactPlanRunner::insert(int count)
{
    for (int i = 0; i < count; ++i) {
        SamplePerson person = m_generator.next();
        if (!m_book.insert(&person)) {
            return false;
        }
        m_live << person;
    }
    return true;
}

bool ContactPlanRunner::removeAt(int index)
{
    const SamplePerson person = m_live.takeAt(index);
    m_sample->deletedRows << person;
    return m_book.begin() && m_book.remove(person, m_random.chance(70)) && removeFullTextOf(person)
           && m_book.commit();
}

/// Now and then a device forgets to take a person out of the search index.
bool ContactPlanRunner::removeFullTextOf(const SamplePerson &person)
{
    if (hasFullText(m_plan.layout) && m_random.chance(20)) {
        m_sample->hidden << expectedHiddenPerson(person);
        return true;
    }
    return m_book.removeFullText(person.fields.rowId);
}

bool ContactPlanRunner::removeScattered(int percent)
{
    for (int left = m_live.size() * percent / 100; left > 0; --left) {
        if (!removeAt(m_random.number(0, m_live.size()))) {
            return false;
        }
    }
    return true;
}

bool ContactPlanRunner::removeRange()
{
    const int first = m_live.size() / 3;
    for (int left = m_live.size() / 3; left > 0; --left) {
        if (!removeAt(first)) {
            return false;
        }
    }
    return true;
}

bool ContactPlanRunner::removeAll()
{
    m_sample->deletedRows << m_live;
    m_live.clear();
    if (!m_book.begin() || !m_book.removeEverything()) {
        return false;
    }
    for (const SamplePerson &person : qAsConst(m_sample->deletedRows)) {
        if (!removeFullTextOf(person)) {
            return false;
        }
    }
    return m_book.commit();
}

bool ContactPlanRunner::removeValues(int percent)
{
    for (SamplePerson &person : m_live) {
        if (!person.values.isEmpty() && m_random.chance(percent) && !removeValueOf(&person)) {
            return false;
        }
    }
    return true;
}

bool ContactPlanRunner::removeValueOf(SamplePerson *person)
{
    const SampleValue value = person->values.takeAt(m_random.number(0, person->values.size()));
    person->fields.modificationDate = m_generator.nextDate();
    SamplePerson remains = *person;
    remains.values = {value};
    m_sample->deletedValueRows << remains;
    return m_book.begin() && m_book.removeValue(person->fields.rowId, value) && m_book.commit()
           && m_book.update(*person);
}

bool ContactPlanRunner::edit(int percent)
{
    for (SamplePerson &person : m_live) {
        if (!m_random.chance(percent)) {
            continue;
        }
        m_sample->formerVersions << person.fields;
        m_generator.edit(&person.fields);
        if (!m_book.update(person)) {
            return false;
        }
    }
    return true;
}

} // namespace

QVector<ContactDeletion> allContactDeletions()
{
    return {ContactDeletion::Scattered, ContactDeletion::Contiguous,
            ContactDeletion::WholeBook, ContactDeletion::SingleValues,
            ContactDeletion::Edited,    ContactDeletion::ThenInserts};
}

QString deletionName(ContactDeletion deletion)
{
    static const char *const names[] = {"scattered",     "contiguous", "whole book",
                                        "single values", "edited",     "then inserts"};
    return QString::fromLatin1(names[int(deletion)]);
}

bool createContactTables(SampleDatabase *db, ContactLayout layout)
{
    static const int clientVersions[] = {33, 56, 83};
    for (const QString &statement : contactTables(layout)) {
        if (!db->exec(statement)) {
            return false;
        }
    }
    const QString properties =
        QStringLiteral("INSERT INTO _SqliteDatabaseProperties VALUES (?, ?)");
    const QString guid = layout == ContactLayout::Ios15 ? QStringLiteral(", guid") : QString();
    const QString store = QStringLiteral("INSERT INTO ABStore (ROWID, Name, Type, "
                                         "StoreInternalIdentifier%1) VALUES (?, ?, ?, ?%2)")
                              .arg(guid, guid.isEmpty() ? QString() : QStringLiteral(", 'store'"));
    return db->run(properties,
                   {QStringLiteral("_ClientVersion"), QString::number(clientVersions[int(layout)])})
           && db->run(store, {0, QVariant(), 0, QStringLiteral("local")});
}

bool makeContactSample(SampleDatabase *db, const ContactPlan &plan, ContactSample *sample)
{
    *sample = ContactSample();
    sample->layout = plan.layout;
    return createContactTables(db, plan.layout) && ContactPlanRunner(db, plan, sample).run();
}
