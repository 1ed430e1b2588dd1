#include "samples/contactscan.h"
#include "samples/contacttruth.h"
#include "samples/contactwriter.h"
#include "samples/sampledatabase.h"
#include "tests/support/samplechecks.h"
#include "tests/support/scanprobe.h"
#include "tests/support/testfiles.h"

#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>

namespace {

/// A person of the device's own store, with one date for all.
SamplePerson makePerson(const QString &first, const QString &last)
{
    SamplePerson person;
    person.fields.first = first;
    person.fields.last = last;
    person.fields.modificationDate = 655000000;
    person.creationDate = 655000000;
    person.externalUuid = QStringLiteral("6F1D1A52-0B7C-4D2B-9E59-0C6E3F1B7A11");
    person.guid = first + QStringLiteral(":ABPerson");
    return person;
}

SampleValue makeValue(int property, const QString &label, const QString &text)
{
    SampleValue value;
    value.value.property = property;
    value.value.label = label;
    value.value.value = text;
    value.guid = label + text;
    return value;
}

SampleValue phone(const QString &number)
{
    return makeValue(3, QStringLiteral("_$!<Mobile>!$_"), number);
}

QStringList texts(const QVector<PersonRecord> &contacts)
{
    QStringList lines;
    for (const PersonRecord &contact : contacts) {
        lines << contactText(contact);
    }
    return lines;
}

/// The values of a kind, to compare those of the search index with the truth.
QStringList valuesOf(const PersonRecord &person, int property)
{
    QStringList values;
    for (const PersonValue &value : person.values) {
        if (value.property == property) {
            values << value.value + value.label;
        }
    }
    return values;
}

} // namespace

/// Address books as SQLite itself leaves them, through the public interface.
class TestContacts : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void deletedContactsComeBack_data()
    {
        addSampleRows(allContactLayouts(), allContactDeletions(), {1024, 4096});
    }
    void deletedContactsComeBack();
    void wholeBookComesBack_data()
    {
        addSampleRows(allContactLayouts(), QVector{ContactDeletion::WholeBook},
                      {1024, 4096, 16384});
    }
    void wholeBookComesBack();
    void partsOfValuesBeyondOneByte();
    void personsFromBeforeTheTableWasWidened();
    void hiddenContacts_data()
    {
        addSampleRows(allContactLayouts(),
                      QVector{ContactDeletion::Scattered, ContactDeletion::WholeBook});
    }
    void hiddenContacts();
    void hiddenContactsOfOneKindOfText();
    void rowsInTheLogAreLive();
    void incompleteBooks_data();
    void incompleteBooks();

private:
    QString path(const char *name) const { return m_dir.filePath(QString::fromLatin1(name)); }
    /// Makes the sample as the file "sample.db".
    bool makeSample(const ContactPlan &plan, int pageSize, ContactSample *sample);
    ContactReport scanSamples(ContactPlan plan, int pageSize);

    QTemporaryDir m_dir;
};

bool TestContacts::makeSample(const ContactPlan &plan, int pageSize, ContactSample *sample)
{
    SampleOptions options;
    options.pageSize = pageSize;
    options.autoVacuum = plan.layout == ContactLayout::Ios4 ? 0 : 2;
    return makeSampleFile(path("sample.db"), options, makeContactSample, plan, sample);
}

/// Small and large books, added up; an empty report when a sample could not be made.
ContactReport TestContacts::scanSamples(ContactPlan plan, int pageSize)
{
    ContactReport total;
    for (const int persons : {30, 120}) {
        for (const quint32 seed : {1, 2, 3}) {
            plan.persons = persons;
            plan.seed = seed;
            ContactSample sample;
            if (!makeSample(plan, pageSize, &sample)) {
                return ContactReport();
            }
            total.add(compareContacts(sample, scanContacts(path("sample.db"))));
        }
    }
    return total;
}

/// The bounds leave room for what SQLite itself loses: it moves rows, and uses space again.
void TestContacts::deletedContactsComeBack()
{
    QFETCH(int, layout);
    QFETCH(int, deletion);
    QFETCH(int, pageSize);
    const ContactReport report =
        scanSamples({ContactLayout(layout), ContactDeletion(deletion)}, pageSize);
    const QByteArray details = detailsOf(report);
    QVERIFY(report.persons.deleted + report.values.deleted > 100);
    const int fittingPersons = report.persons.deleted - report.persons.refused;
    const int fittingValues = report.values.deleted - report.values.refused;
    QVERIFY2(percent(report.persons.recovered, fittingPersons) >= 60, details.constData());
    QVERIFY2(percent(report.values.recovered, fittingValues) >= 30, details.constData());
    QVERIFY2(percent(report.wrongPersons, report.values.recovered) <= 7, details.constData());
    QVERIFY2(percent(report.faults(), report.persons.recovered + report.values.recovered) <= 5,
             details.constData());
    QVERIFY2(report.copies + report.repeated <= 2, details.constData());
}

/// Emptied tables leave their pages as they are: all that a header test takes comes back, every
/// value with its person and every part with its value.
void TestContacts::wholeBookComesBack()
{
    QFETCH(int, layout);
    QFETCH(int, pageSize);
    const ContactReport report =
        scanSamples({ContactLayout(layout), ContactDeletion::WholeBook}, pageSize);
    const QByteArray details = detailsOf(report);
    QCOMPARE(report.persons.deleted, 450);
    // An overflow page of a long note may have become a page of the freelist's own.
    QVERIFY2(report.persons.missed() <= 2 && report.cut <= 5, details.constData());
    QVERIFY2(report.values.missed() <= 4, details.constData());
    QVERIFY2(report.parts.missed() <= 2, details.constData());
    QCOMPARE(report.wrongPersons, 0);
    QCOMPARE(report.wrongRowids, 0);
    QCOMPARE(report.unknownRowids, 0);
    QVERIFY2(report.faults() <= 3, details.constData());
}

/// Of a part's parent one byte is read: for value 577 that is value 2, and its text begins with the
/// second byte. Such a part must not come under value 2.
void TestContacts::partsOfValuesBeyondOneByte()
{
    SampleDatabase db;
    QVERIFY(db.create(path("parts.db")));
    ContactWriter writer(&db, ContactLayout::Ios8);
    QVERIFY(writer.createTables());
    SamplePerson ann = makePerson(QStringLiteral("Ann"), QStringLiteral("Gone"));
    ann.values = {phone(QStringLiteral("111111"))};
    QVERIFY(writer.insert(&ann));
    QVERIFY(db.exec(QStringLiteral(
        "delete from ABMultiValue; delete from ABMultiValueEntryKey;"
        "insert into ABMultiValueEntryKey (rowid, value) values (1, 'Street'), (2, 'City');"
        "insert into ABMultiValue values (2, 1, 5, 0, 1, NULL, 'g1');"
        "insert into ABMultiValueEntry values (2, 2, 'Lyon');"
        "insert into ABMultiValueEntry values (577, 1, 'Elm Street 2');"
        "insert into ABMultiValueEntry values (577, 2, 'Leeds');"
        "insert into ABMultiValueEntry values (2, 3, 'a key that is not there');"
        "insert into ABMultiValueEntry values (2, 1, 'Rue 1');"
        "delete from ABMultiValueEntry; delete from ABMultiValue; delete from ABPerson")));
    QVERIFY(db.close());
    const QVector<PersonRecord> found = scanContacts(path("parts.db"));
    QCOMPARE(found.size(), 1);
    QStringList parts;
    for (const PersonValue &value : found[0].values) {
        for (const PersonValueEntry &entry : value.entries) {
            parts.append(entry.key + QLatin1Char('=') + entry.value);
        }
    }
    std::sort(parts.begin(), parts.end());
    QCOMPARE(parts, (QStringList{QStringLiteral("City=Lyon"), QStringLiteral("Street=Rue 1")}));
}

/// Rows keep the columns that the table had when they were written.
void TestContacts::personsFromBeforeTheTableWasWidened()
{
    const QStringList columns = personColumns(ContactLayout::Ios15);
    const QStringList before = columns.mid(0, 49); // with the row identifier those of iOS 14
    SamplePerson person = makePerson(QStringLiteral("Ann"), QStringLiteral("Gone"));
    SampleDatabase db;
    QVERIFY(db.create(path("widened.db")));
    QVERIFY(
        db.exec(QStringLiteral("create table ABPerson (ROWID integer primary key autoincrement, ")
                + before.join(QStringLiteral(", ")) + QLatin1Char(')')));
    const QString insert = QStringLiteral("insert into ABPerson values (?%1)")
                               .arg(QStringLiteral(",?").repeated(before.size()));
    for (qint64 rowid = 1; rowid <= 3; ++rowid) {
        person.fields.rowId = rowid;
        person.fields.first = QStringLiteral("Ann%1").arg(rowid);
        if (rowid == 3) {
            person.externalUuid.clear(); // found by the second search only
        }
        QVariantList row = personRow(ContactLayout::Ios15, person).mid(0, 1 + before.size());
        row[0] = rowid;
        QVERIFY(db.run(insert, row));
    }
    for (const QString &column : columns.mid(49)) {
        QVERIFY(db.exec(QStringLiteral("alter table ABPerson add column ") + column));
    }
    QVERIFY(db.exec(QStringLiteral("delete from ABPerson")) && db.close());
    QStringList names;
    for (const PersonRecord &found : scanContacts(path("widened.db"))) {
        names.append(QStringLiteral("%1 %2").arg(found.rowId).arg(found.first));
    }
    std::sort(names.begin(), names.end());
    QCOMPARE(names.join(QStringLiteral(", ")), QStringLiteral("1 Ann1, 2 Ann2, 3 Ann3"));
}

/// Every field, numbers and mail addresses as one would use them, and nobody who still exists.
void TestContacts::hiddenContacts()
{
    QFETCH(int, layout);
    QFETCH(int, deletion);
    ContactSample sample;
    QVERIFY(makeSample({ContactLayout(layout), ContactDeletion(deletion)}, 4096, &sample));
    QCOMPARE(sample.hidden.isEmpty(), layout == int(ContactLayout::Ios4));
    SqliteRecovery recovery;
    recovery.scanRecoveryForType(ScanTypeContacts, path("sample.db"), nullptr);
    const QVector<PersonRecord> found = hiddenContactsOf(&recovery);
    QCOMPARE(found.size(), sample.hidden.size());
    std::sort(sample.hidden.begin(), sample.hidden.end(),
              [](const PersonRecord &a, const PersonRecord &b) { return a.rowId < b.rowId; });
    for (int i = 0; i < found.size(); ++i) {
        const PersonRecord &expected = sample.hidden[i];
        QCOMPARE(found[i].rowId, expected.rowId);
        QVERIFY2(sameTexts(found[i], expected), qPrintable(contactText(found[i])));
        QCOMPARE(valuesOf(found[i], 3), valuesOf(expected, 3));
        QCOMPARE(valuesOf(found[i], 4), valuesOf(expected, 4));
    }
}

void TestContacts::hiddenContactsOfOneKindOfText()
{
    SampleDatabase db;
    QVERIFY(db.create(path("index.db")));
    ContactWriter writer(&db, ContactLayout::Ios15);
    QVERIFY(writer.createTables());
    QVERIFY(db.exec(QStringLiteral(
        "insert into ABPersonFullTextSearch_content (docid) values (1);"
        "insert into ABPersonFullTextSearch_content (docid, c15DisplayName) values (2, 'Shop');"
        "insert into ABPersonFullTextSearch_content (docid, c20URL) values (3, 'www.example.com');"
        "insert into ABPersonFullTextSearch_content (docid, c6Organization, c15DisplayName) values "
        "(4, 'Works', 'Works')")));
    QVERIFY(db.close());
    SqliteRecovery recovery;
    ScanProbe probe;
    recovery.scanRecoveryForType(ScanTypeContacts, path("index.db"), &probe);
    QCOMPARE(
        texts(hiddenContactsOf(&recovery)),
        (QStringList{QStringLiteral("2 (0) Shop"), QStringLiteral("3 (0) 22  \"www.example.com\""),
                     QStringLiteral("4 (0) Works")}));
    // Two searches for persons, one for values, one for parts; the index takes nothing.
    QVERIFY2(probe.total <= 400, qPrintable(QString::number(probe.total)));
    QCOMPARE(probe.doneCalls, 1);
}

/// What was written to the log only is there for the device, and so no deleted record.
void TestContacts::rowsInTheLogAreLive()
{
    SampleDatabase db;
    QVERIFY(db.create(path("wal.db")));
    ContactWriter writer(&db, ContactLayout::Ios8);
    QVERIFY(writer.createTables());
    SamplePerson ann = makePerson(QStringLiteral("Ann"), QStringLiteral("Gone"));
    ann.values = {phone(QStringLiteral("111111"))};
    SamplePerson bob = makePerson(QStringLiteral("Bob"), QStringLiteral("Stays"));
    QVERIFY(writer.insert(&ann) && writer.insert(&bob) && writer.remove(ann, true));
    QVERIFY(db.exec(QStringLiteral("pragma journal_mode=wal")));
    // The person returns in the log: nothing of her is lost then.
    ann.fields.rowId = 0;
    QVERIFY(writer.insert(&ann));
    const QString copy = path("copy.db");
    QVERIFY(writeFile(copy, readFile(path("wal.db"))));
    QCOMPARE(texts(scanContacts(copy)),
             QStringList{QStringLiteral("1 (655000000) Ann | Gone | 3 _$!<Mobile>!$_ \"111111\"")});
    QVERIFY(writeFile(copy + QStringLiteral("-wal"), readFile(path("wal.db-wal"))));
    for (const PersonRecord &contact : scanContacts(copy)) {
        QVERIFY2(contact.first.isEmpty() || contact.rowId == 1, qPrintable(contactText(contact)));
    }
}

void TestContacts::incompleteBooks_data()
{
    QTest::addColumn<QString>("change");
    QTest::addColumn<QStringList>("found");
    const QString named = QStringLiteral("1 (655000000) Ann | Gone | 3 _$!<Mobile>!$_ \"111111\"");
    const QString unlabelled = QStringLiteral("1 (655000000) Ann | Gone | 3  \"111111\"");
    const QString unnamed = QStringLiteral("1 (0) 3 _$!<Mobile>!$_ \"111111\"");
    const auto row = [](const char *name, const char *change, const QStringList &found) {
        QTest::newRow(name) << QString::fromLatin1(change) << found;
    };
    row("complete", "select 1", {named});
    row("no table of parts", "drop table ABMultiValueEntry", {named});
    row("no table of keys", "drop table ABMultiValueEntryKey", {named});
    row("no table of labels", "drop table ABMultiValueLabel", {unlabelled});
    row("no table of changes", "drop table ABPersonChanges", {named});
    row("no sequence", "delete from sqlite_sequence", {named});
    row("no search index", "drop table ABPersonFullTextSearch_content", {named});
    row("no table of values", "drop table ABMultiValue",
        {QStringLiteral("1 (655000000) Ann | Gone")});
    row("no table of persons", "drop table ABPerson", {unnamed});
    // Without a row that is left there is nothing to number the others by.
    row("no persons left", "delete from ABPerson where First='Bob'",
        {QStringLiteral("0 (655000000) Bob | Stays"), QStringLiteral("0 (655000000) Ann | Gone"),
         unnamed});
}

void TestContacts::incompleteBooks()
{
    QFETCH(QString, change);
    SampleDatabase db;
    QVERIFY(db.create(path("incomplete.db")));
    ContactWriter writer(&db, ContactLayout::Ios8);
    QVERIFY(writer.createTables());
    SamplePerson ann = makePerson(QStringLiteral("Ann"), QStringLiteral("Gone"));
    ann.values = {phone(QStringLiteral("111111"))};
    SamplePerson bob = makePerson(QStringLiteral("Bob"), QStringLiteral("Stays"));
    bob.values = {phone(QStringLiteral("222222"))};
    QVERIFY(writer.insert(&ann) && writer.insert(&bob) && writer.remove(ann, true)
            && db.exec(change) && db.close());
    const QStringList contacts = texts(scanContacts(path("incomplete.db")));
    QFETCH(QStringList, found);
    QVERIFY2(contacts == found, qPrintable(contacts.join(QLatin1Char('\n'))));
}

QTEST_APPLESS_MAIN(TestContacts)
#include "tst_contacts.moc"
