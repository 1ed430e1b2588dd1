// Runs the real program on whole backups.

#include "api/sqliterecovery.h"
#include "api/walrecovery.h"
#include "cli/backupfolder.h"
#include "cli/recordkind.h"
#include "tests/support/csvreader.h"
#include "tests/support/folderstate.h"
#include "tests/support/programrun.h"
#include "tests/support/testfiles.h"

#include <QDir>
#include <QDirIterator>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <random>

#include <sys/resource.h>
#include <sys/stat.h>

namespace {

/// The records that the library itself finds, as the program writes them.
class LibraryRecords
{
public:
    explicit LibraryRecords(const QString &folder)
    {
        for (const BackupDatabase &database : readBackup(folder).databases) {
            SqliteRecovery recovery;
            recovery.scanRecoveryForType(database.type, database.path, nullptr);
            add(resultsOf(database.type, recovery), database.place);
            if (!database.logPath.isEmpty()) {
                WalRecovery log;
                log.scanRecoveryForType(database.type, database.path, database.logPath, nullptr);
                add(resultsOf(database.type, log), database.logPlace);
            }
        }
    }

    QVector<QJsonObject> records;
    QMap<QString, int> numberOfKinds;

private:
    void add(const ScanResults &results, const QString &place)
    {
        for (const RecordKind &kind : results.kinds) {
            for (unsigned i = 0; i < kind.count(); ++i) {
                QJsonObject record = kind.record(i).toJsonObject();
                record.insert(QStringLiteral("kind"), QLatin1String(kind.name));
                record.insert(QStringLiteral("database"), place);
                records.append(record);
                ++numberOfKinds[QLatin1String(kind.name)];
            }
        }
    }
};

QVector<QJsonObject> objectsOf(const QJsonArray &array)
{
    QVector<QJsonObject> objects;
    for (const QJsonValue &value : array) {
        objects.append(value.toObject());
    }
    return objects;
}

QVector<QJsonObject> objectsOfLines(const QByteArray &lines)
{
    QVector<QJsonObject> objects;
    for (const QByteArray &line : lines.split('\n')) {
        if (!line.isEmpty()) {
            objects.append(QJsonDocument::fromJson(line).object());
        }
    }
    return objects;
}

QStringList filesIn(const QString &folder)
{
    QStringList files;
    QDirIterator iterator(folder, QDir::Files, QDirIterator::Subdirectories);
    while (iterator.hasNext()) {
        files.append(iterator.next());
    }
    files.sort();
    return files;
}

bool isDatabase(const QString &file)
{
    return readFile(file).startsWith("SQLite format 3");
}

/// True once the process waits for something after it has taken over the signal.
bool waitsForReader(qint64 process)
{
    const QByteArray status = readFile(QStringLiteral("/proc/%1/status").arg(process));
    const int at = status.indexOf("SigCgt:");
    const quint64 caught = status.mid(at + 7, 18).trimmed().toULongLong(nullptr, 16);
    return at >= 0 && (caught & (quint64(1) << (SIGINT - 1))) != 0 && status.contains("State:\tS");
}

} // namespace

class TestBackupCommand : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void everyRecordIsThere_data();
    void everyRecordIsThere();
    void layoutsHoldTheSame();
    void csvIsAFileForEachKind();
    void csvOfOneDatabaseIsWrittenToAFolderToo();
    void textTellsTheDeviceAndTheDatabases();
    void emptyDatabasesSayWhy();
    void brokenFilesAreNamedAndTheRestIsScanned();
    void nothingToScan_data();
    void nothingToScan();
    void outputNeverGoesIntoTheBackup_data();
    void outputNeverGoesIntoTheBackup();
    void existingFoldersAreCompletedButNothingIsReplaced();
    void unwritableFolders();
    void fullDisk_data();
    void fullDisk();
    void oddLogs();
    void pipesAreNoDatabases();
    void stoppedRunsAreValid_data();
    void stoppedRunsAreValid();

private:
    QString path(const QString &name) const { return m_folder->filePath(name); }
    static QString backup(const char *layout)
    {
        return m_samples->filePath(QLatin1String(layout) + QStringLiteral("/backup"));
    }
    /// A copy that a test may damage.
    QString copyOf(const char *layout);
    static Run scan(const QString &folder, const QStringList &more)
    {
        return runProgram(QStringList{QStringLiteral("backup"), folder} + more);
    }

    static QScopedPointer<QTemporaryDir> m_samples;
    QScopedPointer<QTemporaryDir> m_folder;
};

QScopedPointer<QTemporaryDir> TestBackupCommand::m_samples;

void TestBackupCommand::initTestCase()
{
    m_samples.reset(new QTemporaryDir);
    for (const char *layout : {"flat", "folders"}) {
        QCOMPARE(
            QProcess::execute(QStringLiteral(MAKESAMPLE_PROGRAM),
                              {QStringLiteral("backup"), m_samples->filePath(QLatin1String(layout)),
                               QStringLiteral("--layout"), QLatin1String(layout)}),
            0);
    }
}

void TestBackupCommand::init()
{
    m_folder.reset(new QTemporaryDir);
}

QString TestBackupCommand::copyOf(const char *layout)
{
    const QDir from(backup(layout));
    const QString to = path(QStringLiteral("copy"));
    for (const QString &file : filesIn(from.path())) {
        const QString target = to + QLatin1Char('/') + from.relativeFilePath(file);
        if (!QDir().mkpath(QFileInfo(target).path()) || !QFile::copy(file, target)) {
            return QString();
        }
    }
    return to;
}

void TestBackupCommand::everyRecordIsThere_data()
{
    QTest::addColumn<QByteArray>("layout");
    QTest::addColumn<QString>("format");
    QTest::newRow("flat, lines") << QByteArray("flat") << QStringLiteral("jsonl");
    QTest::newRow("folders, lines") << QByteArray("folders") << QStringLiteral("jsonl");
    QTest::newRow("folders, array") << QByteArray("folders") << QStringLiteral("json");
}

void TestBackupCommand::everyRecordIsThere()
{
    QFETCH(QByteArray, layout);
    QFETCH(QString, format);
    const QString folder = backup(layout.constData());
    const Run run = scan(folder, {QStringLiteral("--format"), format});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.err, QByteArray());
    const LibraryRecords library(folder);
    QCOMPARE(library.numberOfKinds.size(), 12);
    const QVector<QJsonObject> found = format == QLatin1String("jsonl")
                                           ? objectsOfLines(run.out)
                                           : objectsOf(QJsonDocument::fromJson(run.out).array());
    QCOMPARE(found.size(), library.records.size());
    for (int i = 0; i < found.size(); ++i) {
        QCOMPARE(found.at(i), library.records.at(i));
    }
}

void TestBackupCommand::layoutsHoldTheSame()
{
    const QStringList lines{QStringLiteral("--format"), QStringLiteral("jsonl")};
    const Run flat = scan(backup("flat"), lines);
    QVERIFY(flat.out.count('\n') > 100);
    QCOMPARE(scan(backup("folders"), lines).out, flat.out);
}

void TestBackupCommand::csvIsAFileForEachKind()
{
    const QString output = path(QStringLiteral("tables"));
    const Run run = scan(backup("folders"), {QStringLiteral("--format"), QStringLiteral("csv"),
                                             QStringLiteral("--output"), output});
    QCOMPARE(run.err, QByteArray());
    QCOMPARE(run.exitCode, 0);
    QVERIFY(run.out.contains("HomeDomain/Library/SMS/sms.db"));
    const LibraryRecords library(backup("folders"));
    QMap<QString, QStringList> places;
    for (const QJsonObject &record : library.records) {
        places[record.value(QLatin1String("kind")).toString()].append(
            record.value(QLatin1String("database")).toString());
    }
    int files = 0;
    for (const QString &file : filesIn(output)) {
        const QVector<QStringList> rows = rowsFromCsv(readFile(file));
        const QString kind = QFileInfo(file).completeBaseName();
        QCOMPARE(rows.first().mid(0, 2),
                 (QStringList{QStringLiteral("kind"), QStringLiteral("database")}));
        QStringList found;
        for (const QStringList &row : rows.mid(1)) {
            QCOMPARE(row.size(), rows.first().size());
            QCOMPARE(row.first(), kind);
            found.append(row.at(1));
        }
        QCOMPARE(found, places.value(kind));
        ++files;
    }
    QCOMPARE(files, 12);
}

void TestBackupCommand::csvOfOneDatabaseIsWrittenToAFolderToo()
{
    const QString database = readBackup(backup("flat")).databases.at(3).path; // the calendar
    const QStringList command{QStringLiteral("scan"), QStringLiteral("calendar"), database,
                              QStringLiteral("--format"), QStringLiteral("csv")};
    const QString output = path(QStringLiteral("new/"));
    QCOMPARE(runProgram(command + QStringList{QStringLiteral("--output"), output}).exitCode, 0);
    QCOMPARE(QDir(output).entryList(QDir::Files),
             (QStringList{QStringLiteral("calendar.csv"), QStringLiteral("reminder.csv")}));
    const int rows = rowsFromCsv(readFile(output + QStringLiteral("calendar.csv"))).size()
                     + rowsFromCsv(readFile(output + QStringLiteral("reminder.csv"))).size();
    QCOMPARE(rows, rowsFromCsv(runProgram(command).out).size() + 1);
}

void TestBackupCommand::textTellsTheDeviceAndTheDatabases()
{
    const Run run = scan(backup("folders"), {});
    QCOMPARE(run.exitCode, 0);
    const BackupContents contents = readBackup(backup("folders"));
    QVERIFY(run.out.contains(contents.device.name.toUtf8()));
    QVERIFY(run.out.contains(contents.device.backupDate.toUtf8()));
    for (const BackupDatabase &database : contents.databases) {
        QVERIFY2(run.out.contains(database.place.toUtf8()), qPrintable(database.place));
    }
    const LibraryRecords library(backup("folders"));
    const QByteArray calls = "Calls: " + QByteArray::number(24);
    QVERIFY2(run.out.contains(calls), run.out.left(3000).constData());
}

void TestBackupCommand::emptyDatabasesSayWhy()
{
    // A database of another kind in the place of the notes.
    const QString folder = copyOf("flat");
    const QString notes = folder + QStringLiteral("/ca3bc056d4da0bbf88b5fb3be254f3b7147e639c");
    const QString calls = folder + QStringLiteral("/2b2b0084a1bc3a5ac8c27afdf14afb42c61a19ca");
    QVERIFY(QFile::remove(notes) && QFile::copy(calls, notes));
    const Run run = scan(folder, {});
    QCOMPARE(run.exitCode, 0);
    QVERIFY2(run.out.contains("nothing: no table of this kind"), run.out.left(3000).constData());
}

void TestBackupCommand::brokenFilesAreNamedAndTheRestIsScanned()
{
    const QString folder = copyOf("folders");
    const QString sms = folder + QStringLiteral("/3d/3d0d7e5fb2ce288813306e4d4636395e047a3d28");
    const QString calls = folder + QStringLiteral("/2b/2b2b0084a1bc3a5ac8c27afdf14afb42c61a19ca");
    QVERIFY(writeFile(sms, QByteArray(5000, 'x')));
    QVERIFY(QFile::remove(calls) && QDir().mkdir(calls));
    const Run run = scan(folder, {QStringLiteral("--format"), QStringLiteral("jsonl")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.err.count('\n'), 3);
    QVERIFY2(run.err.contains("sms.db: not an SQLite database"), run.err.constData());
    QVERIFY2(run.err.contains("call_history.db: cannot read"), run.err.constData());
    QVERIFY2(run.err.contains("2 of "), run.err.constData());
    QVERIFY(!run.out.contains("messageGroup") && run.out.contains("\"bookmark\""));

    for (const QString &file : filesIn(folder)) {
        QVERIFY(!isDatabase(file) || writeFile(file, QByteArray(5000, 'x')));
    }
    const Run nothing = scan(folder, {QStringLiteral("--output"), path(QStringLiteral("out"))});
    QCOMPARE(nothing.exitCode, 1);
    QCOMPARE(nothing.out, QByteArray());
    QVERIFY(!QFile::exists(path(QStringLiteral("out"))));
}

void TestBackupCommand::nothingToScan_data()
{
    QTest::addColumn<QByteArray>("what");
    QTest::addColumn<QByteArray>("complaint");
    QTest::newRow("no folder") << QByteArray("missing") << QByteArray("no such");
    QTest::newRow("empty folder") << QByteArray("empty") << QByteArray("no backup");
    QTest::newRow("a file") << QByteArray("file") << QByteArray("folder");
    QTest::newRow("encrypted") << QByteArray("encrypted") << QByteArray("encrypted");
    QTest::newRow("encrypted by its list") << QByteArray("list") << QByteArray("encrypted");
}

void TestBackupCommand::nothingToScan()
{
    QFETCH(QByteArray, what);
    QFETCH(QByteArray, complaint);
    QString folder = path(QStringLiteral("folder"));
    if (what == "file") {
        QVERIFY(writeFile(folder, "x"));
    } else if (what == "empty") {
        QVERIFY(QDir().mkdir(folder));
    } else if (what != "missing") {
        folder = copyOf("folders");
        const bool isSaid = what == "list";
        const QByteArray list = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist "
                                "version=\"1.0\"><dict><key>IsEncrypted</key><true/></dict>"
                                "</plist>\n";
        QVERIFY(!isSaid || writeFile(folder + QStringLiteral("/Manifest.plist"), list));
        std::mt19937 random(7);
        for (const QString &file : filesIn(folder)) {
            QByteArray noise(8192, 'x');
            if (!isSaid) {
                std::generate(noise.begin(), noise.end(),
                              [&random] { return char(random() & 0xFF); });
            }
            QVERIFY(!isDatabase(file) || writeFile(file, noise));
        }
    }
    const Run run = scan(folder, {QStringLiteral("--format"), QStringLiteral("jsonl")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray());
    QVERIFY2(isOneLine(run.err) && run.err.contains(complaint), run.err.constData());
}

void TestBackupCommand::outputNeverGoesIntoTheBackup_data()
{
    QTest::addColumn<QString>("format");
    QTest::addColumn<QString>("output");
    QTest::newRow("file") << QStringLiteral("jsonl") << QStringLiteral("copy/out.jsonl");
    QTest::newRow("file by a link") << QStringLiteral("jsonl") << QStringLiteral("link/out.jsonl");
    QTest::newRow("tables") << QStringLiteral("csv") << QStringLiteral("copy/tables");
    QTest::newRow("tables in itself") << QStringLiteral("csv") << QStringLiteral("copy");
    QTest::newRow("tables deeper") << QStringLiteral("csv") << QStringLiteral("link/../copy/3d/");
    QTest::newRow("new tables") << QStringLiteral("csv") << QStringLiteral("copy/new/");
    QTest::newRow("new tables by a link") << QStringLiteral("csv") << QStringLiteral("link/new//");
    QTest::newRow("evidence elsewhere") << QStringLiteral("jsonl") << QStringLiteral("sms.db");
    QTest::newRow("its log") << QStringLiteral("jsonl") << QStringLiteral("sms.db-wal");
    QTest::newRow("above a link") << QStringLiteral("csv") << QStringLiteral("deep/../new/");
}

void TestBackupCommand::outputNeverGoesIntoTheBackup()
{
    QFETCH(QString, format);
    QFETCH(QString, output);
    const QString folder = copyOf("folders");
    QVERIFY(QFile::link(folder, path(QStringLiteral("link"))));
    QVERIFY(QFile::link(folder + QStringLiteral("/3d"), path(QStringLiteral("deep"))));
    const QString messages = readBackup(folder).databases.at(1).path;
    const QString elsewhere = path(QStringLiteral("sms.db"));
    QVERIFY(QFile::rename(messages, elsewhere) && QFile::link(elsewhere, messages));
    const QByteArray evidence = readFile(elsewhere);
    const QStringList before = folderState(folder);
    const Run run = scan(folder, {QStringLiteral("--format"), format, QStringLiteral("--output"),
                                  path(output), QStringLiteral("--force")});
    QCOMPARE(run.exitCode, 2);
    QVERIFY2(isOneLine(run.err) && run.err.contains("--output"), run.err.constData());
    QCOMPARE(folderState(folder), before);
    QCOMPARE(readFile(elsewhere), evidence);
}

void TestBackupCommand::existingFoldersAreCompletedButNothingIsReplaced()
{
    const QString output = path(QStringLiteral("tables"));
    QVERIFY(QDir().mkdir(output));
    QVERIFY(writeFile(output + QStringLiteral("/mine.txt"), "kept"));
    const QStringList options{QStringLiteral("--format"), QStringLiteral("csv"),
                              QStringLiteral("--output"), output};
    QCOMPARE(scan(backup("flat"), options).exitCode, 0);
    const QByteArray table = readFile(output + QStringLiteral("/call.csv"));
    QVERIFY(writeFile(output + QStringLiteral("/call.csv"), "edited"));
    const Run refused = scan(backup("flat"), options);
    QCOMPARE(refused.exitCode, 1);
    QVERIFY2(isOneLine(refused.err) && refused.err.contains("--force"), refused.err.constData());
    QCOMPARE(readFile(output + QStringLiteral("/call.csv")), QByteArray("edited"));
    QCOMPARE(scan(backup("flat"), options + QStringList{QStringLiteral("--force")}).exitCode, 0);
    QCOMPARE(readFile(output + QStringLiteral("/call.csv")), table);
    QCOMPARE(readFile(output + QStringLiteral("/mine.txt")), QByteArray("kept"));
    QCOMPARE(QDir(output).entryList(QDir::Files | QDir::Hidden).size(), 13);

    // A table of the former backup would seem to be one of this.
    const QString calls = copyOf("flat");
    for (const BackupDatabase &database : readBackup(calls).databases) {
        QVERIFY(database.type == ScanTypeCallHistory || QFile::remove(database.path));
    }
    QCOMPARE(scan(calls, options + QStringList{QStringLiteral("--force")}).exitCode, 0);
    QCOMPARE(QDir(output).entryList(QDir::Files | QDir::Hidden),
             (QStringList{QStringLiteral("call.csv"), QStringLiteral("mine.txt")}));
}

void TestBackupCommand::unwritableFolders()
{
    QVERIFY(writeFile(path(QStringLiteral("file")), "x"));
    for (const char *output : {"missing/tables", "file", "file/tables"}) {
        const Run run =
            scan(backup("flat"), {QStringLiteral("--format"), QStringLiteral("csv"),
                                  QStringLiteral("--output"), path(QLatin1String(output))});
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(isOneLine(run.err) && run.err.contains("cannot write"), run.err.constData());
    }
    const Run none = scan(backup("flat"), {QStringLiteral("--format"), QStringLiteral("csv")});
    QCOMPARE(none.exitCode, 2);
    QVERIFY(isOneLine(none.err) && none.err.contains("--output"));
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size(), 1);
}

void TestBackupCommand::fullDisk_data()
{
    QTest::addColumn<QString>("format");
    QTest::addColumn<QString>("output");
    QTest::newRow("text") << QStringLiteral("text") << QStringLiteral("out");
    QTest::newRow("jsonl") << QStringLiteral("jsonl") << QStringLiteral("out");
    QTest::newRow("html") << QStringLiteral("html") << QStringLiteral("out");
    QTest::newRow("csv") << QStringLiteral("csv") << QStringLiteral("out/");
}

/// No file can grow beyond some size, as on a disk that is full.
void TestBackupCommand::fullDisk()
{
    QFETCH(QString, format);
    QFETCH(QString, output);
    class LimitedProcess : public QProcess
    {
    protected:
        void setupChildProcess() override
        {
            const rlimit limit{4096, 4096};
            setrlimit(RLIMIT_FSIZE, &limit);
            std::signal(SIGXFSZ, SIG_IGN);
        }
    };
    LimitedProcess process;
    process.start(QStringLiteral(SQLITERECOVERY_PROGRAM),
                  {QStringLiteral("backup"), backup("flat"), QStringLiteral("--format"), format,
                   QStringLiteral("--output"), path(output)});
    const Run run = finish(process);
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(isOneLine(run.err) && run.err.contains("cannot write the output: File too large"),
             run.err.constData());
    QVERIFY2(run.err.contains(QFile::encodeName(path(output))), run.err.constData());
    QVERIFY(QDir(m_folder->path()).isEmpty());
}

/// Of a log that is none, and of one that is not compared.
void TestBackupCommand::oddLogs()
{
    const QString folder = copyOf("flat");
    const QVector<BackupDatabase> databases = readBackup(folder).databases;
    for (const BackupDatabase &database : {databases.at(1), databases.at(2)}) {
        QVERIFY(writeFile(database.path + QStringLiteral("-wal"), "no log"));
    }
    const Run run = scan(folder, {});
    QCOMPARE(run.exitCode, 0);
    QVERIFY2(run.err.contains("sms.db-wal: not a write-ahead log"), run.err.constData());
    QVERIFY2(run.err.contains("1 of "), run.err.constData());
    QVERIFY(!run.err.contains("call_history.db-wal"));
}

/// Reading it would take for ever.
void TestBackupCommand::pipesAreNoDatabases()
{
    const QString folder = copyOf("flat");
    const QString messages = readBackup(folder).databases.at(1).path;
    QVERIFY(QFile::remove(messages));
    QCOMPARE(mkfifo(QFile::encodeName(messages).constData(), 0600), 0);
    const QString info = folder + QStringLiteral("/Info.plist");
    QVERIFY(QFile::remove(info));
    QCOMPARE(mkfifo(QFile::encodeName(info).constData(), 0600), 0);
    const QStringList html{QStringLiteral("--format"), QStringLiteral("html")};
    const Run run = scan(folder, html);
    QCOMPARE(run.exitCode, 0);
    QVERIFY2(run.err.contains("sms.db: cannot read the file"), run.err.constData());
    const QStringList command{QStringLiteral("scan"), QStringLiteral("messages"), messages};
    QCOMPARE(runProgram(command + html).exitCode, 1);
}

void TestBackupCommand::stoppedRunsAreValid_data()
{
    QTest::addColumn<QStringList>("command");
    QTest::newRow("backup") << QStringList{QStringLiteral("backup"), backup("flat")};
    QTest::newRow("scan") << QStringList{QStringLiteral("scan"), QStringLiteral("messages"),
                                         readBackup(backup("flat")).databases.at(1).path};
}

void TestBackupCommand::stoppedRunsAreValid()
{
    QFETCH(QStringList, command);
    // The program opens its output before it scans, and waits there for the reader of a pipe.
    const QString pipe = path(QStringLiteral("pipe"));
    QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    QProcess process;
    process.start(QStringLiteral(SQLITERECOVERY_PROGRAM),
                  command
                      + QStringList{QStringLiteral("--format"), QStringLiteral("json"),
                                    QStringLiteral("--output"), pipe});
    QVERIFY(process.waitForStarted());
    QTRY_VERIFY_WITH_TIMEOUT(waitsForReader(process.processId()), 30000);
    QTest::qSleep(200);
    QCOMPARE(kill(pid_t(process.processId()), SIGINT), 0);
    const QByteArray out = readFile(pipe);
    const Run run = finish(process);
    QCOMPARE(run.exitCode, 130);
    QVERIFY2(isOneLine(run.err) && run.err.contains("stopped"), run.err.constData());
    QCOMPARE(QJsonDocument::fromJson(out).array().size(), out.count("\"kind\""));
    QVERIFY(out.startsWith('[') && out.endsWith("]\n"));
    // Of a backup the table tells what is missing.
    const bool isBackup = command.first() == QStringLiteral("backup");
    const int databases = isBackup ? readBackup(backup("flat")).databases.size() : 0;
    QVERIFY(run.out.count("the run was stopped before this scan") >= databases);
}

QTEST_GUILESS_MAIN(TestBackupCommand)
#include "tst_backupcommand.moc"
