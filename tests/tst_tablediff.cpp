#include "samples/sampledatabase.h"
#include "samples/samplerandom.h"
#include "tests/support/databaseimage.h"
#include "tests/support/scanprobe.h"
#include "tests/support/walbuilder.h"
#include "wal/columnvalue.h"
#include "wal/tablechangecollector.h"
#include "wal/tablediff.h"

#include <QCryptographicHash>
#include <QTemporaryDir>
#include <QtTest>

#include <sqlite3.h>

namespace {

using Rows = QMap<qint64, QByteArray>; ///< a digest of the values by row identifier
using Version = QMap<QString, Rows>;   ///< by table

const QStringList Tables = {QStringLiteral("t"), QStringLiteral("u")};

QByteArray digest(const QByteArrayList &values)
{
    return QCryptographicHash::hash(values.join('|'), QCryptographicHash::Md5).toHex().left(8);
}

/// Writes down what it is handed, one line for each row.
class ProbeCollector : public TableChangeCollector
{
public:
    void beginCommit(int commitIndex) override
    {
        TableChangeCollector::beginCommit(commitIndex);
        begun.append(commitIndex);
    }
    QStringList tableNames() override { return Tables; }
    void collectRow(const TableVersion &earlier, const TableRow &row) override
    {
        lines.append(QStringLiteral("%1 %2 -%3 %4")
                         .arg(currentCommit())
                         .arg(earlier.schema().name)
                         .arg(row.rowid)
                         .arg(digestOf(earlier, row)));
    }
    void collectChangedRow(const TableVersion &earlier, const TableRow &earlierRow,
                           const TableVersion &later, const TableRow &laterRow) override
    {
        lines.append(QStringLiteral("%1 %2 ~%3 %4 %5")
                         .arg(currentCommit())
                         .arg(earlier.schema().name)
                         .arg(earlierRow.rowid)
                         .arg(digestOf(earlier, earlierRow), digestOf(later, laterRow)));
    }
    void finishCollection() override
    {
        TableChangeCollector::finishCollection();
        ++finished;
    }

    static QString digestOf(const TableVersion &table, const TableRow &row)
    {
        QByteArrayList values;
        for (const ColumnValue &value : decodeRow(row, table).mid(1)) {
            values.append(value.isNull() ? QByteArray("null") : value.bytes());
        }
        return QString::fromLatin1(digest(values));
    }

    QStringList lines;
    QVector<int> begun;
    int finished = 0;
};

/// Reads the tables with SQL.
class SqlReader
{
public:
    explicit SqlReader(const QString &path)
    {
        sqlite3_open_v2(QFile::encodeName(path).constData(), &m_db, SQLITE_OPEN_READWRITE, nullptr);
    }
    ~SqlReader() { sqlite3_close(m_db); }
    Q_DISABLE_COPY(SqlReader)

    /// A number that changes with every commit of somebody else.
    int commitMark()
    {
        sqlite3_stmt *statement = nullptr;
        sqlite3_prepare_v2(m_db, "PRAGMA data_version", -1, &statement, nullptr);
        const int mark =
            sqlite3_step(statement) == SQLITE_ROW ? sqlite3_column_int(statement, 0) : 0;
        sqlite3_finalize(statement);
        return mark;
    }

    Version read()
    {
        Version version;
        for (const QString &table : Tables) {
            sqlite3_stmt *statement = nullptr;
            const QByteArray sql = "SELECT * FROM " + table.toUtf8();
            if (sqlite3_prepare_v2(m_db, sql.constData(), -1, &statement, nullptr) != SQLITE_OK) {
                continue;
            }
            Rows &rows = version[table];
            while (sqlite3_step(statement) == SQLITE_ROW) {
                rows.insert(sqlite3_column_int64(statement, 0), digest(valuesOf(statement)));
            }
            sqlite3_finalize(statement);
        }
        return version;
    }

private:
    static QByteArrayList valuesOf(sqlite3_stmt *statement)
    {
        QByteArrayList values;
        for (int i = 1; i < sqlite3_column_count(statement); ++i) {
            const bool isNull = sqlite3_column_type(statement, i) == SQLITE_NULL;
            const void *bytes = sqlite3_column_blob(statement, i);
            values.append(isNull ? QByteArray("null")
                                 : QByteArray(static_cast<const char *>(bytes),
                                              sqlite3_column_bytes(statement, i)));
        }
        return values;
    }

    sqlite3 *m_db = nullptr;
};

/// What a comparison of the versions by SQL gives.
QStringList expectedLines(const QVector<Version> &versions)
{
    QStringList lines;
    for (int i = 1; i < versions.size(); ++i) {
        for (const QString &table : Tables) {
            if (!versions[i - 1].contains(table) || !versions[i].contains(table)) {
                continue;
            }
            const Rows earlier = versions[i - 1].value(table);
            const Rows later = versions[i].value(table);
            for (auto row = earlier.cbegin(); row != earlier.cend(); ++row) {
                const QString start = QStringLiteral("%1 %2 ").arg(i - 1).arg(table);
                const QString content = QString::fromLatin1(row.value());
                if (!later.contains(row.key())) {
                    lines.append(start + QStringLiteral("-%1 %2").arg(row.key()).arg(content));
                } else if (later.value(row.key()) != row.value()) {
                    lines.append(start
                                 + QStringLiteral("~%1 %2 %3")
                                       .arg(row.key())
                                       .arg(content, QString::fromLatin1(later.value(row.key()))));
                }
            }
        }
    }
    return lines;
}

/// Changes a database at random, as nobody would, one transaction after the other.
class RandomLife
{
public:
    RandomLife(SampleDatabase *db, int pageSize, int autoVacuum, quint32 seed)
        : m_db(db)
        , m_pageSize(pageSize)
        , m_autoVacuum(autoVacuum)
        , m_random(seed)
    {
    }

    bool begin(int rows)
    {
        bool isMade = m_db->exec(QStringLiteral("BEGIN;")) && makeTable(QStringLiteral("t"))
                      && makeTable(QStringLiteral("u"));
        for (int i = 0; i < rows; ++i) {
            isMade = isMade && insert();
        }
        return isMade && m_db->exec(QStringLiteral("COMMIT;"));
    }

    bool step()
    {
        const int what = m_random.number(0, 100);
        if (what < 2) {
            return m_db->exec(QStringLiteral("VACUUM;"));
        }
        if (what < 5 && m_autoVacuum == 2) {
            return m_db->exec(QStringLiteral("PRAGMA incremental_vacuum(5);"));
        }
        bool isDone = m_db->exec(QStringLiteral("BEGIN;"));
        const int changes = m_random.chance(80) ? m_random.number(1, 6) : m_random.number(6, 80);
        for (int i = 0; i < changes; ++i) {
            isDone = isDone && change();
        }
        if (what > 94) {
            isDone = isDone && changeSchema();
        }
        return isDone && m_db->exec(QStringLiteral("COMMIT;"));
    }

private:
    QString table() { return m_random.chance(70) ? QStringLiteral("t") : QStringLiteral("u"); }
    bool makeTable(const QString &name)
    {
        return m_db->exec(QStringLiteral("CREATE TABLE %1 (id INTEGER PRIMARY KEY, a TEXT, b BLOB);"
                                         "CREATE INDEX %1_a ON %1 (a);")
                              .arg(name));
    }
    QByteArray blob()
    {
        // Some rows spill onto several overflow pages.
        const int most = m_random.chance(20) ? 5 * m_pageSize : m_pageSize / 4;
        return QByteArray(m_random.number(0, std::min(most, 100000)),
                          char(m_random.number(1, 100)));
    }
    qint64 someRow(const QString &table)
    {
        const QString most = QStringLiteral("SELECT max(id) FROM %1").arg(table);
        const QString next = QStringLiteral("SELECT min(id) FROM %1 WHERE id >= ?1").arg(table);
        return m_db->scalar(next, {m_random.number(0, m_db->scalar(most).toInt() + 1)})
            .toLongLong();
    }
    bool insert()
    {
        return m_db->run(QStringLiteral("INSERT INTO %1 (a, b) VALUES (?1, ?2)").arg(table()),
                         {m_random.digits(m_random.number(1, 30)), blob()});
    }
    bool change()
    {
        const QString name = table();
        const qint64 row = someRow(name);
        const int what = m_random.number(0, 100);
        if (what < 40) {
            return insert();
        }
        if (what < 60) {
            return m_db->run(QStringLiteral("DELETE FROM %1 WHERE id = ?1").arg(name), {row});
        }
        if (what < 63) {
            return m_db->run(
                QStringLiteral("DELETE FROM %1 WHERE id BETWEEN ?1 AND ?1 + ?2").arg(name),
                {row, m_random.number(2, 60)});
        }
        if (what < 75) {
            return m_db->run(QStringLiteral("UPDATE %1 SET b = ?2 WHERE id = ?1").arg(name),
                             {row, blob()});
        }
        if (what < 90) {
            // The same size: what lies on overflow pages is written over in place.
            return m_db->run(QStringLiteral("UPDATE %1 SET b = CAST(substr(b, 1, length(b) - 1) || "
                                            "x'01' AS BLOB) WHERE id = ?1")
                                 .arg(name),
                             {row});
        }
        return m_db->run(QStringLiteral("UPDATE %1 SET id = (SELECT max(id) + 1 FROM %1) WHERE id "
                                        "= ?1")
                             .arg(name),
                         {row});
    }
    bool changeSchema()
    {
        switch (m_random.number(0, 4)) {
        case 0:
            return m_db->exec(QStringLiteral("DROP TABLE u;")) && makeTable(QStringLiteral("u"));
        case 1:
            return m_db->exec(QStringLiteral("CREATE TABLE v%1 (x); DROP TABLE t;").arg(++m_tables))
                   && makeTable(QStringLiteral("t"));
        case 2:
            return m_db->exec(QStringLiteral("CREATE TABLE v%1 (x, y DEFAULT 'long enough for a "
                                             "second page of the schema one day');")
                                  .arg(++m_tables));
        default:
            return m_db->exec(QStringLiteral("DELETE FROM t WHERE id % 3 = 1;"));
        }
    }

    SampleDatabase *m_db;
    int m_pageSize;
    int m_autoVacuum;
    SampleRandom m_random;
    int m_tables = 0;
};

} // namespace

/// The comparison of versions, against what SQL finds in them.
class TestTableDiff : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void everyChangeIsFound_data();
    void everyChangeIsFound();
    void aCommitCostsWhatItWrites();
    void progressOfEveryRow();
    void overflowPagesWrittenInPlace();
    void damagedFiles_data();
    void damagedFiles();
    void treesThatReturn();
    void chainsThatReturn();

private:
    /// Lives at random. Returns the versions that SQL sees; empty when a step failed.
    QVector<Version> liveAtRandom(int pageSize, int autoVacuum, int seed, int rows, int steps)
    {
        SampleOptions options;
        options.pageSize = pageSize;
        options.autoVacuum = autoVacuum;
        SampleDatabase db;
        RandomLife life(&db, pageSize, autoVacuum, quint32(seed));
        if (!db.create(path("device.db"), options) || !life.begin(rows) || !db.startLog()) {
            return {};
        }
        SqlReader reader(path("device.db"));
        QVector<Version> versions{reader.read()};
        for (int i = 0; i < steps; ++i) {
            const int mark = reader.commitMark();
            if (!life.step()) {
                return {};
            }
            // Steps that change nothing make no commit.
            if (reader.commitMark() != mark) {
                versions.append(reader.read());
            }
        }
        return db.copyWithLog(path("case.db")) ? versions : QVector<Version>();
    }
    /// Makes a table t of `rows` rows, each about 100 bytes long, in pages of 512 bytes.
    bool makeRows(SampleDatabase *db, int rows)
    {
        SampleOptions options;
        options.pageSize = 512;
        bool isMade = db->create(path("device.db"), options)
                      && db->exec(QStringLiteral("BEGIN; CREATE TABLE t (id INTEGER PRIMARY KEY, a "
                                                 "TEXT, b BLOB); CREATE TABLE u (id INTEGER);"));
        for (int i = 0; i < rows; ++i) {
            isMade = isMade
                     && db->run(QStringLiteral("INSERT INTO t (a, b) VALUES ('x', zeroblob(90))"));
        }
        return isMade && db->exec(QStringLiteral("COMMIT")) && db->startLog();
    }
    /// What a comparison of case.db finds.
    QStringList compare(ScanProgress *progress = nullptr)
    {
        SnapshotContext context(path("case.db"), path("case.db-wal"));
        ProbeCollector collector;
        if (context.load()) {
            TableDiff(&context, &collector, progress).run();
        }
        return collector.lines;
    }
    QString path(const char *name) const { return m_dir.filePath(QString::fromLatin1(name)); }
    QTemporaryDir m_dir;
};

void TestTableDiff::everyChangeIsFound_data()
{
    QTest::addColumn<int>("pageSize");
    QTest::addColumn<int>("autoVacuum");
    QTest::addColumn<int>("seed");
    const int more = qEnvironmentVariableIntValue("TABLEDIFF_MORE_SEEDS");
    for (const int pageSize : {512, 1024, 4096, 65536}) {
        for (const int autoVacuum : {0, 1, 2}) {
            for (int seed = 1; seed <= 1 + more; ++seed) {
                QTest::addRow("pages of %d, auto_vacuum %d, seed %d", pageSize, autoVacuum, seed)
                    << pageSize << autoVacuum << seed;
            }
        }
    }
    // A page changes over to the other table while an overflow page of its rows is written.
    QTest::addRow("page that changes over") << 512 << 1 << 18;
}

void TestTableDiff::everyChangeIsFound()
{
    QFETCH(int, pageSize);
    QFETCH(int, autoVacuum);
    QFETCH(int, seed);
    const int rows = pageSize == 512 ? 1500 : 300;
    const QVector<Version> versions = liveAtRandom(pageSize, autoVacuum, seed, rows, 60);
    SnapshotContext context(path("case.db"), path("case.db-wal"));
    QVERIFY(context.load());
    QCOMPARE(context.wal().transactionCount(), versions.size() - 1);
    ProbeCollector collector;
    TableDiff(&context, &collector, nullptr).run();
    const QStringList expected = expectedLines(versions);
    QVERIFY(expected.size() > 100);
    for (int i = 0; i < std::min(expected.size(), collector.lines.size()); ++i) {
        QCOMPARE(collector.lines.at(i), expected.at(i));
    }
    QCOMPARE(collector.lines.size(), expected.size());
    QCOMPARE(collector.begun.size(), versions.size() - 1);
    QCOMPARE(collector.finished, 1);
}

/// Of a large table a commit compares the rows of the pages that it wrote, and no others.
void TestTableDiff::aCommitCostsWhatItWrites()
{
    SampleDatabase db;
    QVERIFY(makeRows(&db, 3000));
    for (int i = 0; i < 50; ++i) {
        QVERIFY(db.run(QStringLiteral("UPDATE t SET a = 'y' WHERE id = ?"), {50 * i + 1}));
    }
    QVERIFY(db.copyWithLog(path("case.db")));
    ScanProbe probe;
    QCOMPARE(compare(&probe).size(), 50);
    constexpr int mostRowsOnAPage = 5;
    QVERIFY2(probe.reports <= 50 * (3 + mostRowsOnAPage),
             qPrintable(QString::number(probe.reports)));
}

void TestTableDiff::progressOfEveryRow()
{
    SampleDatabase db;
    QVERIFY(makeRows(&db, 4)); // one page
    QVERIFY(db.exec(QStringLiteral("UPDATE t SET a = 'y' WHERE id = 2; DELETE FROM t WHERE id = 3;"
                                   "CREATE TABLE v (x);")));
    QVERIFY(db.copyWithLog(path("case.db")));
    ScanProbe probe;
    compare(&probe);
    // One for every commit and for each of its two tables, and one for every row compared.
    QCOMPARE(probe.reports, 3 * (1 + 2) + 4 + 4);
    QVERIFY(qFuzzyCompare(probe.total, (4 + 4) * 100.0 / (3 * 2)));
}

/// A row can change although its leaf page does not.
void TestTableDiff::overflowPagesWrittenInPlace()
{
    SampleDatabase db;
    QVERIFY(makeRows(&db, 20));
    QVERIFY(db.exec(QStringLiteral("UPDATE t SET b = zeroblob(3000) WHERE id % 5 = 0;")));
    QVERIFY(db.exec(QStringLiteral("PRAGMA wal_checkpoint(TRUNCATE);")));
    QVERIFY(db.exec(QStringLiteral("UPDATE t SET b = CAST(zeroblob(2900) || x'01' || zeroblob(99) "
                                   "AS BLOB) WHERE id = 10;")));
    QVERIFY(db.copyWithLog(path("case.db")));
    const QStringList found = compare();
    QCOMPARE(found.size(), 1);
    QVERIFY(found.first().startsWith(QLatin1String("0 t ~10 ")));
}

void TestTableDiff::damagedFiles_data()
{
    QTest::addColumn<int>("seed");
    QTest::addColumn<int>("pageSize");
    for (int seed = 1; seed <= 20; ++seed) {
        QTest::addRow("%d", seed) << seed << (seed % 2 == 0 ? 512 : 4096);
    }
}

/// Bytes of both files are replaced at random: the comparison ends, whatever it finds.
void TestTableDiff::damagedFiles()
{
    QFETCH(int, seed);
    QFETCH(int, pageSize);
    QVERIFY(!liveAtRandom(pageSize, 1, seed, 200, 15).isEmpty());
    SampleRandom random{quint32(seed)};
    const auto damage = [&](const char *name, int first) {
        QFile file(path(name));
        if (!file.open(QIODevice::ReadWrite)) {
            return false;
        }
        for (int i = 0; i < 40; ++i) {
            // The headers of pages are where it hurts.
            const int page = random.number(0, int(file.size() / pageSize));
            const qint64 offset = first + qint64(page) * (pageSize + (first > 0 ? 24 : 0))
                                  + random.number(0, random.chance(70) ? 40 : pageSize);
            const char byte =
                char(random.chance(50) ? random.number(0, 16) : random.number(0, 256));
            file.seek(std::min(std::max<qint64>(offset, 100), file.size() - 1));
            file.write(&byte, 1);
        }
        return true;
    };
    constexpr int firstPageOfLog = 32 + 24;
    for (int round = 0; round < 10; ++round) {
        QVERIFY(damage("case.db", 0) && damage("case.db-wal", firstPageOfLog));
        ScanProbe probe;
        compare(&probe);
        QVERIFY(probe.reports > 0);
    }
}

void TestTableDiff::treesThatReturn()
{
    constexpr int pageSize = 512;
    DatabaseImage image(pageSize, 6);
    image.schemaTable(QStringLiteral("t"), 2, QStringLiteral("CREATE TABLE t (id, a)"));
    image.interiorPage(2, {3, 4}, 5).leafPage(3, {leafCell(1, record({1, QStringLiteral("a")}))});
    image.interiorPage(4, {3, 2}, 4).interiorPage(5, {5, 900, 0}, 6);
    image.leafPage(6, {leafCell(2, record({1, QStringLiteral("b")}))});
    QVERIFY(image.save(path("case.db")));
    DatabaseImage later = image;
    later.interiorPage(3, {2, 3}, 3).leafPage(6, {}).interiorPage(5, {2, 6, 6}, 5);
    WalBuilder log(pageSize);
    for (int round = 0; round < 3; ++round) {
        for (const quint32 pageNo : {3U, 5U, 6U}) {
            log.frame(pageNo, later.bytes().mid(later.pageStart(int(pageNo)), pageSize), 6);
        }
        for (const quint32 pageNo : {5U, 3U, 6U}) {
            log.frame(pageNo, image.bytes().mid(image.pageStart(int(pageNo)), pageSize), 6);
        }
    }
    QVERIFY(log.save(path("case.db-wal")));
    SnapshotContext context(path("case.db"), path("case.db-wal"));
    QVERIFY(context.load());
    TablePages pages;
    // The page that is claimed twice counts once, and so does the one that claims itself.
    QCOMPARE(pages.update(*context.database(), 2, {}).later, (QVector<quint32>{3, 6}));
    for (int commit = 0; commit < context.wal().transactionCount(); ++commit) {
        const QVector<quint32> written = context.wal().pagesOf(commit);
        const TablePages::ChangedLeaves leaves =
            pages.update(*context.snapshotAt(commit), 2, written);
        QVERIFY(leaves.earlier.size() <= 2 && leaves.later.size() <= 2);
        QVERIFY(pages.containsAny({2}));
    }
    QVERIFY(compare().size() <= 6);
}

/// The overflow pages of two rows are the same, and lead back to themselves.
void TestTableDiff::chainsThatReturn()
{
    constexpr int pageSize = 512;
    constexpr int local = 44; // of a payload of this size
    constexpr int payloadSize = 6 * (pageSize - 4) + local;
    const int around = record({1, QString(3000, QLatin1Char('a'))}).size() - 3000;
    const QByteArray payload = record({1, QString(payloadSize - around, QLatin1Char('a'))});
    const auto cell = [&](qint64 rowid) {
        const QByteArray whole = leafCell(rowid, payload);
        return whole.left(whole.size() - payload.size() + local) + QByteArray("\0\0\0\3", 4);
    };
    DatabaseImage image(pageSize, 4);
    image.schemaTable(QStringLiteral("t"), 2, QStringLiteral("CREATE TABLE t (id, a)"));
    image.leafPage(2, {cell(1), cell(2)}).put32(image.pageStart(3), 4).put32(image.pageStart(4), 3);
    QVERIFY(image.save(path("case.db")));
    WalBuilder log(pageSize);
    for (int round = 0; round < 20; ++round) {
        log.frame(round % 2 == 0 ? 4 : 3, char('0' + round), 4);
        log.frame(3, QByteArray("\0\0\0\4", 4), 4).frame(4, QByteArray("\0\0\0\3", 4), 4);
        log.frame(2, image.bytes().mid(image.pageStart(2), pageSize), 4);
    }
    QVERIFY(log.save(path("case.db-wal")));
    ScanProbe probe;
    QVERIFY(compare(&probe).isEmpty());
    QVERIFY(probe.reports > 80 * 3 + 20 * 2); // the rows were compared
}

QTEST_GUILESS_MAIN(TestTableDiff)
#include "tst_tablediff.moc"
