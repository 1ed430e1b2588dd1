#include "engine/sqlitedbfile.h"
#include "tests/support/databaseimage.h"
#include "tests/support/probematcher.h"
#include "tests/support/scanprobe.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

/// A recoverer without a scan of its own.
class PlainDbFile : public SqliteDbFile
{
public:
    int scanDeletedRecords(SqliteRecovery *) override { return 0; }
};

QByteArray row(const char *name, qint64 rowid = 5)
{
    return leafCell(rowid, record({QVariant(), QString::fromLatin1(name), 70000000,
                                   QStringLiteral("somewhere")}));
}

/// A database of 8 pages of 512 bytes with the table "t" on page 2.
DatabaseImage tableImage()
{
    DatabaseImage image(512, 8);
    image.schemaTable(QStringLiteral("t"), 2,
                      QStringLiteral("CREATE TABLE t (id integer primary key, name text,"
                                     " amount integer, place text)"));
    return image;
}

} // namespace

/// The search over pages and free regions: what is read, in which order, and what counts as
/// deleted.
class TestCarving : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { m_matcher = std::make_unique<ProbeMatcher>(); }
    void deletedRowsInTheGapAndLiveRowsInPlace();
    void rowStartingFiveBytesBehindACellIsDeleted();
    void otherPagesAreSearchedWhole();
    void freeListOnlySearchesOwnLeavesAndFreeRegions();
    void limitIsTheNextLiveCell();
    void payloadOfDeletedRowsIsAskedFor();
    void restartAndInspectionPerRegion();
    void bodyAtTheRegionsEndStopsTheRegion();
    void overlappingTextsEnd();
    void damagedTreeIsSearchedAsOtherPages();
    void damagedPagesArePassedOver_data();
    void damagedPagesArePassedOver();
    void missingColumnSkipsTheTable();
    void openReplacesWhatWasOpen();
    void pagesBeyondFourGibibytes();

private:
    /// Carves "t" in the image with the test's matcher.
    void carve(const DatabaseImage &image, bool freeListOnly = false, ScanProbe *probe = nullptr)
    {
        const QString path = m_dir.filePath(QStringLiteral("carved.db"));
        QVERIFY(image.save(path));
        PlainDbFile file;
        QVERIFY(file.open(path));
        file.setProgress(probe);
        file.carveTable(*file.table(QStringLiteral("t")), *m_matcher, 80, freeListOnly);
    }
    QString deleted() const { return m_matcher->names(true).join(QStringLiteral(", ")); }
    QString live() const { return m_matcher->names(false).join(QStringLiteral(", ")); }

    QTemporaryDir m_dir;
    std::unique_ptr<ProbeMatcher> m_matcher;
};

void TestCarving::deletedRowsInTheGapAndLiveRowsInPlace()
{
    DatabaseImage image = tableImage();
    image.leafPage(2, {row("live one"), row("live two")});
    image.putBytes(512 + 100, row("gone"));
    carve(image);
    QCOMPARE(live(), QStringLiteral("live two, live one"));
    QCOMPARE(deleted(), QStringLiteral("gone"));
    QCOMPARE(m_matcher->matches[0].amount, 70000000);
    QCOMPARE(m_matcher->matches[0].place, QStringLiteral("somewhere"));
    QCOMPARE(m_matcher->liveCellTotal, 2);
    QCOMPARE(m_matcher->liveMatches, 2);
    QCOMPARE(m_matcher->deletedMatches, 1);
}

void TestCarving::rowStartingFiveBytesBehindACellIsDeleted()
{
    // A candidate starts at its rowid, one byte behind its cell.
    for (int distance = 3; distance <= 6; ++distance) {
        init();
        DatabaseImage image = tableImage();
        image.leafPage(2, {row("other")});
        image.putBytes(512 + 200, row("row")).put16(512 + 3, 2).put16(512 + 10, 201 - distance);
        carve(image);
        QCOMPARE(deleted().contains(QStringLiteral("row")), distance > 4);
        QCOMPARE(live().contains(QStringLiteral("row")), distance <= 4);
    }
}

void TestCarving::otherPagesAreSearchedWhole()
{
    DatabaseImage image = tableImage();
    image.leafPage(2, {row("live")});
    image.leafPage(3, {row("row of another table")});
    image.putBytes(4 * 512, "0000" + row("first byte of a page").mid(4)); // under a freeblock
    image.putBytes(8 * 512 - 40, row("last bytes of the file"));
    image.putBytes(300, row("page 1 is not searched"));
    carve(image);
    QCOMPARE(deleted(),
             QStringLiteral("row of another table, first byte of a page, last bytes of the file"));
}

void TestCarving::freeListOnlySearchesOwnLeavesAndFreeRegions()
{
    DatabaseImage image = tableImage();
    image.leafPage(2, {row("live")}).putBytes(512 + 100, row("in the gap"));
    image.leafPage(3, {row("row of another table")});
    image.put32(32, 5).trunkPage(5, 0, {7, 4}, 2);
    image.putBytes(4 * 512 + 100, row("tail of the trunk"));
    image.putBytes(3 * 512 + 50, row("free page 4")).putBytes(6 * 512 + 50, row("free page 7"));
    carve(image, true);
    QCOMPARE(live(), QStringLiteral("live"));
    QCOMPARE(deleted(), QStringLiteral("in the gap, tail of the trunk, free page 7, free page 4"));
}

void TestCarving::limitIsTheNextLiveCell()
{
    DatabaseImage image = tableImage();
    image.leafPage(2, {row("live")});
    const int liveCell = 512 - row("live").size();
    // The deleted row's place was overwritten by the live cell.
    const QByteArray gone = row("gone");
    image.putBytes(512 + liveCell - gone.size() + 6, gone.left(gone.size() - 6));
    carve(image);
    QCOMPARE(deleted(), QStringLiteral("gone"));
    const int regionStart = 8 + 2;
    QCOMPARE(m_matcher->matches[0].limit, liveCell - regionStart);
    QCOMPARE(m_matcher->matches[1].limit, 0);
    // A live cell exactly where a body begins is not behind it.
    init();
    image = tableImage();
    const QByteArray header = gone.left(gone.indexOf("gone"));
    image.leafPage(2, {row("live")}).putBytes(512 + liveCell - header.size(), header);
    carve(image);
    QVERIFY(m_matcher->matches[0].isDeleted);
    QCOMPARE(m_matcher->matches[0].limit, 0);
}

void TestCarving::payloadOfDeletedRowsIsAskedFor()
{
    DatabaseImage image = tableImage();
    image.leafPage(2, {row("live")}).putBytes(512 + 100, row("gone"));
    carve(image);
    // The record starts at its rowid, one byte behind its cell, and its body six bytes later.
    QCOMPARE(m_matcher->payloads, QStringList{QStringLiteral("%1 +6").arg(512 + 101)});
}

void TestCarving::restartAndInspectionPerRegion()
{
    DatabaseImage image = tableImage();
    image.leafPage(2, {row("live")}).putBytes(512 + 100, row("gone"));
    image.putBytes(4 * 512 + 100, row("elsewhere"));
    m_matcher->inspectsCells = true;
    carve(image);
    const int liveCell = 512 - row("live").size() - 10;
    QCOMPARE(m_matcher->calls,
             (QStringList{QStringLiteral("inspect %1").arg(liveCell), QStringLiteral("track 1 1"),
                          QStringLiteral("track 0 0"), QStringLiteral("track 1 1")}));
}

void TestCarving::bodyAtTheRegionsEndStopsTheRegion()
{
    // Nothing but the header stands at the end of the file's last page.
    DatabaseImage image = tableImage();
    image.leafPage(2, {});
    const QByteArray header("\x05\x05\x00\x17\x04\x00", 6);
    image.putBytes(8 * 512 - header.size(), header);
    carve(image);
    QCOMPARE(m_matcher->calls, QStringList{QStringLiteral("track 1 1")});
    QVERIFY(m_matcher->matches.isEmpty());
}

void TestCarving::overlappingTextsEnd()
{
    // Each header claims the 250 bytes behind it, of which most are headers as well.
    constexpr int Headers = 120;
    DatabaseImage image = tableImage();
    image.leafPage(2, {});
    image.putBytes(4 * 512, QByteArray("\x0D\x04\x84\x01", 4).repeated(Headers));
    image.putBytes(6 * 512 + 100, row("on another page"));
    carve(image);
    qint64 size = 0;
    for (const ProbeMatcher::Match &match : qAsConst(m_matcher->matches)) {
        size += match.place.size();
    }
    QVERIFY2(size > 10 * 512 && size <= 33 * 512, QByteArray::number(size).constData());
    QVERIFY(m_matcher->matches.size() < Headers);
    QVERIFY(deleted().endsWith(QStringLiteral(", on another page")));
}

void TestCarving::damagedTreeIsSearchedAsOtherPages()
{
    DatabaseImage image = tableImage();
    image.interiorPage(2, {3}, 3).leafPage(3, {row("still there")});
    carve(image);
    QCOMPARE(deleted(), QStringLiteral("still there"));
    QCOMPARE(m_matcher->liveCellTotal, 0);
}

void TestCarving::damagedPagesArePassedOver_data()
{
    QTest::addColumn<int>("cellCount");
    QTest::newRow("pointers up to the page's end") << (512 - 8) / 2;
    QTest::newRow("pointers beyond the page") << 253;
    QTest::newRow("absurd count") << 0xFFFF;
}

void TestCarving::damagedPagesArePassedOver()
{
    QFETCH(int, cellCount);
    DatabaseImage image = tableImage();
    image.leafPage(2, {row("live")}).put16(512 + 3, cellCount);
    image.putBytes(4 * 512 + 100, row("elsewhere"));
    carve(image);
    QCOMPARE(deleted(), QStringLiteral("elsewhere"));
    QVERIFY(live().isEmpty());
}

void TestCarving::missingColumnSkipsTheTable()
{
    DatabaseImage image(512, 4);
    image.schemaTable(QStringLiteral("t"), 2, QStringLiteral("CREATE TABLE t (id, name text)"));
    image.leafPage(2, {row("live")});
    ScanProbe probe;
    carve(image, false, &probe);
    QVERIFY(m_matcher->matches.isEmpty());
    QCOMPARE(probe.reports, 1);
    QCOMPARE(probe.total, 80.0);
}

void TestCarving::openReplacesWhatWasOpen()
{
    const QString first = m_dir.filePath(QStringLiteral("first.db"));
    const QString second = m_dir.filePath(QStringLiteral("second.db"));
    DatabaseImage image = tableImage();
    image.leafPage(2, {}).put32(32, 5).trunkPage(5, 0, {}, 0).putBytes(4 * 512 + 99, row("one"));
    QVERIFY(image.save(first));
    image.put32(32, 6).trunkPage(6, 0, {}, 0).putBytes(5 * 512 + 99, row("two"));
    QVERIFY(image.save(second));
    PlainDbFile file;
    for (const QString &path : {first, second}) {
        QVERIFY(file.open(path));
        file.carveTable(*file.table(QStringLiteral("T")), *m_matcher, 0, true);
    }
    QCOMPARE(deleted(), QStringLiteral("one, two"));
    QVERIFY(!file.open(m_dir.filePath(QStringLiteral("missing.db"))));
    QVERIFY(!file.open(m_dir.path()));
}

void TestCarving::pagesBeyondFourGibibytes()
{
    constexpr int PageSize = 65536;
    constexpr int FarPage = 70000;
    DatabaseImage image(PageSize, 2);
    image.schemaTable(QStringLiteral("t"), 2, QStringLiteral("CREATE TABLE t (a, b, c, d)"));
    image.leafPage(2, {row("live")}).put32(32, FarPage);
    const QString path = m_dir.filePath(QStringLiteral("far.db"));
    QVERIFY(image.save(path));
    QFile sparse(path);
    QVERIFY(sparse.open(QIODevice::ReadWrite) && sparse.resize(qint64(FarPage) * PageSize));
    const QByteArray far = row("far away");
    QVERIFY(sparse.seek(sparse.size() - far.size()) && sparse.write(far) == far.size());
    sparse.close();
    PlainDbFile file;
    QVERIFY(file.open(path));
    QCOMPARE(file.headerInfo().pageCount, quint32(FarPage));
    file.carveTable(*file.table(QStringLiteral("t")), *m_matcher, 0, true);
    QCOMPARE(deleted(), QStringLiteral("far away"));
    QCOMPARE(live(), QStringLiteral("live"));
}

QTEST_APPLESS_MAIN(TestCarving)
#include "tst_carving.moc"
