#include "recoverers/livequery.h"
#include "samples/sampledatabase.h"
#include "tests/support/folderstate.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

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
    void readsRows();
    void readsTheLogAndTouchesNothing();
    void failures();
    void writesNeverReachTheFile();
    void pathsThatLookLikeOptions();
    void endlessQueryEnds();
    void viewsAreNoTables();
    void computedBytesEnd();

private:
    QTemporaryDir m_dir;
};

void TestLiveQuery::readsRows()
{
    const QString path = m_dir.filePath(QStringLiteral("rows.db"));
    SampleDatabase db;
    QVERIFY(db.create(path));
    QVERIFY(db.exec(QStringLiteral("create table t (a, b); insert into t values (5, 'f\u00FCnf');"
                                   "insert into t values (null, null)")));
    QVERIFY(db.close());
    QCOMPARE(names(path, SelectAll),
             (QStringList{QStringLiteral("5f\u00FCnf"), QStringLiteral("0")}));
}

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
    QFile log(path + QStringLiteral("-wal"));
    QVERIFY(log.open(QIODevice::WriteOnly));
    log.close();
    const QStringList emptyLog = folderState(folder);
    QCOMPARE(names(path, SelectAll), QStringList{QStringLiteral("1x")});
    QCOMPARE(folderState(folder), emptyLog);
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

void TestLiveQuery::writesNeverReachTheFile()
{
    for (const bool withLog : {true, false}) {
        const QString folder = m_dir.filePath(QStringLiteral("written%1").arg(withLog));
        const QString path = folder + QStringLiteral("/w.db");
        QVERIFY(QDir().mkpath(folder) && makeWithLog(path));
        QVERIFY(withLog || QFile::remove(path + QStringLiteral("-wal")));
        const QStringList before = folderState(folder);
        LiveQuery query(path);
        query.forEachRow(QStringLiteral("insert into t values (9, 'q')"), [](const LiveRow &) {});
        QCOMPARE(folderState(folder), before);
        QCOMPARE(names(path, SelectAll).size(), withLog ? 2 : 1);
    }
}

void TestLiveQuery::pathsThatLookLikeOptions()
{
    const QString path = m_dir.filePath(QStringLiteral("a b?mode=rwc#%20&x=\u00E9.db"));
    SampleDatabase db;
    QVERIFY(db.create(path));
    QVERIFY(db.exec(QStringLiteral("create table t (a, b); insert into t values (3, 'z')")));
    QVERIFY(db.close());
    QCOMPARE(names(path, SelectAll), QStringList{QStringLiteral("3z")});
}

void TestLiveQuery::endlessQueryEnds()
{
    const QString path = m_dir.filePath(QStringLiteral("endless.db"));
    SampleDatabase db;
    QVERIFY(db.create(path));
    QVERIFY(db.exec(QStringLiteral("create table t (a, b)")) && db.close());
    QCOMPARE(names(path, QStringLiteral("with recursive n(a) as (select 1 union all select a + 1 "
                                        "from n) select count(*), 'b' from n")),
             QStringList());
}

/// A view under the name of a table would run whatever a hostile file says.
void TestLiveQuery::viewsAreNoTables()
{
    const QString path = m_dir.filePath(QStringLiteral("view.db"));
    SampleDatabase db;
    QVERIFY(db.create(path));
    QVERIFY(db.exec(QStringLiteral("create table u (a, b); insert into u values (1, 'x');"
                                   "create view t as select a, b from u"))
            && db.close());
    QCOMPARE(names(path, SelectAll), QStringList());
}

void TestLiveQuery::computedBytesEnd()
{
    const QString path = m_dir.filePath(QStringLiteral("computed.db"));
    SampleDatabase db;
    QVERIFY(db.create(path));
    QVERIFY(db.exec(QStringLiteral(
        "create table t (a, b as (hex(zeroblob(a)))); with recursive n(a) as (select 1 union all "
        "select a + 1 from n where a < 1000) insert into t (a) select 300000 from n")));
    QVERIFY(db.close());
    const int count = names(path, SelectAll).size();
    QVERIFY2(count > 1 && count < 40, qPrintable(QString::number(count)));
    QVERIFY(db.open(path) && db.exec(QStringLiteral("update t set a = 3000000")) && db.close());
    QCOMPARE(names(path, SelectAll), QStringList());
}

QTEST_APPLESS_MAIN(TestLiveQuery)
#include "tst_livequery.moc"
