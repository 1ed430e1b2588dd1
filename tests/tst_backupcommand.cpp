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

#include <sys/resource.h>
#include <sys/stat.h>

namespace {

void addRecords(const ScanResults &results, const QString &place, QVector<QJsonObject> *records)
{
    for (const RecordKind &kind : results.kinds) {
        for (unsigned i = 0; i < kind.count(); ++i) {
            QJsonObject record = recordAt(kind, i).toJsonObject();
            record.insert(QStringLiteral("database"), place);
            records->append(record);
        }
    }
}

/// The records that the library itself finds, as the program writes them.
QVector<QJsonObject> libraryRecords(const QString &folder)
{
    QVector<QJsonObject> records;
    for (const BackupDatabase &database : readBackup(folder).databases) {
        SqliteRecovery recovery;
        recovery.scanRecoveryForType(database.type, database.path, nullptr);
        addRecords(resultsOf(database.type, recovery), database.place, &records);
        if (!database.logPath.isEmpty()) {
            WalRecovery log;
            log.scanRecoveryForType(database.type, database.path, database.logPath, nullptr);
            addRecords(resultsOf(database.type, log), database.logPlace, &records);
        }
    }
    return records;
}

/// The records of an array, or of lines.
QVector<QJsonObject> objectsOf(const QByteArray &json)
{
    QVector<QJsonObject> objects;
    if (json.startsWith('[')) {
        for (const QJsonValue &value : QJsonDocument::fromJson(json).array()) {
            objects.append(value.toObject());
        }
        return objects;
    }
    for (const QByteArray &line : json.left(json.size() - 1).split('\n')) {
        objects.append(QJsonDocument::fromJson(line).object());
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
    void csvIsAFileForEachKind();
    void csvOfOneDatabaseIsWrittenToAFolderToo();
    void textTellsTheDeviceAndTheDatabases();
    void emptyDatabasesSayWhy();
    void brokenFilesAreNamedAndTheRestIsScanned();
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
    QString path(const char *name) const { return path(QLatin1String(name)); }
    static QString backup(const char *layout)
    {
        return m_samples->filePath(QLatin1String(layout) + QStringLiteral("/backup"));
    }
    /// A copy that a test may damage.
    QString copyOf(const char *layout);
    static Run scan(const QString &folder, const char *options = "", const QString &output = {})
    {
        return runProgram(words("backup @", folder) + words(options, output));
    }

    static QScopedPointer<QTemporaryDir> m_samples;
    QScopedPointer<QTemporaryDir> m_folder;
};

QScopedPointer<QTemporaryDir> TestBackupCommand::m_samples;

void TestBackupCommand::initTestCase()
{
    m_samples.reset(new QTemporaryDir);
    for (const char *layout : {"flat", "folders"}) {
        const QString folder = m_samples->filePath(QLatin1String(layout));
        QCOMPARE(QProcess::execute(QStringLiteral(MAKESAMPLE_PROGRAM),
                                   words("backup @ --layout", folder) + words(layout)),
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
    const QString to = path("copy");
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
    QTest::addColumn<QByteArray>("options");
    QTest::newRow("flat, lines") << QByteArray("flat") << QByteArray("--format jsonl");
    QTest::newRow("folders, array") << QByteArray("folders") << QByteArray("--format json");
}

void TestBackupCommand::everyRecordIsThere()
{
    QFETCH(QByteArray, layout);
    QFETCH(QByteArray, options);
    const QString folder = backup(layout.constData());
    const Run run = scan(folder, options.constData());
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.err, QByteArray());
    const QVector<QJsonObject> records = libraryRecords(folder);
    QSet<QString> kinds;
    for (const QJsonObject &record : records) {
        kinds.insert(record.value(QLatin1String("kind")).toString());
    }
    QCOMPARE(kinds.size(), 12);
    QCOMPARE(objectsOf(run.out), records);
}

void TestBackupCommand::csvIsAFileForEachKind()
{
    const QString output = path("tables");
    const Run run = scan(backup("folders"), "--format csv --output @", output);
    QCOMPARE(run.err, QByteArray());
    QCOMPARE(run.exitCode, 0);
    QVERIFY(run.out.contains("HomeDomain/Library/SMS/sms.db"));
    QMap<QString, QStringList> places;
    for (const QJsonObject &record : libraryRecords(backup("folders"))) {
        places[record.value(QLatin1String("kind")).toString()].append(
            record.value(QLatin1String("database")).toString());
    }
    int files = 0;
    for (const QString &file : filesIn(output)) {
        const QVector<QStringList> rows = rowsFromCsv(readFile(file));
        const QString kind = QFileInfo(file).completeBaseName();
        QCOMPARE(rows.first().mid(0, 2), words("kind database"));
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
    const QStringList command = words("scan calendar @ --format csv", database);
    const QString output = path("new/");
    QCOMPARE(runProgram(command + words("--output @", output)).exitCode, 0);
    QCOMPARE(QDir(output).entryList(QDir::Files), words("calendar.csv reminder.csv"));
    const int rows = rowsFromCsv(readFile(output + QStringLiteral("calendar.csv"))).size()
                     + rowsFromCsv(readFile(output + QStringLiteral("reminder.csv"))).size();
    QCOMPARE(rows, rowsFromCsv(runProgram(command).out).size() + 1);
}

void TestBackupCommand::textTellsTheDeviceAndTheDatabases()
{
    const Run run = scan(backup("folders"));
    QCOMPARE(run.exitCode, 0);
    const BackupContents contents = readBackup(backup("folders"));
    QVERIFY(run.out.contains(contents.device.name.toUtf8()));
    QVERIFY(run.out.contains(contents.device.backupDate.toUtf8()));
    for (const BackupDatabase &database : contents.databases) {
        QVERIFY2(run.out.contains(database.place.toUtf8()), qPrintable(database.place));
    }
    QVERIFY2(run.out.contains("Calls: 24"), run.out.left(3000).constData());
}

void TestBackupCommand::emptyDatabasesSayWhy()
{
    // A database of another kind in the place of the notes.
    const QString folder = copyOf("flat");
    const QString notes = folder + QStringLiteral("/ca3bc056d4da0bbf88b5fb3be254f3b7147e639c");
    const QString calls = folder + QStringLiteral("/2b2b0084a1bc3a5ac8c27afdf14afb42c61a19ca");
    QVERIFY(QFile::remove(notes) && QFile::copy(calls, notes));
    const Run run = scan(folder);
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
    const Run run = scan(folder, "--format jsonl");
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.err.count('\n'), 3);
    QVERIFY2(run.err.contains("sms.db: not an SQLite database"), run.err.constData());
    QVERIFY2(run.err.contains("call_history.db: cannot read"), run.err.constData());
    QVERIFY2(run.err.contains("2 of "), run.err.constData());
    QVERIFY(!run.out.contains("messageGroup") && run.out.contains("\"bookmark\""));

    for (const QString &file : filesIn(folder)) {
        QVERIFY(!isDatabase(file) || writeFile(file, QByteArray(5000, 'x')));
    }
    const Run nothing = scan(folder, "--output @", path("out"));
    QCOMPARE(nothing.exitCode, 1);
    QCOMPARE(nothing.out, QByteArray());
    QVERIFY(!QFile::exists(path("out")));
}

void TestBackupCommand::nothingToScan()
{
    const QString encrypted = copyOf("folders");
    for (const QString &file : filesIn(encrypted)) {
        QVERIFY(!isDatabase(file) || writeFile(file, randomBytes(8192)));
    }
    const QVector<QPair<QString, QByteArray>> complaints{{path("missing"), "no such folder"},
                                                         {encrypted, "encrypted"}};
    for (const auto &complaint : complaints) {
        const Run run = scan(complaint.first, "--format jsonl");
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.out, QByteArray());
        QVERIFY2(isOneLine(run.err) && run.err.contains(complaint.second), run.err.constData());
    }
}

void TestBackupCommand::outputNeverGoesIntoTheBackup_data()
{
    QTest::addColumn<QString>("format");
    QTest::addColumn<QString>("output");
    const auto row = [](const char *name, const char *format, const char *output) {
        QTest::newRow(name) << format << output;
    };
    row("file", "jsonl", "copy/out.jsonl");
    row("file by a link", "jsonl", "link/out.jsonl");
    row("tables", "csv", "copy/tables");
    row("tables in itself", "csv", "copy");
    row("tables deeper", "csv", "link/../copy/3d/");
    row("new tables", "csv", "copy/new/");
    row("new tables by a link", "csv", "link/new//");
    row("evidence elsewhere", "jsonl", "sms.db");
    row("its log", "jsonl", "sms.db-wal");
    row("above a link", "csv", "deep/../new/");
}

void TestBackupCommand::outputNeverGoesIntoTheBackup()
{
    QFETCH(QString, format);
    QFETCH(QString, output);
    const QString folder = copyOf("folders");
    QVERIFY(QFile::link(folder, path("link")));
    QVERIFY(QFile::link(folder + QStringLiteral("/3d"), path("deep")));
    const QString messages = readBackup(folder).databases.at(1).path;
    const QString elsewhere = path("sms.db");
    QVERIFY(QFile::rename(messages, elsewhere) && QFile::link(elsewhere, messages));
    const QByteArray evidence = readFile(elsewhere);
    const QStringList before = folderState(folder);
    const Run run = runProgram(words("backup @ --force --format", folder)
                               << format << words("--output @", path(output)));
    QCOMPARE(run.exitCode, 2);
    QVERIFY2(isOneLine(run.err) && run.err.contains("--output"), run.err.constData());
    QCOMPARE(folderState(folder), before);
    QCOMPARE(readFile(elsewhere), evidence);
}

void TestBackupCommand::existingFoldersAreCompletedButNothingIsReplaced()
{
    const QString output = path("tables");
    QVERIFY(QDir().mkdir(output));
    QVERIFY(writeFile(output + QStringLiteral("/mine.txt"), "kept"));
    const char *options = "--format csv --output @";
    const char *forced = "--format csv --force --output @";
    QCOMPARE(scan(backup("flat"), options, output).exitCode, 0);
    const QByteArray table = readFile(output + QStringLiteral("/call.csv"));
    QVERIFY(writeFile(output + QStringLiteral("/call.csv"), "edited"));
    const Run refused = scan(backup("flat"), options, output);
    QCOMPARE(refused.exitCode, 1);
    QVERIFY2(isOneLine(refused.err) && refused.err.contains("--force"), refused.err.constData());
    QCOMPARE(readFile(output + QStringLiteral("/call.csv")), QByteArray("edited"));
    QCOMPARE(scan(backup("flat"), forced, output).exitCode, 0);
    QCOMPARE(readFile(output + QStringLiteral("/call.csv")), table);
    QCOMPARE(readFile(output + QStringLiteral("/mine.txt")), QByteArray("kept"));
    QCOMPARE(QDir(output).entryList(QDir::Files | QDir::Hidden).size(), 13);

    // A table of the former backup would seem to be one of this.
    const QString calls = copyOf("flat");
    for (const BackupDatabase &database : readBackup(calls).databases) {
        QVERIFY(database.type == ScanTypeCallHistory || QFile::remove(database.path));
    }
    QCOMPARE(scan(calls, forced, output).exitCode, 0);
    QCOMPARE(QDir(output).entryList(QDir::Files | QDir::Hidden), words("call.csv mine.txt"));
}

void TestBackupCommand::unwritableFolders()
{
    QVERIFY(writeFile(path("file"), "x"));
    for (const char *output : {"missing/tables", "file", "file/tables"}) {
        const Run run = scan(backup("flat"), "--format csv --output @", path(output));
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(isOneLine(run.err) && run.err.contains("cannot write"), run.err.constData());
    }
    const Run none = scan(backup("flat"), "--format csv");
    QCOMPARE(none.exitCode, 2);
    QVERIFY(isOneLine(none.err) && none.err.contains("--output"));
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size(), 1);
}

void TestBackupCommand::fullDisk_data()
{
    QTest::addColumn<QString>("output");
    QTest::newRow("text") << "out";
    QTest::newRow("jsonl") << "out";
    QTest::newRow("html") << "out";
    QTest::newRow("csv") << "out/";
}

/// No file can grow beyond some size, as on a disk that is full.
void TestBackupCommand::fullDisk()
{
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
    process.start(QStringLiteral(SQLITERECOVERY_PROGRAM), words("backup @ --format", backup("flat"))
                                                              + words(QTest::currentDataTag())
                                                              + words("--output @", path(output)));
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
    const Run run = scan(folder);
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
    const Run run = scan(folder, "--format html");
    QCOMPARE(run.exitCode, 0);
    QVERIFY2(run.err.contains("sms.db: cannot read the file"), run.err.constData());
    QCOMPARE(runProgram("scan messages @ --format html", messages).exitCode, 1);
}

void TestBackupCommand::stoppedRunsAreValid_data()
{
    QTest::addColumn<QStringList>("command");
    QTest::newRow("backup") << words("backup @", backup("flat"));
    QTest::newRow("scan") << words("scan messages @",
                                   readBackup(backup("flat")).databases.at(1).path);
}

void TestBackupCommand::stoppedRunsAreValid()
{
    QFETCH(QStringList, command);
    // The program opens its output before it scans, and waits there for the reader of a pipe.
    const QString pipe = path("pipe");
    QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    QProcess process;
    process.start(QStringLiteral(SQLITERECOVERY_PROGRAM),
                  command + words("--format json --output @", pipe));
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
