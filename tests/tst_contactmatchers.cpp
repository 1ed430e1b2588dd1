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
    void liveValuesAreNotInspected();
    void inspectedValueIsLogged();

private:
    QVariantMap personRow() const
    {
        return {{QStringLiteral("first"), QStringLiteral("Anna")},
                {QStringLiteral("last"), QStringLiteral("Adler")},
                {QStringLiteral("kind"), 0},
                {QStringLiteral("creationdate"), 400000000},
                {QStringLiteral("modificationdate"), 410000000},
                {QStringLiteral("externaluuid"), letters(36)},
                {QStringLiteral("storeid"), 0},
                {QStringLiteral("firstsortlanguageindex"), 2147483647},
                {QStringLiteral("lastsortlanguageindex"), 2147483647},
                {QStringLiteral("personlink"), -1},
                {QStringLiteral("ispreferredname"), 1},
                {QStringLiteral("guid"), letters(36)}};
    }
    QVariantMap valueRow() const
    {
        return {{QStringLiteral("record_id"), 5},       {QStringLiteral("property"), 3},
                {QStringLiteral("identifier"), 0},      {QStringLiteral("label"), 2},
                {QStringLiteral("value"), letters(12)}, {QStringLiteral("guid"), letters(36)}};
    }
    void addColumns()
    {
        QTest::addColumn<QString>("column");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<bool>("isTaken");
    }
    void addRow(const char *name, const char *column, const QVariant &value, bool isTaken)
    {
        QTest::newRow(name) << QString::fromLatin1(column) << value << isTaken;
    }

    MatcherHarness<ContactDbFile> m_harness;
};

void TestContactMatchers::persons_data()
{
    addColumns();
    addRow("as on a device", "first", QStringLiteral("Ben"), true);
    for (const char *column : {"first", "last", "middle", "firstphonetic", "middlephonetic",
                               "lastphonetic", "organization", "department", "note"}) {
        QTest::addRow("no %s", column) << QString::fromLatin1(column) << QVariant() << true;
        QTest::addRow("number as %s", column)
            << QString::fromLatin1(column) << QVariant(5) << false;
        QTest::addRow("bytes as %s", column)
            << QString::fromLatin1(column) << QVariant(QByteArray(4, 'x')) << false;
    }
    addRow("no identifier of a card", "externaluuid", QVariant(), true);
    addRow("identifier of a synced card", "externaluuid", letters(35), false);
    addRow("preferred name 0", "ispreferredname", 0, true);
    addRow("preferred name 2", "ispreferredname", 2, true);
    addRow("preferred name of two bytes", "ispreferredname", 300, false);
    addRow("no preferred name", "ispreferredname", QVariant(), false);
    addRow("date of creation in another width", "creationdate", 300, false);
    addRow("date of change in another width", "modificationdate", 300, false);
}

void TestContactMatchers::persons()
{
    QFETCH(QString, column);
    QFETCH(QVariant, value);
    QFETCH(bool, isTaken);
    QVERIFY(m_harness.open(PersonTable, statementOf(PersonTable)));
    QVERIFY(m_harness.columns().contains(column));
    QVariantMap row = personRow();
    row[column] = value;
    QCOMPARE(m_harness.matches<ContactDbFile::ABPersonMatcher>(m_harness.cell(row)), int(isTaken));
}

void TestContactMatchers::values_data()
{
    addColumns();
    addRow("as on a device", "value", letters(9), true);
    addRow("person 1", "record_id", 1, true);
    addRow("person 300", "record_id", 300, true);
    addRow("person 0", "record_id", 0, false);
    addRow("no person", "record_id", QVariant(), false);
    addRow("identifier 1", "identifier", 1, true);
    addRow("identifier 2", "identifier", 2, true);
    addRow("identifier 300", "identifier", 300, false);
    addRow("label 1", "label", 1, true);
    addRow("label 300 is searched for, but not taken", "label", 300, false);
    addRow("no label", "label", QVariant(), false);
    addRow("no value", "value", QVariant(), true);
    addRow("number as value", "value", 5, false);
}

void TestContactMatchers::values()
{
    QFETCH(QString, column);
    QFETCH(QVariant, value);
    QFETCH(bool, isTaken);
    QVERIFY(m_harness.open(ValueTable, statementOf(ValueTable)));
    QVariantMap row = valueRow();
    row[column] = value;
    QCOMPARE(m_harness.matches<ContactDbFile::ABMultivalueMatcher>(m_harness.cell(row)),
             int(isTaken));
}

void TestContactMatchers::entries_data()
{
    addColumns();
    addRow("as on a device", "value", letters(9), true);
    addRow("parent 300", "parent_id", 300, true);
    addRow("parent 70000", "parent_id", 70000, false);
    addRow("key 1", "key", 1, true);
    addRow("key 0", "key", 0, false);
    addRow("no value", "value", QVariant(), false);
}

void TestContactMatchers::entries()
{
    QFETCH(QString, column);
    QFETCH(QVariant, value);
    QFETCH(bool, isTaken);
    QVERIFY(m_harness.open(EntryTable, statementOf(EntryTable)));
    QVariantMap row{{QStringLiteral("parent_id"), 5},
                    {QStringLiteral("key"), 2},
                    {QStringLiteral("value"), letters(12)}};
    row[column] = value;
    QCOMPARE(m_harness.matches<ContactDbFile::ABMultivalueEntryMatcher>(m_harness.cell(row)),
             int(isTaken));
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
    QString withoutUuid = statementOf(PersonTable);
    QVERIFY(withoutUuid.contains(QLatin1String("ExternalUUID")));
    withoutUuid.replace(QLatin1String("ExternalUUID"), QLatin1String("Other"));
    QVERIFY(m_harness.open(PersonTable, withoutUuid));
    QCOMPARE(m_harness.matches<ContactDbFile::ABPersonMatcher>(m_harness.cell(personRow())), -1);
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
    const QByteArray entry =
        m_harness.cell({{QStringLiteral("parent_id"), 5}, {QStringLiteral("key"), 5}});
    QCOMPARE(m_harness.matches<ContactDbFile::ABMultivalueEntryMatcher>(entry), 0);
}

void TestContactMatchers::liveValuesAreNotInspected()
{
    ContactDbFile::ABMultivalueMatcher matcher(&m_harness.file());
    QVERIFY(!matcher.wantsLiveCells());
}

void TestContactMatchers::inspectedValueIsLogged()
{
    QTest::ignoreMessage(QtDebugMsg, "live value at 3 of 10");
    ContactDbFile::ABMultivalueMatcher matcher(&m_harness.file());
    matcher.inspectLiveCell(QByteArray(10, 'x'), 3);
}

QTEST_APPLESS_MAIN(TestContactMatchers)
#include "tst_contactmatchers.moc"
