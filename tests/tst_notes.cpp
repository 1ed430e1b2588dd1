#include "samples/notescan.h"
#include "samples/notetruth.h"
#include "samples/sampledatabase.h"
#include "tests/support/samplechecks.h"
#include "tests/support/testfiles.h"

#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

namespace {

QStringList toText(const QVector<NoteRecord> &notes)
{
    QStringList texts;
    for (const NoteRecord &note : notes) {
        texts << QStringLiteral("%1|%2|%3").arg(note.date).arg(note.title, note.content);
    }
    return texts;
}

const QString InsertNote =
    QStringLiteral("INSERT INTO ZNOTE (Z_ENT, Z_OPT, ZCREATIONDATE, ZMODIFICATIONDATE, ZGUID, "
                   "ZSUMMARY, ZTITLE) VALUES (3, 1, 400000000.5, ?, ?, ?, ?)");
const QString InsertBody = QStringLiteral("INSERT INTO ZNOTEBODY (Z_ENT, Z_OPT, ZOWNER, ZCONTENT) "
                                          "VALUES (4, 1, 1, ?)");
const QString Guid = QStringLiteral("4F7C1B62-90AE-4D53-8E11-0C5D6A7B8E91");

/// A text of `size` characters in which every place can be told.
QString longText(int size)
{
    QString text;
    for (int i = 0; text.size() < size; ++i) {
        text += QStringLiteral("line%1 ").arg(i);
    }
    return text.left(size - 1) + QLatin1Char('.');
}

} // namespace

/// Notes as SQLite itself deletes them, in every layout, through the public interface.
class TestNotes : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void everyLayoutAndDeletion_data() { addSampleRows(allNoteLayouts(), allNoteDeletions()); }
    void everyLayoutAndDeletion();
    void spilledBodies_data();
    void spilledBodies();
    void brokenChains_data();
    void brokenChains();
    void pagesOfLiveBodiesAreNotGathered();
    void cellThatPointsToALiveText();
    void missingTables_data();
    void missingTables();
    void damagedBodies_data();
    void damagedBodies();
    void unreadableNotes();
    void wholeBackup();

private:
    QString path(const char *name) const { return m_dir.filePath(QString::fromLatin1(name)); }
    bool makeSample(const NotePlan &plan, const QString &path, NoteSample *sample)
    {
        return makeSampleFile(path, deviceOptions(plan.layout), makeNoteSample, plan, sample);
    }
    /// A database from which one body was deleted; its cell and its overflow pages stay. Something
    /// else is deleted first, since the first page that is freed gets the list of the others.
    bool makeDeletedBody(const QString &html)
    {
        SampleDatabase db;
        return db.create(path("notes.db"), deviceOptions(NoteLayout::Ios7))
               && db.exec(noteTables(NoteLayout::Ios7)) && db.run(InsertBody, {html})
               && db.exec(QStringLiteral(
                   "INSERT INTO ZNOTECHANGE (ZNOTEINTEGERIDS) VALUES (zeroblob(9000));"
                   "DELETE FROM ZNOTECHANGE; DELETE FROM ZNOTEBODY WHERE Z_PK=1"))
               && db.close();
    }
    QStringList scan(NoteLayout layout = NoteLayout::Ios7)
    {
        return toText(scanNotes(layout, path("notes.db")));
    }

    QTemporaryDir m_dir;
};

void TestNotes::everyLayoutAndDeletion()
{
    QFETCH(int, layout);
    QFETCH(int, deletion);
    const NotePlan plan{NoteLayout(layout), NoteDeletion(deletion), 120, 11};
    NoteSample sample;
    QVERIFY(makeSample(plan, path("notes.db"), &sample));
    const QVector<NoteRecord> found = scanNotes(plan.layout, path("notes.db"));
    const NoteResult result = compareNotes(sample, readFile(path("notes.db")), found);
    QVERIFY(result.deleted >= plan.notes / 6);
    QCOMPARE(result.found(), found.size());
    QVERIFY2(result.invented + result.twice == 0, detailsOf(result).constData());
    QVERIFY2(result.missedWhole == 0, detailsOf(result).constData());
    // Notes and bodies are joined by title alone, and copies of rows that SQLite moved count.
    QVERIFY2(result.otherText <= plan.notes / 10, detailsOf(result).constData());
    QVERIFY2(result.liveCopies <= plan.notes / 3, detailsOf(result).constData());
    if (isTaken(plan.layout)) {
        QVERIFY2(result.recovered * 5 > result.deleted * 2, detailsOf(result).constData());
        QVERIFY2(result.overwritten * 3 < result.deleted, detailsOf(result).constData());
    } else {
        QCOMPARE(found.size(), 0);
    }
    const bool isWholeTable = plan.deletion == NoteDeletion::WholeTable && isTaken(plan.layout);
    const int part = isNoteStore(plan.layout) ? 97 : 90;
    QVERIFY2(!isWholeTable || result.recovered * 100 > result.deleted * part,
             detailsOf(result).constData());
    QVERIFY2(!isWholeTable || result.liveCopies == 0, detailsOf(result).constData());
}

void TestNotes::spilledBodies_data()
{
    QTest::addColumn<int>("size");
    // Around the largest body of a cell, and one that takes many pages.
    for (const int size : {4040, 4048, 4049, 4050, 4051, 4052, 4060, 8200, 300000}) {
        QTest::addRow("%d", size) << size;
    }
}

void TestNotes::spilledBodies()
{
    QFETCH(int, size);
    const QString text = longText(size);
    QVERIFY(makeDeletedBody(text));
    QCOMPARE(scan(), QStringList(QStringLiteral("0|%1|%1").arg(text)));
}

void TestNotes::brokenChains_data()
{
    QTest::addColumn<quint32>("link");
    QTest::addColumn<int>("pages"); // that are still gathered
    QTest::newRow("whole") << quint32(-1) << 3;
    QTest::newRow("end of another chain") << quint32(0) << 1;
    QTest::newRow("page that does not exist") << quint32(0x7FFFFFFF) << 2;
    QTest::newRow("first page") << quint32(1) << 2;
    QTest::newRow("ring") << quint32(-2) << 2;
}

void TestNotes::brokenChains()
{
    QFETCH(quint32, link);
    QFETCH(int, pages);
    constexpr int pageSize = 4096;
    // The cell holds the least that it may, so that the text goes on over three pages.
    const QString text = longText(3 * (pageSize - 4) + 600);
    QVERIFY(makeDeletedBody(text));
    QByteArray bytes = readFile(path("notes.db"));
    const auto pageOf = [&](int page) {
        // The first words of the page behind those that come before.
        const int local = text.size() - 3 * (pageSize - 4);
        return bytes.indexOf(text.mid(local + 11 + (page - 1) * (pageSize - 4), 60).toLatin1())
               / pageSize;
    };
    if (link != quint32(-1)) {
        const int second = pageOf(2);
        const quint32 value = link == quint32(-2) ? quint32(second + 1) : link;
        qToBigEndian(value, bytes.data() + qint64(second) * pageSize);
        QFile file(path("notes.db"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    }
    const QStringList found = scan();
    QCOMPARE(found.size(), 1);
    const QString content = found.first().section(QLatin1Char('|'), 2);
    QVERIFY(text.startsWith(content));
    const int gathered = (content.size() + pageSize / 2 - 600) / (pageSize - 4);
    QCOMPARE(gathered, pages);
}

/// The new text takes some or all of the pages, in the same order or in another one.
void TestNotes::pagesOfLiveBodiesAreNotGathered()
{
    const QString text = longText(9000);
    int cut = 0;
    for (int size = 4500; size < 18000; size += 500) {
        QVERIFY(makeDeletedBody(text));
        SampleDatabase db;
        QVERIFY(db.open(path("notes.db")) && db.run(InsertBody, {QString(size, QLatin1Char('x'))})
                && db.close());
        const QStringList found = scan();
        QVERIFY(found.size() <= 1);
        for (const QString &note : found) {
            const QString content = note.section(QLatin1Char('|'), 2);
            QVERIFY2(text.startsWith(content), qPrintable(QString::number(size)));
            cut += content.size() < text.size();
        }
    }
    QVERIFY(cut > 0);
}

/// What such a cell still has itself says nothing that the live text does not.
void TestNotes::cellThatPointsToALiveText()
{
    SampleDatabase db;
    QVERIFY(db.create(path("notes.db"), deviceOptions(NoteLayout::Ios7))
            && db.exec(noteTables(NoteLayout::Ios7)) && db.run(InsertBody, {longText(9000)})
            && db.close());
    const QByteArray bytes = readFile(path("notes.db"));
    QFile file(path("notes.db"));
    QVERIFY(file.open(QIODevice::Append));
    file.write(bytes.mid(bytes.indexOf("line0 ") / 4096 * 4096, 4096));
    file.close();
    QCOMPARE(scan(), QStringList());
}

void TestNotes::missingTables_data()
{
    QTest::addColumn<QString>("change");
    QTest::addColumn<QStringList>("expected");
    const QString whole = QStringLiteral("400000010|Shopping|Shopping\nmilk");
    QTest::newRow("none") << QString() << QStringList(whole);
    QTest::newRow("no bodies") << QStringLiteral("ALTER TABLE ZNOTEBODY RENAME TO Z1")
                               << QStringList(QStringLiteral("400000010|Shopping|milk"));
    QTest::newRow("no notes") << QStringLiteral("ALTER TABLE ZNOTE RENAME TO Z1")
                              << QStringList(QStringLiteral("0|Shopping|Shopping\nmilk"));
    QTest::newRow("no content") << QStringLiteral(
        "ALTER TABLE ZNOTEBODY RENAME COLUMN ZCONTENT TO Z1")
                                << QStringList(QStringLiteral("400000010|Shopping|milk"));
    QTest::newRow("no title") << QStringLiteral("ALTER TABLE ZNOTE RENAME COLUMN ZTITLE TO Z1")
                              << QStringList(QStringLiteral("0|Shopping|Shopping\nmilk"));
}

void TestNotes::missingTables()
{
    QFETCH(QString, change);
    SampleDatabase db;
    QVERIFY(db.create(path("notes.db")) && db.exec(noteTables(NoteLayout::Ios7))
            && db.run(InsertNote,
                      {400000010.25, Guid, QStringLiteral("milk"), QStringLiteral("Shopping")})
            && db.run(InsertBody, {QStringLiteral("<div>Shopping</div><div>milk<br></div>")})
            && db.exec(QStringLiteral("DELETE FROM ZNOTE; DELETE FROM ZNOTEBODY;") + change)
            && db.close());
    QTEST(scan(), "expected");
}

void TestNotes::damagedBodies_data()
{
    QTest::addColumn<QString>("html");
    QTest::addColumn<QStringList>("expected");
    const QString text = QStringLiteral("Milk, tea and much more than that.");
    QTest::newRow("sound") << text << QStringList(QStringLiteral("0|%1|%1").arg(text));
    QTest::newRow("behind a text") << text + QStringLiteral("<br\x01>more")
                                   << QStringList(QStringLiteral("0|%1|%1").arg(text));
    QTest::newRow("behind a few letters") << QStringLiteral("Milk\x01 and tea") << QStringList();
}

/// Bytes that are no text belong to something else, and letters in front of them are an accident
/// where they are few.
void TestNotes::damagedBodies()
{
    QFETCH(QString, html);
    QVERIFY(makeDeletedBody(html));
    QTEST(scan(), "expected");
}

void TestNotes::unreadableNotes()
{
    const QString insert = QStringLiteral(
        "INSERT INTO ZICCLOUDSYNCINGOBJECT (Z_ENT, Z_OPT, ZMARKEDFORDELETION, "
        "ZNEEDSINITIALFETCHFROMCLOUD, ZCLOUDSTATE, ZNOTEDATA, ZMODIFICATIONDATE1, ZIDENTIFIER, "
        "ZSNIPPET, ZTITLE1) VALUES (11, 2, 0, 0, 5, 6, ?, ?, ?, ?)");
    SampleDatabase db;
    const QString bytes = QStringLiteral("\x01\x02\x03\x04");
    QVERIFY(db.create(path("notes.db")) && db.exec(noteTables(NoteLayout::Store15)));
    int number = 0;
    for (const QString &title : {QStringLiteral("Ideas"), bytes, QStringLiteral("\x01 Rest")}) {
        for (const QVariant &snippet : {QVariant(QStringLiteral("milk")), QVariant(bytes)}) {
            ++number;
            QVERIFY(
                db.run(insert, {number, Guid.left(35) + QString::number(number), snippet, title}));
        }
    }
    QVERIFY(db.exec(QStringLiteral("DELETE FROM ZICCLOUDSYNCINGOBJECT")) && db.close());
    QStringList found = scan(NoteLayout::Store15);
    found.sort();
    // A note that is readable in part comes as it is.
    QCOMPARE(found, (QStringList{QStringLiteral("1|Ideas|milk"), QStringLiteral("2|Ideas|") + bytes,
                                 QStringLiteral("3|%1|milk").arg(bytes),
                                 QStringLiteral("5|\x01 Rest|milk"),
                                 QStringLiteral("6|\x01 Rest|") + bytes}));
}

void TestNotes::wholeBackup()
{
    const QString folder = path("backup/");
    QVERIFY(QDir().mkpath(folder));
    NoteSample sample;
    QVERIFY(makeSample({NoteLayout::Ios9, NoteDeletion::Scattered, 60, 4},
                       folder + QLatin1String("ca3bc056d4da0bbf88b5fb3be254f3b7147e639c"),
                       &sample));
    QVERIFY(makeSample({NoteLayout::Store17, NoteDeletion::Scattered, 60, 4},
                       folder + QLatin1String("4f98687d8ab0d6d1a371110e6b7300f6e465bef2"),
                       &sample));
    SqliteRecovery recovery;
    QCOMPARE(recovery.scanRecovery(folder), 0);
    QVERIFY(recovery.getNoteCount() > 5);
    QCOMPARE(recovery.getIos9NoteCount(), 0u); // the newer place is none of a whole backup's
}

QTEST_APPLESS_MAIN(TestNotes)
#include "tst_notes.moc"
