#include "samples/sampledatabase.h"
#include "samples/samplerandom.h"
#include "tests/support/scanprobe.h"
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
        for (const ColumnValue &value :
             decodeRow(row, table.schema(), table.textEncoding()).mid(1)) {
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

private:
    QString path(const char *name) const { return m_dir.filePath(QString::fromLatin1(name)); }
    QTemporaryDir m_dir;
};

void TestTableDiff::everyChangeIsFound_data()
{
    QTest::addColumn<int>("pageSize");
    QTest::addColumn<int>("autoVacuum");
    QTest::addColumn<int>("rows");
    for (const int pageSize : {512, 1024, 4096, 65536}) {
        for (const int autoVacuum : {0, 1, 2}) {
            QTest::addRow("pages of %d, auto_vacuum %d", pageSize, autoVacuum)
                << pageSize << autoVacuum << (pageSize == 512 ? 1500 : 300);
        }
    }
}

void TestTableDiff::everyChangeIsFound()
{
    QFETCH(int, pageSize);
    QFETCH(int, autoVacuum);
    QFETCH(int, rows);
    SampleOptions options;
    options.pageSize = pageSize;
    options.autoVacuum = autoVacuum;
    static const int seeds = std::max(1, qEnvironmentVariableIntValue("TABLEDIFF_SEEDS"));
    const int firstSeed = std::max(1, qEnvironmentVariableIntValue("TABLEDIFF_FIRST"));
    for (int seed = firstSeed; seed < firstSeed + seeds; ++seed) {
        SampleDatabase db;
        RandomLife life(&db, pageSize, autoVacuum, quint32(seed));
        QVERIFY(db.create(path("device.db"), options) && life.begin(rows) && db.startLog());
        SqlReader reader(path("device.db"));
        QVector<Version> versions{reader.read()};
        for (int i = 0; i < 60; ++i) {
            QVERIFY2(life.step(), qPrintable(db.errorText()));
            QVERIFY(db.copyWithLog(path("case.db")));
            WalFile log(path("case.db-wal"));
            // Steps that change nothing make no commit.
            if (log.load() && log.transactionCount() == versions.size()) {
                versions.append(reader.read());
            }
            QCOMPARE(log.transactionCount(), versions.size() - 1);
        }
        SnapshotContext context(path("case.db"), path("case.db-wal"));
        QVERIFY(context.load());
        ProbeCollector collector;
        TableDiff(&context, &collector, nullptr).run();
        const QStringList expected = expectedLines(versions);
        QVERIFY(expected.size() > 100);
        for (int i = 0; i < std::min(expected.size(), collector.lines.size()); ++i) {
            QVERIFY2(collector.lines.at(i) == expected.at(i),
                     qPrintable(QStringLiteral("seed %1: %2 instead of %3")
                                    .arg(seed)
                                    .arg(collector.lines.at(i), expected.at(i))));
        }
        QCOMPARE(collector.lines.size(), expected.size());
        QCOMPARE(collector.begun.size(), versions.size() - 1);
        QCOMPARE(collector.finished, 1);
    }
}

QTEST_GUILESS_MAIN(TestTableDiff)
#include "tst_tablediff.moc"
