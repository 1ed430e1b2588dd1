// The HTML report as it is written; what a browser makes of it is tested on its own.

#include "api/bookmarkrecord.h"
#include "api/callhistoryrecord.h"
#include "api/messagegrouprecord.h"
#include "api/noterecord.h"
#include "api/personrecord.h"
#include "api/whatsappchatrecord.h"
#include "cli/htmlprinter.h"
#include "cli/recordmaps.h"
#include "tests/support/reportfixture.h"
#include "tests/support/words.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSet>
#include <QtTest>

namespace {

QByteArray between(const QByteArray &begin, const QByteArray &end, const QByteArray &text)
{
    const int from = text.indexOf(begin) + begin.size();
    return text.mid(from, text.indexOf(end, from) - from);
}

/// The entries of a section, of all pieces that they are written in.
QJsonArray entriesOf(const QByteArray &section, const QByteArray &html)
{
    const QByteArray begin = "<script type=\"application/json\" data-section=\"" + section + "\">";
    QJsonArray entries;
    for (int at = html.indexOf(begin); at >= 0; at = html.indexOf(begin, at + 1)) {
        const QJsonArray piece =
            QJsonDocument::fromJson(between(begin, "</script>", html.mid(at))).array();
        for (const auto &entry : piece) {
            entries.append(entry);
        }
    }
    return entries;
}

/// A cell of a table, or of a message.
QString cellOf(const QByteArray &section, int entry, int cell, const QByteArray &html)
{
    return entriesOf(section, html).at(entry).toArray().at(cell).toString();
}

QByteArray hashSource(const QByteArray &content)
{
    return "'sha256-" + QCryptographicHash::hash(content, QCryptographicHash::Sha256).toBase64()
           + '\'';
}

CallhistoryRecord callAt(qint64 date)
{
    return {QStringLiteral("5551234"), date, 1, 0};
}

QByteArray timelineOf(const QVector<qint64> &dates)
{
    ReportFixture fixture;
    QVector<QCborMap> calls;
    for (const qint64 date : dates) {
        calls.append(callMap(callAt(date)));
    }
    fixture.add(ScanTypeCallHistory, QStringLiteral("calls"), "call", calls);
    return between("<figure class=\"timeline\">", "</figure>", htmlOf(fixture.report));
}

QStringList textsIn(const QByteArray &begin, const QByteArray &svg)
{
    QStringList texts;
    for (int at = svg.indexOf(begin); at >= 0; at = svg.indexOf(begin, at + 1)) {
        texts.append(QString::fromUtf8(between(">", "</", svg.mid(at))));
    }
    return texts;
}

} // namespace

class HtmlReport : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void policyAllowsOurScriptAndStyleAlone();
    void noForeignMarkup();
    void entries();
    void nothingIsLeftOut();
    void textsOfMessages();
    void whatTextsDoNotShow();
    void piecesOfManyRecords();
    void summary();
    void timeline_data();
    void timeline();
    void timesBesideTheTimeline();
};

void HtmlReport::policyAllowsOurScriptAndStyleAlone()
{
    const QByteArray html = htmlOf(ReportFixture().report);
    const QByteArray policy = between("Content-Security-Policy\" content=\"", "\"", html);
    QCOMPARE(policy, "default-src 'none'; script-src "
                         + hashSource(between("<script>", "</script>", html)) + "; style-src "
                         + hashSource(between("<style>", "</style>", html))
                         + "; base-uri 'none'; form-action 'none'");
    QVERIFY(html.indexOf("Content-Security-Policy") < html.indexOf("<title>"));
    QVERIFY(!html.contains("{{"));
    QVERIFY(!html.contains("http://") && !html.contains("https://"));
}

// Text that anybody may have written adds no character that HTML knows.
void HtmlReport::noForeignMarkup()
{
    const auto pageWith = [](const QString &text) {
        ReportFixture fixture;
        addEveryKind(&fixture, text);
        fixture.report.source = text;
        fixture.report.device = {text, text, text, QString()};
        fixture.report.databases.first().problem = text;
        fixture.report.databases.first().remark = text;
        return htmlOf(fixture.report);
    };
    const QByteArray harmless = pageWith(QStringLiteral("text"));
    const QByteArray hostile =
        pageWith(QStringLiteral("\"'</script><!--&lt;\u202E\u2028{{script}}"));
    QVERIFY(hostile.size() > harmless.size());
    for (const char c : {'<', '>'}) {
        QCOMPARE(hostile.count(c), harmless.count(c));
    }
    QVERIFY(!hostile.contains("\u202E") && !hostile.contains("\u2028"));
}

void HtmlReport::entries()
{
    ReportFixture fixture;
    addEveryKind(&fixture, QStringLiteral("text "));
    const QByteArray html = htmlOf(fixture.report);
    QCOMPARE(cellOf("calls", 0, 1, html), QStringLiteral("2014-01-08T20:21:23Z"));
    QCOMPARE(cellOf("calls", 0, 2, html), QStringLiteral("1389212483"));
    QCOMPARE(entriesOf("contacts", html).size(), 2);
    QCOMPARE(entriesOf("notes", html).size(), 2); // of both kinds of notes
    const QJsonArray messages = entriesOf("messages", html);
    QCOMPARE(messages.size(), 6); // two conversations of two messages
    QVERIFY(messages.at(0).isObject() && messages.at(3).isObject());
    QCOMPARE(messages.at(1).toArray().at(0).toBool(), false);
    QCOMPARE(messages.at(2).toArray().at(0).toBool(), true);
}

/// Of every text of every kind: what is left out is left out on purpose.
void HtmlReport::nothingIsLeftOut()
{
    ReportFixture fixture;
    addEveryKind(&fixture, QStringLiteral("text "));
    QSet<int> shown;
    const QString html = QString::fromUtf8(htmlOf(fixture.report));
    QRegularExpressionMatchIterator texts =
        QRegularExpression(QStringLiteral("text ([0-9]+)")).globalMatch(html);
    while (texts.hasNext()) {
        shown.insert(texts.next().captured(1).toInt());
    }
    const int last = *std::max_element(shown.cbegin(), shown.cend());
    QVector<int> missing;
    for (int number = 1; number <= last; ++number) {
        if (!shown.contains(number)) {
            missing.append(number);
        }
    }
    // Names of the parts of values, of two persons; of messages guid, service and receiver; of
    // conversations the service, and the identifier where there is a name.
    QCOMPARE(missing, (QVector<int>{19,  23,  27,  31,  35,  39,  43,  47,  51,  71,  75,
                                    79,  83,  87,  91,  95,  99,  103, 106, 110, 114, 115,
                                    119, 121, 122, 126, 130, 131, 135, 142, 146}));
}

/// As a device stores them, which is not as they fit into a line.
void HtmlReport::textsOfMessages()
{
    WhatsappChatRecord chat;
    chat.messages.append(new WhatsappMessageItem);
    chat.messages.first()->text = QStringLiteral("a\r\nb\tc");
    MessageGroupRecord group;
    group.participants = {{QStringLiteral("5551"), QString(), QString()},
                          {QStringLiteral("5552"), QStringLiteral("SMS"), QStringLiteral("us")}};
    group.messages.append(MessageItem());
    MessageGroupRecord room = group;
    room.chatIdentifier = QStringLiteral("chat1");
    room.roomName = QStringLiteral("The room");
    ReportFixture fixture;
    fixture.add(ScanTypeWhatsapp, QStringLiteral("a"), "whatsapp", {whatsappMap(chat)});
    fixture.add(ScanTypeMessages, QStringLiteral("b"), "messageGroup",
                {messageGroupMap(group), messageGroupMap(room)});
    const QByteArray html = htmlOf(fixture.report);
    QCOMPARE(cellOf("whatsapp-messages", 1, 4, html), QStringLiteral("a\nb\tc"));
    const QJsonArray groups = entriesOf("messages", html);
    QCOMPARE(groups.at(0).toObject().value(QLatin1String("title")).toString(),
             QStringLiteral("5551, 5552 (SMS, us)"));
    QCOMPARE(groups.at(2).toObject().value(QLatin1String("title")).toString(),
             QStringLiteral("The room"));
}

void HtmlReport::whatTextsDoNotShow()
{
    PersonRecord person;
    person.modificationDate = 600000000;
    ReportFixture fixture;
    fixture.add(ScanTypeContacts, QStringLiteral("a"), "contact", {personMap(person)});
    fixture.add(ScanTypeBookmarks, QStringLiteral("b"), "bookmark", {bookmarkMap({{}, {}, 42})});
    fixture.add(ScanTypeNotes, QStringLiteral("c"), "note",
                {noteMap({0, QStringLiteral("a"), QStringLiteral("a\nb  c")})});
    const QByteArray html = htmlOf(fixture.report);
    QVERIFY(html.contains("<title>2020-01: 1 record</title>"));
    QVERIFY(entriesOf("notes", html).at(0).toArray().contains(QStringLiteral("a\nb  c")));
    QCOMPARE(entriesOf("bookmarks", html).at(0).toArray().last().toString(), QStringLiteral("42"));
}

void HtmlReport::piecesOfManyRecords()
{
    constexpr unsigned Count = 20000;
    ReportFixture fixture;
    fixture.add(ScanTypeCallHistory, QStringLiteral("calls"), "call", Count,
                [](unsigned index) { return callMap(callAt(1200000000 + index)); });
    const QByteArray html = htmlOf(fixture.report);
    const QJsonArray calls = entriesOf("calls", html);
    QCOMPARE(calls.size(), int(Count));
    QCOMPARE(calls.last().toArray().at(2).toString(), QString::number(1200000000 + Count - 1));
    QVERIFY(html.count("data-section=\"calls\"") > 4);
}

void HtmlReport::summary()
{
    ReportFixture fixture;
    addEveryKind(&fixture, QStringLiteral("text "));
    fixture.report.wasStopped = true;
    fixture.report.warnings.append(QStringLiteral("no index <b>"));
    fixture.report.databases[0].sha256 = QByteArray(32, '\x5A');
    fixture.report.databases[0].size = 123456789;
    fixture.report.databases[1].problem = QStringLiteral("looks encrypted");
    const QByteArray html = htmlOf(fixture.report);
    QVERIFY(html.contains("The scan was stopped"));
    QVERIFY(html.contains("<bdi>no index &lt;b&gt;</bdi>"));
    QVERIFY(html.contains("1 of "));
    QVERIFY(html.contains("123,456,789"));
    QVERIFY(html.contains(QByteArray(64, '5').replace("55", "5a")));
    QVERIFY(html.contains("looks encrypted"));
    QVERIFY(html.contains("<tr class=\"total\"><td>All</td><td class=\"amount\">18</td></tr>"));
    QVERIFY(html.contains("In 2 conversations."));
}

void HtmlReport::timeline_data()
{
    QTest::addColumn<QVector<qint64>>("dates");
    QTest::addColumn<QStringList>("bars");
    QTest::addColumn<QStringList>("years");

    QTest::newRow("one month") << QVector<qint64>{1389212483, 1389212484}
                               << QStringList{QStringLiteral("2014-01: 2 records")}
                               << words("2013-08 2014");
    QTest::newRow("25 years") << QVector<qint64>{978307200, 1767139200 - 86400 * 1300}
                              << QStringList{QStringLiteral("2001-01: 1 record"),
                                             QStringLiteral("2022-06: 1 record")}
                              << words("2002 2004 2006 2008 2010 2012 2014 2016 2018 2020 2022");
}

void HtmlReport::timeline()
{
    QFETCH(QVector<qint64>, dates);
    const QByteArray figure = timelineOf(dates);
    QTEST(textsIn("<title>", figure), "bars");
    QTEST(textsIn("<text class=\"year\"", figure), "years");
}

// One wrong time would otherwise press all others into a corner.
void HtmlReport::timesBesideTheTimeline()
{
    const QByteArray figure = timelineOf({1389212483, 0, 5, 4000000000, 1700000000});
    QCOMPARE(textsIn("<title>", figure), QStringList{QStringLiteral("2014-01: 1 record")});
    QCOMPARE(textsIn("<p class=\"beside\"", figure),
             QStringList{QStringLiteral("Not in the picture: 1 without a time, 1 before 2001, "
                                        "2 later than 2022-10-03.")});
    QVERIFY(timelineOf({}).contains("No record has a time"));
}

QTEST_GUILESS_MAIN(HtmlReport)
#include "tst_htmlreport.moc"
