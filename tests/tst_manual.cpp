#include "tests/support/programrun.h"
#include "tests/support/testfiles.h"

#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QString sourceFile(const char *name)
{
    return QStringLiteral(SQLITERECOVERY_SOURCE_DIR "/") + QLatin1String(name);
}

/// The first groups of all matches, each once, sorted; behind a second group's text in brackets.
QStringList found(const QString &text, const char *pattern)
{
    QStringList words;
    auto matches = QRegularExpression(QLatin1String(pattern), QRegularExpression::MultilineOption)
                       .globalMatch(text);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        const QString number = match.captured(2);
        words.append(match.captured(1)
                     + (number.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(number)));
    }
    words.removeDuplicates();
    words.sort();
    return words;
}

QStringList sorted(QStringList words)
{
    words.sort();
    return words;
}

QString between(const QString &text, const char *begin, const char *end)
{
    const int from = text.indexOf(QLatin1String(begin));
    return text.mid(from, text.indexOf(QLatin1String(end), from) - from);
}

QStringList withoutNumbers(QStringList types)
{
    return sorted(types.replaceInStrings(QRegularExpression(QStringLiteral(" .*")), QString()));
}

/// What bash offers behind the words, of which the last is the one that is typed.
QStringList completions(const QStringList &typed, const QString &folder = QString())
{
    QProcess bash;
    bash.setWorkingDirectory(folder);
    const QString script = QStringLiteral("source \"$0\"; COMP_WORDS=(\"$@\"); "
                                          "COMP_CWORD=$(($# - 1)); _sqliterecovery; "
                                          "printf '%s\\n' \"${COMPREPLY[@]}\"");
    bash.start(QStringLiteral("bash"),
               words("--norc -c") + QStringList{script}
                   + words("@ sqliterecovery", sourceFile("completions/sqliterecovery.bash"))
                   + typed);
    const Run run = finish(bash);
    if (run.exitCode != 0 || !run.err.isEmpty()) {
        return {QString::fromLocal8Bit("failed: " + run.err)};
    }
    return sorted(QString::fromLocal8Bit(run.out).split(QLatin1Char('\n'), Qt::SkipEmptyParts));
}

} // namespace

/// The help, the manual page and the completion, which are to say the same as the program does.
class TestManual : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void options();
    void types();
    void formats();
    void commands();
    void pageIsWellFormed();
    void completesFiles_data();
    void completesFiles();

private:
    QString m_help;
    QString m_page;
};

void TestManual::initTestCase()
{
    m_help = QString::fromUtf8(runProgram("--help").out);
    m_page = QString::fromUtf8(readFile(sourceFile("man/sqliterecovery.1")));
    QVERIFY(!m_help.isEmpty() && !m_page.isEmpty());
}

void TestManual::options()
{
    const QStringList options = found(m_help, "(?<![\\w-])(--[a-z]+)");
    QCOMPARE(options.size(), 5);
    QCOMPARE(found(m_page, "Fl (-[a-z]+)")
                 .replaceInStrings(QRegularExpression(QStringLiteral("^")), QStringLiteral("-")),
             options);
    QCOMPARE(completions(words("scan -")), options);
    for (const QString &option : options) {
        const Run run = runProgram("scan @ text", option);
        QVERIFY2(!run.err.contains("nknown option"), run.err.constData());
    }
}

void TestManual::types()
{
    const QStringList types = found(m_help, "([a-z0-9-]+) \\((\\d+)\\)");
    QCOMPARE(found(m_page, "^\\.It Cm ([a-z0-9-]+) Pq (\\d+)"), types);
    QCOMPARE(completions({QStringLiteral("scan"), QString()}), withoutNumbers(types));
    for (int number = 0; number <= 20; ++number) {
        const QString text = QString::number(number);
        const Run run = runProgram("scan @ missing.db", text);
        const bool isListed =
            types.join(QLatin1Char(' ')).contains(QLatin1Char('(') + text + QLatin1Char(')'));
        QCOMPARE(run.exitCode, isListed ? 1 : 2);
    }
    const QStringList ofLogs = completions({QStringLiteral("wal"), QString()});
    for (const QString &type : withoutNumbers(types)) {
        QCOMPARE(runProgram("scan @ missing.db", type).exitCode, 1);
        QCOMPARE(runProgram("wal @ missing.db", type).exitCode, ofLogs.contains(type) ? 1 : 2);
    }
}

void TestManual::formats()
{
    const QStringList formats =
        found(between(m_help, "--format FORMAT", "--output"), "(?:FORMAT|;)\\s+([a-z]+):");
    QCOMPARE(formats.size(), 5);
    QCOMPARE(found(between(m_page, ".It Fl -format", ".It Fl -output"), "^\\.It Cm (\\w+)"),
             formats);
    const QString nothing;
    QCOMPARE(completions(words("backup --format") << nothing), formats);
    // The sign is a word of its own to bash.
    QCOMPARE(completions(words("backup --format =")), formats);
    QCOMPARE(completions(words("backup --format = js")), words("json jsonl"));
    QCOMPARE(completions(words("--format = text sc")), words("scan"));
    for (const QString &format : formats) {
        const Run run = runProgram("scan notes missing.db --format @", format);
        QVERIFY2(run.exitCode == 1, run.err.constData());
    }
}

void TestManual::commands()
{
    const QStringList commands = found(m_help, "sqliterecovery ([a-z]+) [A-Z]");
    QCOMPARE(commands.size(), 3);
    QCOMPARE(found(between(m_page, ".Sh SYNOPSIS", ".Sh DESCRIPTION"), "^\\.Cm (\\w+)"), commands);
    QCOMPARE(completions({QString()}), commands);
    for (const QString &command : commands) {
        const Run run = runProgram({command});
        QCOMPARE(run.exitCode, 2);
        QVERIFY2(run.err.contains("needs a"), run.err.constData());
    }
}

void TestManual::pageIsWellFormed()
{
    if (QStandardPaths::findExecutable(QStringLiteral("groff")).isEmpty()) {
        QSKIP("groff is not installed");
    }
    QProcess groff;
    groff.start(QStringLiteral("groff"),
                words("-mandoc -ww -Tutf8 @", sourceFile("man/sqliterecovery.1")));
    const Run run = finish(groff);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.err, QByteArray());
    QVERIFY(run.out.contains("130"));
}

void TestManual::completesFiles_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QStringList>("offered");
    const auto row = [](const char *words, const QStringList &offered) {
        QTest::newRow(words) << QString::fromLatin1(words).split(QLatin1Char(' ')) << offered;
    };
    const QString file = QStringLiteral("my calls.db");
    const QString folder = QStringLiteral("my folder");
    row("scan cal", {QStringLiteral("calendar"), QStringLiteral("call-history")});
    row("wal cal", {QStringLiteral("calendar")});
    row("scan calendar my", {file, folder});
    row("wal calendar a.db my", {file, folder});
    row("--format csv backup my", {folder});
    row("backup --output my", {file, folder});
    row("scan calendar a.db my", {});
    row("backup a my", {});
}

void TestManual::completesFiles()
{
    QFETCH(QStringList, words);
    QTemporaryDir dir;
    QVERIFY(writeFile(dir.filePath(QStringLiteral("my calls.db")), "x"));
    QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("my folder")));
    QTEST(completions(words, dir.path()), "offered");
}

QTEST_GUILESS_MAIN(TestManual)
#include "tst_manual.moc"
