// Parts of the program whose input cannot be brought about, or not exactly, with a database file.

#include "cli/consoleprogress.h"
#include "cli/displaytext.h"
#include "cli/jsonprinter.h"

#include <QCborArray>
#include <QCborMap>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <limits>
#include <memory>

namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE *)>;

QByteArray contentsOf(std::FILE *file)
{
    std::rewind(file);
    QByteArray bytes(1 << 16, '\0');
    bytes.resize(int(std::fread(bytes.data(), 1, size_t(bytes.size()), file)));
    return bytes;
}

/// What a terminal line shows after the bytes were written to it.
QByteArray lineShown(const QByteArray &written)
{
    QByteArray line;
    int cursor = 0;
    for (const char c : written) {
        if (c == '\r') {
            cursor = 0;
            continue;
        }
        line = line.leftJustified(cursor + 1, ' ');
        line[cursor++] = c;
    }
    return line.trimmed();
}

} // namespace

class TestCliParts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void jsonIntegersAreExact_data();
    void jsonIntegersAreExact();
    void jsonKeepsTheOrderOfFields();
    void jsonEscapesWhatTerminalsObey_data();
    void jsonEscapesWhatTerminalsObey();
    void printableTextIsHarmless_data();
    void printableTextIsHarmless();
    void paddingCountsTerminalColumns_data();
    void paddingCountsTerminalColumns();
    void progressIsSilentOnQuickScans();
    void progressIsDrawnSeldomAndErased();
    void progressNeedsATerminal();
};

void TestCliParts::jsonIntegersAreExact_data()
{
    QTest::addColumn<qint64>("number");
    QTest::addColumn<QByteArray>("json");

    QTest::newRow("nanoseconds") << Q_INT64_C(684000000123456789)
                                 << QByteArray("684000000123456789");
    QTest::newRow("beyond double") << Q_INT64_C(9007199254740993) << QByteArray("9007199254740993");
    QTest::newRow("smallest") << std::numeric_limits<qint64>::min()
                              << QByteArray("-9223372036854775808");
}

void TestCliParts::jsonIntegersAreExact()
{
    QFETCH(qint64, number);
    QFETCH(QByteArray, json);

    QCOMPARE(toJson(number), json);
    // Also inside, where later kinds of records keep their messages.
    QCOMPARE(toJson(QCborArray{QCborMap{{QStringLiteral("date"), number}}}),
             "[{\"date\":" + json + "}]");
}

void TestCliParts::jsonKeepsTheOrderOfFields()
{
    const QCborMap record{{QStringLiteral("z"), 1.5},
                          {QStringLiteral("a"), QString()},
                          {QStringLiteral("m"), QCborArray()},
                          {QStringLiteral("b"), QCborMap()},
                          {QStringLiteral("k"), true}};
    QCOMPARE(toJson(record), QByteArray(R"({"z":1.5,"a":"","m":[],"b":{},"k":true})"));
}

void TestCliParts::jsonEscapesWhatTerminalsObey_data()
{
    QTest::addColumn<QString>("text");

    QTest::newRow("quotes and backslash") << QStringLiteral("say \"hi\" \\ bye");
    QTest::newRow("escape sequence") << QStringLiteral("\u001b[2Jgone");
    QTest::newRow("one-character sequence start") << QStringLiteral("\u009b2Jgone");
    QTest::newRow("delete") << QStringLiteral("a\u007fb");
    QTest::newRow("bidirectional override") << QStringLiteral("a\u202etxt.exe");
    QTest::newRow("format character of two units") << QStringLiteral("a\U000E0041b");
    QTest::newRow("lone surrogate") << QString(QChar(0xD800)) + QLatin1Char('a');
    QTest::newRow("zero") << QString(QChar(0)) + QLatin1Char('a');
    QTest::newRow("many scripts") << QStringLiteral("Жé日本\U0001F600");
}

void TestCliParts::jsonEscapesWhatTerminalsObey()
{
    QFETCH(QString, text);

    const QByteArray json = toJson(text);
    const QVector<uint> characters = QString::fromUtf8(json).toUcs4();
    QVERIFY(std::none_of(characters.cbegin(), characters.cend(), isUnprintable));
    const QJsonDocument parsed = QJsonDocument::fromJson('[' + json + ']');
    QCOMPARE(parsed.array().at(0).toString(), text);
}

void TestCliParts::printableTextIsHarmless_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("shown");

    const auto row = [](const char *name, const QString &text, const QString &shown) {
        QTest::newRow(name) << text << shown;
    };
    row("plain", QStringLiteral("Ana Жé日本 \U0001F600"), QStringLiteral("Ana Жé日本 \U0001F600"));
    row("combining", QStringLiteral("e\u0301"), QStringLiteral("e\u0301"));
    row("colour", QStringLiteral("\u001b[31mred"), QStringLiteral("\\u{1B}[31mred"));
    row("one-character sequence start", QStringLiteral("\u009b31m"), QStringLiteral("\\u{9B}31m"));
    row("line break", QStringLiteral("a\r\nb"), QStringLiteral("a\\u{D}\\u{A}b"));
    row("delete", QStringLiteral("a\u007f"), QStringLiteral("a\\u{7F}"));
    row("override", QStringLiteral("\u202egnp"), QStringLiteral("\\u{202E}gnp"));
    row("isolate", QStringLiteral("\u2066a\u2069"), QStringLiteral("\\u{2066}a\\u{2069}"));
    row("line separator", QStringLiteral("a\u2028b"), QStringLiteral("a\\u{2028}b"));
    row("zero width", QStringLiteral("a\u200bb"), QStringLiteral("a\\u{200B}b"));
    row("invisible tag", QStringLiteral("\U000E0041"), QStringLiteral("\\u{E0041}"));
    row("lone surrogate", QString(QChar(0xDC00)), QString(QChar(0xFFFD)));
}

void TestCliParts::printableTextIsHarmless()
{
    QFETCH(QString, text);
    QFETCH(QString, shown);
    QCOMPARE(printable(text), shown);
}

void TestCliParts::paddingCountsTerminalColumns_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("padded");

    QTest::newRow("empty") << QString() << QStringLiteral("      ");
    QTest::newRow("narrow") << QStringLiteral("Жöß") << QStringLiteral("Жöß   ");
    QTest::newRow("wide") << QStringLiteral("日本") << QStringLiteral("日本  ");
    QTest::newRow("full-width") << QStringLiteral("Ａ") << QStringLiteral("Ａ    ");
    QTest::newRow("pictograph") << QStringLiteral("\U0001F600a")
                                << QStringLiteral("\U0001F600a   ");
    QTest::newRow("combining") << QStringLiteral("e\u0301") << QStringLiteral("e\u0301     ");
    QTest::newRow("too long") << QStringLiteral("1234567") << QStringLiteral("1234567");
}

void TestCliParts::paddingCountsTerminalColumns()
{
    QFETCH(QString, text);
    QTEST(padded(text, 6), "padded");
}

void TestCliParts::progressIsSilentOnQuickScans()
{
    const File terminal(std::tmpfile(), std::fclose);
    QVERIFY(terminal != nullptr);
    ConsoleProgress progress(terminal.get());
    for (int i = 0; i < 100; ++i) {
        QVERIFY(progress.reportProgress(progress.progressValue() / 100));
    }
    progress.scanDone();
    QCOMPARE(contentsOf(terminal.get()), QByteArray());
}

void TestCliParts::progressIsDrawnSeldomAndErased()
{
    const File terminal(std::tmpfile(), std::fclose);
    QVERIFY(terminal != nullptr);
    ConsoleProgress progress(terminal.get());
    QElapsedTimer timer;
    timer.start();
    // Twice the span in all: a bar must not run over its end.
    while (timer.elapsed() < 900) {
        progress.reportProgress(progress.progressValue() / 90);
        QTest::qSleep(5);
    }
    const QByteArray drawn = contentsOf(terminal.get());
    const int draws = drawn.count('\r');
    QVERIFY2(draws >= 1 && draws <= 5, QByteArray::number(draws).constData());
    QVERIFY2(lineShown(drawn).endsWith("] 100%"), drawn.constData());
    QCOMPARE(lineShown(drawn).size(), 47);

    std::fseek(terminal.get(), 0, SEEK_END);
    progress.scanDone();
    QCOMPARE(lineShown(contentsOf(terminal.get())), QByteArray());
    QVERIFY(contentsOf(terminal.get()).endsWith('\r'));
}

void TestCliParts::progressNeedsATerminal()
{
    ConsoleProgress progress(nullptr);
    QTest::qSleep(600);
    QVERIFY(progress.reportProgress(50));
    progress.scanDone();
}

QTEST_APPLESS_MAIN(TestCliParts)
#include "tst_cliparts.moc"
