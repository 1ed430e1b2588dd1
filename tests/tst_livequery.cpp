#include "recoverers/livequery.h"
#include "samples/sampledatabase.h"
#include "tests/support/folderstate.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

#include <sys/resource.h>

#include <sqlite3.h>

namespace {

QStringList names(const QString &path, const QString &sql)
{
    QStringList found;
    LiveQuery query(path);
    query.forEachRow(sql, [&found](const LiveRow &row) {
        found.append(QString::number(row.integer(0)) + row.text(1));
    });
    return found;
}

bool makeDatabase(const QString &path, const char *sql)
{
    SampleDatabase db;
    return db.create(path) && db.exec(QString::fromUtf8(sql)) && db.close();
}

/// A database in write-ahead-log mode whose second row stands in the log alone.
bool makeWithLog(const QString &path)
{
    sqlite3 *db = nullptr;
    const char *sql =
        "pragma journal_mode=wal; create table t (a, b); insert into t values (1, 'x');"
        "pragma wal_checkpoint(truncate); insert into t values (2, 'y');";
    bool made = sqlite3_open(QFile::encodeName(path).constData(), &db) == SQLITE_OK
                && sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr) == SQLITE_OK
                && sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_close(db);
    return made;
}

const QString SelectAll = QStringLiteral("select a, b from t");

} // namespace

class TestLiveQuery : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void readsTheLogAndTouchesNothing();
    void withoutItsLogADatabaseIsStillRead();
    void failures();
    void pathsThatLookLikeOptions();
    void endlessQueryEnds();
    void hostileSchemas_data();
    void hostileSchemas();
    void computedBytesEnd();

private:
    QTemporaryDir m_dir;
};

void TestLiveQuery::readsTheLogAndTouchesNothing()
{
    const QString folder = m_dir.filePath(QStringLiteral("evidence"));
    QVERIFY(QDir().mkpath(folder));
    const QString path = folder + QStringLiteral("/log.db");
    QVERIFY(makeWithLog(path));
    QVERIFY(QFileInfo(path + QStringLiteral("-wal")).size() > 0);
    const QStringList before = folderState(folder);
    QCOMPARE(names(path, SelectAll), (QStringList{QStringLiteral("1x"), QStringLiteral("2y")}));
    QCOMPARE(folderState(folder), before);
    // A log without content is as good as none.
    QVERIFY(QFile::remove(path + QStringLiteral("-wal")));
    QVERIFY(writeFile(path + QStringLiteral("-wal"), QByteArray()));
    const QStringList emptyLog = folderState(folder);
    QCOMPARE(names(path, SelectAll), QStringList{QStringLiteral("1x")});
    QCOMPARE(folderState(folder), emptyLog);
}

/// Every copy of a row that is not known to be live would pass for a deleted one.
void TestLiveQuery::withoutItsLogADatabaseIsStillRead()
{
    const QString path = m_dir.filePath(QStringLiteral("lost.db"));
    QVERIFY(makeWithLog(path));
    // No file can grow beyond some size, as on a disk that is full.
    rlimit former;
    getrlimit(RLIMIT_FSIZE, &former);
    const rlimit limit{1024, former.rlim_max};
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &limit);
    const QStringList withoutRoom = names(path, SelectAll);
    setrlimit(RLIMIT_FSIZE, &former);
    QCOMPARE(withoutRoom, QStringList{QStringLiteral("1x")});
    QCOMPARE(names(path, SelectAll), (QStringList{QStringLiteral("1x"), QStringLiteral("2y")}));
    QVERIFY(QFile::remove(path + QStringLiteral("-wal"))
            && QDir().mkpath(path + QStringLiteral("-wal/folder")));
    QCOMPARE(names(path, SelectAll), QStringList{QStringLiteral("1x")});
}

void TestLiveQuery::failures()
{
    const QString path = m_dir.filePath(QStringLiteral("failing.db"));
    QVERIFY(makeWithLog(path));
    LiveQuery query(path);
    QVERIFY(query.isOpen());
    const auto never = [](const LiveRow &) { QFAIL("no row was asked for"); };
    QVERIFY(!query.forEachRow(QStringLiteral("select a from missing"), never));
    QVERIFY(!query.forEachRow(QStringLiteral("select"), never));
    QVERIFY(query.forEachRow(QStringLiteral("select a from t where a > 9"), never));
    LiveQuery missing(m_dir.filePath(QStringLiteral("missing.db")));
    QVERIFY(!missing.forEachRow(SelectAll, never));
    QVERIFY(!QFileInfo::exists(m_dir.filePath(QStringLiteral("missing.db"))));
}

void TestLiveQuery::pathsThatLookLikeOptions()
{
    const QString path = m_dir.filePath(QStringLiteral("a b?mode=rwc#%20&x=\u00E9.db"));
    QVERIFY(makeDatabase(path, "create table t (a, b); insert into t values (3, '\u00FC');"
                               "insert into t values (null, null)"));
    QCOMPARE(names(path, SelectAll), (QStringList{QStringLiteral("3\u00FC"), QStringLiteral("0")}));
}

void TestLiveQuery::endlessQueryEnds()
{
    const QString path = m_dir.filePath(QStringLiteral("endless.db"));
    QVERIFY(makeDatabase(path, "create table t (a, b)"));
    QCOMPARE(names(path, QStringLiteral("with recursive n(a) as (select 1 union all select a + 1 "
                                        "from n) select count(*), 'b' from n")),
             QStringList());
}

/// Nothing in a hostile file runs: no view, no module, no expression of a column.
void TestLiveQuery::hostileSchemas_data()
{
    QTest::addColumn<QByteArray>("sql");
    QTest::addColumn<QStringList>("found");
    const auto row = [](const char *name, const QByteArray &sql, const char *found = nullptr) {
        QTest::newRow(name) << sql << (found ? QStringList(QLatin1String(found)) : QStringList());
    };
    row("view", "create table u (a, b); insert into u values (1, 'x');"
                "create view t as select a, b from u");
    row("endless view", "create view t as with recursive n(a) as (select 1 union all select a + 1 "
                        "from n) select a, 'x' as b from n");
    row("views of each other",
        "create view t as select a, b from u; create view u as select a, b from t");
    row("virtual table", "create virtual table t using fts4(a, b); insert into t values (1, 'x')");
    row("endless column",
        "create table t (a, b as (instr(zeroblob(1000000), cast(zeroblob(500000) || x'01' as blob)"
        "))); with recursive n(a) as (select 1 union all select a + 1 from n where a < 100) "
        "insert into t (a) select a from n");
    row("column of another computed one", "create table t (a, b as (c), c as (hex(a)));"
                                          "insert into t (a) values (1)");
    row("computed column that is not read",
        "create table t (a, b, c as (hex(zeroblob(900000)))); insert into t values (1, 'x')", "1x");
    row("stored column", "create table t (a, b as ('x') stored); insert into t values (1)", "1x");
    const char *const refused =
        "create table t (a, b); insert into t values (1, 'x'); create table "
        "u (c); pragma writable_schema = on; update sqlite_master set sql "
        "= ";
    row("statement cut off", QByteArray(refused) + "'create table t (a, b' where name = 't'");
    row("another statement", QByteArray(refused) + "'delete from t' where name = 't'");
    row("other table refused", QByteArray(refused) + "'create table u (c' where name = 'u'");
}

void TestLiveQuery::hostileSchemas()
{
    QFETCH(QByteArray, sql);
    const QString path = m_dir.filePath(QStringLiteral("hostile.db"));
    QVERIFY(makeDatabase(path, sql.constData()));
    QElapsedTimer timer;
    timer.start();
    QTEST(names(path, SelectAll), "found");
    QVERIFY(timer.elapsed() < 10000);
}

void TestLiveQuery::computedBytesEnd()
{
    const QString path = m_dir.filePath(QStringLiteral("computed.db"));
    QVERIFY(makeDatabase(path, "create table t (a); with recursive n(a) as (select 1 union all "
                               "select a + 1 from n where a < 1000) insert into t select 300000 "
                               "from n"));
    const QString zeros = QStringLiteral("select a, hex(zeroblob(a)) from t");
    const int count = names(path, zeros).size();
    QVERIFY2(count > 1 && count < 40, qPrintable(QString::number(count)));
    SampleDatabase db;
    QVERIFY(db.open(path) && db.exec(QStringLiteral("update t set a = 3000000")) && db.close());
    QCOMPARE(names(path, zeros), QStringList());
}

QTEST_APPLESS_MAIN(TestLiveQuery)
#include "tst_livequery.moc"
