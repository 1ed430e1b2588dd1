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
    return rowFromJson(R"({"z_ent": 3, "z_opt": 2, "zcreationdate": 400000000.5,
        "zmodificationdate": 400000010.5, "zguid": "0B6C7F0E-1D9C-4B52-8D55-3C6B7A9D1E2F",
        "zsummary": "milk", "ztitle": "Shopping"})");
}

QVariantMap bodyRow()
{
    return rowFromJson(R"({"z_ent": 4, "z_opt": 2, "zowner": 7,
        "zcontent": "Shopping<div>milk</div>"})");
}

QVariantMap objectRow()
{
    return rowFromJson(R"({"z_ent": 11, "z_opt": 2, "zmarkedfordeletion": 0, "zcloudstate": 5,
        "zneedsinitialfetchfromcloud": 0, "znotedata": 6, "zmodificationdate1": 400000010.5,
        "zidentifier": "0B6C7F0E-1D9C-4B52-8D55-3C6B7A9D1E2F", "zsnippet": "milk",
        "ztitle1": "Shopping"})");
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
    void neededColumns();

private:
    MatcherHarness<NoteDbFile> m_old;
    MatcherHarness<Ios9NoteDbFile> m_new;
};

void TestNoteMatchers::notes_data()
{
    addValueColumns();
    addValueRow("as on a device", "ztitle", QStringLiteral("Ideas"), true);
    addValueRow("whole date of creation", "zcreationdate", 400000000, true);
    addValueRow("date of creation of two bytes", "zcreationdate", 300, false);
    addValueRow("no date of change", "zmodificationdate", QVariant(), true);
    addValueRow("identifier of 35 characters", "zguid", letters(35), false);
    addValueRow("no identifier", "zguid", QVariant(), false);
    addValueRow("no title", "ztitle", QVariant(), false);
    addValueRow("empty title", "ztitle", QStringLiteral(""), true);
    addValueRow("number as title", "ztitle", 5, false);
    addValueRow("no summary", "zsummary", QVariant(), true);
    addValueRow("bytes as summary", "zsummary", QByteArray(4, 'x'), false);
    addValueRow("title of a mebibyte", "ztitle", letters(1048576), false);
}

void TestNoteMatchers::notes()
{
    QVERIFY(m_old.open(NoteTable, statementOf(NoteLayout::Ios7)));
    m_old.compare<NoteDbFile::NoteMatcher>(noteRow());
}

void TestNoteMatchers::bodies_data()
{
    addValueColumns();
    addValueRow("as on a device", "zcontent", QStringLiteral("Ideas"), true);
    addValueRow("entity 1", "z_ent", 1, true);
    addValueRow("entity of two bytes", "z_ent", 300, false);
    addValueRow("no content", "zcontent", QVariant(), false);
    addValueRow("empty content of a whole cell", "zcontent", QStringLiteral(""), true);
    addValueRow("content elsewhere", "zexternalcontentref", QStringLiteral("x"), false);
    addValueRow("other representation", "zexternalrepresentation", QByteArray(3, 'x'), false);
}

void TestNoteMatchers::bodies()
{
    QVERIFY(m_old.open(BodyTable, BodyStatement));
    m_old.compare<NoteDbFile::NotebodyMatcher>(bodyRow());
}

void TestNoteMatchers::objects_data()
{
    addValueColumns();
    addValueRow("as on a device", "ztitle1", QStringLiteral("Ideas"), true);
    addValueRow("identifier of a folder", "zidentifier", letters(26), false);
    addValueRow("no entity", "z_ent", QVariant(), false);
    addValueRow("no version", "z_opt", QVariant(), false);
    addValueRow("marked for deletion", "zmarkedfordeletion", 1, true);
    addValueRow("mark of two bytes", "zmarkedfordeletion", 300, false);
    addValueRow("no mark", "zmarkedfordeletion", QVariant(), false);
    addValueRow("fetched from no cloud", "zneedsinitialfetchfromcloud", QVariant(), false);
    addValueRow("fetch mark of two bytes", "zneedsinitialfetchfromcloud", 300, false);
    addValueRow("no state", "zcloudstate", QVariant(), false);
    addValueRow("no text", "znotedata", QVariant(), false);
    addValueRow("no date of change", "zmodificationdate1", QVariant(), false);
    addValueRow("whole date of change", "zmodificationdate1", 400000000, true);
    addValueRow("no snippet", "zsnippet", QVariant(), true);
    addValueRow("number as snippet", "zsnippet", 5, false);
    addValueRow("no title", "ztitle1", QVariant(), false);
    addValueRow("date of creation", "zcreationdate3", 400000000.5, true);
    addValueRow("date of another entity", "zcreationdate1", 400000000.5, false);
    addValueRow("other date of another entity", "zcreationdate", 400000000.5, true);
}

void TestNoteMatchers::objects()
{
    QVERIFY(m_new.open(ObjectTable, statementOf(NoteLayout::Store17)));
    m_new.compare<Ios9NoteDbFile::NoteMatcher>(objectRow());
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

void TestNoteMatchers::neededColumns()
{
    QVERIFY(m_old.open(NoteTable, statementOf(NoteLayout::Ios7)));
    QCOMPARE(m_old.neededColumns<NoteDbFile::NoteMatcher>(),
             QStringLiteral("zcreationdate zguid zsummary ztitle"));
    QVERIFY(m_old.open(BodyTable, BodyStatement));
    QCOMPARE(m_old.neededColumns<NoteDbFile::NotebodyMatcher>(),
             QStringLiteral("z_ent zcontent zexternalcontentref zexternalrepresentation"));
    QVERIFY(m_new.open(ObjectTable, statementOf(NoteLayout::Store17)));
    QCOMPARE(m_new.neededColumns<Ios9NoteDbFile::NoteMatcher>(),
             QStringLiteral("z_ent z_opt zmarkedfordeletion zneedsinitialfetchfromcloud "
                            "zcloudstate znotedata zcreationdate zmodificationdate1 zidentifier "
                            "zsnippet ztitle1"));
}

QTEST_APPLESS_MAIN(TestNoteMatchers)
#include "tst_notematchers.moc"
