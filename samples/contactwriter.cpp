#include "samples/contactwriter.h"

#include "samples/recordencoder.h"
#include "samples/sampledatabase.h"

namespace {

constexpr int PhoneProperty = 3;
constexpr int Added = 0;
constexpr int Changed = 1;
constexpr int Deleted = 2;

/// What the search index keeps of a row besides its texts: the number of words in each column.
QByteArray wordCounts(const QVariantList &row)
{
    QByteArray counts;
    for (const QVariant &text : row.mid(1)) {
        counts +=
            varint(quint64(text.toString().split(QLatin1Char(' '), Qt::SkipEmptyParts).size()));
    }
    return counts;
}

} // namespace

bool ContactWriter::createTables()
{
    static const int clientVersions[] = {33, 56, 83};
    for (const QString &statement : contactTables(m_layout)) {
        if (!m_db->exec(statement)) {
            return false;
        }
    }
    const QString properties =
        QStringLiteral("INSERT INTO _SqliteDatabaseProperties VALUES (?, ?)");
    const QString guid = m_layout == ContactLayout::Ios15 ? QStringLiteral(", guid") : QString();
    const QString store = QStringLiteral("INSERT INTO ABStore (ROWID, Name, Type, "
                                         "StoreInternalIdentifier%1) VALUES (?, ?, ?, ?%2)")
                              .arg(guid, guid.isEmpty() ? QString() : QStringLiteral(", 'store'"));
    return m_db->run(properties, {QStringLiteral("_ClientVersion"),
                                  QString::number(clientVersions[int(m_layout)])})
           && m_db->run(store, {0, QVariant(), 0, QStringLiteral("local")});
}

bool ContactWriter::begin()
{
    return m_db->exec(QStringLiteral("BEGIN"));
}

bool ContactWriter::commit()
{
    return m_db->exec(QStringLiteral("COMMIT"));
}

bool ContactWriter::insert(SamplePerson *person)
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

bool ContactWriter::update(const SamplePerson &person)
{
    const QStringList columns = personColumns(m_layout);
    const QString update = QStringLiteral("UPDATE ABPerson SET %1=? WHERE ROWID=?")
                               .arg(columns.join(QLatin1String("=?,")));
    QVariantList values = personRow(m_layout, person).mid(1);
    values << person.fields.rowId;
    return begin() && m_db->run(update, values) && removeFullText(person.fields.rowId)
           && insertFullText(person) && noteChange(person.fields.rowId, Changed) && commit();
}

bool ContactWriter::remove(const SamplePerson &person, bool noteRemoval)
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

bool ContactWriter::removeValue(qint64 personId, const SampleValue &value)
{
    const QString note = QStringLiteral("INSERT INTO ABPersonMultiValueDeletes "
                                        "(record_id, property_id, identifier) VALUES (?,?,?)");
    return deleteRow("ABMultiValueEntry", "parent_id", value.uid)
           && deleteRow("ABPhoneLastFour", "multivalue_id", value.uid)
           && deleteRow("ABMultiValue", "UID", value.uid)
           && m_db->run(note, {personId, value.value.property, value.identifier});
}

bool ContactWriter::removeEverything()
{
    return m_db->exec(QStringLiteral("DELETE FROM ABMultiValueEntry; DELETE FROM ABPhoneLastFour;"
                                     "DELETE FROM ABMultiValue; DELETE FROM ABPersonSearchKey;"
                                     "DELETE FROM ABPerson; DELETE FROM ABPersonChanges"));
}

bool ContactWriter::insertFullText(const SamplePerson &person)
{
    if (!hasFullText(m_layout)) {
        return true;
    }
    const QVariantList row = fullTextRow(m_layout, person);
    return insertRow(QStringLiteral("ABPersonFullTextSearch_content"), row)
           && insertRow(QStringLiteral("ABPersonFullTextSearch_docsize"),
                        {person.fields.rowId, wordCounts(row)});
}

bool ContactWriter::removeFullText(qint64 personId)
{
    return !hasFullText(m_layout)
           || (deleteRow("ABPersonFullTextSearch_content", "docid", personId)
               && deleteRow("ABPersonFullTextSearch_docsize", "docid", personId));
}

bool ContactWriter::noteChange(qint64 personId, int type)
{
    return m_db->run(QStringLiteral("INSERT INTO ABPersonChanges (record, type) VALUES (?,?)"),
                     {personId, type});
}

bool ContactWriter::insertRow(const QString &table, const QVariantList &row)
{
    QString places = QStringLiteral("?,").repeated(row.size());
    places.chop(1);
    return m_db->run(QStringLiteral("INSERT INTO %1 VALUES (%2)").arg(table, places), row);
}

bool ContactWriter::insertValue(qint64 personId, SampleValue *value)
{
    const QString &label = value->value.label;
    value->labelId = label.isEmpty() ? 0 : wordId("ABMultiValueLabel", label);
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

bool ContactWriter::insertEntries(const SampleValue &value)
{
    for (const PersonValueEntry &entry : value.value.entries) {
        const qint64 key = wordId("ABMultiValueEntryKey", entry.key);
        if (!insertRow(QStringLiteral("ABMultiValueEntry"), {value.uid, key, entry.value})) {
            return false;
        }
    }
    return true;
}

bool ContactWriter::insertSearchKey(const SamplePerson &person)
{
    const QByteArray name = person.fields.first.toUtf8() + person.fields.last.toUtf8();
    QVariantList row{person.fields.rowId, name.toHex()};
    if (m_layout != ContactLayout::Ios4) {
        row << name.left(4).toHex();
    }
    return insertRow(QStringLiteral("ABPersonSearchKey"), row);
}

bool ContactWriter::deleteRow(const char *table, const char *column, qint64 id)
{
    return m_db->run(QStringLiteral("DELETE FROM %1 WHERE %2=?")
                         .arg(QLatin1String(table), QLatin1String(column)),
                     {id});
}

/// The row of a label or of a key, which is made when the word occurs for the first time.
qint64 ContactWriter::wordId(const char *table, const QString &word)
{
    const QString name = QString::fromLatin1(table);
    const qint64 known =
        m_db->scalar(QStringLiteral("SELECT ROWID FROM %1 WHERE value=?").arg(name), {word})
            .toLongLong();
    return known > 0 || !insertRow(name, {word}) ? known : m_db->lastRowid();
}
