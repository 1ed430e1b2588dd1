#include "api/sqliterecovery.h"
#include "api/walrecovery.h"
#include "fuzz/resultchecks.h"
#include "tests/support/foundrecords.h"
#include "tests/support/kindsamples.h"
#include "tests/support/testfiles.h"

#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <algorithm>
#include <ctime>

namespace {

constexpr int PageSize = 1024;
constexpr int SmallPageSize = 512;
constexpr int FrameHeaderSize = 24;
constexpr int LogHeaderSize = 32;

/// Of processor time for one scan of a file of some hundred KiB; and at how many places a file is
/// cut or changed.
#if defined(__SANITIZE_ADDRESS__) || !defined(__OPTIMIZE__)
constexpr double MostSeconds = 20;
constexpr int MostOffsets = 40;
#else
constexpr double MostSeconds = 2;
constexpr int MostOffsets = 200;
#endif

const int AllTypes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10};

/// A file in memory where there is one: thousands of them are written.
QString folderTemplate()
{
    const QString memory = QStringLiteral("/dev/shm");
    return (QFileInfo(memory).isWritable() ? memory : QDir::tempPath())
           + QStringLiteral("/hostileXXXXXX");
}

double processorSeconds()
{
    return double(std::clock()) / CLOCKS_PER_SEC;
}

/// Ends the test program when a scan takes too long or its results are not as they must be.
template<typename Facade, typename Scan> qint64 sizeOfScan(qint64 fileSize, Scan scan)
{
    Facade found;
    const double start = processorSeconds();
    scan(&found);
    const double seconds = processorSeconds() - start;
    if (seconds > MostSeconds) {
        qFatal("a scan took %f s", seconds);
    }
    return checkResults(found, fileSize);
}

/// Scans the file, and returns how much was found. Sets the texts of it when they are asked for.
qint64 scan(int type, const QString &path, QSet<QString> *texts = nullptr)
{
    return sizeOfScan<SqliteRecovery>(QFileInfo(path).size(), [&](SqliteRecovery *found) {
        found->scanRecoveryForType(type, path, nullptr);
        if (texts) {
            *texts = textsOf(recordsOf(ScanType(type), *found));
        }
    });
}

qint64 scanLog(int type, const QString &path, const QString &log)
{
    return sizeOfScan<WalRecovery>(
        QFileInfo(path).size() + QFileInfo(log).size(),
        [&](WalRecovery *found) { found->scanRecoveryForType(type, path, log, nullptr); });
}

void put16(QByteArray *bytes, int offset, quint16 value)
{
    qToBigEndian(value, bytes->data() + offset);
}

void put32(QByteArray *bytes, int offset, quint32 value)
{
    qToBigEndian(value, bytes->data() + offset);
}

quint32 get32(const QByteArray &bytes, int offset)
{
    return qFromBigEndian<quint32>(bytes.constData() + offset);
}

/// Calls `visit` with the place of the header of every b-tree page that has the type.
template<typename Visit> void forEachPage(const QByteArray &bytes, char type, Visit visit)
{
    for (int page = 0; page + PageSize <= bytes.size(); page += PageSize) {
        const int header = page == 0 ? 100 : page;
        if (bytes.at(header) == type) {
            visit(page, header);
        }
    }
}

constexpr char LeafPage = 13;
constexpr char InteriorPage = 5;

/// Calls `visit` with the place of every cell of every table leaf page but those of the schema.
template<typename Visit> void forEachCell(const QByteArray &bytes, Visit visit)
{
    forEachPage(bytes, LeafPage, [&](int page, int header) {
        const int count = qFromBigEndian<quint16>(bytes.constData() + header + 3);
        for (int i = 0; page > 0 && i < count && header + 8 + 2 * i < bytes.size() - 1; ++i) {
            const int cell = qFromBigEndian<quint16>(bytes.constData() + header + 8 + 2 * i);
            if (cell + 16 < PageSize) {
                visit(page + cell);
            }
        }
    });
}

int trunkOf(const QByteArray &bytes)
{
    return (int(get32(bytes, 32)) - 1) * PageSize;
}

/// What comes of a damage.
enum Outcome {
    Nothing, ///< is found
    Same,    ///< is found as in the sound file
    Whatever ///< is found, it is consistent and no more than the bytes can hold
};

struct Damage
{
    const char *name;
    Outcome outcome;
    void (*apply)(QByteArray *bytes);
};

template<int size> void setPageSize(QByteArray *bytes)
{
    put16(bytes, 16, size);
}

template<int count> void setReserved(QByteArray *bytes)
{
    (*bytes)[20] = char(count);
}

template<int encoding> void setEncoding(QByteArray *bytes)
{
    put32(bytes, 56, encoding);
}

template<quint32 page> void setTrunk(QByteArray *bytes)
{
    put32(bytes, 32, page);
}

void letTrunkFollowItself(QByteArray *bytes)
{
    put32(bytes, trunkOf(*bytes), get32(*bytes, 32));
}

void letTrunksFollowEachOther(QByteArray *bytes)
{
    const int second = int(get32(*bytes, trunkOf(*bytes) + 8) - 1) * PageSize;
    put32(bytes, trunkOf(*bytes), quint32(second / PageSize + 1));
    put32(bytes, second, get32(*bytes, 32));
}

template<quint32 count> void setLeafCount(QByteArray *bytes)
{
    put32(bytes, trunkOf(*bytes) + 4, count);
}

template<quint32 page> void setFreeLeaf(QByteArray *bytes)
{
    put32(bytes, trunkOf(*bytes) + 8, page);
}

template<int offset, int value> void setInLeafPages(QByteArray *bytes)
{
    forEachPage(*bytes, LeafPage, [bytes](int page, int header) {
        if (page > 0) {
            put16(bytes, header + offset, value);
        }
    });
}

void letFreeblocksFollowThemselves(QByteArray *bytes)
{
    forEachPage(*bytes, LeafPage, [bytes](int page, int header) {
        const int block = qFromBigEndian<quint16>(bytes->constData() + header + 1);
        if (block > 0 && block < PageSize - 4) {
            put16(bytes, page + block, quint16(block));
        }
    });
}

void setPointersBeyondThePage(QByteArray *bytes)
{
    forEachPage(*bytes, LeafPage, [bytes](int page, int header) {
        const int count = qFromBigEndian<quint16>(bytes->constData() + header + 3);
        for (int i = 0; page > 0 && i < count; ++i) {
            put16(bytes, header + 8 + 2 * i, quint16(PageSize + 100 * i));
        }
    });
}

void letVarintsGoOn(QByteArray *bytes)
{
    forEachCell(*bytes, [bytes](int cell) { bytes->replace(cell, 9, QByteArray(9, '\xFF')); });
}

/// Sizes of payloads of 2 GiB and more.
void claimHugePayloads(QByteArray *bytes)
{
    forEachCell(*bytes, [bytes](int cell) { bytes->replace(cell, 5, "\x88\x80\x80\x80\x01"); });
}

void claimLongHeaders(QByteArray *bytes)
{
    forEachCell(*bytes, [bytes](int cell) { bytes->replace(cell + 2, 2, "\xFF\x7F"); });
}

template<int self, quint32 page> void linkOverflowPages(QByteArray *bytes)
{
    // Numbers of pages of small files begin with a zero, b-tree pages with their type.
    for (int place = 2 * PageSize; place + PageSize <= bytes->size(); place += PageSize) {
        if (bytes->at(place) == 0 && place != trunkOf(*bytes)) {
            put32(bytes, place, self ? quint32(place / PageSize) + 1 : page);
        }
    }
}

template<quint32 child> void setLastChild(QByteArray *bytes)
{
    forEachPage(*bytes, InteriorPage, [bytes](int page, int header) {
        put32(bytes, header + 8, child ? child : quint32(page / PageSize) + 1);
    });
}

constexpr quint32 Far = 0x7FFFFFFF;
constexpr quint32 Farthest = 0xFFFFFFFF;

const Damage Damages[] = {
    {"page size 0", Nothing, setPageSize<0>},
    {"page size 256", Nothing, setPageSize<256>},
    {"page size 511", Nothing, setPageSize<511>},
    {"half the page size", Whatever, setPageSize<PageSize / 2>},
    {"odd page size", Whatever, setPageSize<PageSize - 1>},
    {"twice the page size", Whatever, setPageSize<PageSize * 2>},
    {"page size 65536", Whatever, setPageSize<1>},
    {"page size 65535", Whatever, setPageSize<65535>},
    {"reserved bytes 32", Whatever, setReserved<32>},
    {"reserved bytes 255", Whatever, setReserved<255>},
    {"encoding 0", Nothing, setEncoding<0>},
    {"encoding 2", Nothing, setEncoding<2>},
    {"encoding 4", Nothing, setEncoding<4>},
    {"no trunk page", Whatever, setTrunk<0>},
    {"page 1 is a trunk page", Whatever, setTrunk<1>},
    {"a table page is a trunk page", Whatever, setTrunk<3>},
    {"trunk page beyond the file", Whatever, setTrunk<Far>},
    {"trunk page far beyond the file", Whatever, setTrunk<Farthest>},
    {"trunk page that follows itself", Same, letTrunkFollowItself},
    {"trunk pages that follow each other", Whatever, letTrunksFollowEachOther},
    {"more free pages than the trunk lists", Whatever, setLeafCount<100>},
    {"absurd number of free pages", Whatever, setLeafCount<Farthest>},
    {"free page 0", Whatever, setFreeLeaf<0>},
    {"free page 1", Whatever, setFreeLeaf<1>},
    {"free page in a table", Whatever, setFreeLeaf<3>},
    {"free page beyond the file", Whatever, setFreeLeaf<Farthest>},
    {"no cells", Whatever, setInLeafPages<3, 0>},
    {"as many cells as fit", Whatever, setInLeafPages<3, (PageSize - 8) / 2>},
    {"more cells than fit", Whatever, setInLeafPages<3, (PageSize - 8) / 2 + 1>},
    {"absurd number of cells", Whatever, setInLeafPages<3, 65535>},
    {"cells begin at the page's end", Whatever, setInLeafPages<5, PageSize>},
    {"cells begin beyond the page", Whatever, setInLeafPages<5, 65535>},
    {"freeblock beyond the page", Whatever, setInLeafPages<1, 65535>},
    {"freeblocks that follow themselves", Whatever, letFreeblocksFollowThemselves},
    {"cell pointers beyond the page", Whatever, setPointersBeyondThePage},
    {"varints of nine bytes that go on", Whatever, letVarintsGoOn},
    {"payloads of gigabytes", Whatever, claimHugePayloads},
    {"headers longer than payloads", Whatever, claimLongHeaders},
    {"overflow pages that follow themselves", Whatever, linkOverflowPages<1, 0>},
    {"overflow pages that lead to page 1", Whatever, linkOverflowPages<0, 1>},
    {"overflow pages that lead into a table", Whatever, linkOverflowPages<0, 3>},
    {"overflow pages that lead beyond the file", Whatever, linkOverflowPages<0, Farthest>},
    {"interior pages that list themselves", Whatever, setLastChild<0>},
    {"interior pages that list the schema", Whatever, setLastChild<1>},
    {"interior pages that lead beyond the file", Whatever, setLastChild<Farthest>},
};

/// A change of the schema that SQL does not allow otherwise.
struct SchemaChange
{
    const char *name;
    Outcome outcome;
    const char *sql;
};

const SchemaChange SchemaChanges[] = {
    {"root page 0", Whatever, "set rootpage = 0 where type = 'table'"},
    {"negative root page", Whatever, "set rootpage = -5 where type = 'table'"},
    {"root page beyond the file", Whatever, "set rootpage = 99999 where type = 'table'"},
    {"absurd root page", Whatever, "set rootpage = 1 << 62 where type = 'table'"},
    {"root page that is a text", Whatever, "set rootpage = 'xyz' where type = 'table'"},
    {"one root page for all tables", Whatever, "set rootpage = 3 where type = 'table'"},
    {"the schema's root page for all", Whatever, "set rootpage = 1 where type = 'table'"},
    {"root pages of indexes", Whatever,
     "set rootpage = (select min(rootpage) from sqlite_master where type = 'index')"
     " where type = 'table'"},
    {"statement without parentheses", Nothing, "set sql = 'create table t' where type = 'table'"},
    {"statement that is no text", Nothing, "set sql = 5 where type = 'table'"},
    {"statement of two megabytes", Whatever,
     "set sql = sql || printf('%*s', 2000000, '') where rowid = 1"},
    {"statement of nine megabytes", Nothing,
     "set sql = sql || printf('%*s', 9000000, '') where rowid = 1"},
    {"statements with NUL bytes", Whatever, "set sql = replace(sql, ',', char(0) || ',')"},
    {"statements with a NUL byte in front", Whatever, "set sql = char(0) || sql"},
    {"names with NUL bytes", Whatever,
     "set name = name || char(0), tbl_name = tbl_name || char(0)"},
    {"tables that are views", Nothing, "set type = 'view', rootpage = 0 where type = 'table'"},
    {"tables of no columns", Whatever, "set sql = 'create table t ()' where type = 'table'"},
    {"columns without names", Whatever, "set sql = 'create table t (,,,)' where type = 'table'"},
};

/// Offsets in a file: those around its header and its first pages, and some of the rest; all with
/// HOSTILE_FULL=1 in the environment, which takes more than half an hour.
QVector<int> offsetsIn(const QByteArray &bytes)
{
    const int step = qEnvironmentVariableIsSet("HOSTILE_FULL") ? 1 : bytes.size() / MostOffsets | 1;
    QVector<int> offsets{0, 1, 15, 16, 99, 100, 101, 511, 512, 1023, 1024};
    for (int offset = 1; offset < bytes.size(); offset += step) {
        offsets.append(offset);
    }
    return offsets;
}

/// True when the line's beginning or end stands in the file; between them a page can end.
bool isIn(const QByteArray &bytes, const QString &line)
{
    constexpr int Length = 10;
    return bytes.contains(line.left(Length).toUtf8()) || bytes.contains(line.right(Length).toUtf8())
           || line == QLatin1String("Unknown member");
}

} // namespace

/// Small files that are damaged on purpose in one way each, through every kind of scan. All scans
/// must end, with results that are consistent.
class TestHostileFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void damages_data();
    void damages();
    void schemas_data();
    void schemas();
    void everyByte_data() { addKindRows(); }
    void everyByte();
    void everyLength_data() { addKindRows(); }
    void everyLength();
    void logs_data();
    void logs();
    void bytesOfLogs_data() { addKindRows(isComparedInLogs); }
    void bytesOfLogs();

private:
    struct Sound
    {
        ScanType type;
        QByteArray bytes;
        qint64 found;        ///< how much a scan finds
        QByteArray database; ///< that belongs to the log
        QByteArray log;
        qint64 foundInLog = 0;
    };

    QString path() const { return m_dir.filePath(QStringLiteral("hostile.db")); }
    QString logPath() const { return m_dir.filePath(QStringLiteral("hostile.log")); }
    void check(int sample, Outcome outcome);

    QTemporaryDir m_dir{folderTemplate()};
    QVector<Sound> m_sound; ///< as kindSamples()
};

void TestHostileFiles::initTestCase()
{
    for (const KindSample &sample : kindSamples()) {
        Sound sound;
        sound.type = sample.type;
        sound.bytes = kindSampleOfPages(sample, path(), PageSize);
        sound.found = scan(sample.type, path());
        QVERIFY2(sound.bytes.size() > 10 * PageSize && sound.found > 100, sample.name);
        QVERIFY2(trunkOf(sound.bytes) > PageSize, sample.name);
        if (isComparedInLogs(sample)) {
            QVERIFY(makeKindSampleInLog(sample, path(), PageSize / 2));
            sound.database = readFile(path());
            sound.log = readFile(path() + QStringLiteral("-wal"));
            sound.foundInLog = scanLog(sample.type, path(), path() + QStringLiteral("-wal"));
            QVERIFY2(sound.foundInLog > 100, sample.name);
            QVERIFY(QFile::remove(path() + QStringLiteral("-wal")));
        }
        m_sound.append(sound);
    }
}

/// Scans the file as every kind; that of its own tells the outcome.
void TestHostileFiles::check(int sample, Outcome outcome)
{
    const KindSample &kind = kindSamples().at(sample);
    for (const int type : AllTypes) {
        const qint64 found = scan(type, path());
        if (type == kind.type) {
            QVERIFY2(outcome != Nothing || found == 0, kind.name);
            QVERIFY2(outcome != Same || found == m_sound.at(sample).found, kind.name);
        }
    }
}

void TestHostileFiles::damages_data()
{
    QTest::addColumn<int>("damage");
    int number = 0;
    for (const Damage &damage : Damages) {
        QTest::newRow(damage.name) << number++;
    }
}

void TestHostileFiles::damages()
{
    QFETCH(int, damage);
    for (int i = 0; i < m_sound.size(); ++i) {
        QByteArray bytes = m_sound.at(i).bytes;
        Damages[damage].apply(&bytes);
        QVERIFY(writeFile(path(), bytes));
        check(i, Damages[damage].outcome);
    }
}

void TestHostileFiles::schemas_data()
{
    QTest::addColumn<int>("change");
    int number = 0;
    for (const SchemaChange &change : SchemaChanges) {
        QTest::newRow(change.name) << number++;
    }
}

void TestHostileFiles::schemas()
{
    QFETCH(int, change);
    const QString sql = QLatin1String(SchemaChanges[change].sql);
    for (int i = 0; i < m_sound.size(); ++i) {
        QVERIFY(writeFile(path(), m_sound.at(i).bytes));
        SampleDatabase db;
        QVERIFY(
            db.open(path())
            && db.exec(QStringLiteral("pragma writable_schema = on; update sqlite_master ") + sql)
            && db.close());
        check(i, SchemaChanges[change].outcome);
    }
}

void TestHostileFiles::everyByte()
{
    QFETCH(int, kind);
    const int type = kindSamples().at(kind).type;
    const QByteArray bytes = kindSampleOfPages(kindSamples().at(kind), path(), SmallPageSize);
    const qint64 whole = scan(type, path());
    QVERIFY(whole > 20);
    QFile file(path());
    QVERIFY(file.open(QIODevice::ReadWrite | QIODevice::Unbuffered));
    for (const int offset : offsetsIn(bytes)) {
        const char was = bytes.at(offset);
        QVERIFY(file.seek(offset) && file.putChar(offset % 2 ? char(~was) : char(was + 1)));
        scan(type, path());
        QVERIFY(file.seek(offset) && file.putChar(was));
    }
    QCOMPARE(scan(type, path()), whole);
}

/// Whatever is cut off, nothing is made up: every line of what is found stands in the whole file.
void TestHostileFiles::everyLength()
{
    QFETCH(int, kind);
    const int type = kindSamples().at(kind).type;
    const QByteArray bytes = kindSampleOfPages(kindSamples().at(kind), path(), SmallPageSize);
    const bool isPlain = type != ScanTypeIos9Notes; // whose texts are compressed
    QSet<QString> known;
    scan(type, path(), &known);
    QVERIFY(known.size() > 1);
    QFile file(path());
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVector<int> lengths = offsetsIn(bytes);
    std::sort(lengths.begin(), lengths.end(), std::greater<int>());
    for (const int length : qAsConst(lengths)) {
        QVERIFY(file.resize(length));
        QSet<QString> texts;
        QVERIFY(scan(type, path(), &texts) == 0 || length > SmallPageSize);
        texts.subtract(known);
        for (const QString &text : qAsConst(texts)) {
            const QStringList lines = text.split(QLatin1Char('\n'));
            for (const QString &line : lines) {
                QVERIFY2(!isPlain || isIn(bytes, line), qPrintable(line));
            }
        }
        known.unite(texts);
    }
}

/// Puts a number into the header of every frame.
void setInFrames(QByteArray *log, int offset, quint32 value)
{
    const int frame = FrameHeaderSize + PageSize / 2;
    for (int place = LogHeaderSize; place + frame <= log->size(); place += frame) {
        put32(log, place + offset, value);
    }
}

void TestHostileFiles::logs_data()
{
    constexpr int InHeader = -1;
    QTest::addColumn<int>("offset");
    QTest::addColumn<quint32>("value");
    QTest::addColumn<int>("outcome");
    QTest::newRow("commit sizes of 0") << 4 << 0u << int(Nothing);
    QTest::newRow("commit sizes of 1") << 4 << 1u << int(Whatever);
    QTest::newRow("commit sizes of four billion") << 4 << Farthest << int(Same);
    QTest::newRow("page 0") << 0 << 0u << int(Whatever);
    QTest::newRow("page 1 alone") << 0 << 1u << int(Whatever);
    QTest::newRow("page four billion") << 0 << Farthest << int(Whatever);
    QTest::newRow("foreign salts") << 8 << 77u << int(Nothing);
    QTest::newRow("other page size") << InHeader << quint32(PageSize) << int(Whatever);
    QTest::newRow("page size 65536") << InHeader << 65536u << int(Nothing);
    QTest::newRow("page size 513") << InHeader << 513u << int(Nothing);
}

void TestHostileFiles::logs()
{
    QFETCH(int, offset);
    QFETCH(quint32, value);
    QFETCH(int, outcome);
    for (const Sound &sound : qAsConst(m_sound)) {
        QByteArray log = sound.log;
        if (log.isEmpty()) {
            continue;
        }
        if (offset >= 0) {
            setInFrames(&log, offset, value);
        } else {
            put32(&log, 8, value);
        }
        QVERIFY(writeFile(path(), sound.database) && writeFile(logPath(), log));
        for (const int type : AllTypes) {
            const qint64 found = scanLog(type, path(), logPath());
            QVERIFY(outcome != Nothing || found == 0);
            QVERIFY(outcome != Same || type != sound.type || found == sound.foundInLog);
        }
    }
}

void TestHostileFiles::bytesOfLogs()
{
    QFETCH(int, kind);
    const Sound &sound = m_sound.at(kind);
    QVERIFY(writeFile(path(), sound.database) && writeFile(logPath(), sound.log));
    QFile log(logPath());
    QVERIFY(log.open(QIODevice::ReadWrite | QIODevice::Unbuffered));
    for (const int offset : offsetsIn(sound.log)) {
        const char was = sound.log.at(offset);
        QVERIFY(log.seek(offset) && log.putChar(offset % 2 ? char(~was) : char(was + 1)));
        scanLog(sound.type, path(), logPath());
        QVERIFY(log.seek(offset) && log.putChar(was));
    }
    QCOMPARE(scanLog(sound.type, path(), logPath()), sound.foundInLog);
}

QTEST_APPLESS_MAIN(TestHostileFiles)
#include "tst_hostilefiles.moc"
