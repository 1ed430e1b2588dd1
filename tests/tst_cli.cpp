// Runs the real program on real database files, as its users do.

#include "samples/callsamples.h"
#include "samples/safarilayout.h"
#include "tests/support/csvreader.h"
#include "tests/support/folderstate.h"
#include "tests/support/kindsamples.h"
#include "tests/support/programrun.h"
#include "tests/support/testfiles.h"
#include "tests/support/walbuilder.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

namespace {

/// The names of the types, by their numbers.
constexpr const char *TypeNames[] = {"contacts",   "messages",  "call-history", "calendar",
                                     "notes",      "bookmarks", "whatsapp",     "safari-history",
                                     "ios9-notes", "",          "wechat"};

/// Address, date, duration and flags.
using Call = QVariantList;
using Calls = QVector<Call>;

/// Makes a call history as iOS 7 lays it out, in which the calls are deleted, beside one that is
/// not.
bool makeCallHistory(const QString &path, const Calls &calls)
{
    const QString insert =
        QStringLiteral("INSERT INTO call (address, date, duration, flags, id, country_code, "
                       "network_code, read, assisted, answered) "
                       "VALUES (?, ?, ?, ?, -1, '262', '01', 1, 0, 1)");
    SampleDatabase db;
    bool isMade = db.create(path) && createCallTables(&db, CallLayout::Ios7)
                  && db.run(insert, {QStringLiteral("live"), 1342300000, 1, 4});
    for (const Call &call : calls) {
        isMade = isMade && db.run(insert, call);
    }
    return isMade && db.exec(QStringLiteral("DELETE FROM call WHERE ROWID > 1")) && db.close();
}

/// True for a cell with the value of a record: a list as JSON, a text perhaps made harmless.
bool holds(const QString &cell, const QJsonValue &value)
{
    if (value.isArray()) {
        return QJsonDocument::fromJson(cell.toUtf8()).array() == value.toArray();
    }
    if (value.isDouble()) {
        return cell.toDouble() == value.toDouble();
    }
    const QString text = value.toVariant().toString();
    return cell == text || cell == QLatin1Char('\'') + text;
}

} // namespace

class TestCli : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void formatsHoldTheSameRecords_data() { addKindRows(); }
    void formatsHoldTheSameRecords();
    void textIsATableForPeople();
    void nothingFoundIsNoFailure_data();
    void nothingFoundIsNoFailure();
    void csvCellsAreNoFormulas_data();
    void csvCellsAreNoFormulas();

    void helpFitsATerminal();
    void wrongUsage_data();
    void wrongUsage();
    void badInput_data();
    void badInput();
    void messagesAreOneHarmlessLine();
    void logsAreCompared();
    void badLogs_data();
    void badLogs();
    void logsWithoutACommit();

    void outputReplacesAFileWholeWhenForced();
    void outputRefusesTheEvidence_data();
    void outputRefusesTheEvidence();
    void unwritableOutput();
    void failingStandardOutput_data();
    void failingStandardOutput();

private:
    QString path(const QString &name) const { return m_folder->filePath(name); }
    QString path(const char *name) const { return path(QString::fromUtf8(name)); }
    bool makeCalls(const Calls &calls) { return makeCallHistory(path("call.db"), calls); }
    Run scan(const char *options = "", const QString &output = QString())
    {
        return runProgram(words("scan call-history @", path("call.db")) + words(options, output));
    }

    QScopedPointer<QTemporaryDir> m_folder;
};

void TestCli::init()
{
    m_folder.reset(new QTemporaryDir);
    QVERIFY(m_folder->isValid());
    QVERIFY(makeCalls({{QStringLiteral("+15551234567"), 1342361000, 65, 4},
                       {QStringLiteral("ana@example.com"), 1342362000, 3725, 21}}));
}

void TestCli::formatsHoldTheSameRecords()
{
    QFETCH(int, kind);
    const KindSample &sample = kindSamples().at(kind);
    const QString file = path("sample.db");
    QVERIFY(makeKindSample(sample, file));
    const auto scanned = [&](const QString &type, const char *format) {
        return runProgram(QStringList{QStringLiteral("scan"), type, file} + words(format)).out;
    };
    const QString number = QString::number(sample.type);
    const QByteArray json = scanned(QLatin1String(TypeNames[sample.type]), "--format json");
    const QJsonArray records = QJsonDocument::fromJson(json).array();
    const QByteArrayList lines = scanned(number, "--format jsonl").split('\n');
    const QVector<QStringList> rows = rowsFromCsv(scanned(number, "--format csv"));
    QVERIFY(!records.isEmpty());
    QCOMPARE(lines.size(), records.size() + 1);
    QCOMPARE(rows.size(), records.size() + 1);
    for (int i = 0; i < records.size(); ++i) {
        const QJsonObject record = records.at(i).toObject();
        QCOMPARE(QJsonDocument::fromJson(lines.at(i)).object(), record);
        for (auto field = record.begin(); field != record.end(); ++field) {
            const int column = rows.first().indexOf(field.key());
            QVERIFY2(column >= 0 && holds(rows.at(i + 1).value(column), field.value()),
                     qPrintable(field.key()));
        }
    }
}

void TestCli::textIsATableForPeople()
{
    QVERIFY(makeCalls({{QStringLiteral("+15551234567"), 1342360991, 65, 5},
                       {QStringLiteral("ana@example.com"), -20000000, 360000, 16},
                       {QStringLiteral("Жо 日本"), 1342360992, -5, 21}}));
    const Run run = scan();
    QCOMPARE(run.exitCode, 0);
    QByteArrayList lines = run.out.split('\n');
    std::sort(lines.begin() + 2, lines.end()); // carving finds records in no order to rely on
    QCOMPARE(lines.join('\n'), QByteArray(R"(Calls (3)
Date (UTC)            Stored      Direction          Duration   Address

                      -20000000   incoming FaceTime  100:00:00  ana@example.com
2012-07-15T14:03:11Z  1342360991  outgoing           0:01:05    +15551234567
2012-07-15T14:03:12Z  1342360992  outgoing FaceTime  -5         Жо 日本)"));
}

void TestCli::nothingFoundIsNoFailure_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::newRow("--format text") << QByteArray(
        "No deleted records found: the file has no freed space (nothing deleted, or vacuumed "
        "since); try an older backup.\n");
    QTest::newRow("--format json") << QByteArray("[\n]\n");
    QTest::newRow("--format jsonl") << QByteArray();
    QTest::newRow("--format csv") << QByteArray("kind,address,date,dateUtc,duration,flags\r\n");
}

void TestCli::nothingFoundIsNoFailure()
{
    QVERIFY(makeCalls({}));
    const Run run = scan(QTest::currentDataTag());
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.err, QByteArray());
    QTEST(run.out, "output");
}

void TestCli::csvCellsAreNoFormulas_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("cell");

    const auto defused = [](const char *name, const char *address) {
        QTest::newRow(name) << address << QLatin1Char('\'') + QString::fromUtf8(address);
    };
    const auto kept = [](const char *name, const char *address) {
        QTest::newRow(name) << address << address;
    };
    defused("equals", "=HYPERLINK(\"http://x\",\"y\")");
    defused("plus", "+1+cmd|' /C calc'!A0");
    defused("plus and blanks", "+1 555 1234");
    defused("plus alone", "+");
    defused("plus and foreign digits", "+\u0661\u0662");
    defused("minus", "-2+3");
    defused("at", "@SUM(A1)");
    defused("tab", "\t=1");
    defused("carriage return", "\r=1");
    kept("international number", "+4930123456");
    kept("negative number", "-547732800.0");
    kept("plain number", "0049-30");
    kept("equals inside", "a=b");
    kept("apostrophe", "'quoted");
}

void TestCli::csvCellsAreNoFormulas()
{
    QFETCH(QString, address);
    QFETCH(QString, cell);
    // The negative numbers stand for themselves: a number column is no text.
    QVERIFY(makeCalls({{address, -20000000, -7, 4}}));
    const QVector<QStringList> rows = rowsFromCsv(scan("--format csv").out);
    QCOMPARE(rows.size(), 2);
    QCOMPARE(rows.at(1).mid(1, 4), (QStringList{cell, QStringLiteral("-20000000"),
                                                QString(), // no sensible time
                                                QStringLiteral("-7")}));
}

void TestCli::helpFitsATerminal()
{
    const Run help = runProgram("--help");
    QCOMPARE(help.exitCode, 0);
    QCOMPARE(help.err, QByteArray());
    QVERIFY(help.out.count('\n') <= 24);
    for (const QByteArray &line : help.out.split('\n')) {
        QVERIFY2(line.size() <= 80, line.constData());
    }
}

void TestCli::wrongUsage_data()
{
    QTest::addColumn<QByteArray>("complaint");

    const auto row = [](const char *arguments, const char *complaint) {
        QTest::newRow(arguments) << QByteArray(complaint); // @ stands for the database
    };
    row("", "no command");
    row("carve notes @", "carve");
    row("scan", "TYPE");
    row("scan notes", "FILE");
    row("scan photos @", "photos");
    row("scan 9 @", "9");
    row("scan 11 @", "11");
    row("scan 02 @", "02");
    row("scan Notes @", "Notes");
    row("scan notes @ extra", "extra");
    row("scan notes @ --format xml", "xml");
    row("scan notes @ --format", "format");
    row("scan notes @ --output", "output");
    row("scan notes @ --output=", "output");
    row("scan notes @ --fast", "fast");
    row("wal", "TYPE");
    row("wal bookmarks", "FILE");
    row("wal notes @", "not notes");
    row("wal 2 @", "not call-history");
    row("wal bookmarks @ log extra", "extra");
}

void TestCli::wrongUsage()
{
    QFETCH(QByteArray, complaint);
    const Run run = runProgram(QTest::currentDataTag(), path("call.db"));
    QCOMPARE(run.exitCode, 2);
    QCOMPARE(run.out, QByteArray());
    QVERIFY2(isOneLine(run.err), run.err.constData());
    QVERIFY2(run.err.contains(complaint), run.err.constData());
    QVERIFY2(run.err.contains("--help"), run.err.constData());
}

void TestCli::badInput_data()
{
    QTest::addColumn<QByteArray>("bytes"); // a null array makes no file at all
    QTest::addColumn<QByteArray>("complaint");
    const auto row = [](const char *name, const QByteArray &bytes, const char *complaint) {
        QTest::newRow(name) << bytes << QByteArray(complaint);
    };
    row("missing", QByteArray(), "no such file");
    row("empty", "", "not an SQLite database");
    row("encrypted", randomBytes(8192), "encrypted");
    row("damaged", QByteArray("SQLite format 3\0\x10\0\1\1", 20) + QByteArray(8172, '\xEE'),
        "damaged");
}

void TestCli::badInput()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QByteArray, complaint);
    QVERIFY(bytes.isNull() || writeFile(path("bad.db"), bytes));
    const QString output = path("out.txt");
    const Run run = runProgram(words("scan 2 @", path("bad.db")) + words("--output @", output));
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray());
    QVERIFY2(isOneLine(run.err), run.err.constData());
    QVERIFY2(run.err.contains(complaint) && run.err.contains("bad.db"), run.err.constData());
    QVERIFY(!QFile::exists(output));

    const Run folder = runProgram("scan 2 @", m_folder->path());
    QCOMPARE(folder.exitCode, 1);
    QVERIFY2(isOneLine(folder.err) && folder.err.contains("cannot read"), folder.err.constData());
}

void TestCli::messagesAreOneHarmlessLine()
{
    const char *name = "no\nsuch\u001b[31m.db";
    const Run input = runProgram("scan 2 @", path(name));
    QCOMPARE(input.exitCode, 1);
    QVERIFY2(isOneLine(input.err) && !input.err.contains('\x1b'), input.err.constData());
    const Run usage = runProgram("--@", QLatin1String(name));
    QCOMPARE(usage.exitCode, 2);
    QVERIFY2(isOneLine(usage.err) && !usage.err.contains('\x1b'), usage.err.constData());
}

void TestCli::logsAreCompared()
{
    SampleDatabase db;
    QVERIFY(db.create(path("device.db")));
    for (const QString &sql : safariTables(BookmarkLayout::Ios7)) {
        QVERIFY(db.exec(sql));
    }
    QVERIFY(db.startLog());
    QVERIFY(db.exec(QStringLiteral("INSERT INTO bookmarks (title, url, parent, order_index) "
                                   "VALUES ('gone', 'http://a', 3, 0);"
                                   "DELETE FROM bookmarks;")));
    const QString database = path("Bookmarks.db");
    const QString log = path("moved.log");
    QVERIFY(db.copyWithLog(database));
    const QStringList arguments = words("wal bookmarks @ --format jsonl", database);
    const Run beside = runProgram(arguments);
    QCOMPARE(beside.err, QByteArray());
    QCOMPARE(beside.exitCode, 0);
    QCOMPARE(beside.out, QByteArray("{\"kind\":\"bookmark\",\"title\":\"gone\","
                                    "\"url\":\"http://a\",\"parent\":3}\n"));
    QVERIFY(QFile::rename(database + QStringLiteral("-wal"), log));
    QCOMPARE(runProgram(arguments).exitCode, 1);
    QCOMPARE(runProgram(arguments + QStringList{log}).out, beside.out);
    const Run overwriting = runProgram(arguments + words("@ --output @", log));
    QCOMPARE(overwriting.exitCode, 2);
    QVERIFY(overwriting.err.contains("overwrite"));
}

void TestCli::badLogs_data()
{
    QTest::addColumn<QByteArray>("bytes"); // a null array makes no file at all
    QTest::addColumn<QByteArray>("complaint");
    QTest::newRow("missing") << QByteArray() << QByteArray("no such log");
    QTest::newRow("no log") << QByteArray(4096, 'a') << QByteArray("not a write-ahead log");
}

void TestCli::badLogs()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QByteArray, complaint);
    QVERIFY(bytes.isNull() || writeFile(path("call.db-wal"), bytes));
    const QString output = path("out.txt");
    const Run run =
        runProgram(words("wal contacts @", path("call.db")) + words("--output @", output));
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray());
    QVERIFY2(isOneLine(run.err) && run.err.contains(complaint), run.err.constData());
    QVERIFY(!QFile::exists(output));
}

/// SQLite leaves such logs; nothing is wrong with them.
void TestCli::logsWithoutACommit()
{
    for (const QByteArray &bytes :
         {QByteArray(""), WalBuilder(4096).bytes(), WalBuilder(4096).frame(2, 'a').bytes()}) {
        QVERIFY(writeFile(path("call.db-wal"), bytes));
        const Run run = runProgram("wal contacts @ --format jsonl", path("call.db"));
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out + run.err, QByteArray());
    }
}

void TestCli::outputReplacesAFileWholeWhenForced()
{
    const QString output = path("out.jsonl");
    QVERIFY(writeFile(output, QByteArray(100000, 'x')));
    const Run refused = scan("--format jsonl --output @", output);
    QCOMPARE(refused.exitCode, 1);
    QVERIFY2(isOneLine(refused.err) && refused.err.contains("--force"), refused.err.constData());
    QCOMPARE(readFile(output).size(), 100000);
    const Run run = scan("--format jsonl --output @ --force", output);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray());
    QCOMPARE(readFile(output), scan("--format jsonl").out);
    QCOMPARE(readFile(output).count('\n'), 2);
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files).size(), 2);
}

void TestCli::outputRefusesTheEvidence_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("output");

    const auto row = [](const char *name, const char *input, const char *output) {
        QTest::newRow(name) << input << output;
    };
    row("itself", "evidence/call.db", "evidence/call.db");
    row("another spelling", "evidence/call.db", "evidence/.././evidence//call.db");
    row("link to the file", "evidence/call.db", "filelink");
    row("link to the folder", "evidence/call.db", "folderlink/call.db");
    row("input through a link", "filelink", "evidence/call.db");
    row("existing log", "evidence/call.db", "evidence/call.db-wal");
    row("log that does not exist", "evidence/call.db", "folderlink/call.db-shm");
    row("journal that does not exist", "evidence/call.db", "./evidence/call.db-journal");
    row("link to a journal that does not exist", "evidence/call.db", "journallink");
    row("log of the file behind a link", "filelink", "evidence/call.db-shm");
    row("log beside the link", "filelink", "filelink-wal");
}

void TestCli::outputRefusesTheEvidence()
{
    QFETCH(QString, input);
    QFETCH(QString, output);

    const QString evidence = path("evidence");
    QVERIFY(QDir().mkdir(evidence));
    QVERIFY(QFile::rename(path("call.db"), path("evidence/call.db")));
    QVERIFY(writeFile(path("evidence/call.db-wal"), QByteArray()));
    QVERIFY(QFile::link(evidence, path("folderlink")));
    QVERIFY(QFile::link(path("evidence/call.db"), path("filelink")));
    QVERIFY(QFile::link(path("evidence/call.db-journal"), path("journallink")));

    const QStringList before = folderState(evidence);
    const Run run = runProgram(words("scan 2 @", path(input)) + words("--output @", path(output)));
    QCOMPARE(run.exitCode, 2);
    QCOMPARE(run.out, QByteArray());
    QVERIFY2(isOneLine(run.err) && run.err.contains("overwrite"), run.err.constData());
    QCOMPARE(folderState(evidence), before);
    QVERIFY(!QFile::exists(path("filelink-wal")));
}

void TestCli::unwritableOutput()
{
    const QString device = QStringLiteral("/dev/full");
    for (const QString &output :
         {path("missing/out.txt"), path("."), path("call.db/out.txt"), device}) {
        const Run run = scan("--output @", output);
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.out, QByteArray());
        QVERIFY2(isOneLine(run.err) && run.err.contains("cannot write"), run.err.constData());
    }
    // A device is written to, not replaced by a file.
    QVERIFY(!QFileInfo(device).isFile());
}

void TestCli::failingStandardOutput_data()
{
    QTest::addColumn<QString>("script");
    QTest::newRow("full") << "\"$@\" > /dev/full; echo $? > code";
    QTest::newRow("closed") << "\"$@\" >&-; echo $? > code";
    // The pause lets the reader end before anything is written; a pipe hides the exit code.
    QTest::newRow("without a reader") << "{ sleep 0.5; \"$@\"; echo $? > code; } | true";
}

void TestCli::failingStandardOutput()
{
    QFETCH(QString, script);
    for (const char *command :
         {"scan 2 call.db", "scan 2 call.db --format json", "scan 2 call.db --format jsonl",
          "scan 2 call.db --format csv", "scan 2 call.db --format html"}) {
        QProcess process;
        process.setWorkingDirectory(m_folder->path());
        process.start(QStringLiteral("sh"),
                      QStringList{QStringLiteral("-c"), script, QStringLiteral("sh"),
                                  QStringLiteral(SQLITERECOVERY_PROGRAM)}
                          + words(command));
        const Run run = finish(process);
        QCOMPARE(readFile(path("code")), QByteArray("1\n"));
        QVERIFY2(isOneLine(run.err) && run.err.contains("cannot write"), run.err.constData());
    }
}

QTEST_GUILESS_MAIN(TestCli)
#include "tst_cli.moc"
