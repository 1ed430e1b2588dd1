#include "recoverers/calendar_notes_safari/noteassembler.h"
#include "recoverers/calendar_notes_safari/notehtml.h"
#include "samples/samplerandom.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

namespace {

NoteRow note(const char *title, const char *summary, qint32 date = 1, bool isIncomplete = false)
{
    return {QString::fromUtf8(title), QString::fromUtf8(summary), date, isIncomplete};
}

NoteBody body(const char *content, bool isCut = false)
{
    return {QString::fromUtf8(content), isCut};
}

QStringList toText(const QVector<NoteRecord> &notes)
{
    QStringList texts;
    for (const NoteRecord &one : notes) {
        texts << QStringLiteral("%1|%2|%3").arg(one.date).arg(one.title, one.content);
    }
    return texts;
}

bool always()
{
    return true;
}

} // namespace

Q_DECLARE_METATYPE(CarvedNotes)
Q_DECLARE_METATYPE(LiveNotes)

/// How rows become notes, and HTML becomes text.
class TestNoteAssembler : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void notes_data();
    void notes();
    void ios9Notes();
    void stopsWhenTold();
    void plainText_data();
    void plainText();
    void longTextInPieces_data();
    void longTextInPieces();
    void readsNoFiles_data();
    void readsNoFiles();
    void hostileHtmlTakesNoLongTime_data();
    void hostileHtmlTakesNoLongTime();
};

void TestNoteAssembler::initTestCase()
{
    // Nothing here may need a display, a platform plug-in or an application.
    qunsetenv("DISPLAY");
    qunsetenv("WAYLAND_DISPLAY");
    qputenv("QT_QPA_PLATFORM", "none");
    QVERIFY(!QCoreApplication::instance());
}

void TestNoteAssembler::notes_data()
{
    QTest::addColumn<CarvedNotes>("carved");
    QTest::addColumn<LiveNotes>("live");
    QTest::addColumn<QStringList>("expected");
    const auto row = [](const char *name, const CarvedNotes &carved, const char *expected,
                        const LiveNotes &live = LiveNotes()) {
        const QString lines = QString::fromUtf8(expected);
        QTest::newRow(name) << carved << live << lines.split(QLatin1Char(';'), Qt::SkipEmptyParts);
    };
    row("no body", {{note("A", "milk")}, {}}, "1|A|milk");
    row("neither body nor summary", {{note("A", "")}, {}}, "1|A|A");
    row("body", {{note("A", "milk")}, {body("A<div>milk</div><div>tea</div>")}},
        "1|A|A\nmilk\ntea");
    row("title in other letters", {{note("a", "milk")}, {body("A<div>tea</div>")}},
        "1|a|milk;0|A|A\ntea");
    row("first of two notes takes the body",
        {{note("A", "milk"), note("A", "tea", 2)}, {body("A<div>tea</div>")}},
        "1|A|A\ntea;2|A|tea");
    row("first of two bodies", {{note("A", "x")}, {body("A<div>1</div>"), body("A<div>2</div>")}},
        "1|A|A\n1;0|A|A\n2");
    row("order of the bodies, whatever the summary",
        {{note("A", "2"), note("A", "1", 2)}, {body("A<div>1</div>"), body("A<div>2</div>")}},
        "1|A|A\n1;2|A|A\n2");
    row("copies of a body", {{note("A", "1")}, {body("A<br>1"), body("A<br>1")}},
        "1|A|A\n1;0|A|A\n1");
    row("three bodies with one title",
        {{note("A", "x"), note("A", "y")}, {body("A<br>1"), body("A<br>2"), body("A<br>3")}},
        "1|A|A\n1;1|A|A\n2;0|A|A\n3");
    row("copies of one note",
        {{note("A", "1"), note("A", "1")}, {body("A<div>1</div>"), body("A<div>1</div>")}},
        "1|A|A\n1");
    row("bodies without notes", {{}, {body("A<br>1"), body("B"), body("B")}}, "0|A|A\n1;0|B|B");
    row("empty lines in front of the title", {{note("A", "x")}, {body("<br><br>A<br>1")}},
        "1|A|\n\nA\n1");
    row("nothing but empty lines", {{note("\n", "")}, {body("<br><br>")}}, "1|\n|\n");
    row("bodies without text", {{}, {body("<div><br></div>"), body("")}}, "0||");
    row("copy of a live row", {{note("A", "1"), note("A", "1", 2)}, {}}, "2|A|1",
        {{note("A", "1")}, {}});
    row("copy of a live body", {{}, {body("A"), body("B")}}, "0|B|B", {{}, {QStringLiteral("A")}});
    row("copy of a live body in front of a deleted one",
        {{note("A", "x", 2)}, {body("A<br>1"), body("A<br>2")}}, "2|A|A\n2",
        {{}, {QStringLiteral("A<br>1")}});
    row("copy of a live body that goes on as the note", {{note("A", "1", 2)}, {body("A<br>1, 2")}},
        "2|A|A\n1, 2", {{}, {QStringLiteral("A<br>1, 2")}});
    row("copy of another live body", {{note("A", "x", 2)}, {body("A<br>1")}}, "2|A|x",
        {{}, {QStringLiteral("A<br>1")}});
    row("copy of a live body for a note without text", {{note("A", "", 2)}, {body("A<br>1")}},
        "2|A|A", {{}, {QStringLiteral("A<br>1")}});
    row("row without its end", {{note("", "mi", 1, true)}, {body("<br>")}}, "1||mi;0||");
    row("row without its end, whole elsewhere", {{note("", "mi", 1, true), note("A", "milk")}, {}},
        "1|A|milk");
    row("row without its end, another summary", {{note("", "mi", 1, true), note("A", "tea")}, {}},
        "1||mi;1|A|tea");
    row("row without its end, another date", {{note("", "mi", 1, true), note("A", "milk", 2)}, {}},
        "1||mi;2|A|milk");
    row("row without its end, another title", {{note("B", "mi", 1, true), note("A", "milk")}, {}},
        "1|B|mi;1|A|milk");
    row("row without its end, with its title", {{note("A", "mi", 1, true), note("A", "milk")}, {}},
        "1|A|milk");
    row("row without its end, still alive", {{note("", "mi", 1, true)}, {}}, "",
        {{note("A", "milk")}, {}});
    row("body without its end", {{}, {body("A<br>mi", true)}}, "0|A|A\nmi");
    row("body without its end, whole elsewhere", {{}, {body("A<br>mi", true), body("A<br>milk")}},
        "0|A|A\nmilk");
    row("body without its end, equal to a whole one",
        {{note("A", "x")}, {body("A<br>mi", true), body("A<br>mi")}}, "1|A|A\nmi");
    row("two cuts of one body", {{}, {body("A<br>mi", true), body("A<br>m", true)}}, "0|A|A\nmi");
    row("body without its end, still alive", {{}, {body("A<br>mi", true)}}, "",
        {{}, {QStringLiteral("A<br>milk")}});
    row("body without its end, with more than the title",
        {{note("A", "x")}, {body("A<br>mi", true)}}, "1|A|A\nmi");
    row("beginning of a title", {{note("Shopping", "1")}, {body("Shop", true)}}, "1|Shopping|1");
}

void TestNoteAssembler::notes()
{
    QFETCH(CarvedNotes, carved);
    QFETCH(LiveNotes, live);
    QTEST(toText(assembleNotes(live, carved, always)), "expected");
}

void TestNoteAssembler::ios9Notes()
{
    const CarvedNotes carved{{note("A", "1"), note("A", "", 2), note("A", "1"), note("B", "2"),
                              note("A", "mi", 1, true)},
                             {}};
    QCOMPARE(toText(assembleIos9Notes({{note("B", "2"), note("A", "milk")}, {}}, carved)),
             (QStringList{QStringLiteral("1|A|1"), QStringLiteral("2|A|")}));
}

void TestNoteAssembler::stopsWhenTold()
{
    const CarvedNotes carved{{note("A", "1"), note("B", "2")}, {body("C"), body("D")}};
    const auto stoppedAfter = [&carved](int answers) {
        int left = answers;
        return toText(assembleNotes({}, carved, [&left] { return left-- > 0; }));
    };
    // Between the bodies: what was converted is still paired.
    QCOMPARE(stoppedAfter(0), (QStringList{QStringLiteral("1|A|1"), QStringLiteral("1|B|2"),
                                           QStringLiteral("0|C|C")}));
    // Between the notes.
    QCOMPARE(stoppedAfter(1), QStringList(QStringLiteral("1|A|1")));
    QCOMPARE(stoppedAfter(2).size(), 4);
}

void TestNoteAssembler::plainText_data()
{
    QTest::addColumn<QString>("html");
    QTest::addColumn<QString>("text");
    const auto row = [](const char *name, const char *html, const char *text) {
        QTest::newRow(name) << QString::fromUtf8(html) << QString::fromUtf8(text);
    };
    row("nothing", "", "");
    row("divisions", "<div>Shopping</div><div>milk<br></div>", "Shopping\nmilk");
    row("empty line", "A<div><br></div><div>B</div>", "A\n\nB");
    row("entities", "1 &lt; 2 &amp; 3", "1 < 2 & 3");
    row("sign in a sentence", "1 < 2 and 3<4", "1 < 2 and 3<4");
    row("tag without end", "A<br>B <b", "A\nB ");
    row("emphasis", "A <b>B</b> <i>C</i>", "A B C");
    row("headings", "<h1>A</h1><h2>B</h2>", "A\nB");
    row("lists", "A<ul><li>B</li><li>C</li></ul>", "A\nB\nC");
    row("paragraphs", "<p>A</p><p>B</p>", "A\nB");
    row("tab", "A<span class=\"x\" style=\"white-space:pre\">\t</span>B", "A\tB");
    row("spaces", "A \n  B", "A B");
    row("picture", "A<img src=\"x.png\">B", u8"A\uFFFCB");
    row("hidden parts", "<style>p { margin: 1em }</style><script>x</script>A<!-- B -->C", "AC");
    row("lengths in units of a font", "<p style=\"margin: 1em; text-indent: 2ex\">A</p>", "A");
}

void TestNoteAssembler::plainText()
{
    QFETCH(QString, html);
    QTEST(plainNoteText(html), "text");
}

void TestNoteAssembler::longTextInPieces_data()
{
    QTest::addColumn<QStringList>("parts");
    QTest::addColumn<bool>("isSame"); // and not only but for empty lines
    const QStringList ordinary{QStringLiteral("one "), QStringLiteral("<br>"),
                               QStringLiteral("<div>&amp;</div>"), QStringLiteral("<b>two</b>")};
    const QStringList strange{
        QStringLiteral("<p>"),   QStringLiteral("</p>"),       QStringLiteral("<ul><li>"),
        QStringLiteral("</ul>"), QStringLiteral("<h1>"),       QStringLiteral("</h1>"),
        QStringLiteral("<hr>"),  QStringLiteral("<div >four"), QStringLiteral("</div>")};
    QTest::newRow("lines of a note") << ordinary << true;
    QTest::newRow("anything") << ordinary + strange << false;
}

/// A long text is converted piece by piece, and nobody sees it.
void TestNoteAssembler::longTextInPieces()
{
    QFETCH(QStringList, parts);
    QFETCH(bool, isSame);
    const QRegularExpression space(QStringLiteral("\\s+"));
    SampleRandom random(5);
    for (int round = 0; round < 100; ++round) {
        QString html;
        for (int i = 0; i < 60; ++i) {
            html += parts.at(random.number(0, parts.size()));
        }
        QString whole = plainNoteText(html);
        QString pieces = plainNoteText(html, isSame ? 100 : 10);
        QCOMPARE(isSame ? pieces : pieces.remove(space), isSame ? whole : whole.remove(space));
    }
}

void TestNoteAssembler::readsNoFiles_data()
{
    QTest::addColumn<QString>("html");
    for (const char *html :
         {"<link rel=\"stylesheet\" href=\"%1\"><p>A</p>",
          "<style>@import url(\"%1\");</style><p>A</p>", "<body background=\"%1\"><p>A</p>",
          "<p style=\"background-image: url(%1)\">A</p>"}) {
        QTest::newRow(html) << QString::fromLatin1(html);
    }
}

void TestNoteAssembler::readsNoFiles()
{
    QFETCH(QString, html);
    QTemporaryDir dir;
    QFile sheet(dir.filePath(QStringLiteral("style.css")));
    QVERIFY(sheet.open(QIODevice::WriteOnly) && sheet.write("p { display: none }") > 0);
    sheet.close();
    QCOMPARE(plainNoteText(html.arg(sheet.fileName())).trimmed(), QStringLiteral("A"));
}

void TestNoteAssembler::hostileHtmlTakesNoLongTime_data()
{
    QTest::addColumn<QString>("part");
    const QString parts = QStringLiteral(
        "<div >|<ul>|<ul><li>|<table>|<table><tr><td>|<pre>|<blockquote>|<dl>|<img>|<br>|<p>|<td>|"
        "<h1>|<span style=\"white-space:pre\">|<div>|</div>|<|<!--|&|<style>|<div >a");
    for (const QString &part : parts.split(QLatin1Char('|'))) {
        QTest::newRow(qPrintable(part)) << part;
    }
}

void TestNoteAssembler::hostileHtmlTakesNoLongTime()
{
#if defined(__SANITIZE_ADDRESS__)
    constexpr int Size = 50000;
#else
    constexpr int Size = 200000;
#endif
    QFETCH(QString, part);
    QElapsedTimer timer;
    timer.start();
    const QString text = plainNoteText(part.repeated(Size / part.size()) + QLatin1Char('x'));
    QVERIFY(text.size() < 2 * Size);
    QVERIFY2(timer.elapsed() < 20000, qPrintable(QString::number(timer.elapsed())));
}

QTEST_APPLESS_MAIN(TestNoteAssembler)
#include "tst_noteassembler.moc"
