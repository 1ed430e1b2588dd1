// The HTML report as people meet it: in a browser. Pictures and a print of the reports stay in the
// folder reportpictures of the build. With SQLITERECOVERY_REPORT_PICTURE=docs/report.png the
// picture of the README is taken anew.

#include "api/callhistoryrecord.h"
#include "api/messagegrouprecord.h"
#include "cli/htmltext.h"
#include "cli/recordmaps.h"
#include "tests/support/browser.h"
#include "tests/support/reportfixture.h"
#include "tests/support/testfiles.h"

#include <QCborArray>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QtTest>

namespace {

constexpr unsigned ManyCalls = 40000;
constexpr unsigned ManyConversations = 300;
constexpr int MessagesOfConversation = 200;
constexpr double LongestTask = 300; // milliseconds

const char *const PageIsReady = "return document.body.dataset.state === 'ready';";
const char *const OpenDetails =
    "document.querySelectorAll('details').forEach((d) => { d.open = true; });";

/// The records of a kind as the library has them: messages where they are conversations.
int itemsOf(const RecordKind &kind)
{
    int items = 0;
    for (unsigned i = 0; i < kind.count(); ++i) {
        const QCborValue messages = kind.record(i).value(QLatin1String("messages"));
        items += messages.isArray() ? int(messages.toArray().size()) : 1;
    }
    return items;
}

/// By the heading of their section.
QMap<QString, int> itemsByHeading(const Report &report)
{
    QMap<QString, int> items;
    for (const ScannedDatabase &database : report.databases) {
        for (const RecordKind &kind : database.results.kinds) {
            const int count = itemsOf(kind);
            if (count > 0) {
                items[QLatin1String(kind.heading)] += count;
            }
        }
    }
    return items;
}

/// The last cells of the rows of a kind, sorted, as they are to be seen.
QStringList lastCells(const Report &report, const char *name)
{
    QStringList texts;
    for (const ScannedDatabase &database : report.databases) {
        for (const RecordKind &kind : database.results.kinds) {
            for (unsigned i = 0; qstrcmp(kind.name, name) == 0 && i < kind.count(); ++i) {
                for (const QStringList &row : kind.rows(kind.record(i))) {
                    texts.append(printableLines(row.last()).simplified());
                }
            }
        }
    }
    texts.sort();
    return texts;
}

QCborMap manyCall(unsigned index)
{
    const QString address =
        QStringLiteral("+1555%1").arg(index * 7919 % ManyCalls, 7, 10, QLatin1Char('0'));
    return callMap(
        {address, 1200000000 + qint64(index) * 4001, qint32(index % 3600), qint32(index % 2)});
}

QCborMap manyMessages(unsigned index)
{
    MessageGroupRecord group;
    group.chatIdentifier = QStringLiteral("friend%1@example.com").arg(index);
    for (int i = 0; i < MessagesOfConversation; ++i) {
        MessageItem message;
        message.date = 400000000 + qint64(index) * 900000 + i * 3600;
        message.isFromMe = i % 2;
        message.address = group.chatIdentifier;
        message.text = i == 100 ? QStringLiteral("the needle of %1").arg(index)
                                : QStringLiteral("See you at the station, platform %1").arg(i);
        group.messages.append(message);
    }
    return messageGroupMap(group);
}

} // namespace

class ReportInBrowser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void sampleBackup();
    void filter();
    void filterOfTheAddress();
    void sorting();
    void hostileText_data();
    void hostileText();
    void manyRecords();
    void print();
    void pictures();
    void pictureOfTheReadme();

private:
    bool openReport(const Report &report, const QString &hash = QString());
    void openSample(const QString &hash = QString());
    QJsonValue run(const char *body) { return m_browser.run(body); }
    QMap<QString, int> countsShown();
    QStringList callsShown();
    QStringList textsShown(const char *selector);
    QJsonArray structure();
    double longestTask();
    void keepPicture(const QString &name);
    void setScheme(const QString &scheme);
    void setWindow(int width, int height);

    QTemporaryDir m_folder;
    Browser m_browser;
    ReportFixture m_sample;
    QDir m_pictures{QStringLiteral(PICTURE_FOLDER)};
};

void ReportInBrowser::initTestCase()
{
    if (!Browser::isInstalled()) {
        QSKIP("Chromium is not installed: scripts/test --with-browser installs it");
    }
    QVERIFY(m_browser.start());
    QVERIFY(m_sample.scanSampleBackup(QStringLiteral(MAKESAMPLE_PROGRAM), m_folder.path()));
    QVERIFY(QDir().mkpath(m_pictures.path()));
}

bool ReportInBrowser::openReport(const Report &report, const QString &hash)
{
    const QString path = m_folder.filePath(QStringLiteral("report.html"));
    QUrl url = QUrl::fromLocalFile(path);
    url.setFragment(hash.isEmpty() ? QString() : hash);
    // A change of the fragment alone would not load the page anew.
    return m_browser.open(QUrl(QStringLiteral("about:blank"))) && writeFile(path, htmlOf(report))
           && m_browser.open(url)
           && QTest::qWaitFor([this] { return run(PageIsReady).toBool(); }, 60000);
}

void ReportInBrowser::openSample(const QString &hash)
{
    QVERIFY(openReport(m_sample.report, hash));
}

QMap<QString, int> ReportInBrowser::countsShown()
{
    const QJsonObject counts =
        run("return Object.fromEntries([...document.querySelectorAll("
            "'section[data-layout]')].map((s) => [s.querySelector('h2').firstChild"
            ".textContent.trim(), parseInt(s.querySelector('.count').textContent"
            ".replaceAll(',', ''))]));")
            .toObject();
    QMap<QString, int> result;
    for (auto it = counts.begin(); it != counts.end(); ++it) {
        result.insert(it.key(), it.value().toInt());
    }
    return result;
}

/// The addresses in the table of calls.
QStringList ReportInBrowser::callsShown()
{
    return run("return [...document.querySelectorAll('#calls tbody tr')]"
               ".map((row) => row.cells[3].textContent);")
        .toVariant()
        .toStringList();
}

/// The texts of the elements, sorted and without line breaks.
QStringList ReportInBrowser::textsShown(const char *selector)
{
    QStringList texts = m_browser
                            .run("return [...document.querySelectorAll(arguments[0])]"
                                 ".map((n) => n.textContent);",
                                 {QLatin1String(selector)})
                            .toVariant()
                            .toStringList();
    for (QString &text : texts) {
        text = text.simplified();
    }
    texts.sort();
    return texts;
}

// All that is shown: what was recovered must be there, each record once.
void ReportInBrowser::sampleBackup()
{
    openSample();
    const QMap<QString, int> expected = itemsByHeading(m_sample.report);
    QVERIFY(expected.size() >= 10);
    QCOMPARE(countsShown(), expected);

    run(OpenDetails);
    QTest::qWait(200);
    run("for (let i = 0; i < 20; ++i) {"
        "    document.querySelectorAll('button.more:not([hidden])')"
        "        .forEach((b) => b.click()); }");
    const QJsonObject shown =
        run("return Object.fromEntries([...document.querySelectorAll("
            "'section[data-layout]')].map((s) => [s.querySelector('h2').firstChild"
            ".textContent.trim(), s.querySelectorAll('tbody tr, .card, .bubble')"
            ".length]));")
            .toObject();
    for (auto it = expected.begin(); it != expected.end(); ++it) {
        QCOMPARE(shown.value(it.key()).toInt(), it.value());
    }
    QCOMPARE(textsShown("#calls td:nth-child(4)"), lastCells(m_sample.report, "call"));
    QCOMPARE(textsShown("#messages .text"), lastCells(m_sample.report, "messageGroup"));
    QCOMPARE(textsShown("#whatsapp-messages .text"), lastCells(m_sample.report, "whatsapp"));
}

void ReportInBrowser::filter()
{
    openSample();
    const QMap<QString, int> all = countsShown();
    const QStringList addresses = callsShown();
    const QString address = addresses.first();
    QVERIFY(m_browser.type("#filter", address.toUpper()));
    QTRY_COMPARE(countsShown().value(QStringLiteral("Calls")), addresses.count(address));
    QVERIFY(addresses.count(address) < all.value(QStringLiteral("Calls")));
    QTRY_VERIFY(run(PageIsReady).toBool());
    QCOMPARE(callsShown(),
             QStringList(QVector<QString>(addresses.count(address), address).toList()));
    QVERIFY(run("return location.hash;").toString().startsWith(QLatin1String("#filter=")));
    QVERIFY(run("return document.getElementById('status').textContent;")
                .toString()
                .contains(QLatin1String(" of ")));

    // Every word counts, in whatever order.
    run("document.getElementById('filter').value = '';");
    QVERIFY(m_browser.type("#filter", QStringLiteral("no-such-word ") + address));
    QTRY_COMPARE(countsShown().values(), QVector<int>(all.size(), 0).toList());
}

void ReportInBrowser::filterOfTheAddress()
{
    openSample(QStringLiteral("filter=50% of it"));
    QCOMPARE(run("return document.getElementById('filter').value;").toString(),
             QStringLiteral("50% of it"));
    openSample(QStringLiteral("filter=facetime"));
    const QMap<QString, int> counts = countsShown();
    QVERIFY(counts.value(QStringLiteral("Calls")) > 0);
    QVERIFY(counts.value(QStringLiteral("Calls"))
            < itemsByHeading(m_sample.report).value(QStringLiteral("Calls")));
}

// By the mouse and by the keyboard; numbers as numbers, whatever the length of their text.
void ReportInBrowser::sorting()
{
    ReportFixture fixture;
    fixture.add(ScanTypeCallHistory, QStringLiteral("calls"), "call",
                {callMap({QStringLiteral("b10"), 1389212483, 86, 0}),
                 callMap({QStringLiteral("\u00C4rger"), 999999999, 7, 0}),
                 callMap({QStringLiteral("b9"), 1389212484, 4000, 0})});
    QVERIFY(openReport(fixture.report));
    QVERIFY(m_browser.click("#calls th:nth-child(1) button"));
    QTRY_COMPARE(callsShown(), QStringList({QStringLiteral("\u00C4rger"), QStringLiteral("b10"),
                                            QStringLiteral("b9")}));
    QVERIFY(m_browser.type("#calls th:nth-child(4) button", QStringLiteral("\uE007")));
    QTRY_COMPARE(callsShown(), QStringList({QStringLiteral("\u00C4rger"), QStringLiteral("b9"),
                                            QStringLiteral("b10")}));
    QVERIFY(m_browser.type("#calls th:nth-child(4) button", QStringLiteral(" ")));
    QTRY_COMPARE(callsShown().first(), QStringLiteral("b10"));
    QCOMPARE(run("return [...document.querySelectorAll('#calls th')]"
                 ".map((th) => th.getAttribute('aria-sort'));")
                 .toArray(),
             QJsonArray({QJsonValue::Null, QJsonValue::Null, QJsonValue::Null,
                         QStringLiteral("descending")}));
}

/// The elements of the page, each with the names of its attributes.
QJsonArray ReportInBrowser::structure()
{
    run(OpenDetails);
    QTest::qWait(100);
    return run("return [...document.querySelectorAll('*')].map((node) => node.tagName"
               " + [...node.attributes].map((a) => ' ' + a.name).sort().join(''));")
        .toArray();
}

void ReportInBrowser::hostileText_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("markup")
        << "<img src=x onerror=\"window.hit=1;alert(1)\"><svg onload='alert(2)'></svg><b>";
    QTest::newRow("end of the script")
        << "</script></ScRiPt ><script>window.hit=1;alert(3)</script>";
    QTest::newRow("comment") << "<!--<script><!-- --></title></style>]]>";
    QTest::newRow("attributes") << "\" onmouseover=\"alert(4)\" ' autofocus onfocus='alert(5)' x=";
    QTest::newRow("address") << "javascript:alert(6)//https://example.com/a.png ";
    QTest::newRow("template") << "{{script}} ${alert(7)} $& %1 \\u003cb\\u003e \\";
    QString invisible = QStringLiteral("a\u202Eb\u2066c\u2028d\u2029e\uFEFFf\u200Bg\u001Bh");
    invisible += QChar(0) + QString(QChar(0xD83D)) + QLatin1Char('i') + QChar(0xDC00);
    QTest::newRow("invisible") << invisible;
}

void ReportInBrowser::hostileText()
{
    QFETCH(QString, text);
    const auto withText = [](ReportFixture *fixture, const QString &begin) {
        addEveryKind(fixture, begin);
        Report &report = fixture->report;
        report.source = report.device.name = report.device.model = begin;
        report.device.systemVersion = begin;
        report.databases.first().problem = report.databases.first().remark = begin;
    };
    ReportFixture harmless;
    withText(&harmless, QStringLiteral("harmless"));
    QVERIFY(openReport(harmless.report));
    const QJsonArray expected = structure();
    QVERIFY(expected.size() > 300);

    m_browser.log("browser");
    m_browser.log("performance");
    ReportFixture hostile;
    withText(&hostile, text);
    QVERIFY(openReport(hostile.report));
    QCOMPARE(structure(), expected);
    QVERIFY(m_browser.type("#filter", QStringLiteral("alert")));
    QTRY_VERIFY(run(PageIsReady).toBool());

    QVERIFY(m_browser.dialog().isNull());
    QCOMPARE(m_browser.log("browser"), QJsonArray());
    QCOMPARE(run("return typeof window.hit;").toString(), QStringLiteral("undefined"));
    QCOMPARE(run("return document.querySelectorAll('a[href]:not([href^=\"#\"]), [src]')"
                 ".length;")
                 .toInt(),
             0);
    QCOMPARE(run("return [...document.body.textContent].filter((c) => "
                 "/[\\p{Cc}\\p{Cf}\\p{Cs}\\p{Zl}\\p{Zp}]/u.test(c) && c !== '\\n'"
                 " && c !== '\\t').length;")
                 .toInt(),
             0);
    for (const auto &entry : m_browser.log("performance")) {
        const QByteArray event = entry.toObject()[QLatin1String("message")].toString().toUtf8();
        const QJsonValue message = QJsonDocument::fromJson(event)[QLatin1String("message")];
        if (message[QLatin1String("method")] == QLatin1String("Network.requestWillBeSent")) {
            const QString url =
                message[QLatin1String("params")][QLatin1String("request")][QLatin1String("url")]
                    .toString();
            QVERIFY2(url.endsWith(QLatin1String("/report.html"))
                         || url == QLatin1String("about:blank"),
                     qPrintable(url));
        }
    }
}

/// How long the page has kept the browser waiting, in milliseconds; 0 when no wait was worth
/// noting.
double ReportInBrowser::longestTask()
{
    QTest::qWait(200);
    return run("return Math.max(0, ...window.tasks);").toDouble();
}

void ReportInBrowser::manyRecords()
{
    ReportFixture fixture;
    fixture.add(ScanTypeMessages, QStringLiteral("sms.db"), "messageGroup", ManyConversations,
                manyMessages);
    fixture.add(ScanTypeCallHistory, QStringLiteral("call_history.db"), "call", ManyCalls,
                manyCall);
    QElapsedTimer timer;
    timer.start();
    QVERIFY(openReport(fixture.report));
    qInfo("written and opened: %lld ms", timer.elapsed());
    QCOMPARE(countsShown().values(), QList<int>({int(ManyCalls), 60000}));
    run("window.tasks = []; new PerformanceObserver((list) => window.tasks.push("
        "...list.getEntries().map((e) => e.duration)))"
        ".observe({ type: 'longtask', buffered: true });");

    timer.restart();
    QVERIFY(m_browser.type("#filter", QStringLiteral("needle")));
    QTRY_COMPARE(countsShown().values(), QList<int>({0, int(ManyConversations)}));
    qInfo("typed and filtered: %lld ms", timer.restart());
    run("const box = document.getElementById('filter'); box.value = '';"
        "box.dispatchEvent(new Event('input'));");
    QTRY_COMPARE(countsShown().values(), QList<int>({int(ManyCalls), 60000}));
    QVERIFY(m_browser.click("#calls th:nth-child(4) button"));
    QTRY_COMPARE(callsShown().value(1), QStringLiteral("+15550000001"));
    qInfo("shown again and sorted: %lld ms", timer.restart());
    run("window.scrollTo(0, document.body.scrollHeight);"
        "document.querySelector('#calls button.more').click();");
    QCOMPARE(callsShown().size(), 700);

    const double longest = longestTask();
    qInfo("longest task above 50 ms: %.0f ms", longest);
    QVERIFY2(longest < LongestTask, qPrintable(QString::number(longest)));

    // A page that freezes would have been noticed.
    run("setTimeout(() => { const end = performance.now() + 400;"
        "while (performance.now() < end) { } }, 0);");
    QTest::qWait(600);
    QVERIFY(longestTask() > LongestTask);
}

void ReportInBrowser::print()
{
    ReportFixture fixture;
    fixture.add(ScanTypeCallHistory, QStringLiteral("call_history.db"), "call", 6000, manyCall);
    QVERIFY(openReport(fixture.report));
    run("window.dispatchEvent(new Event('beforeprint'));");
    QCOMPARE(callsShown().size(), 5000);
    QVERIFY(run("return document.getElementById('print-note').textContent;")
                .toString()
                .contains(QLatin1String("1,000 are left out")));
    run("window.dispatchEvent(new Event('afterprint'));");
    QCOMPARE(callsShown().size(), 200);

    openSample();
    const QByteArray pdf =
        QByteArray::fromBase64(m_browser.devTools("Page.printToPDF", QJsonObject())
                                   .value(QStringLiteral("data"))
                                   .toString()
                                   .toLatin1());
    QVERIFY(pdf.startsWith("%PDF"));
    QVERIFY(writeFile(m_pictures.filePath(QStringLiteral("print.pdf")), pdf));
}

void ReportInBrowser::keepPicture(const QString &name)
{
    const QByteArray picture = m_browser.screenshot();
    QVERIFY(picture.size() > 10000);
    QVERIFY(writeFile(m_pictures.filePath(name), picture));
}

void ReportInBrowser::setScheme(const QString &scheme)
{
    const QJsonObject feature{{QStringLiteral("name"), QStringLiteral("prefers-color-scheme")},
                              {QStringLiteral("value"), scheme}};
    m_browser.devTools("Emulation.setEmulatedMedia",
                       {{QStringLiteral("features"), QJsonArray{feature}}});
}

void ReportInBrowser::setWindow(int width, int height)
{
    m_browser.devTools("Emulation.setDeviceMetricsOverride",
                       {{QStringLiteral("width"), width},
                        {QStringLiteral("height"), height},
                        {QStringLiteral("deviceScaleFactor"), 1},
                        {QStringLiteral("mobile"), width < 600}});
}

// For people to look at; what can be measured of them is.
void ReportInBrowser::pictures()
{
    openSample();
    const char *open = "for (const id of ['messages', 'whatsapp-messages']) {"
                       "document.querySelector(`#${id} details`).open = true; }";
    for (const int width : {1280, 390}) {
        for (const char *scheme : {"light", "dark"}) {
            setWindow(width, 900);
            setScheme(QLatin1String(scheme));
            run(open);
            for (const char *id : {"summary", "databases", "contacts", "messages", "calls",
                                   "calendar-events", "notes"}) {
                m_browser.run("document.getElementById(arguments[0])"
                              ".scrollIntoView();",
                              {QLatin1String(id)});
                keepPicture(QStringLiteral("%1-%2-%3.png")
                                .arg(width)
                                .arg(QLatin1String(scheme), QLatin1String(id)));
            }
            QVERIFY(run("return document.documentElement.scrollWidth "
                        "<= window.innerWidth;")
                        .toBool());
        }
    }
}

void ReportInBrowser::pictureOfTheReadme()
{
    const QString path = qEnvironmentVariable("SQLITERECOVERY_REPORT_PICTURE");
    if (path.isEmpty()) {
        return;
    }
    setScheme(QStringLiteral("light"));
    setWindow(1280, 980);
    m_browser.devTools("Emulation.setScrollbarsHidden", {{QStringLiteral("hidden"), true}});
    // The report with which the demo ends.
    const QString report = QFileInfo(QStringLiteral("build/demo/report.html")).absoluteFilePath();
    QVERIFY(m_browser.open(QUrl::fromLocalFile(report)));
    QVERIFY(QTest::qWaitFor([this] { return run(PageIsReady).toBool(); }, 60000));
    QVERIFY(writeFile(path, m_browser.screenshot()));
}

QTEST_GUILESS_MAIN(ReportInBrowser)
#include "tst_reportinbrowser.moc"
