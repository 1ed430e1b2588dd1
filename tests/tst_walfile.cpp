#include "engine/databasereader.h"
#include "tests/support/databaseimage.h"
#include "tests/support/walbuilder.h"
#include "wal/snapshotcontext.h"
#include "wal/sqlitesnapshotreader.h"
#include "wal/walfile.h"

#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

namespace {

constexpr int PageSize = 512;
constexpr int HeaderSize = 32;

/// What a version holds of each page: the letter that fills it, "." for nothing.
QString lettersOf(QIODevice *database, WalFile *wal, int commitIndex, int pages)
{
    SqliteSnapshotReader reader(database, wal, quint32(commitIndex));
    if (!reader.open(QIODevice::ReadOnly)) {
        return QStringLiteral("closed");
    }
    QString letters;
    for (int page = 0; page < pages; ++page) {
        const bool isThere = reader.seek(qint64(page) * PageSize);
        const QByteArray bytes = isThere ? reader.read(PageSize) : QByteArray();
        const bool isFilled = bytes == QByteArray(PageSize, bytes.isEmpty() ? '\0' : bytes.at(0));
        letters += QString::fromLatin1(bytes.isEmpty() || !isFilled ? "." : bytes.left(1));
    }
    return letters;
}

} // namespace

/// Logs composed by hand, and the versions that they make of a database.
class TestWalFile : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void headers_data();
    void headers();
    void versions();
    void theFirstForeignSaltEndsTheLog_data();
    void theFirstForeignSaltEndsTheLog();
    void aLastPageThatIsCutOffStillCounts();
    void questionsBeyondTheLog();
    void onlyPlainReadingOpensAVersion_data();
    void onlyPlainReadingOpensAVersion();
    void readsEndWithThePage();
    void snapshotsAreKept();

private:
    QString path() const { return m_dir.filePath(QStringLiteral("log")); }
    QTemporaryDir m_dir;
};

void TestWalFile::headers_data()
{
    QTest::addColumn<quint32>("magic");
    QTest::addColumn<quint32>("pageSize");
    QTest::addColumn<int>("length");
    QTest::addColumn<bool>("isLog");
    const quint32 little = WalBuilder::LittleEndianMagic;
    const quint32 big = WalBuilder::BigEndianMagic;
    QTest::newRow("checksums little-endian") << little << 4096U << HeaderSize << true;
    QTest::newRow("checksums big-endian") << big << 4096U << HeaderSize << true;
    QTest::newRow("no power of two") << little << 1000U << HeaderSize << true;
    QTest::newRow("smallest page") << little << 512U << HeaderSize << true;
    QTest::newRow("largest page") << little << 65536U << HeaderSize << true;
    QTest::newRow("page too small") << little << 256U << HeaderSize << false;
    QTest::newRow("one byte too small") << little << 511U << HeaderSize << false;
    QTest::newRow("page too large") << little << 131072U << HeaderSize << false;
    QTest::newRow("one byte too large") << little << 65537U << HeaderSize << false;
    QTest::newRow("other magic below") << little - 1 << 4096U << HeaderSize << false;
    QTest::newRow("other magic above") << big + 1 << 4096U << HeaderSize << false;
    QTest::newRow("cut header") << little << 4096U << HeaderSize - 1 << false;
    QTest::newRow("empty file") << little << 4096U << 0 << false;
}

void TestWalFile::headers()
{
    QFETCH(quint32, magic);
    QFETCH(quint32, pageSize);
    QFETCH(int, length);
    QFETCH(bool, isLog);
    QVERIFY(WalBuilder(pageSize, magic).save(path(), length));
    WalFile wal(path());
    QCOMPARE(wal.load(), isLog);
    QCOMPARE(wal.file().isOpen(), isLog);
    QCOMPARE(wal.transactionCount(), 0);
    if (isLog) {
        QCOMPARE(wal.pageSize(), pageSize);
        QCOMPARE(wal.header().salt1, 0x11111111U);
        QCOMPARE(wal.header().checkpointSequence, 7U);
    }
}

void TestWalFile::versions()
{
    WalBuilder log(PageSize);
    log.frame(2, 'b').frame(5, 'e', 5).frame(2, 'x').frame(2, 'B', 5).frame(3, 'c', 3);
    log.frame(1, 'a'); // never committed
    QVERIFY(log.save(path()));
    WalFile wal(path());
    QVERIFY(wal.load());
    QCOMPARE(wal.frames().size(), 6);
    QCOMPARE(wal.transactionCount(), 3);
    QCOMPARE(wal.snapshotSize(0), qint64(5 * PageSize));
    QCOMPARE(wal.snapshotSize(2), qint64(3 * PageSize));
    QCOMPARE(wal.pagesOf(0), (QVector<quint32>{2, 5}));
    QCOMPARE(wal.pagesOf(1), QVector<quint32>{2});
    ImageDevice database(QByteArray(PageSize, '1') + QByteArray(PageSize, '2')
                         + QByteArray(PageSize, '3') + QByteArray(PageSize, '4'));
    QCOMPARE(lettersOf(&database, &wal, 0, 6), QStringLiteral("1b34e."));
    QCOMPARE(lettersOf(&database, &wal, 1, 6), QStringLiteral("1B34e."));
    // Pages beyond the size that the commit gave the database can still be read.
    QCOMPARE(lettersOf(&database, &wal, 2, 6), QStringLiteral("1Bc4e."));
}

void TestWalFile::theFirstForeignSaltEndsTheLog_data()
{
    QTest::addColumn<quint32>("salt1");
    QTest::addColumn<quint32>("salt2");
    QTest::newRow("first") << 0x11111110U << 0x22222222U;
    QTest::newRow("second") << 0x11111111U << 0x22222223U;
}

void TestWalFile::theFirstForeignSaltEndsTheLog()
{
    QFETCH(quint32, salt1);
    QFETCH(quint32, salt2);
    WalBuilder log(PageSize);
    log.frame(1, 'a', 2).salts(salt1, salt2).frame(2, 'b', 2);
    log.salts(0x11111111, 0x22222222).frame(2, 'c', 2);
    QVERIFY(log.save(path()));
    WalFile wal(path());
    QVERIFY(wal.load());
    QCOMPARE(wal.frames().size(), 1);
    QCOMPARE(wal.transactionCount(), 1);
    QCOMPARE(wal.findFrame(0, 2), qint64(-1));
}

void TestWalFile::aLastPageThatIsCutOffStillCounts()
{
    WalBuilder log(PageSize);
    log.frame(1, 'a', 2).frame(2, 'b', 2);
    QVERIFY(log.save(path(), log.bytes().size() - PageSize + 7));
    WalFile wal(path());
    QVERIFY(wal.load());
    QCOMPARE(wal.transactionCount(), 2);
    QVERIFY(wal.isWhole(0));
    QVERIFY(!wal.isWhole(1));
    ImageDevice database(QByteArray(2 * PageSize, '0'));
    SqliteSnapshotReader reader(&database, &wal, 1);
    QVERIFY(reader.open(QIODevice::ReadOnly) && reader.seek(PageSize));
    QCOMPARE(reader.read(PageSize), QByteArray("bbbbbbb"));
}

void TestWalFile::questionsBeyondTheLog()
{
    WalBuilder log(PageSize);
    log.frame(2, 'b', 2);
    QVERIFY(log.save(path()));
    WalFile wal(path());
    QVERIFY(wal.load());
    QCOMPARE(wal.findFrame(0, 2), qint64(HeaderSize + 24));
    for (const quint32 beyond : {1U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        QCOMPARE(wal.findFrame(beyond, 2), qint64(-1));
        QCOMPARE(wal.snapshotSize(beyond), qint64(0));
    }
    QVERIFY(wal.pagesOf(1).isEmpty() && wal.pagesOf(-1).isEmpty());
    ImageDevice database(QByteArray(2 * PageSize, '0'));
    QCOMPARE(lettersOf(&database, &wal, 1, 2), QStringLiteral("00"));
    WalFile missing(m_dir.filePath(QStringLiteral("missing")));
    QVERIFY(!missing.load());
    WalFile folder(m_dir.path());
    QVERIFY(!folder.load());
    const QString pipePath = m_dir.filePath(QStringLiteral("pipe"));
    QCOMPARE(::mkfifo(QFile::encodeName(pipePath).constData(), 0600), 0);
    WalFile pipe(pipePath); // opening it would wait for a writer
    QVERIFY(!pipe.load());
}

void TestWalFile::onlyPlainReadingOpensAVersion_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("opens");
    QTest::newRow("reading") << int(QIODevice::ReadOnly) << true;
    QTest::newRow("writing") << int(QIODevice::WriteOnly) << false;
    QTest::newRow("both") << int(QIODevice::ReadWrite) << false;
    QTest::newRow("reading text") << int(QIODevice::ReadOnly | QIODevice::Text) << false;
    QTest::newRow("reading unbuffered")
        << int(QIODevice::ReadOnly | QIODevice::Unbuffered) << false;
}

void TestWalFile::onlyPlainReadingOpensAVersion()
{
    QFETCH(int, mode);
    QFETCH(bool, opens);
    QVERIFY(WalBuilder(PageSize).frame(1, 'a', 1).save(path()));
    WalFile wal(path());
    QVERIFY(wal.load());
    ImageDevice database(QByteArray(PageSize, '0'));
    SqliteSnapshotReader reader(&database, &wal, 0);
    QCOMPARE(reader.open(QIODevice::OpenMode(mode)), opens);
    QCOMPARE(reader.isOpen(), opens);
    QCOMPARE(reader.size(), qint64(PageSize));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("QIODevice::write")));
    QCOMPARE(reader.write("x"), qint64(-1));
}

void TestWalFile::readsEndWithThePage()
{
    QVERIFY(WalBuilder(PageSize).frame(2, 'b', 2).save(path()));
    WalFile wal(path());
    QVERIFY(wal.load());
    ImageDevice database(QByteArray(2 * PageSize, '0'));
    SqliteSnapshotReader reader(&database, &wal, 0);
    QVERIFY(reader.open(QIODevice::ReadOnly) && reader.seek(PageSize - 10));
    QCOMPARE(reader.read(100), QByteArray(10, '0'));
    QCOMPARE(reader.read(100), QByteArray(100, 'b'));
    QCOMPARE(reader.pos(), qint64(PageSize + 100));
}

void TestWalFile::snapshotsAreKept()
{
    const QString dbPath = m_dir.filePath(QStringLiteral("database"));
    const DatabaseImage image(PageSize, 2);
    QVERIFY(image.save(dbPath));
    WalBuilder log(PageSize);
    log.frame(2, 'b', 2).frame(1, 'x', 2).frame(1, image.bytes().left(PageSize), 3);
    QVERIFY(log.save(path()));
    SnapshotContext context(dbPath, path());
    QVERIFY(context.load());
    DatabaseReader *first = context.snapshotAt(0);
    QVERIFY(first != nullptr);
    QCOMPARE(context.snapshotAt(0), first);
    QCOMPARE(first->headerInfo().pageCount, 2U);
    QVERIFY(context.snapshotAt(1) == nullptr); // its header is none
    QCOMPARE(context.snapshotAt(2)->headerInfo().pageCount, 3U);
    QVERIFY(context.snapshotAt(3) == nullptr);
}

QTEST_GUILESS_MAIN(TestWalFile)
#include "tst_walfile.moc"
