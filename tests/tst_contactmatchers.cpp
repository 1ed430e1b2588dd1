#include "recoverers/communication/contactmatchers.h"
#include "samples/contactlayout.h"
#include "tests/support/matcherharness.h"

#include <QtTest>

namespace {

const QString PersonTable = QStringLiteral("abperson");
const QString ValueTable = QStringLiteral("abmultivalue");
const QString EntryTable = QStringLiteral("abmultivalueentry");

/// The statement of the table among those of iOS 8.
QString statementOf(const QString &table)
{
    const QString begin = QStringLiteral("CREATE TABLE ") + table + QLatin1Char(' ');
    const QStringList statements = contactTables(ContactLayout::Ios8);
    for (const QString &statement : statements) {
        if (statement.startsWith(begin, Qt::CaseInsensitive)
            || statement.startsWith(QString(begin).replace(begin.size() - 1, 1, QLatin1Char('(')),
                                    Qt::CaseInsensitive)) {
            return statement;
        }
    }
    return QString();
}

} // namespace

/// Which record headers the matchers of the address book take, on rows of iOS 8 in which one column
/// differs from what devices write.
class TestContactMatchers : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void persons_data();
    void persons();
    void values_data();
    void values();
    void entries_data();
    void entries();
    void rowOfAnotherLayoutIsNotTakenWhileItsCellIsWhole();
    void columnsThatCannotBeBound();

private:
    QVariantMap personRow() const
    {
        return rowFromJson(R"({"first": "Anna", "last": "Adler", "kind": 0, "storeid": 0,
            "creationdate": 400000000, "modificationdate": 410000000,
            "externaluuid": "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF", "personlink": -1,
            "firstsortlanguageindex": 2147483647, "lastsortlanguageindex": 2147483647,
            "ispreferredname": 1, "guid": "1B6C7F0E-1D9C-4B52-8D55-3C6B7A9D1E2F"})");
    }
    QVariantMap valueRow() const
    {
        return rowFromJson(R"({"record_id": 5, "property": 3, "identifier": 0, "label": 2,
            "value": "+15551234567", "guid": "1B6C7F0E-1D9C-4B52-8D55-3C6B7A9D1E2F"})");
    }

    MatcherHarness<ContactDbFile> m_harness;
};

void TestContactMatchers::persons_data()
{
    addValueColumns();
    addValueRow("as on a device", "first", QStringLiteral("Ben"), true);
    for (const char *column : {"first", "last", "middle", "firstphonetic", "middlephonetic",
                               "lastphonetic", "organization", "department", "note"}) {
        QTest::addRow("no %s", column) << QString::fromLatin1(column) << QVariant() << true;
        QTest::addRow("number as %s", column)
            << QString::fromLatin1(column) << QVariant(5) << false;
        QTest::addRow("bytes as %s", column)
            << QString::fromLatin1(column) << QVariant(QByteArray(4, 'x')) << false;
    }
    addValueRow("no identifier of a card", "externaluuid", QVariant(), true);
    addValueRow("identifier of a synced card", "externaluuid", letters(35), false);
    addValueRow("preferred name 0", "ispreferredname", 0, true);
    addValueRow("preferred name 2", "ispreferredname", 2, true);
    addValueRow("preferred name of two bytes", "ispreferredname", 300, false);
    addValueRow("no preferred name", "ispreferredname", QVariant(), false);
    addValueRow("date of creation in another width", "creationdate", 300, false);
    addValueRow("date of change in another width", "modificationdate", 300, false);
}

void TestContactMatchers::persons()
{
    QVERIFY(m_harness.open(PersonTable, statementOf(PersonTable)));
    m_harness.compare<ContactDbFile::ABPersonMatcher>(personRow());
}

void TestContactMatchers::values_data()
{
    addValueColumns();
    addValueRow("as on a device", "value", letters(9), true);
    addValueRow("person 1", "record_id", 1, true);
    addValueRow("person 300", "record_id", 300, true);
    addValueRow("person 0", "record_id", 0, false);
    addValueRow("no person", "record_id", QVariant(), false);
    addValueRow("identifier 1", "identifier", 1, true);
    addValueRow("identifier 2", "identifier", 2, true);
    addValueRow("identifier 300", "identifier", 300, false);
    addValueRow("label 1", "label", 1, true);
    addValueRow("label 300 is searched for, but not taken", "label", 300, false);
    addValueRow("no label", "label", QVariant(), false);
    addValueRow("no value", "value", QVariant(), true);
    addValueRow("number as value", "value", 5, false);
}

void TestContactMatchers::values()
{
    QVERIFY(m_harness.open(ValueTable, statementOf(ValueTable)));
    m_harness.compare<ContactDbFile::ABMultivalueMatcher>(valueRow());
}

void TestContactMatchers::entries_data()
{
    addValueColumns();
    addValueRow("as on a device", "value", letters(9), true);
    addValueRow("parent 300", "parent_id", 300, true);
    addValueRow("parent 70000", "parent_id", 70000, false);
    addValueRow("key 1", "key", 1, true);
    addValueRow("key 0", "key", 0, false);
    addValueRow("no value", "value", QVariant(), false);
}

void TestContactMatchers::entries()
{
    QVERIFY(m_harness.open(EntryTable, statementOf(EntryTable)));
    m_harness.compare<ContactDbFile::ABMultivalueEntryMatcher>(
        rowFromJson(R"({"parent_id": 5, "key": 2, "value": "Main Street 1"})"));
}

void TestContactMatchers::rowOfAnotherLayoutIsNotTakenWhileItsCellIsWhole()
{
    // Two columns less: the first two bytes of the body would be taken for their types.
    QVERIFY(m_harness.open(PersonTable, statementOf(PersonTable)));
    QByteArray cell = m_harness.cell(personRow(), 2);
    QCOMPARE(m_harness.matches<ContactDbFile::ABPersonMatcher>(cell), 0);
    cell[0] = 0; // the payload size is overwritten
    QCOMPARE(m_harness.matches<ContactDbFile::ABPersonMatcher>(cell), 1);
}

void TestContactMatchers::columnsThatCannotBeBound()
{
    QVERIFY(m_harness.open(PersonTable, statementOf(PersonTable)));
    QCOMPARE(m_harness.neededColumns<ContactDbFile::ABPersonMatcher>(),
             QStringLiteral("first last middle firstphonetic middlephonetic lastphonetic "
                            "organization department note creationdate externaluuid "
                            "ispreferredname"));
    // The property as first column has no person in front of it, as last one no label behind.
    QVERIFY(m_harness.open(ValueTable,
                           QStringLiteral("CREATE TABLE ABMultiValue (uid INTEGER, property "
                                          "INTEGER, a, b, c)")));
    QCOMPARE(m_harness.matches<ContactDbFile::ABMultivalueMatcher>(m_harness.cell(valueRow())), 0);
    QVERIFY(m_harness.open(ValueTable,
                           QStringLiteral("CREATE TABLE ABMultiValue (uid INTEGER, record_id "
                                          "INTEGER, property INTEGER)")));
    QCOMPARE(m_harness.matches<ContactDbFile::ABMultivalueMatcher>(m_harness.cell(valueRow())), 0);
    QVERIFY(m_harness.open(EntryTable,
                           QStringLiteral("CREATE TABLE ABMultiValueEntry (parent_id, key)")));
    const QByteArray entry = m_harness.cell(rowFromJson(R"({"parent_id": 5, "key": 5})"));
    QCOMPARE(m_harness.matches<ContactDbFile::ABMultivalueEntryMatcher>(entry), 0);
}

QTEST_APPLESS_MAIN(TestContactMatchers)
#include "tst_contactmatchers.moc"
