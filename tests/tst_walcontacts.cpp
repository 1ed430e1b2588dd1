#include "api/walrecovery.h"
#include "samples/contactsamples.h"
#include "samples/contacttruth.h"
#include "samples/sampledatabase.h"
#include "tests/support/logversions.h"
#include "tests/support/samplechecks.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

/// Rows as lists of texts.
using Contents = QSet<QStringList>;

const QString PersonSql =
    QStringLiteral("SELECT ROWID, First, Last, Middle, Organization, Note, Birthday FROM ABPerson "
                   "WHERE coalesce(First, Last, Middle, Organization, Nickname, '') <> ''");
const QString ValueSql =
    QStringLiteral("SELECT v.record_id, v.property, l.value, v.value FROM ABMultiValue v LEFT JOIN "
                   "ABMultiValueLabel l ON l.rowid = v.label WHERE v.value <> ''");
const QString PartSql = QStringLiteral(
    "SELECT v.record_id, v.property, l.value, k.value, e.value FROM ABMultiValueEntry e JOIN "
    "ABMultiValue v ON v.uid = e.parent_id JOIN ABMultiValueEntryKey k ON k.rowid = e.key "
    "LEFT JOIN ABMultiValueLabel l ON l.rowid = v.label");

QVector<PersonRecord> contactsOf(WalRecovery *recovery)
{
    QVector<PersonRecord> contacts;
    for (unsigned i = 0; i < recovery->getContactCount(); ++i) {
        contacts << *recovery->getContact(i);
    }
    return contacts;
}

Contents personsOf(const QVector<PersonRecord> &contacts)
{
    Contents persons;
    for (const PersonRecord &p : contacts) {
        persons.insert({QString::number(p.rowId), p.first, p.last, p.middle, p.organization, p.note,
                        p.birthday});
    }
    return persons;
}

Contents valuesOf(const QVector<PersonRecord> &contacts)
{
    Contents values;
    for (const PersonRecord &person : contacts) {
        for (const PersonValue &value : person.values) {
            if (!value.value.isEmpty()) {
                values.insert({QString::number(person.rowId), QString::number(value.property),
                               value.label, value.value});
            }
        }
    }
    return values;
}

Contents partsOf(const QVector<PersonRecord> &contacts)
{
    Contents parts;
    for (const PersonRecord &person : contacts) {
        for (const PersonValue &value : person.values) {
            for (const PersonValueEntry &part : value.entries) {
                parts.insert({QString::number(person.rowId), QString::number(value.property),
                              value.label, part.key, part.value});
            }
        }
    }
    return parts;
}

/// The rows of one version.
Contents rowsOf(const LogVersions &versions, int version, const QString &sql, int columns)
{
    const auto rows = versions.rows(version, sql, columns);
    return Contents(rows.cbegin(), rows.cend());
}

/// What some version has and the last one has not.
Contents lostRows(const LogVersions &versions, const QString &sql, int columns)
{
    Contents lost;
    for (int i = 0; i < versions.count(); ++i) {
        lost.unite(rowsOf(versions, i, sql, columns));
    }
    return lost.subtract(rowsOf(versions, versions.count() - 1, sql, columns));
}

QString describe(const Contents &contents)
{
    QStringList lines;
    for (const QStringList &row : contents) {
        lines.append(row.join(QLatin1Char('|')));
    }
    lines.sort();
    return lines.join(QLatin1Char('\n'));
}

/// Each contact as "name: label value, label value [part part]", in the order delivered.
QStringList linesOf(const QVector<PersonRecord> &contacts)
{
    QStringList lines;
    for (const PersonRecord &contact : contacts) {
        QStringList values;
        for (const PersonValue &value : contact.values) {
            QStringList words{value.label};
            words << value.value;
            for (const PersonValueEntry &part : value.entries) {
                words << part.key + QLatin1Char('=') + part.value;
            }
            words.removeAll(QString());
            values << words.join(QLatin1Char(' '));
        }
        values.sort();
        lines.append(QString::number(contact.rowId) + QLatin1Char(' ') + contact.first
                     + QStringLiteral(": ") + values.join(QStringLiteral(", ")));
    }
    return lines;
}

} // namespace

/// Address books with their logs as SQLite itself writes them, through the facade.
class TestWalContacts : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void everyLayout_data() { addSampleRows(allContactLayouts(), allContactDeletions()); }
    void everyLayout();
    void otherEncodings();
    void whatCountsAsDeleted();
    void valuesComeUnderTheirPerson();
    void partsComeUnderTheirValue();
    void identifiersGivenOutAgain();
    void labelsOfTheirVersion();
    void putBackUnderOtherIdentifiers();
    void deletedDuplicatesCome();
    void firstLayout();
    void unusualTexts();

private:
    QString path(const char *name) const { return m_dir.filePath(QString::fromLatin1(name)); }
    /// A book with some labels and keys, about to be written with a log.
    bool make(SampleDatabase *db, ContactLayout layout = ContactLayout::Ios4)
    {
        bool isMade = db->create(path("device.db"));
        for (const QString &sql : contactTables(layout)) {
            isMade = isMade && db->exec(sql);
        }
        return isMade
               && db->exec(QStringLiteral(
                   "INSERT INTO ABMultiValueLabel (rowid, value) VALUES (1, 'Home'), (2, 'Work');"
                   "INSERT INTO ABMultiValueEntryKey (rowid, value) VALUES (1, 'Street'), "
                   "(2, 'City');"))
               && db->startLog();
    }
    QVector<PersonRecord> scan(const char *name)
    {
        WalRecovery recovery;
        recovery.scanRecoveryForType(ScanTypeContacts, path(name),
                                     path(name) + QStringLiteral("-wal"), nullptr);
        return contactsOf(&recovery);
    }
    /// Lives the statements through, each a commit, and returns what is found.
    QString found(SampleDatabase *db, const char *statements)
    {
        if (!db->exec(QString::fromUtf8(statements)) || !db->copyWithLog(path("case.db"))) {
            return db->errorText();
        }
        return linesOf(scan("case.db")).join(QLatin1Char('\n'));
    }
    void compareWithVersions(const ContactPlan &plan, const QByteArray &encoding);
    QTemporaryDir m_dir;
};

/// Persons, values and parts of each version that are not in the last, and nothing else.
void TestWalContacts::compareWithVersions(const ContactPlan &plan, const QByteArray &encoding)
{
    SampleOptions options;
    options.encoding = encoding;
    SampleDatabase db;
    ContactSample sample;
    QVERIFY(db.create(path("device.db"), options) && db.startLog());
    QVERIFY(makeContactSample(&db, plan, &sample) && db.copyWithLog(path("case.db")));
    const QVector<PersonRecord> found = scan("case.db");
    const ContactReport report = compareContacts(sample, found);
    const auto isNamed = [](const PersonRecord &p) { return !sameTexts(p, PersonRecord()); };
    const auto namedFormerVersions =
        int(std::count_if(sample.formerVersions.cbegin(), sample.formerVersions.cend(), isNamed));
    const QByteArray details = detailsOf(report);
    QVERIFY2(report.faults() + report.cut + report.nameless + report.unknownRowids
                     + report.wrongRowids
                 == 0,
             details.constData());
    QVERIFY2(report.persons.recovered == report.persons.deleted
                 && report.values.recovered == report.values.deleted
                 && report.parts.recovered == report.parts.deleted
                 && report.formerVersions == namedFormerVersions,
             details.constData());
    const LogVersions versions(path("case.db"));
    const Contents live = rowsOf(versions, versions.count() - 1, PersonSql, 7);
    Contents persons = personsOf(found);
    persons.subtract(live);
    QCOMPARE(describe(persons), describe(lostRows(versions, PersonSql, 7)));
    QCOMPARE(describe(valuesOf(found)), describe(lostRows(versions, ValueSql, 4)));
    QCOMPARE(describe(partsOf(found)), describe(lostRows(versions, PartSql, 5)));
}

void TestWalContacts::everyLayout()
{
    QFETCH(int, layout);
    QFETCH(int, deletion);
    compareWithVersions({ContactLayout(layout), ContactDeletion(deletion), 60, 4}, "UTF-8");
}

void TestWalContacts::otherEncodings()
{
    for (const char *encoding : {"UTF-16le", "UTF-16be"}) {
        compareWithVersions({ContactLayout::Ios8, ContactDeletion::Edited, 60, 4}, encoding);
    }
}

void TestWalContacts::whatCountsAsDeleted()
{
    SampleDatabase db;
    QVERIFY(make(&db));
    const QString lines =
        found(&db, "INSERT INTO ABPerson (rowid, First) VALUES (1, 'Ann'), (2, 'Ben'), "
                   "(3, 'Cem'), (4, 'Dan'), (5, 'Eve'), (6, 'Fay');"
                   "INSERT INTO ABMultiValue (uid, record_id, property, label, value) VALUES "
                   "(1, 2, 3, 1, '111'), (2, 3, 3, 1, '222');"
                   "UPDATE ABPerson SET ModificationDate = 5, FirstSort = 'x' WHERE rowid = 1;"
                   "DELETE FROM ABPerson WHERE rowid = 2;"
                   "INSERT INTO ABPerson (rowid, First) VALUES (2, 'Ben');"
                   "DELETE FROM ABPerson WHERE rowid = 2;"
                   "DELETE FROM ABPerson WHERE rowid = 3;"
                   "INSERT INTO ABPerson (rowid, First) VALUES (3, 'Cem');"
                   "UPDATE ABPerson SET First = 'Daniel' WHERE rowid = 4;"
                   "UPDATE ABPerson SET First = 'Danny' WHERE rowid = 4;"
                   "UPDATE ABPerson SET First = 'Daniel' WHERE rowid = 4;"
                   "UPDATE ABPerson SET First = 'Danny' WHERE rowid = 4;"
                   "UPDATE ABPerson SET First = 'Eva' WHERE rowid = 5;"
                   "DELETE FROM ABPerson WHERE rowid = 5;"
                   "UPDATE ABPerson SET First = 'away' WHERE rowid = 6;"
                   "UPDATE ABPerson SET First = 'Fay' WHERE rowid = 6;"
                   "UPDATE ABMultiValue SET identifier = 9 WHERE uid = 2;"
                   "DELETE FROM ABMultiValue WHERE uid = 2;"
                   "INSERT INTO ABMultiValue (uid, record_id, property, label, value) VALUES "
                   "(7, 3, 3, 1, '222');"
                   "DELETE FROM ABMultiValue WHERE uid = 1;");
    QCOMPARE(lines, QStringLiteral("2 Ben: Home 111\n"
                                   "4 Dan: \n"
                                   "4 Daniel: \n"
                                   "5 Eve: \n"
                                   "5 Eva: \n"
                                   "6 away: "));
}

void TestWalContacts::valuesComeUnderTheirPerson()
{
    SampleDatabase db;
    QVERIFY(make(&db));
    const QString lines =
        found(&db,
              "INSERT INTO ABPerson (rowid, First) VALUES (1, 'Ann'), (2, 'Ben'), "
              "(3, 'Cem'), (4, 'Dan');"
              "INSERT INTO ABMultiValue (uid, record_id, property, label, value) VALUES "
              "(1, 1, 3, 1, '111'), (2, 1, 3, 2, '112'), (3, 2, 3, 1, '211'), "
              "(4, 2, 3, 2, '212'), (5, 3, 3, 1, '311'), (6, 9, 3, 1, '911');"
              "DELETE FROM ABMultiValue WHERE uid = 1;" // the person stays
              "UPDATE ABMultiValue SET value = '113' WHERE uid = 2;"
              "UPDATE ABPerson SET First = 'Anna' WHERE rowid = 1;"
              "DELETE FROM ABMultiValue WHERE uid = 3;" // before the person
              "UPDATE ABPerson SET First = 'Benno' WHERE rowid = 2;"
              "DELETE FROM ABPerson WHERE rowid = 2;"
              "DELETE FROM ABMultiValue WHERE uid = 4;"              // after it
              "UPDATE ABMultiValue SET record_id = 4 WHERE uid = 5;" // joined with another
              "DELETE FROM ABPerson WHERE rowid = 3;"
              "DELETE FROM ABMultiValue WHERE uid = 6;"); // its person is nowhere
    QCOMPARE(lines, QStringLiteral("1 Ann: \n"
                                   "2 Ben: \n"
                                   "2 Benno: Home 211, Work 212\n"
                                   "3 Cem: Home 311\n"
                                   "1 Anna: Home 111, Work 112\n"
                                   "9 : Home 911"));
}

void TestWalContacts::partsComeUnderTheirValue()
{
    SampleDatabase db;
    QVERIFY(make(&db));
    const QString lines =
        found(&db, "INSERT INTO ABPerson (rowid, First) VALUES (1, 'Ann'), (2, 'Ben'), "
                   "(3, 'Cem'), (4, 'Dan'), (5, 'Eve');"
                   "INSERT INTO ABMultiValue (uid, record_id, property, label) VALUES "
                   "(1, 1, 5, 1), (2, 2, 5, 1), (3, 3, 5, 1), (4, 4, 5, 1), (5, 5, 5, 1);"
                   "INSERT INTO ABMultiValueEntry (parent_id, key, value) VALUES "
                   "(1, 1, 'A street'), (1, 2, 'A town'), (2, 1, 'B street'), "
                   "(2, 2, 'B town'), (3, 1, 'C street'), (3, 2, 'C town'), "
                   "(4, 1, 'D street'), (5, 1, 'E street');"
                   "UPDATE ABMultiValueEntry SET value = 'A road' WHERE rowid = 1;"
                   "DELETE FROM ABMultiValue WHERE uid = 2;" // the parts go later
                   "DELETE FROM ABMultiValueEntry WHERE parent_id = 2;"
                   "UPDATE ABMultiValue SET label = 2 WHERE uid = 3;" // all parts stay
                   "DELETE FROM ABMultiValue WHERE uid = 4;"          // the parts stay
                   "BEGIN; DELETE FROM ABMultiValueEntry WHERE parent_id = 5; "
                   "INSERT INTO ABMultiValueEntry (rowid, parent_id, key, value) VALUES "
                   "(50, 5, 1, 'E street'), (51, 5, 2, 'E town'); COMMIT;");
    QCOMPARE(lines, QStringLiteral("2 Ben: Home Street=B street City=B town\n"
                                   "3 Cem: Home Street=C street City=C town\n"
                                   "4 Dan: Home Street=D street\n"
                                   "1 Ann: Home Street=A street"));
}

/// The identifier of a value is given out again when the value was the last one.
void TestWalContacts::identifiersGivenOutAgain()
{
    SampleDatabase db;
    QVERIFY(make(&db));
    const QString lines =
        found(&db, "INSERT INTO ABPerson (rowid, First) VALUES (1, 'Ann'), (2, 'Ben'), "
                   "(3, 'Cem');"
                   "INSERT INTO ABMultiValue (uid, record_id, property, label) VALUES "
                   "(1, 1, 5, 1);"
                   "INSERT INTO ABMultiValueEntry (parent_id, key, value) VALUES "
                   "(1, 1, 'A street');"
                   "BEGIN; DELETE FROM ABMultiValue; DELETE FROM ABMultiValueEntry; COMMIT;"
                   "BEGIN; INSERT INTO ABMultiValue (uid, record_id, property, label) VALUES "
                   "(1, 2, 5, 1); INSERT INTO ABMultiValueEntry (parent_id, key, value) "
                   "VALUES (1, 1, 'B street'); COMMIT;"
                   "BEGIN; DELETE FROM ABMultiValue; DELETE FROM ABMultiValueEntry; COMMIT;"
                   "BEGIN; INSERT INTO ABMultiValue (uid, record_id, property, label) VALUES "
                   "(1, 2, 5, 1); INSERT INTO ABMultiValueEntry (parent_id, key, value) "
                   "VALUES (1, 1, 'B road'); COMMIT;"
                   "BEGIN; DELETE FROM ABMultiValue; DELETE FROM ABMultiValueEntry; COMMIT;"
                   "BEGIN; INSERT INTO ABMultiValue (uid, record_id, property, label) VALUES "
                   "(1, 3, 5, 1); INSERT INTO ABMultiValueEntry (parent_id, key, value) "
                   "VALUES (1, 1, 'C street'); COMMIT;");
    QCOMPARE(lines, QStringLiteral("1 Ann: Home Street=A street\n"
                                   "2 Ben: Home Street=B road, Home Street=B street"));
}

void TestWalContacts::labelsOfTheirVersion()
{
    SampleDatabase db;
    QVERIFY(make(&db));
    const QString lines =
        found(&db, "INSERT INTO ABMultiValueLabel (rowid, value) VALUES (3, 'Boat');"
                   "INSERT INTO ABPerson (rowid, First) VALUES (1, 'Ann');"
                   "INSERT INTO ABMultiValue (uid, record_id, property, label, value) VALUES "
                   "(1, 1, 3, 3, '111'), (2, 1, 3, 3, '112'), (3, 1, 3, 7, '113'), "
                   "(4, 1, 3, 8, '114'), (5, 1, 3, NULL, '115'), (6, 1, 3, 1, '116');"
                   "DELETE FROM ABMultiValue WHERE uid = 1;"
                   "DELETE FROM ABMultiValueLabel WHERE rowid = 3;"
                   "DELETE FROM ABMultiValue WHERE uid = 2;" // the label went before
                   "DELETE FROM ABMultiValue WHERE uid = 3;"
                   "INSERT INTO ABMultiValueLabel (rowid, value) VALUES (7, 'Late');"
                   "INSERT INTO ABMultiValueLabel (rowid, value) VALUES (3, 'Shed');"
                   "DELETE FROM ABMultiValue WHERE uid IN (4, 5);"
                   // A label of another number and the same text is no change.
                   "DELETE FROM ABMultiValueLabel WHERE rowid = 1;"
                   "INSERT INTO ABMultiValueLabel (rowid, value) VALUES (9, 'Home');"
                   "UPDATE ABMultiValue SET label = 9 WHERE uid = 6;");
    QCOMPARE(lines, QStringLiteral("1 Ann: 114, 115, Boat 111, Boat 112, Late 113"));
}

/// A book that is read in anew by a synchronization: nothing of it is lost.
void TestWalContacts::putBackUnderOtherIdentifiers()
{
    SampleDatabase db;
    QVERIFY(make(&db));
    const QString lines =
        found(&db, "INSERT INTO ABPerson (rowid, First) VALUES (1, 'Ann'), (2, 'Ben'), "
                   "(3, 'Cem');"
                   "INSERT INTO ABMultiValue (uid, record_id, property, label, value) VALUES "
                   "(1, 1, 3, 1, '111'), (2, 1, 5, 1, NULL), (3, 3, 3, 1, '311');"
                   "INSERT INTO ABMultiValueEntry (parent_id, key, value) VALUES "
                   "(2, 1, 'A street'), (2, 2, 'A town');"
                   "BEGIN; DELETE FROM ABPerson; DELETE FROM ABMultiValue; DELETE FROM "
                   "ABMultiValueEntry; COMMIT;"
                   "BEGIN; INSERT INTO ABPerson (rowid, First) VALUES (11, 'Ann'), "
                   "(12, 'Ben'), (13, 'Cem'); INSERT INTO ABMultiValue (uid, record_id, "
                   "property, label, value) VALUES (1, 11, 5, 1, NULL), (2, 11, 3, 1, '111'), "
                   "(3, 13, 3, 1, '312'); INSERT INTO ABMultiValueEntry (parent_id, key, "
                   "value) VALUES (1, 2, 'A town'), (1, 1, 'A street'); COMMIT;");
    QCOMPARE(lines, QStringLiteral("3 Cem: Home 311"));
}

/// People delete duplicates; one who has a number of his own is lost all the same.
void TestWalContacts::deletedDuplicatesCome()
{
    SampleDatabase db;
    QVERIFY(make(&db));
    QByteArray sql;
    for (int i = 1; i <= 60; ++i) {
        sql += "INSERT INTO ABPerson (rowid, First) VALUES (" + QByteArray::number(i)
               + ", 'Twin');INSERT INTO ABMultiValue (record_id, property, value) VALUES ("
               + QByteArray::number(i) + ", 3, '1" + QByteArray::number(i) + "');";
    }
    QVERIFY(
        db.exec(QStringLiteral("BEGIN;") + QString::fromLatin1(sql) + QStringLiteral("COMMIT;")));
    const QString lines = found(&db, "BEGIN; DELETE FROM ABPerson WHERE rowid > 5; "
                                     "DELETE FROM ABMultiValue WHERE record_id > 5; COMMIT;");
    QCOMPARE(lines.count(QStringLiteral("Twin: 1")), 55);
}

/// The first generation lacks many columns.
void TestWalContacts::firstLayout()
{
    SampleDatabase db;
    QVERIFY(
        db.create(path("device.db"))
        && db.exec(QStringLiteral(
            "CREATE TABLE ABMultiValue (UID INTEGER PRIMARY KEY, record_id INTEGER, property "
            "INTEGER, identifier INTEGER, label INTEGER, value TEXT);"
            "CREATE TABLE ABMultiValueLabel (value TEXT, UNIQUE(value));"
            "CREATE TABLE ABPerson (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, First TEXT, Last "
            "TEXT, "
            "Middle TEXT, FirstPhonetic TEXT, MiddlePhonetic TEXT, LastPhonetic TEXT, Organization "
            "TEXT, Department TEXT, Note TEXT, Kind INTEGER, Birthday TEXT, JobTitle TEXT, "
            "Nickname TEXT, Prefix TEXT, Suffix TEXT, FirstSort TEXT, LastSort TEXT, CreationDate "
            "INTEGER, ModificationDate INTEGER, CompositeNameFallback TEXT);"
            "INSERT INTO ABMultiValueLabel VALUES ('Home');"))
        && db.startLog());
    const QString lines =
        found(&db, "INSERT INTO ABPerson (First, Birthday, ModificationDate) VALUES ('Ann', "
                   "'-547783200.0', 77);"
                   "INSERT INTO ABMultiValue VALUES (1, 1, 3, 0, 1, '111');"
                   // A later system adds a column; the row keeps those that it has.
                   "ALTER TABLE ABPerson ADD COLUMN AlternateBirthday TEXT;"
                   "DELETE FROM ABPerson; DELETE FROM ABMultiValue;");
    QCOMPARE(lines, QStringLiteral("1 Ann: Home 111"));
    const PersonRecord person = scan("case.db").first();
    QCOMPARE(person.birthday, QStringLiteral("-547783200.0"));
    QCOMPARE(person.modificationDate, 77);
}

/// Nothing is doubted here: the rows were read whole.
void TestWalContacts::unusualTexts()
{
    SampleDatabase db;
    QVERIFY(make(&db));
    const QString emoji = QStringLiteral("\U0001F40B\U0001F40B");
    const QString controls = QStringLiteral("a\x01\x02");
    const QString note = QStringLiteral("long ").repeated(3000);
    QVERIFY(db.run(QStringLiteral("INSERT INTO ABPerson (First, Last, Note) VALUES (?, ?, ?)"),
                   {emoji, controls, note})
            && db.run(QStringLiteral("INSERT INTO ABMultiValue (record_id, property, value) "
                                     "VALUES (1, 3, ?)"),
                      {emoji})
            && db.exec(QStringLiteral("DELETE FROM ABPerson; DELETE FROM ABMultiValue;"))
            && db.copyWithLog(path("case.db")));
    const QVector<PersonRecord> contacts = scan("case.db");
    QCOMPARE(contacts.size(), 1);
    QCOMPARE(contacts.first().first, emoji);
    QCOMPARE(contacts.first().last, controls);
    QCOMPARE(contacts.first().note, note);
    QCOMPARE(contacts.first().values.size(), 1);
    QCOMPARE(contacts.first().values.first().value, emoji);
}

QTEST_GUILESS_MAIN(TestWalContacts)
#include "tst_walcontacts.moc"
