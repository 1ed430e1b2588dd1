#include "recoverers/calendar_notes_safari/ios9notematcher.h"
#include "recoverers/calendar_notes_safari/notematchers.h"
#include "samples/notelayout.h"
#include "tests/support/matcherharness.h"

#include <QtTest>

namespace {

const QString NoteTable = QStringLiteral("znote");
const QString BodyTable = QStringLiteral("znotebody");
const QString ObjectTable = QStringLiteral("ziccloudsyncingobject");

const QString BodyStatement = QStringLiteral(
    "CREATE TABLE ZNOTEBODY ( Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER, ZOWNER "
    "INTEGER, ZCONTENT VARCHAR, ZEXTERNALCONTENTREF VARCHAR, ZEXTERNALREPRESENTATION BLOB )");

QString statementOf(NoteLayout layout)
{
    return QStringLiteral("CREATE TABLE %1 ( %2 )")
        .arg(isNoteStore(layout) ? ObjectTable : NoteTable,
             noteColumns(layout).join(QStringLiteral(", ")));
}

QVariantMap noteRow()
{
    return {{QStringLiteral("z_ent"), 3},
            {QStringLiteral("z_opt"), 2},
            {QStringLiteral("zcreationdate"), 400000000.5},
            {QStringLiteral("zmodificationdate"), 400000010.5},
            {QStringLiteral("zguid"), letters(36)},
            {QStringLiteral("zsummary"), QStringLiteral("milk")},
            {QStringLiteral("ztitle"), QStringLiteral("Shopping")}};
}

QVariantMap bodyRow()
{
    return {{QStringLiteral("z_ent"), 4},
            {QStringLiteral("z_opt"), 2},
            {QStringLiteral("zowner"), 7},
            {QStringLiteral("zcontent"), QStringLiteral("Shopping<div>milk</div>")}};
}

QVariantMap objectRow()
{
    return {{QStringLiteral("z_ent"), 11},
            {QStringLiteral("z_opt"), 2},
            {QStringLiteral("zmarkedfordeletion"), 0},
            {QStringLiteral("zneedsinitialfetchfromcloud"), 0},
            {QStringLiteral("zcloudstate"), 5},
            {QStringLiteral("znotedata"), 6},
            {QStringLiteral("zmodificationdate1"), 400000010.5},
            {QStringLiteral("zidentifier"), letters(36)},
            {QStringLiteral("zsnippet"), QStringLiteral("milk")},
            {QStringLiteral("ztitle1"), QStringLiteral("Shopping")}};
}

} // namespace

/// Which record headers the matchers of both notes databases take, on rows in which one column
/// differs from what devices write.
class TestNoteMatchers : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void notes_data();
    void notes();
    void bodies_data();
    void bodies();
    void objects_data();
    void objects();
    void rowsWithADateOfCreationAreRefused_data();
    void rowsWithADateOfCreationAreRefused();
    void rowOlderThanTheTableIsRefused();
    void emptyBodyWithoutItsCellIsRefused();
    void missingColumns();

private:
    void addRow(const char *name, const char *column, const QVariant &value, bool isTaken)
    {
        QTest::newRow(name) << QString::fromLatin1(column) << value << isTaken;
    }
    static void addColumns()
    {
        QTest::addColumn<QString>("column");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<bool>("isTaken");
    }
    template<typename Matcher, typename Harness> void verify(Harness *harness, QVariantMap row)
    {
        QFETCH(QString, column);
        QFETCH(QVariant, value);
        QFETCH(bool, isTaken);
        QVERIFY(harness->columns().contains(column));
        row[column] = value;
        QCOMPARE(harness->template matches<Matcher>(harness->cell(row)) > 0, isTaken);
    }

    MatcherHarness<NoteDbFile> m_old;
    MatcherHarness<Ios9NoteDbFile> m_new;
};

void TestNoteMatchers::notes_data()
{
    addColumns();
    addRow("as on a device", "ztitle", QStringLiteral("Ideas"), true);
    addRow("whole date of creation", "zcreationdate", 400000000, true);
    addRow("date of creation of two bytes", "zcreationdate", 300, false);
    addRow("no date of change", "zmodificationdate", QVariant(), true);
    addRow("identifier of 35 characters", "zguid", letters(35), false);
    addRow("no identifier", "zguid", QVariant(), false);
    addRow("no title", "ztitle", QVariant(), false);
    addRow("empty title", "ztitle", QStringLiteral(""), true);
    addRow("number as title", "ztitle", 5, false);
    addRow("no summary", "zsummary", QVariant(), true);
    addRow("bytes as summary", "zsummary", QByteArray(4, 'x'), false);
    addRow("title of a mebibyte", "ztitle", letters(1048576), false);
}

void TestNoteMatchers::notes()
{
    QVERIFY(m_old.open(NoteTable, statementOf(NoteLayout::Ios7)));
    verify<NoteDbFile::NoteMatcher>(&m_old, noteRow());
}

void TestNoteMatchers::bodies_data()
{
    addColumns();
    addRow("as on a device", "zcontent", QStringLiteral("Ideas"), true);
    addRow("entity 1", "z_ent", 1, true);
    addRow("entity of two bytes", "z_ent", 300, false);
    addRow("no content", "zcontent", QVariant(), false);
    addRow("empty content of a whole cell", "zcontent", QStringLiteral(""), true);
    addRow("content elsewhere", "zexternalcontentref", QStringLiteral("x"), false);
    addRow("other representation", "zexternalrepresentation", QByteArray(3, 'x'), false);
}

void TestNoteMatchers::bodies()
{
    QVERIFY(m_old.open(BodyTable, BodyStatement));
    verify<NoteDbFile::NotebodyMatcher>(&m_old, bodyRow());
}

void TestNoteMatchers::objects_data()
{
    addColumns();
    addRow("as on a device", "ztitle1", QStringLiteral("Ideas"), true);
    addRow("identifier of a folder", "zidentifier", letters(26), false);
    addRow("no entity", "z_ent", QVariant(), false);
    addRow("no version", "z_opt", QVariant(), false);
    addRow("marked for deletion", "zmarkedfordeletion", 1, true);
    addRow("mark of two bytes", "zmarkedfordeletion", 300, false);
    addRow("no mark", "zmarkedfordeletion", QVariant(), false);
    addRow("fetched from no cloud", "zneedsinitialfetchfromcloud", QVariant(), false);
    addRow("fetch mark of two bytes", "zneedsinitialfetchfromcloud", 300, false);
    addRow("no state", "zcloudstate", QVariant(), false);
    addRow("no text", "znotedata", QVariant(), false);
    addRow("no date of change", "zmodificationdate1", QVariant(), false);
    addRow("whole date of change", "zmodificationdate1", 400000000, true);
    addRow("no snippet", "zsnippet", QVariant(), true);
    addRow("number as snippet", "zsnippet", 5, false);
    addRow("no title", "ztitle1", QVariant(), false);
    addRow("date of creation", "zcreationdate3", 400000000.5, true);
    addRow("date of another entity", "zcreationdate1", 400000000.5, false);
    addRow("other date of another entity", "zcreationdate", 400000000.5, true);
}

void TestNoteMatchers::objects()
{
    QVERIFY(m_new.open(ObjectTable, statementOf(NoteLayout::Store17)));
    verify<Ios9NoteDbFile::NoteMatcher>(&m_new, objectRow());
}

void TestNoteMatchers::rowsWithADateOfCreationAreRefused_data()
{
    QTest::addColumn<int>("layout");
    QTest::addColumn<bool>("isTaken");
    for (const NoteLayout layout : allNoteLayouts()) {
        if (isNoteStore(layout)) {
            QTest::newRow(qPrintable(layoutName(layout))) << int(layout) << isTaken(layout);
        }
    }
}

void TestNoteMatchers::rowsWithADateOfCreationAreRefused()
{
    QFETCH(int, layout);
    QVERIFY(m_new.open(ObjectTable, statementOf(NoteLayout(layout))));
    QVariantMap row = objectRow();
    QCOMPARE(m_new.matches<Ios9NoteDbFile::NoteMatcher>(m_new.cell(row)), 1);
    row[creationDateColumn(NoteLayout(layout)).toLower()] = 400000000.5;
    QTEST(m_new.matches<Ios9NoteDbFile::NoteMatcher>(m_new.cell(row)) > 0, "isTaken");
}

void TestNoteMatchers::rowOlderThanTheTableIsRefused()
{
    const auto widened = [](QString statement) {
        return statement.replace(statement.lastIndexOf(QLatin1Char(')')), 1,
                                 QStringLiteral(", ZNEW INTEGER )"));
    };
    QVERIFY(m_old.open(NoteTable, widened(statementOf(NoteLayout::Ios7))));
    QCOMPARE(m_old.matches<NoteDbFile::NoteMatcher>(m_old.cell(noteRow())), 1);
    QCOMPARE(m_old.matches<NoteDbFile::NoteMatcher>(m_old.cell(noteRow(), 1)), 0);
    QVERIFY(m_old.open(BodyTable, widened(BodyStatement)));
    QCOMPARE(m_old.matches<NoteDbFile::NotebodyMatcher>(m_old.cell(bodyRow())), 1);
    QCOMPARE(m_old.matches<NoteDbFile::NotebodyMatcher>(m_old.cell(bodyRow(), 1)), 0);
    QVERIFY(m_new.open(ObjectTable, statementOf(NoteLayout::Store17)));
    QByteArray cell = m_new.cell(objectRow(), 12);
    QCOMPARE(m_new.matches<Ios9NoteDbFile::NoteMatcher>(cell), 0);
    // What a freeblock header leaves of the header's size still tells.
    cell.replace(0, 4, QByteArray(4, '\x01'));
    QCOMPARE(m_new.matches<Ios9NoteDbFile::NoteMatcher>(cell), 0);
    QByteArray sound = m_new.cell(objectRow());
    sound.replace(0, 4, QByteArray(4, '\x01'));
    QCOMPARE(m_new.matches<Ios9NoteDbFile::NoteMatcher>(sound), 1);
}

void TestNoteMatchers::emptyBodyWithoutItsCellIsRefused()
{
    QVERIFY(m_old.open(BodyTable, BodyStatement));
    QVariantMap body = bodyRow();
    body[QStringLiteral("zcontent")] = QStringLiteral("");
    QByteArray empty = m_old.cell(body);
    QCOMPARE(m_old.matches<NoteDbFile::NotebodyMatcher>(empty), 1);
    empty.replace(0, 4, QByteArray(4, '\x01')); // nothing but six small numbers is left of it
    QCOMPARE(m_old.matches<NoteDbFile::NotebodyMatcher>(empty), 0);
}

void TestNoteMatchers::missingColumns()
{
    const auto without = [](QString statement, const char *column) {
        const QString name = QLatin1Char(' ') + QLatin1String(column) + QLatin1Char(' ');
        return statement.replace(name, QStringLiteral(" OTHER "));
    };
    for (const char *column : {"ZTITLE", "ZCREATIONDATE", "ZGUID", "ZSUMMARY"}) {
        QVERIFY(m_old.open(NoteTable, without(statementOf(NoteLayout::Ios7), column)));
        QVERIFY(m_old.columns().contains(QStringLiteral("other")));
        QCOMPARE(m_old.matches<NoteDbFile::NoteMatcher>(m_old.cell(noteRow())), -1);
    }
    for (const char *column : {"Z_ENT", "ZCONTENT", "ZEXTERNALREPRESENTATION"}) {
        QVERIFY(m_old.open(BodyTable, without(BodyStatement, column)));
        QCOMPARE(m_old.matches<NoteDbFile::NotebodyMatcher>(m_old.cell(bodyRow())), -1);
    }
    for (const char *column : {"ZIDENTIFIER", "ZNOTEDATA", "ZCREATIONDATE", "ZTITLE1"}) {
        QVERIFY(m_new.open(ObjectTable, without(statementOf(NoteLayout::Store17), column)));
        QCOMPARE(m_new.matches<Ios9NoteDbFile::NoteMatcher>(m_new.cell(objectRow())), -1);
    }
}

QTEST_APPLESS_MAIN(TestNoteMatchers)
#include "tst_notematchers.moc"
