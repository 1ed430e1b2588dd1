#include "recoverers/communication/addressbook.h"

#include "recoverers/livequery.h"

#include <algorithm>

const PersonField PersonFields[15] = {
    {"prefix", &PersonRecord::prefix},
    {"first", &PersonRecord::first},
    {"middle", &PersonRecord::middle},
    {"last", &PersonRecord::last},
    {"suffix", &PersonRecord::suffix},
    {"firstphonetic", &PersonRecord::firstPhonetic},
    {"middlephonetic", &PersonRecord::middlePhonetic},
    {"lastphonetic", &PersonRecord::lastPhonetic},
    {"organization", &PersonRecord::organization},
    {"department", &PersonRecord::department},
    {"jobtitle", &PersonRecord::jobTitle},
    {"nickname", &PersonRecord::nickname},
    {"birthday", &PersonRecord::birthday},
    {"note", &PersonRecord::note},
    {"alternatebirthday", &PersonRecord::alternateBirthday},
};

namespace {

QHash<qint64, QString> readTexts(LiveQuery &query, const QString &statement)
{
    QHash<qint64, QString> texts;
    query.forEachRow(statement,
                     [&texts](const LiveRow &row) { texts.insert(row.integer(0), row.name(1)); });
    return texts;
}

void readPersons(LiveQuery &query, QMap<qint64, PersonRecord> *persons)
{
    constexpr int fieldCount = 14; // all but the last: not every generation has that column
    query.forEachRow(
        QStringLiteral("select rowid, prefix, first, middle, last, suffix, firstphonetic, "
                       "middlephonetic, lastphonetic, organization, department, jobtitle, "
                       "nickname, birthday, note from abperson"),
        [persons](const LiveRow &row) {
            PersonRecord person;
            person.rowId = row.integer(0);
            for (int i = 0; i < fieldCount; ++i) {
                person.*PersonFields[i].field = row.text(i + 1);
            }
            persons->insert(person.rowId, person);
        });
    query.forEachRow(QStringLiteral("select rowid, modificationdate from abperson"),
                     [persons](const LiveRow &row) {
                         const auto person = persons->find(row.integer(0));
                         if (person != persons->end()) {
                             person->modificationDate = qint32(row.integer(1));
                         }
                     });
    query.forEachRow(QStringLiteral("select rowid, alternatebirthday from abperson where "
                                    "alternatebirthday is not null"),
                     [persons](const LiveRow &row) {
                         const auto person = persons->find(row.integer(0));
                         if (person != persons->end()) {
                             person->alternateBirthday = row.text(1);
                         }
                     });
}

void readValues(LiveQuery &query, LiveAddressBook *book)
{
    query.forEachRow(
        QStringLiteral("select uid, record_id, property, identifier, label, value from "
                       "abmultivalue"),
        [book](const LiveRow &row) {
            book->values.insert(row.integer(0), {row.integer(1), row.integer(2), row.integer(3),
                                                 row.integer(4), row.text(5)});
        });
    query.forEachRow(QStringLiteral("select parent_id, key, value from abmultivalueentry"),
                     [book](const LiveRow &row) {
                         book->entries.append({row.integer(0), row.integer(1), row.text(2)});
                     });
}

} // namespace

bool hasText(const PersonRecord &person)
{
    return std::any_of(std::begin(PersonFields), std::end(PersonFields),
                       [&person](const PersonField &f) { return !(person.*f.field).isEmpty(); });
}

QString contentKey(const PersonRecord &person)
{
    QString key;
    for (const PersonField &field : PersonFields) {
        key += person.*field.field + QChar(0x1F); // a separator that nobody writes
    }
    return key;
}

LiveAddressBook readAddressBook(LiveQuery &query)
{
    LiveAddressBook book;
    book.entryKeys =
        readTexts(query, QStringLiteral("select rowid, value from abmultivalueentrykey"));
    book.labels = readTexts(query, QStringLiteral("select rowid, value from abmultivaluelabel"));
    readPersons(query, &book.persons);
    readValues(query, &book);
    query.forEachRow(QStringLiteral("select seq from sqlite_sequence where name = 'ABPerson'"),
                     [&book](const LiveRow &row) { book.highestPersonId = row.integer(0); });
    query.forEachRow(QStringLiteral("select record from abpersonchanges where type = 2 order by "
                                    "rowid desc"),
                     [&book](const LiveRow &row) { book.deletedPersons.insert(row.integer(0)); });
    // The sequence can be missing; whoever is known to exist or to have existed had a number.
    if (!book.persons.isEmpty()) {
        book.highestPersonId = std::max(book.highestPersonId, book.persons.lastKey());
    }
    for (const qint64 person : qAsConst(book.deletedPersons)) {
        book.highestPersonId = std::max(book.highestPersonId, person);
    }
    return book;
}
