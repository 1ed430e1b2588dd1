// Nothing that is read is changed, and nothing is created beside it, not even for a moment.

#include "api/backupindex.h"
#include "api/databasecheck.h"
#include "api/sqliterecovery.h"
#include "api/walrecovery.h"
#include "cli/recordkind.h"
#include "tests/support/folderwatch.h"
#include "tests/support/kindsamples.h"
#include "tests/support/programrun.h"
#include "tests/support/testfiles.h"

#include <QDir>
#include <QDirIterator>
#include <QTemporaryDir>
#include <QtTest>

#include <sqlite3.h>

#include <algorithm>
#include <functional>

#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr unsigned Nobody = 65534;

/// Where files are written quickly, if there is such a place.
QString templateOfFolders()
{
    const QString memory = QStringLiteral("/dev/shm");
    return (QFileInfo(memory).isWritable() ? memory : QDir::tempPath())
           + QStringLiteral("/evidence-XXXXXX");
}

bool isRoot()
{
    return geteuid() == 0;
}

bool becomeNobody()
{
    return setgroups(0, nullptr) == 0 && setgid(Nobody) == 0 && setuid(Nobody) == 0;
}

/// Returns whether the function returned true for a user who may read everything here and write
/// nothing.
bool isTrueForNobody(const std::function<bool()> &function)
{
    const pid_t child = fork();
    if (child == 0) {
        _exit(becomeNobody() && function() ? 0 : 1);
    }
    int status = -1;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/// The program, run by a user who may write nothing here.
class NobodysProcess : public QProcess
{
protected:
    void setupChildProcess() override
    {
        if (!becomeNobody()) {
            _exit(99);
        }
    }
};

/// Gives or takes the permission to write to a folder and everything in it.
void setWritable(const QString &folder, bool isWritable)
{
    const mode_t more = isWritable ? 0200 : 0;
    QStringList folders{folder};
    QDirIterator entries(folder, QDir::AllEntries | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = entries.next();
        if (entries.fileInfo().isDir()) {
            folders.append(path);
        } else {
            chmod(QFile::encodeName(path).constData(), 0444 | more);
        }
    }
    for (const QString &path : qAsConst(folders)) {
        chmod(QFile::encodeName(path).constData(), 0555 | more);
    }
}

/// A database whose last transaction broke off: SQLite would take it back from the journal.
bool makeWithHotJournal(const KindSample &kind, const QString &path)
{
    const QString device = path + QStringLiteral(".device");
    const QString journal = QStringLiteral("-journal");
    SampleDatabase db;
    return makeKindSample(kind, device) && db.open(device)
           && db.exec(QStringLiteral("pragma cache_size = 1; pragma synchronous = off; begin;"
                                     "create table more as select zeroblob(200000) as x"))
           && QFile::copy(device, path) && QFile::copy(device + journal, path + journal)
           && db.close() && QFile::remove(device);
}

bool makeWithIndexOfLog(const KindSample &kind, const QString &path)
{
    return makeKindSampleWithLog(kind, path)
           && writeFile(path + QStringLiteral("-shm"), QByteArray(32768, '\1'));
}

bool makeWithEverything(const KindSample &kind, const QString &path)
{
    const QString other = path + QStringLiteral(".other");
    const QString journal = QStringLiteral("-journal");
    return makeWithIndexOfLog(kind, path) && makeWithHotJournal(kind, other)
           && QFile::rename(other + journal, path + journal) && QFile::remove(other);
}

bool makeWithEmptyLog(const KindSample &kind, const QString &path)
{
    return makeKindSample(kind, path) && writeFile(path + QStringLiteral("-wal"), QByteArray());
}

/// What lies beside a database.
struct Company
{
    const char *name;
    bool (*make)(const KindSample &kind, const QString &path);
    int files;
};

constexpr Company Companies[] = {
    {"alone", makeKindSample, 1},           {"empty log", makeWithEmptyLog, 2},
    {"log", makeKindSampleWithLog, 2},      {"log and its index", makeWithIndexOfLog, 3},
    {"hot journal", makeWithHotJournal, 2}, {"everything", makeWithEverything, 4},
};

template<typename Recovery> unsigned numberOf(ScanType type, Recovery &recovery)
{
    unsigned number = 0;
    for (const RecordKind &kind : resultsOf(type, recovery).kinds) {
        number += kind.count();
    }
    return number;
}

/// Calls whatever reads files. Returns whether the scans of the database's own kind found anything.
bool callEverything(const KindSample &kind, const QString &folder, const QString &database)
{
    const QString log = database + QStringLiteral("-wal");
    bool isFound = true;
    for (int type = -1; type <= 11; ++type) {
        SqliteRecovery recovery;
        recovery.scanRecoveryForType(type, database, nullptr);
        recovery.scanRecoveryForType(type, QStringList{database}, nullptr);
        WalRecovery versions;
        versions.scanRecoveryForType(type, database, log, nullptr);
        whyNothingFound(type, database);
        if (type == kind.type) {
            isFound = numberOf(kind.type, recovery) > 0;
            isFound = isFound
                      && (!isComparedInLogs(kind) || checkLog(log) != LogState::Usable
                          || numberOf(kind.type, versions) > 0);
        }
    }
    QVector<BackupFile> files;
    readBackupIndex(folder, QStringLiteral("HomeDomain"), &files);
    return SqliteRecovery().scanRecovery(folder) == 0
           && checkDatabase(database) == DatabaseState::Readable && isFound;
}

/// The file in which a backup keeps such a database.
QString backupName(ScanType type)
{
    const QVector<BackupLocation> places = backupLocations();
    const auto place =
        std::find_if(places.cbegin(), places.cend(),
                     [type](const BackupLocation &location) { return location.type == type; });
    return place == places.cend() ? QStringLiteral("message_1.sqlite")
                                  : backupFileName(place->domain, place->relativePath);
}

/// Lets SQLite itself read the database as programs usually do.
void readWithSqlite(const QString &path)
{
    sqlite3 *db = nullptr;
    sqlite3_open(QFile::encodeName(path).constData(), &db);
    sqlite3_exec(db, "select * from sqlite_master", nullptr, nullptr, nullptr);
    sqlite3_close(db);
}

} // namespace

class TestEvidence : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void sqliteLeavesTraces_data();
    void sqliteLeavesTraces();
    void library_data();
    void library();
    void unusualFiles_data();
    void unusualFiles();
    void program_data();
    void program();
    void programOnBackups_data();
    void programOnBackups();

private:
    QString path(const char *name) const { return m_dir->filePath(QLatin1String(name)); }
    void run(const QStringList &command, const QString &folder, bool inEveryFormat);

    QScopedPointer<QTemporaryDir> m_dir;
};

void TestEvidence::initTestCase()
{
    m_dir.reset(new QTemporaryDir(templateOfFolders()));
    UntouchedFolder folder(m_dir->path());
    QVERIFY(writeFile(path("brief"), "x") && QFile::remove(path("brief")));
    QVERIFY2(!folder.traces().isEmpty(), "this system shows nothing of what happens in a folder");
    QVERIFY(folder.traces().isEmpty());
}

void TestEvidence::init()
{
    m_dir.reset(new QTemporaryDir(templateOfFolders()));
    QVERIFY(QDir(m_dir->path()).mkdir(QStringLiteral("evidence"))
            && QDir(m_dir->path()).mkdir(QStringLiteral("temporary")));
    // Nobody must be able to read the one and write to the other.
    QCOMPARE(chmod(QFile::encodeName(m_dir->path()).constData(), 0755), 0);
    QCOMPARE(chmod(QFile::encodeName(path("temporary")).constData(), 01777), 0);
    qputenv("TMPDIR", QFile::encodeName(path("temporary")));
}

void TestEvidence::cleanup()
{
    qunsetenv("TMPDIR");
    setWritable(m_dir->path(), true);
}

/// The watch sees it, and the files are such that it happens.
void TestEvidence::sqliteLeavesTraces_data()
{
    QTest::addColumn<int>("company");
    for (const int company : {2, 3, 4}) {
        QTest::newRow(Companies[company].name) << company;
    }
}

void TestEvidence::sqliteLeavesTraces()
{
    QFETCH(int, company);
    QVERIFY(Companies[company].make(kindSamples().first(), path("evidence/book.db")));
    UntouchedFolder evidence(path("evidence"));
    readWithSqlite(path("evidence/book.db"));
    const QString traces = evidence.traces();
    QVERIFY2(traces.contains(QLatin1String("book.db-")), qPrintable(traces));
}

void TestEvidence::library_data()
{
#if defined(__SANITIZE_ADDRESS__) // to start a process takes long then
    constexpr int EveryCompany = 3;
#else
    constexpr int EveryCompany = 1;
#endif
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("company");
    for (int kind = 0; kind < kindSamples().size(); ++kind) {
        for (int company = kind % EveryCompany; company < int(std::size(Companies));
             company += EveryCompany) {
            QTest::addRow("%s, %s", kindSamples().at(kind).name, Companies[company].name)
                << kind << company;
        }
    }
}

void TestEvidence::library()
{
    QFETCH(int, kind);
    QFETCH(int, company);
    const KindSample &sample = kindSamples().at(kind);
    const QString folder = path("evidence");
    const QString database = folder + QLatin1Char('/') + backupName(sample.type);
    QVERIFY(Companies[company].make(sample, database));
    const auto callAll = [&] { return callEverything(sample, folder, database); };
    for (const bool isWritable : {true, false}) {
        setWritable(folder, isWritable);
        UntouchedFolder evidence(folder);
        QVERIFY(callAll());
        QVERIFY(!isRoot() || isTrueForNobody(callAll));
        QCOMPARE(evidence.traces(), QString());
        QCOMPARE(QDir(folder).entryList(QDir::Files).size(), Companies[company].files);
        // Neither does a copy stay anywhere else.
        QVERIFY(QDir(path("temporary")).isEmpty());
    }
}

void TestEvidence::unusualFiles_data()
{
    QTest::addColumn<QByteArray>("database");
    QTest::addColumn<QByteArray>("log");
    QTest::newRow("nothing") << QByteArray("") << QByteArray("");
    QTest::newRow("text") << QByteArray(5000, 'a') << QByteArray(5000, 'b');
    QTest::newRow("log alone") << QByteArray() << QByteArray(5000, 'b');
    QTest::newRow("cut") << QByteArray("SQLite format 3").append('\0') << QByteArray(5000, 'b');
}

void TestEvidence::unusualFiles()
{
    QFETCH(QByteArray, database);
    QFETCH(QByteArray, log);
    const QString folder = path("evidence");
    const QString file = folder + QStringLiteral("/call.db");
    QVERIFY(database.isNull() || writeFile(file, database));
    QVERIFY(writeFile(file + QStringLiteral("-wal"), log));
    UntouchedFolder evidence(folder);
    for (const KindSample &kind : kindSamples()) {
        QVERIFY(!callEverything(kind, folder, file));
    }
    QCOMPARE(evidence.traces(), QString());
}

void TestEvidence::program_data()
{
    addKindRows();
}

/// In the folder of the evidence itself, where a program would leave what it leaves behind.
void TestEvidence::run(const QStringList &command, const QString &folder, bool inEveryFormat)
{
#if defined(__SANITIZE_ADDRESS__) // starting the program takes half a second then
    inEveryFormat = false;
#endif
    for (const QString &format : words(inEveryFormat ? "text html csv jsonl json" : "html")) {
        QProcess process;
        process.setWorkingDirectory(folder);
        process.start(QStringLiteral(SQLITERECOVERY_PROGRAM),
                      command + words("--force --format @", format)
                          + words("--output @", path("output.") + format));
        QCOMPARE(finish(process).exitCode, 0);
    }
    if (isRoot()) {
        NobodysProcess process;
        process.setWorkingDirectory(folder);
        process.start(QStringLiteral(SQLITERECOVERY_PROGRAM), command);
        const Run run = finish(process);
        QVERIFY2(run.exitCode == 0 && !run.out.isEmpty(), run.err.constData());
    }
}

void TestEvidence::program()
{
    QFETCH(int, kind);
    const KindSample &sample = kindSamples().at(kind);
    const QString folder = path("evidence");
    QVERIFY(makeWithEverything(sample, folder + QStringLiteral("/sample.db")));
    const QString type = QString::number(sample.type);
    for (const bool isWritable : {true, false}) {
        setWritable(folder, isWritable);
        UntouchedFolder evidence(folder);
        run(words("scan @ sample.db", type), folder, isWritable);
        if (isComparedInLogs(sample)) {
            run(words("wal @ sample.db", type), folder, isWritable);
        }
        QCOMPARE(evidence.traces(), QString());
        QVERIFY(QDir(path("temporary")).isEmpty());
    }
}

void TestEvidence::programOnBackups_data()
{
    QTest::addColumn<bool>("isFlat");
    QTest::newRow("flat") << true;
    QTest::newRow("folders") << false;
}

void TestEvidence::programOnBackups()
{
    QFETCH(bool, isFlat);
    QCOMPARE(QProcess::execute(QStringLiteral(MAKESAMPLE_PROGRAM),
                               words("backup @ --layout", path("made"))
                                   + words(QTest::currentDataTag())),
             0);
    const QString folder = path("made/backup");
    // The index, too, may have a log.
    QVERIFY(isFlat
            || writeFile(folder + QStringLiteral("/Manifest.db-wal"), QByteArray(5000, 'b')));
    for (const bool isWritable : {true, false}) {
        setWritable(folder, isWritable);
        UntouchedFolder evidence(folder);
        run(words("backup ."), folder, isWritable);
        QCOMPARE(evidence.traces(), QString());
        QVERIFY(QDir(path("temporary")).isEmpty());
    }
}

QTEST_GUILESS_MAIN(TestEvidence)
#include "tst_evidence.moc"
