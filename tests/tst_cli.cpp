// Runs the real program on real database files, as its users do.

#include "api/scantype.h"
#include "samples/callsamples.h"
#include "samples/contactsamples.h"
#include "samples/messagesamples.h"
#include "samples/safarilayout.h"
#include "samples/sampledatabase.h"
#include "tests/support/csvreader.h"
#include "tests/support/folderstate.h"
#include "tests/support/programrun.h"
#include "tests/support/testfiles.h"
#include "tests/support/walbuilder.h"

#include <QDateTime>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <random>

namespace {

struct Call
{
    QString address;
    qint64 date = 0;
    qint64 duration = 0;
    qint64 flags = 0;

    QString toString() const
    {
        return QStringLiteral("%1|%2|%3|%4").arg(address).arg(date).arg(duration).arg(flags);
    }
};

using Calls = QVector<Call>;

// Carving finds records in no order that users could rely on.
QStringList sorted(const Calls &calls)
{
    QStringList texts;
    for (const Call &call : calls) {
        texts.append(call.toString());
    }
    texts.sort();
    return texts;
}

/// A call history as iOS 7 lays it out, in a file.
class CallDatabase
{
public:
    explicit CallDatabase(const QString &path)
        : m_ok(m_db.create(path) && createCallTables(&m_db, CallLayout::Ios7))
    {
    }

    bool isOk() const { return m_ok; }
    bool run(const QString &sql) { return m_db.exec(sql); }
    void insertCall(const Call &call)
    {
        m_ok = m_db.run(QStringLiteral("INSERT INTO call (address, date, duration, flags, id, "
                                       "country_code, network_code, read, assisted, answered) "
                                       "VALUES (?, ?, ?, ?, -1, '262', '01', 1, 0, 1)"),
                        {call.address, call.date, call.duration, call.flags})
               && m_ok;
    }
    /// Leaves the calls deleted, beside one live call that must never be reported.
    void insertAndDelete(const Calls &calls)
    {
        insertCall({QStringLiteral("live"), 1342300000, 1, 4});
        for (const Call &call : calls) {
            insertCall(call);
        }
        m_ok = m_ok && run(QStringLiteral("DELETE FROM call WHERE ROWID > 1"));
    }

private:
    SampleDatabase m_db;
    bool m_ok;
};

Call callOf(const QJsonObject &object)
{
    return {object.value(QLatin1String("address")).toString(),
            qint64(object.value(QLatin1String("date")).toDouble()),
            qint64(object.value(QLatin1String("duration")).toDouble()),
            qint64(object.value(QLatin1String("flags")).toDouble())};
}

Calls callsFromJson(const QByteArray &json)
{
    Calls calls;
    const QJsonArray array = QJsonDocument::fromJson(json).array();
    for (const QJsonValue &value : array) {
        calls.append(callOf(value.toObject()));
    }
    return calls;
}

Calls callsFromJsonLines(const QByteArray &lines)
{
    Calls calls;
    const QByteArrayList parts = lines.split('\n');
    for (const QByteArray &line : parts.mid(0, parts.size() - 1)) {
        calls.append(callOf(QJsonDocument::fromJson(line).object()));
    }
    return calls;
}

Calls callsFromCsv(const QByteArray &csv)
{
    Calls calls;
    const QVector<QStringList> rows = rowsFromCsv(csv);
    for (const QStringList &row : rows.mid(1)) {
        calls.append({row.value(1), row.value(2).toLongLong(), row.value(4).toLongLong(),
                      row.value(5).toLongLong()});
    }
    return calls;
}

/// Makes a database of the type in which much was deleted.
bool makeSample(const QString &path, const QString &type)
{
    SampleDatabase db;
    ContactSample contacts;
    MessageSample messages;
    return db.create(path)
           && (type == QLatin1String("contacts") ? makeContactSample(&db, ContactPlan(), &contacts)
                                                 : makeMessageSample(&db, MessagePlan(), &messages))
           && db.close();
}

Calls sampleCalls()
{
    return {{QStringLiteral("+15551234567"), 1342361000, 65, 4},
            {QStringLiteral("ana@example.com"), 1342362000, 3725, 21},
            {QStringLiteral("say \"hi\", then\r\nhang up"), 1342363000, 0, 5},
            {QStringLiteral("Жо 日本 \U0001F600"), 2147483647, 100000, 16}};
}

} // namespace

class TestCli : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void formatsHoldTheSameRecords_data();
    void formatsHoldTheSameRecords();
    void formatsHoldTheSameNestedRecords_data();
    void formatsHoldTheSameNestedRecords();
    void jsonFieldsHaveTheirOrder();
    void textIsATableForPeople();
    void nothingFoundIsNoFailure_data();
    void nothingFoundIsNoFailure();
    void hostileTextNeverReachesTheTerminal();
    void csvCellsAreNoFormulas_data();
    void csvCellsAreNoFormulas();

    void everyTypeRuns_data();
    void everyTypeRuns();
    void helpNamesExactlyTheTypes();
    void helpAndVersion();
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
    void unwritableOutput_data();
    void unwritableOutput();
    void fullDeviceIsAFailure();
    void readerThatGoesAwayIsAFailure();
    void closedStandardOutputIsAFailure();

private:
    QString path(const QString &name) const { return m_folder->filePath(name); }
    bool makeDatabase(const QString &name, const Calls &calls);
    Run scan(const QStringList &more = {})
    {
        return runProgram(QStringList{QStringLiteral("scan"), QStringLiteral("call-history"),
                                      path(QStringLiteral("call.db"))}
                          + more);
    }
    Run scanAs(const QString &format) { return scan({QStringLiteral("--format"), format}); }

    QScopedPointer<QTemporaryDir> m_folder;
};

void TestCli::init()
{
    m_folder.reset(new QTemporaryDir);
    QVERIFY(m_folder->isValid());
    QVERIFY(makeDatabase(QStringLiteral("call.db"), sampleCalls()));
}

void TestCli::cleanup()
{
    m_folder.reset();
}

bool TestCli::makeDatabase(const QString &name, const Calls &calls)
{
    QFile::remove(path(name));
    CallDatabase database(path(name));
    database.insertAndDelete(calls);
    return database.isOk();
}

void TestCli::formatsHoldTheSameRecords_data()
{
    QTest::addColumn<QString>("format");
    QTest::newRow("json") << QStringLiteral("json");
    QTest::newRow("jsonl") << QStringLiteral("jsonl");
    QTest::newRow("csv") << QStringLiteral("csv");
}

void TestCli::formatsHoldTheSameRecords()
{
    QFETCH(QString, format);

    const Run run = scanAs(format);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.err, QByteArray());
    const Calls found = format == QLatin1String("json")    ? callsFromJson(run.out)
                        : format == QLatin1String("jsonl") ? callsFromJsonLines(run.out)
                                                           : callsFromCsv(run.out);
    QCOMPARE(sorted(found), sorted(sampleCalls()));
}

void TestCli::formatsHoldTheSameNestedRecords_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("list"); // the field with the nested records
    QTest::addColumn<QStringList>("kinds");
    QTest::newRow("contacts") << QStringLiteral("contacts") << QStringLiteral("values")
                              << QStringList{QStringLiteral("contact"),
                                             QStringLiteral("hiddenContact")};
    QTest::newRow("messages") << QStringLiteral("messages") << QStringLiteral("messages")
                              << QStringList{QStringLiteral("messageGroup")};
}

void TestCli::formatsHoldTheSameNestedRecords()
{
    QFETCH(QString, type);
    QFETCH(QString, list);
    QFETCH(QStringList, kinds);
    const QString file = path(QStringLiteral("sample.db"));
    QVERIFY(makeSample(file, type));
    const auto scanned = [&](const char *format) {
        return runProgram({QStringLiteral("scan"), type, file, QStringLiteral("--format"),
                           QLatin1String(format)})
            .out;
    };
    const QJsonArray records = QJsonDocument::fromJson(scanned("json")).array();
    const QByteArrayList lines = scanned("jsonl").split('\n');
    const QVector<QStringList> rows = rowsFromCsv(scanned("csv"));
    QCOMPARE(lines.size(), records.size() + 1);
    QCOMPARE(rows.size(), records.size() + 1);
    const int column = rows.first().indexOf(list);
    QSet<QString> found;
    int nested = 0;
    for (int i = 0; i < records.size(); ++i) {
        const QJsonObject record = records.at(i).toObject();
        QCOMPARE(QJsonDocument::fromJson(lines.at(i)).object(), record);
        const QJsonArray cell =
            QJsonDocument::fromJson(rows.at(i + 1).value(column).toUtf8()).array();
        QCOMPARE(cell, record.value(list).toArray());
        nested += cell.size();
        found.insert(record.value(QLatin1String("kind")).toString());
    }
    QCOMPARE(found, QSet<QString>(kinds.begin(), kinds.end()));
    // A line for each nested record, the headings, and the names of the contacts.
    QVERIFY(nested > 20);
    QVERIFY(scanned("text").count('\n') > nested);
}

void TestCli::jsonFieldsHaveTheirOrder()
{
    QVERIFY(makeDatabase(QStringLiteral("call.db"),
                         {{QStringLiteral("+15551234567"), 1342361000, 65, 4}}));
    const QByteArray object = R"({"kind":"call","address":"+15551234567","date":1342361000,)"
                              R"("dateUtc":"2012-07-15T14:03:20Z","duration":65,"flags":4})";
    QCOMPARE(scanAs(QStringLiteral("jsonl")).out, object + '\n');
    QCOMPARE(scanAs(QStringLiteral("json")).out, "[\n" + object + "\n]\n");
    QVERIFY(scanAs(QStringLiteral("csv"))
                .out.startsWith("kind,address,date,dateUtc,duration,flags\r\n"));
}

void TestCli::textIsATableForPeople()
{
    QVERIFY(makeDatabase(QStringLiteral("call.db"),
                         {{QStringLiteral("+15551234567"), 1342360991, 65, 5},
                          {QStringLiteral("ana@example.com"), -20000000, 360000, 16},
                          {QStringLiteral("Жо 日本"), 1342360992, -5, 21}}));
    const Run run = scan();
    QCOMPARE(run.exitCode, 0);
    QStringList lines = QString::fromUtf8(run.out).split(QLatin1Char('\n'));
    QCOMPARE(lines.takeFirst(), QStringLiteral("Calls (3)"));
    QCOMPARE(lines.takeFirst(),
             QStringLiteral("Date (UTC)            Stored      Direction          "
                            "Duration   Address"));
    lines.sort();
    const QStringList expected{
        QString(),
        QStringLiteral(
            "                      -20000000   incoming FaceTime  100:00:00  ana@example.com"),
        QStringLiteral(
            "2012-07-15T14:03:11Z  1342360991  outgoing           0:01:05    +15551234567"),
        QStringLiteral("2012-07-15T14:03:12Z  1342360992  outgoing FaceTime  -5         Жо 日本"),
    };
    QCOMPARE(lines, expected);
}

void TestCli::nothingFoundIsNoFailure_data()
{
    QTest::addColumn<QString>("format");
    QTest::addColumn<QByteArray>("output");
    QTest::newRow("text") << QStringLiteral("text")
                          << QByteArray("No deleted records found: the file has no "
                                        "freed space (nothing deleted, or vacuumed since); try an "
                                        "older backup.\n");
    QTest::newRow("json") << QStringLiteral("json") << QByteArray("[\n]\n");
    QTest::newRow("jsonl") << QStringLiteral("jsonl") << QByteArray();
    QTest::newRow("csv") << QStringLiteral("csv")
                         << QByteArray("kind,address,date,dateUtc,duration,flags\r\n");
}

void TestCli::nothingFoundIsNoFailure()
{
    QFETCH(QString, format);
    QVERIFY(makeDatabase(QStringLiteral("call.db"), {}));
    const Run run = scanAs(format);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.err, QByteArray());
    QTEST(run.out, "output");
}

void TestCli::hostileTextNeverReachesTheTerminal()
{
    QVERIFY(makeDatabase(
        QStringLiteral("call.db"),
        {{QStringLiteral("\u001b]0;owned\u0007\u001b[2J"), 1342361000, 1, 4},
         {QStringLiteral("\u009b31m\u202e\u2066evil\u200f\r\nforged line"), 1342362000, 2, 4}}));
    const Run run = scan();
    QCOMPARE(run.exitCode, 0);
    QVERIFY2(run.out.contains("\\u{1B}]0;owned\\u{7}\\u{1B}[2J\n"), run.out.constData());
    QVERIFY2(run.out.contains("\\u{9B}31m\\u{202E}\\u{2066}evil\\u{200F}\\u{D}\\u{A}forged line\n"),
             run.out.constData());
    const QString shown = QString::fromUtf8(run.out).remove(QLatin1Char('\n'));
    for (const QChar c : shown) {
        QVERIFY2(c.isPrint(), run.out.constData());
    }
}

void TestCli::csvCellsAreNoFormulas_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("cell");

    const auto defused = [](const char *name, const QString &address) {
        QTest::newRow(name) << address << QLatin1Char('\'') + address;
    };
    const auto kept = [](const char *name, const QString &address) {
        QTest::newRow(name) << address << address;
    };
    defused("equals", QStringLiteral("=HYPERLINK(\"http://x\",\"y\")"));
    defused("plus", QStringLiteral("+1+cmd|' /C calc'!A0"));
    defused("plus and blanks", QStringLiteral("+1 555 1234"));
    defused("plus alone", QStringLiteral("+"));
    defused("plus and foreign digits", QStringLiteral("+\u0661\u0662"));
    defused("minus", QStringLiteral("-2+3"));
    defused("at", QStringLiteral("@SUM(A1)"));
    defused("tab", QStringLiteral("\t=1"));
    defused("carriage return", QStringLiteral("\r=1"));
    kept("international number", QStringLiteral("+4930123456"));
    kept("negative number", QStringLiteral("-547732800.0"));
    kept("plain number", QStringLiteral("0049-30"));
    kept("equals inside", QStringLiteral("a=b"));
    kept("apostrophe", QStringLiteral("'quoted"));
}

void TestCli::csvCellsAreNoFormulas()
{
    QFETCH(QString, address);
    // The negative numbers stand for themselves: a number column is no text.
    QVERIFY(makeDatabase(QStringLiteral("call.db"), {{address, -20000000, -7, 4}}));
    const QVector<QStringList> rows = rowsFromCsv(scanAs(QStringLiteral("csv")).out);
    QCOMPARE(rows.size(), 2);
    QTEST(rows.at(1).value(1), "cell");
    QCOMPARE(rows.at(1).value(2), QStringLiteral("-20000000"));
    QCOMPARE(rows.at(1).value(3), QString()); // no sensible time
    QCOMPARE(rows.at(1).value(4), QStringLiteral("-7"));
}

void TestCli::everyTypeRuns_data()
{
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("recovers");

    const auto row = [](ScanType type, const char *name, bool recovers) {
        QTest::newRow(name) << QString::number(type) << QString::fromLatin1(name) << recovers;
    };
    row(ScanTypeContacts, "contacts", true);
    row(ScanTypeMessages, "messages", true);
    row(ScanTypeCallHistory, "call-history", true);
    row(ScanTypeCalendar, "calendar", true);
    row(ScanTypeNotes, "notes", true);
    row(ScanTypeBookmarks, "bookmarks", true);
    row(ScanTypeWhatsapp, "whatsapp", true);
    row(ScanTypeSafariHistory, "safari-history", true);
    row(ScanTypeIos9Notes, "ios9-notes", true);
    row(ScanTypeWeChat, "wechat", true);
}

void TestCli::everyTypeRuns()
{
    QFETCH(QString, code);
    QFETCH(QString, name);
    QFETCH(bool, recovers);

    for (const QString &type : {code, name}) {
        const Run run = runProgram({QStringLiteral("scan"), type, path(QStringLiteral("call.db")),
                                    QStringLiteral("--format"), QStringLiteral("jsonl")});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out.count('\n'),
                 code == QString::number(ScanTypeCallHistory) ? sampleCalls().size() : 0);
        if (recovers) {
            QCOMPARE(run.err, QByteArray());
        } else {
            QVERIFY2(isOneLine(run.err) && run.err.contains(name.toLatin1())
                         && run.err.contains("does not recover"),
                     run.err.constData());
        }
    }
}

void TestCli::helpNamesExactlyTheTypes()
{
    const QString help = QString::fromUtf8(runProgram({QStringLiteral("--help")}).out);
    const QRegularExpression type(QStringLiteral("([a-z0-9-]+) \\((\\d+)\\)"));
    QStringList codes;
    QRegularExpressionMatchIterator matches = type.globalMatch(help);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        codes.append(match.captured(2));
        const QString file = path(QStringLiteral("call.db"));
        const Run byName = runProgram({QStringLiteral("scan"), match.captured(1), file});
        const Run byCode = runProgram({QStringLiteral("scan"), match.captured(2), file});
        QVERIFY2(byName.exitCode == 0, qPrintable(match.captured()));
        QCOMPARE(byCode.out, byName.out);
        QCOMPARE(byCode.err, byName.err);
    }
    const QString expected = QStringLiteral("0 1 2 3 4 5 6 7 8 10");
    QCOMPARE(codes.join(QLatin1Char(' ')), expected);
}

void TestCli::helpAndVersion()
{
    const Run help = runProgram({QStringLiteral("--help")});
    QCOMPARE(help.exitCode, 0);
    QCOMPARE(help.err, QByteArray());
    QVERIFY(help.out.count('\n') <= 24);
    QCOMPARE(help.out.count("\n  sqliterecovery "), 3);
    const QByteArrayList lines = help.out.split('\n');
    for (const QByteArray &line : lines) {
        QVERIFY2(line.size() <= 80, line.constData());
    }
    const Run version = runProgram({QStringLiteral("--version")});
    QCOMPARE(version.exitCode, 0);
    const QRegularExpression pattern(QStringLiteral("^sqliterecovery \\d+\\.\\d+\\.\\d+\n$"));
    QVERIFY(pattern.match(QString::fromUtf8(version.out)).hasMatch());
}

void TestCli::wrongUsage_data()
{
    QTest::addColumn<QString>("arguments"); // separated by blanks; @ stands for the database
    QTest::addColumn<QByteArray>("complaint");

    const auto row = [](const char *name, const char *arguments, const char *complaint) {
        QTest::newRow(name) << QString::fromLatin1(arguments) << QByteArray(complaint);
    };
    row("nothing", "", "no command");
    row("unknown command", "carve notes @", "carve");
    row("no type", "scan", "TYPE");
    row("no file", "scan notes", "FILE");
    row("unknown type", "scan photos @", "photos");
    row("unassigned code", "scan 9 @", "9");
    row("code out of range", "scan 11 @", "11");
    row("code with a zero", "scan 02 @", "02");
    row("type in capitals", "scan Notes @", "Notes");
    row("too many arguments", "scan notes @ extra", "extra");
    row("unknown format", "scan notes @ --format xml", "xml");
    row("format without value", "scan notes @ --format", "format");
    row("output without value", "scan notes @ --output", "output");
    row("empty output", "scan notes @ --output=", "output");
    row("unknown option", "scan notes @ --fast", "fast");
    row("log without a type", "wal", "TYPE");
    row("log without a file", "wal bookmarks", "FILE");
    row("log of a type without versions", "wal notes @", "not notes");
    row("log of a type by number", "wal 2 @", "not call-history");
    row("log and too many arguments", "wal bookmarks @ log extra", "extra");
}

void TestCli::wrongUsage()
{
    QFETCH(QString, arguments);
    QFETCH(QByteArray, complaint);

    QStringList list = arguments.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    list.replaceInStrings(QStringLiteral("@"), path(QStringLiteral("call.db")));
    const Run run = runProgram(list);
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

    std::mt19937 random(2012);
    QByteArray noise;
    while (noise.size() < 8192) {
        noise.append(char(random() & 0xFF));
    }
    QTest::newRow("missing") << QByteArray() << QByteArray("no such file");
    QTest::newRow("empty") << QByteArray("") << QByteArray("not an SQLite database");
    QTest::newRow("text") << QByteArray(5000, 'a') << QByteArray("not an SQLite database");
    QTest::newRow("encrypted") << noise << QByteArray("encrypted");
    QTest::newRow("header cut short")
        << QByteArray("SQLite format 3\0\x10\0\1\1", 20) << QByteArray("damaged");
    QTest::newRow("schema overwritten")
        << QByteArray("SQLite format 3\0\x10\0\1\1", 20) + QByteArray(8172, '\xEE')
        << QByteArray("damaged");
}

void TestCli::badInput()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QByteArray, complaint);

    const QString file = path(QStringLiteral("bad.db"));
    QVERIFY(bytes.isNull() || writeFile(file, bytes));
    const QString output = path(QStringLiteral("out.txt"));
    const Run run = runProgram(
        {QStringLiteral("scan"), QStringLiteral("2"), file, QStringLiteral("--output"), output});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray());
    QVERIFY2(isOneLine(run.err), run.err.constData());
    QVERIFY2(run.err.contains(complaint) && run.err.contains("bad.db"), run.err.constData());
    QVERIFY(!QFile::exists(output));

    const Run folder = runProgram({QStringLiteral("scan"), QStringLiteral("2"), m_folder->path()});
    QCOMPARE(folder.exitCode, 1);
    QVERIFY2(isOneLine(folder.err) && folder.err.contains("cannot read"), folder.err.constData());
}

void TestCli::messagesAreOneHarmlessLine()
{
    const QString name = QStringLiteral("no\nsuch\u001b[31m.db");
    const Run input = runProgram({QStringLiteral("scan"), QStringLiteral("2"), path(name)});
    QCOMPARE(input.exitCode, 1);
    QVERIFY2(isOneLine(input.err) && !input.err.contains('\x1b'), input.err.constData());
    const Run usage = runProgram({QStringLiteral("--") + name});
    QCOMPARE(usage.exitCode, 2);
    QVERIFY2(isOneLine(usage.err) && !usage.err.contains('\x1b'), usage.err.constData());
}

void TestCli::logsAreCompared()
{
    SampleDatabase db;
    QVERIFY(db.create(path(QStringLiteral("device.db"))));
    for (const QString &sql : safariTables(BookmarkLayout::Ios7)) {
        QVERIFY(db.exec(sql));
    }
    QVERIFY(db.startLog());
    QVERIFY(db.exec(QStringLiteral("INSERT INTO bookmarks (title, url, parent, order_index) "
                                   "VALUES ('gone', 'http://a', 3, 0);"
                                   "DELETE FROM bookmarks;")));
    const QString database = path(QStringLiteral("Bookmarks.db"));
    const QString log = path(QStringLiteral("moved.log"));
    QVERIFY(db.copyWithLog(database));
    const QStringList arguments{QStringLiteral("wal"), QStringLiteral("bookmarks"), database,
                                QStringLiteral("--format"), QStringLiteral("jsonl")};
    const Run beside = runProgram(arguments);
    QCOMPARE(beside.err, QByteArray());
    QCOMPARE(beside.exitCode, 0);
    QCOMPARE(beside.out, QByteArray("{\"kind\":\"bookmark\",\"title\":\"gone\","
                                    "\"url\":\"http://a\",\"parent\":3}\n"));
    QVERIFY(QFile::rename(database + QStringLiteral("-wal"), log));
    QCOMPARE(runProgram(arguments).exitCode, 1);
    QCOMPARE(runProgram(QStringList(arguments) << log).out, beside.out);
    const Run overwriting =
        runProgram(QStringList(arguments) << log << QStringLiteral("--output") << log);
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
    const QString log = path(QStringLiteral("call.db-wal"));
    QVERIFY(bytes.isNull() || writeFile(log, bytes));
    const QString output = path(QStringLiteral("out.txt"));
    const Run run =
        runProgram({QStringLiteral("wal"), QStringLiteral("contacts"),
                    path(QStringLiteral("call.db")), QStringLiteral("--output"), output});
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
        QVERIFY(writeFile(path(QStringLiteral("call.db-wal")), bytes));
        const Run run = runProgram({QStringLiteral("wal"), QStringLiteral("contacts"),
                                    path(QStringLiteral("call.db")), QStringLiteral("--format"),
                                    QStringLiteral("jsonl")});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out + run.err, QByteArray());
    }
}

void TestCli::outputReplacesAFileWholeWhenForced()
{
    const QString output = path(QStringLiteral("out.jsonl"));
    QVERIFY(writeFile(output, QByteArray(100000, 'x')));
    QStringList options{QStringLiteral("--format"), QStringLiteral("jsonl"),
                        QStringLiteral("--output"), output};
    const Run refused = scan(options);
    QCOMPARE(refused.exitCode, 1);
    QVERIFY2(isOneLine(refused.err) && refused.err.contains("--force"), refused.err.constData());
    QCOMPARE(readFile(output).size(), 100000);
    const Run run = scan(options << QStringLiteral("--force"));
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray());
    QCOMPARE(sorted(callsFromJsonLines(readFile(output))), sorted(sampleCalls()));
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files).size(), 2);
}

void TestCli::outputRefusesTheEvidence_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("output");

    const auto row = [](const char *name, const char *input, const char *output) {
        QTest::newRow(name) << QString::fromLatin1(input) << QString::fromLatin1(output);
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

    const QString evidence = path(QStringLiteral("evidence"));
    QVERIFY(QDir().mkdir(evidence));
    QVERIFY(makeDatabase(QStringLiteral("evidence/call.db"), sampleCalls()));
    QVERIFY(writeFile(evidence + QStringLiteral("/call.db-wal"), QByteArray()));
    QVERIFY(QFile::link(evidence, path(QStringLiteral("folderlink"))));
    QVERIFY(QFile::link(evidence + QStringLiteral("/call.db"), path(QStringLiteral("filelink"))));
    QVERIFY(QFile::link(evidence + QStringLiteral("/call.db-journal"),
                        path(QStringLiteral("journallink"))));

    const QStringList before = folderState(evidence);
    const Run run = runProgram({QStringLiteral("scan"), QStringLiteral("2"), path(input),
                                QStringLiteral("--output"), path(output)});
    QCOMPARE(run.exitCode, 2);
    QCOMPARE(run.out, QByteArray());
    QVERIFY2(isOneLine(run.err) && run.err.contains("overwrite"), run.err.constData());
    QCOMPARE(folderState(evidence), before);
    QVERIFY(!QFile::exists(path(QStringLiteral("filelink-wal"))));
}

void TestCli::unwritableOutput_data()
{
    QTest::addColumn<QString>("output");
    QTest::newRow("missing folder") << QStringLiteral("missing/out.txt");
    QTest::newRow("folder") << QStringLiteral(".");
    QTest::newRow("file as a folder") << QStringLiteral("call.db/out.txt");
}

void TestCli::unwritableOutput()
{
    QFETCH(QString, output);
    const Run run = scan({QStringLiteral("--output"), path(output)});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray());
    QVERIFY2(isOneLine(run.err) && run.err.contains("cannot write"), run.err.constData());
}

void TestCli::fullDeviceIsAFailure()
{
    const QString device = QStringLiteral("/dev/full");
    if (!QFile::exists(device)) {
        QSKIP("this system has no device that is always full");
    }
    for (const char *format : {"text", "json", "jsonl", "csv"}) {
        QProcess process;
        process.setStandardOutputFile(device);
        process.start(QStringLiteral(SQLITERECOVERY_PROGRAM),
                      {QStringLiteral("scan"), QStringLiteral("2"), path(QStringLiteral("call.db")),
                       QStringLiteral("--format"), QLatin1String(format)});
        const Run run = finish(process);
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(isOneLine(run.err) && run.err.contains("cannot write"), run.err.constData());
    }
    // A device is written to, not replaced by a file.
    QCOMPARE(scan({QStringLiteral("--output"), device}).exitCode, 1);
    QVERIFY(!QFileInfo(device).isFile());
}

void TestCli::readerThatGoesAwayIsAFailure()
{
    QProcess process;
    // The pause lets the reader end before anything is written; a pipe hides the exit code.
    const QString exitCode = path(QStringLiteral("exitcode"));
    process.start(QStringLiteral("sh"),
                  {QStringLiteral("-c"),
                   QStringLiteral("{ sleep 0.5; \"$0\" scan 2 \"$1\"; echo $? > \"$2\"; } | true"),
                   QStringLiteral(SQLITERECOVERY_PROGRAM), path(QStringLiteral("call.db")),
                   exitCode});
    const Run run = finish(process);
    QCOMPARE(readFile(exitCode), QByteArray("1\n"));
    QVERIFY2(isOneLine(run.err) && run.err.contains("cannot write"), run.err.constData());
}

void TestCli::closedStandardOutputIsAFailure()
{
    QProcess process;
    process.start(QStringLiteral("sh"),
                  {QStringLiteral("-c"), QStringLiteral("exec \"$0\" scan 2 \"$1\" >&-"),
                   QStringLiteral(SQLITERECOVERY_PROGRAM), path(QStringLiteral("call.db"))});
    const Run run = finish(process);
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(isOneLine(run.err) && run.err.contains("cannot write"), run.err.constData());
}

QTEST_GUILESS_MAIN(TestCli)
#include "tst_cli.moc"
