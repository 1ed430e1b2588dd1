// Parts of the program whose input cannot be brought about, or not exactly, with a database file.

#include "api/sqliterecovery.h"
#include "cli/consoleprogress.h"
#include "cli/csvprinter.h"
#include "cli/displaydate.h"
#include "cli/displaytext.h"
#include "cli/jsonprinter.h"
#include "cli/recordmaps.h"
#include "cli/textprinter.h"
#include "tests/support/reportfixture.h"

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

/// What is printed of a scan that found these records, of the first kind of the type.
QByteArray printed(bool (*print)(const Report &, QIODevice &), ScanType type,
                   const QVector<QCborMap> &records)
{
    SqliteRecovery nothing;
    ReportFixture fixture;
    fixture.report.isBackup = false;
    fixture.add(type, QString(), resultsOf(type, nothing).kinds.first().name, records);
    return printed(fixture.report, print);
}

PersonValue personValue(qint64 property, const char *label, const char *value)
{
    PersonValue result;
    result.property = property;
    result.label = QString::fromUtf8(label);
    result.value = QString::fromUtf8(value);
    return result;
}

PersonRecord samplePerson()
{
    PersonRecord person;
    person.rowId = 7;
    person.first = QStringLiteral("Ana");
    person.last = QStringLiteral("Gómez");
    person.organization = QStringLiteral("Acme");
    person.birthday = QStringLiteral("-547732800.0");
    person.note = QStringLiteral("met in\nRome");
    person.modificationDate = 400000000;
    person.values = {personValue(3, "_$!<Mobile>!$_", "+491511234567"),
                     personValue(4, "", "ana@example.com"), personValue(5, "_$!<Home>!$_", ""),
                     personValue(12, "_$!<Anniversary>!$_", "12"), personValue(99, "odd", "?")};
    person.values[2].entries = {{QStringLiteral("Country"), QStringLiteral("Germany")},
                                {QStringLiteral("CountryCode"), QStringLiteral("de")},
                                {QStringLiteral("Floor"), QStringLiteral("3")},
                                {QStringLiteral("City"), QStringLiteral("Berlin")},
                                {QStringLiteral("Street"), QStringLiteral("Hof 2\nAlt-Moabit 1")},
                                {QStringLiteral("ZIP"), QStringLiteral("10555")}};
    return person;
}

MessageItem sampleMessage(qint64 date, const char *text, const char *address = "")
{
    MessageItem message;
    message.date = date;
    message.text = QString::fromUtf8(text);
    message.address = QString::fromUtf8(address);
    return message;
}

} // namespace

class TestCliParts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void jsonNumbersAreExact();
    void jsonKeepsTheOrderOfFields();
    void jsonEscapesWhatTerminalsObey_data();
    void jsonEscapesWhatTerminalsObey();
    void jsonHasTimesBesideNumbers();
    void contactsAsText();
    void namesOfContacts_data();
    void namesOfContacts();
    void messagesAsText();
    void whatsappAsText();
    void longCellsDoNotLengthenOtherLines();
    void hostileRecordsAreHarmlessAsText();
    void hostileRecordsAreHarmlessAsCsv();
    void manyMessagesPrintInLinearTime();
    void times_data();
    void times();
    void eventsAndRemindersAsText();
    void printableTextIsHarmless_data();
    void printableTextIsHarmless();
    void paddingCountsTerminalColumns_data();
    void paddingCountsTerminalColumns();
    void progressIsSilentOnQuickScans();
    void progressIsDrawnSeldomAndErased();
    void progressIsWeighted();
    void progressNeedsATerminal();
};

void TestCliParts::jsonNumbersAreExact()
{
    QCOMPARE(toJson(Q_INT64_C(9007199254740993)), QByteArray("9007199254740993")); // no double
    QCOMPARE(toJson(std::numeric_limits<qint64>::min()), QByteArray("-9223372036854775808"));
    // Also inside, where conversations keep their messages.
    QCOMPARE(toJson(QCborArray{QCborMap{{QStringLiteral("date"), Q_INT64_C(684000000123456789)}}}),
             QByteArray("[{\"date\":684000000123456789}]"));
    // No exponent for a date.
    QCOMPARE(toJson(1e15), QByteArray("1000000000000000"));
    QCOMPARE(toJson(-1e9), QByteArray("-1000000000"));
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

    QTest::newRow("quotes and backslash") << "say \"hi\" \\ bye";
    QTest::newRow("escape sequence") << "\u001b[2Jgone";
    QTest::newRow("one-character sequence start") << "\u009b2Jgone";
    QTest::newRow("delete") << "a\u007fb";
    QTest::newRow("bidirectional override") << "a\u202etxt.exe";
    QTest::newRow("format character of two units") << "a\U000E0041b";
    QTest::newRow("lone surrogate") << QString(QChar(0xD800)) + QLatin1Char('a');
    QTest::newRow("zero") << QString(QChar(0)) + QLatin1Char('a');
    QTest::newRow("many scripts") << "Жé日本\U0001F600";
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

void TestCliParts::jsonHasTimesBesideNumbers()
{
    NoteRecord note{400000000, QStringLiteral("A"), QStringLiteral("A\nmilk")};
    QCOMPARE(toJson(noteMap(note)),
             QByteArray(R"({"date":400000000,"dateUtc":"2013-09-04T15:06:40Z","title":"A",)"
                        R"("content":"A\nmilk"})"));
    note.date = 0;
    QVERIFY(toJson(noteMap(note)).contains(R"("date":0,"dateUtc":null)"));
}

void TestCliParts::contactsAsText()
{
    PersonRecord bare;
    bare.values = {personValue(3, "iPhone", "5551234")};
    const QByteArray expected = R"(Contacts (2)
Ana Gómez
    Phone Mobile      +491511234567
    E-mail            ana@example.com
    Address Home      Hof 2, Alt-Moabit 1, 10555, Berlin, Germany, 3
    Date Anniversary  2001-01-01T00:00:12Z (12)
    Value 99 odd      ?
    Organization      Acme
    Birthday          1983-08-24 (-547732800.0)
    Note              met in\u{A}Rome
(no name)
    Phone iPhone      5551234
)";
    const QVector<QCborMap> persons{personMap(samplePerson()), personMap(bare)};
    QCOMPARE(printed(printText, ScanTypeContacts, persons).split('\n'), expected.split('\n'));
}

void TestCliParts::namesOfContacts_data()
{
    QTest::addColumn<QString>("fields"); // name=value, separated by semicolons
    QTest::addColumn<QString>("name");
    const auto row = [](const char *fields, const char *name) {
        QTest::newRow(fields) << QString::fromUtf8(fields) << QString::fromUtf8(name);
    };
    row("last=C;first=A;middle=B;suffix=Jr.;prefix=Dr.;nickname=N", "Dr. A B C Jr.");
    row("organization=Acme;nickname=N", "Acme");
    row("nickname=N;jobTitle=Boss", "N");
    row("jobTitle=Boss", "(no name)");
}

void TestCliParts::namesOfContacts()
{
    QFETCH(QString, fields);
    QCborMap person = personMap(PersonRecord());
    for (const QString &field : fields.split(QLatin1Char(';'))) {
        person[field.section(QLatin1Char('='), 0, 0)] = field.section(QLatin1Char('='), 1);
    }
    QTEST(personName(person), "name");
}

void TestCliParts::messagesAsText()
{
    MessageGroupRecord partner;
    partner.chatIdentifier = QStringLiteral("+4915");
    partner.messages = {sampleMessage(356400000, "Grüße\nA.", "+4915"),
                        sampleMessage(1342361000, "no origin")};
    partner.messages.last().isFromMe = 1;
    partner.messages.last().subject = QStringLiteral("Re");
    MessageGroupRecord room;
    room.roomName = room.chatIdentifier = QStringLiteral("chat77");
    room.messages = {sampleMessage(684000000123456789, "all?", "ana@example.com")};
    MessageGroupRecord unknown;
    unknown.messages = {sampleMessage(0, "lost"), sampleMessage(-5, "called", "5551234")};
    const QVector<QCborMap> groups{messageGroupMap(partner), messageGroupMap(room),
                                   messageGroupMap(unknown)};
    const QByteArray expected =
        R"(Messages (5)
Date (UTC)            Stored              Conversation              Direction  Text
2012-04-18T00:00:00Z  356400000           +4915                     received   Grüße\u{A}A.
2012-07-15T14:03:20Z  1342361000          +4915                     sent       Re: no origin
2022-09-04T16:00:00Z  684000000123456789  chat77 (ana@example.com)  received   all?
                      0                   (unknown)                 received   lost
                      -5                  5551234                   received   called
)";
    QCOMPARE(printed(printText, ScanTypeMessages, groups).split('\n'), expected.split('\n'));
}

void TestCliParts::whatsappAsText()
{
    WhatsappChatRecord group;
    group.chatName = QStringLiteral("Choir");
    WhatsappChatRecord unknown;
    const auto add = [](WhatsappChatRecord *chat, int type, int date, const char *sender,
                        const char *text) {
        auto *item = new WhatsappMessageItem;
        item->messageType = type;
        item->isFromMe = *sender == '\0';
        item->date = date;
        item->senderName = QString::fromUtf8(sender);
        item->text = QString::fromUtf8(text);
        chat->messages.append(item);
    };
    add(&group, 0, 650000000, "Ida", "tea?\nmilk");
    add(&group, 1, 650000060, "", "");
    add(&group, 1, 650000120, "", "T\n\n");
    add(&unknown, 99, 0, "", "");
    const QVector<QCborMap> chats{whatsappMap(group), whatsappMap(unknown)};
    const QByteArray expected = R"(WhatsApp messages (4)
Date (UTC)            Stored     Chat         Direction  Text
2021-08-07T03:33:20Z  650000000  Choir (Ida)  received   tea? milk
2021-08-07T03:34:20Z  650000060  Choir        sent       (picture)
2021-08-07T03:35:20Z  650000120  Choir        sent       T
                      0          (unknown)    sent       (message of type 99)
)";
    QCOMPARE(printed(printText, ScanTypeWhatsapp, chats).split('\n'), expected.split('\n'));
}

void TestCliParts::longCellsDoNotLengthenOtherLines()
{
    PersonRecord person = samplePerson();
    person.first = QString(100000, QLatin1Char('n'));
    person.values.first().label = QString(100000, QLatin1Char('l'));
    const QVector<QCborMap> persons(50, personMap(person));
    QVERIFY(printed(printText, ScanTypeContacts, persons).size() < 50 * 201000);
}

void TestCliParts::hostileRecordsAreHarmlessAsText()
{
    ReportFixture fixture;
    addEveryKind(&fixture, QStringLiteral("\u001b[2J\u009b31m\u202e\r\nforged"));
    const QByteArray text = printed(fixture.report, printText);
    QVERIFY(text.count("forged") > 50);
    QVERIFY(!text.contains("\nforged"));
    const QVector<uint> characters = QString::fromUtf8(text).remove(QLatin1Char('\n')).toUcs4();
    QVERIFY(std::none_of(characters.cbegin(), characters.cend(), isUnprintable));
}

void TestCliParts::hostileRecordsAreHarmlessAsCsv()
{
    PersonRecord person;
    person.first = QStringLiteral("a\u001b[2J\u009b31m\u202e\r\n\tb\U0001F468\u200d\U0001F469");
    person.last = QStringLiteral("a\rb"); // many readers begin a row there
    person.nickname = QStringLiteral("a;b");
    const QByteArray csv = printed(printCsv, ScanTypeContacts, {personMap(person)});
    QVERIFY(csv.contains("\"a\rb\"") && csv.contains("\"a;b\""));
    QVERIFY2(csv.contains("\"a\\u{1B}[2J\\u{9B}31m\\u{202E}\r\n\tb\U0001F468\u200d\U0001F469\""),
             csv.constData());
}

void TestCliParts::manyMessagesPrintInLinearTime()
{
    MessageGroupRecord group;
    group.chatIdentifier = QStringLiteral("+4915");
    for (int i = 0; i < 100000; ++i) {
        group.messages.append(sampleMessage(684000000000000000 + i, "See you at eight", "+4915"));
    }
    const QVector<QCborMap> groups{messageGroupMap(group)};
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(printed(printText, ScanTypeMessages, groups).count('\n'), 100002);
    QCOMPARE(printed(printJsonLines, ScanTypeMessages, groups).count("See you"), 100000);
    // Far more than it takes, and far less than anything that grows with the square.
    QVERIFY2(timer.elapsed() < 60000, QByteArray::number(timer.elapsed()).constData());
}

void TestCliParts::times_data()
{
    QTest::addColumn<QString>("shown");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const QString &shown, const char *expected) {
        QTest::newRow(name) << shown << QString::fromLatin1(expected);
    };
    constexpr qint64 Smallest = std::numeric_limits<qint64>::min();
    constexpr qint64 Largest = std::numeric_limits<qint64>::max();
    row("call", utcSince1970(1342361000), "2012-07-15T14:03:20Z");
    row("call without a time", utcSince1970(0), "");
    row("call before 1970", utcSince1970(-1), "");
    row("call in 2100", utcSince1970(4102444800), "");
    row("note", utcSince2001(356400000), "2012-04-18T00:00:00Z");
    // What is as large as seconds since 1970 would lie ahead by decades, but can be.
    row("note, as large as one since 1970", utcSince2001(1342361000), "2043-07-16T14:03:20Z");
    row("note without a time", utcSince2001(0), "");
    row("note before 2001", utcSince2001(-1), "");
    row("note in 2100", utcSince2001(4102444800 - 978307200), "");
    row("message, seconds since 1970", utcOfMessage(1342361000), "2012-07-15T14:03:20Z");
    row("message, first taken for 1970", utcOfMessage(900000000), "1998-07-09T16:00:00Z");
    row("message, last taken for 2001", utcOfMessage(899999999), "2029-07-09T15:59:59Z");
    row("message, seconds since 2001", utcOfMessage(356400000), "2012-04-18T00:00:00Z");
    row("message, nanoseconds", utcOfMessage(684000000999999999), "2022-09-04T16:00:00Z");
    row("message, first of nanoseconds", utcOfMessage(100000000000000), "2001-01-02T03:46:40Z");
    row("message, last time of a device", utcOfMessage(4102444799), "2099-12-31T23:59:59Z");
    row("message beyond it", utcOfMessage(4102444800), "");
    row("message, largest", utcOfMessage(Largest), "");
    row("message without a time", utcOfMessage(0), "");
    row("message before the telephone", utcOfMessage(-86400), "");
    row("message, smallest", utcOfMessage(Smallest), "");
    row("event without a time", utcOfCalendar(0), "");
    row("event, first second", utcOfCalendar(1), "2001-01-01T00:00:01Z");
    row("event of 2012", utcOfCalendar(356400000.5), "2012-04-18T00:00:00Z");
    row("event before 2001", utcOfCalendar(-0.5), "2000-12-31T23:59:59Z");
    row("event, as large as one since 1970", utcOfCalendar(1342361000), "2043-07-16T14:03:20Z");
    row("event beyond the calendar", utcOfCalendar(1e15), "");
    row("event far before it", utcOfCalendar(-1e18), "");
    row("event, no number", utcOfCalendar(std::numeric_limits<double>::quiet_NaN()), "");
    const auto day = [&row](const char *stored, const char *expected) {
        row(stored, utcOfDay(QLatin1String(stored)), expected);
    };
    day("-547732800.0", "1983-08-24");
    day("-547732800", "1983-08-24");
    day("-547776000", "1983-08-24"); // midnight
    day("-547783200.0", "1983-08-23T22:00:00Z");
    day("0", "2001-01-01");
    day("-12517545600", "1604-05-03");        // a day without a year
    day("-547732800000000000", "1983-08-24"); // nanoseconds
    day("-547732800.5", "1983-08-24T11:59:59Z");
    day("300000000000", ""); // the year 11476
    day("1e20", "");
    day("", "");
    day("May 1983", "");
    day("nan", "");
    day("-inf", "");
    day("1e300", "");
    day("-63113904001", ""); // the last second before the year 1
}

void TestCliParts::times()
{
    QFETCH(QString, shown);
    QTEST(shown, "expected");
}

void TestCliParts::eventsAndRemindersAsText()
{
    QCborMap event = calendarMap({QStringLiteral("Dentist"), QStringLiteral("Room 4"), QString(),
                                  356400000, 356403600.25, 0});
    QCOMPARE(calendarRows(event),
             TextRows{(
                 QStringList{QStringLiteral("2012-04-18T00:00:00Z"), QStringLiteral("356400000"),
                             QStringLiteral("2012-04-18T01:00:00Z"), QStringLiteral("356403600.25"),
                             QStringLiteral("Dentist"), QStringLiteral("Room 4")})});
    event[QStringLiteral("allDay")] = 1;
    QCOMPARE(calendarRows(event).first().at(0), QStringLiteral("2012-04-18"));
    // No midnight of this day: which day it was there is not known.
    QCOMPARE(calendarRows(event).first().at(2), QStringLiteral("2012-04-18T01:00:00Z"));
    const QCborMap day = calendarMap({QString(), QString(), QString(), 0, 356486399, 1});
    QCOMPARE(calendarRows(day).first().at(2), QStringLiteral("2012-04-18"));
    const QCborMap reminder = reminderMap(
        {QStringLiteral("Milk"), QString(), QStringLiteral("Shopping"), QString(), 0, 1e15, 9});
    QCOMPARE(
        reminderRows(reminder),
        TextRows{(QStringList{QString(), QString(), QString(), QStringLiteral("1000000000000000"),
                              QStringLiteral("Shopping"), QStringLiteral("Milk")})});
}

void TestCliParts::printableTextIsHarmless_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("shown");

    const auto row = [](const char *name, const char *text, const char *shown) {
        QTest::newRow(name) << text << shown;
    };
    row("plain", "Ana Жé日本 \U0001F600", "Ana Жé日本 \U0001F600");
    row("combining", "e\u0301", "e\u0301");
    row("colour", "\u001b[31mred", "\\u{1B}[31mred");
    row("one-character sequence start", "\u009b31m", "\\u{9B}31m");
    row("line break", "a\r\nb", "a\\u{D}\\u{A}b");
    row("delete", "a\u007f", "a\\u{7F}");
    row("override", "\u202egnp", "\\u{202E}gnp");
    row("isolate", "\u2066a\u2069", "\\u{2066}a\\u{2069}");
    row("line separator", "a\u2028b", "a\\u{2028}b");
    row("family", "\U0001F468\u200d\U0001F469", "\U0001F468\u200d\U0001F469");
    row("zero width", "a\u200bb", "a\\u{200B}b");
    row("invisible tag", "\U000E0041", "\\u{E0041}");
    QTest::newRow("lone surrogate") << QString(QChar(0xDC00)) << "\uFFFD";
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

    QTest::newRow("empty") << QString() << "      ";
    QTest::newRow("narrow") << "Жöß"
                            << "Жöß   ";
    QTest::newRow("wide") << "日本"
                          << "日本  ";
    QTest::newRow("full-width") << "Ａ"
                                << "Ａ    ";
    QTest::newRow("pictograph") << "\U0001F600a"
                                << "\U0001F600a   ";
    QTest::newRow("combining") << "e\u0301"
                               << "e\u0301     ";
    QTest::newRow("too long") << "1234567"
                              << "1234567";
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
    {
        ConsoleProgress progress(terminal.get(), 1);
        progress.begin(1, 1);
        for (int i = 0; i < 100; ++i) {
            QVERIFY(progress.reportProgress(progress.progressValue() / 100));
        }
        progress.scanDone();
    }
    QCOMPARE(contentsOf(terminal.get()), QByteArray());
}

void TestCliParts::progressIsDrawnSeldomAndErased()
{
    const File terminal(std::tmpfile(), std::fclose);
    QVERIFY(terminal != nullptr);
    {
        ConsoleProgress progress(terminal.get(), 1);
        progress.begin(1, 1);
        QElapsedTimer timer;
        timer.start();
        // Twice the weight in all: a bar must not run over its end.
        progress.reportProgress(2 * progress.progressValue());
        while (timer.elapsed() < 900) {
            progress.reportProgress(0);
            QTest::qSleep(5);
        }
        const QByteArray drawn = contentsOf(terminal.get());
        const int draws = drawn.count('\r');
        QVERIFY2(draws >= 1 && draws <= 5, QByteArray::number(draws).constData());
        QVERIFY2(lineShown(drawn).endsWith("] 100%"), drawn.constData());
        QCOMPARE(lineShown(drawn).size(), 47);
        std::fseek(terminal.get(), 0, SEEK_END);
        progress.scanDone();
    }
    QCOMPARE(lineShown(contentsOf(terminal.get())), QByteArray());
    QVERIFY(contentsOf(terminal.get()).endsWith('\r'));
}

/// One bar for a run: a small file is a small part of it, however its scan reports.
void TestCliParts::progressIsWeighted()
{
    const File terminal(std::tmpfile(), std::fclose);
    QVERIFY(terminal != nullptr);
    ConsoleProgress progress(terminal.get(), 1000);
    progress.begin(100, 4);
    QCOMPARE(progress.progressValue(), 25.0);
    progress.reportProgress(7000); // more than its share
    progress.scanDone();
    progress.begin(900, 1);
    QTest::qSleep(600);
    progress.reportProgress(450);
    QVERIFY2(lineShown(contentsOf(terminal.get())).endsWith("]  55%"),
             contentsOf(terminal.get()).constData());
}

void TestCliParts::progressNeedsATerminal()
{
    ConsoleProgress progress(nullptr, 1);
    progress.begin(1, 1);
    QTest::qSleep(600);
    QVERIFY(progress.reportProgress(50));
    progress.scanDone();
}

QTEST_APPLESS_MAIN(TestCliParts)
#include "tst_cliparts.moc"
