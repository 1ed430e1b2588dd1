// Runs the tool that compares a sample's truth with what a scan found, on lines of both.

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QByteArray Call = R"({"kind":"call","address":"1","date":1400000000,"duration":1,"flags":4})";
const QByteArray OtherCall =
    R"({"kind":"call","address":"1","date":1400000000,"duration":2,"flags":4})";

QByteArray person(const QByteArray &first, const QByteArray &values, const QByteArray &rowId = "3",
                  const QByteArray &kind = "contact")
{
    return R"({"kind":")" + kind + R"(","rowId":)" + rowId + R"(,"first":")" + first
           + R"(","values":[)" + values + "]}";
}

QByteArray phone(const QByteArray &label, const QByteArray &entries = QByteArray())
{
    return R"({"property":3,"label":")" + label + R"(","value":"5","entries":[)" + entries + "]}";
}

QByteArray messages(const QByteArray &chat, const QByteArray &text)
{
    return R"({"kind":"messageGroup","chatIdentifier":")" + chat
           + R"(","messages":[{"date":684000000123456789,"text":")" + text + R"("}]})";
}

QByteArray weChat(const QByteArray &chat, const QByteArray &text)
{
    return R"({"kind":"weChat","chatId":")" + chat + R"(","messages":[{"createTime":5,)"
           + R"("isFromMe":false,"type":1,"message":")" + text + R"("}]})";
}

QByteArray whatsapp(const QByteArray &chat, const QByteArray &sender, const QByteArray &text)
{
    return R"({"kind":"whatsapp","chatName":")" + chat + R"(","messages":[{"date":5,"isFromMe":0,)"
           + R"("messageType":0,"senderName":")" + sender + R"(","text":")" + text + R"("}]})";
}

QByteArray calendarEvent(const QByteArray &title, const QByteArray &location, const QByteArray &end)
{
    return R"({"kind":"calendar","title":")" + title + R"(","location":")" + location
           + R"(","notes":"","startDate":0,"endDate":)" + end + R"(,"allDay":0})";
}

} // namespace

class TestCompareTruth : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void results_data();
    void results();
    void longListsAreSummarised();
    void unusableInput();

private:
    QString write(const char *name, const QByteArray &lines)
    {
        QFile file(m_folder.filePath(QLatin1String(name)));
        return file.open(QIODevice::WriteOnly) && file.write(lines) == lines.size()
                   ? file.fileName()
                   : QString();
    }
    QByteArray compare(const QByteArray &deleted, const QByteArray &live, const QByteArray &found,
                       const QStringList &options = {})
    {
        QProcess process;
        process.start(QStringLiteral(COMPARETRUTH_PROGRAM),
                      options
                          + QStringList{write("deleted", deleted), write("live", live),
                                        write("found", found)});
        process.waitForFinished();
        return process.readAllStandardOutput();
    }

    QTemporaryDir m_folder;
};

void TestCompareTruth::results_data()
{
    QTest::addColumn<QByteArray>("deleted");
    QTest::addColumn<QByteArray>("live");
    QTest::addColumn<QByteArray>("found");
    QTest::addColumn<QByteArray>("summary");
    const auto row = [](const char *name, const QByteArray &deleted, const QByteArray &live,
                        const QByteArray &found, const char *summary) {
        QTest::newRow(name) << deleted << live << found << QByteArray(summary);
    };
    const QByteArray none;
    row("recovered", Call, none, Call, "deleted 1, recovered 1, missed 0");
    row("one of two", Call + '\n' + OtherCall, none, Call, "recall 50.0%, precision 100.0%");
    row("nothing found", Call, none, none, "missed 1, copies of live data 0, invented 0; recall");
    row("live copy", none, Call, Call, "missed 0, copies of live data 1, invented 0");
    row("invented", Call, none, OtherCall, "missed 1, copies of live data 0, invented 1");
    row("person and value", person("A", phone("x")), none, person("A", phone("x"), "0"),
        "deleted 2, recovered 2, missed 0");
    row("label lost", person("A", phone("x")), none, person("A", phone("")),
        "deleted 2, recovered 1, incomplete 1, missed 0");
    row("owner lost", person("A", phone("x")), none, person("", phone("x")),
        "deleted 2, recovered 0, incomplete 1, missed 1, copies of live data 0, invented 0");
    row("value lost", person("A", phone("x")), none, person("A", ""),
        "deleted 2, recovered 1, missed 1");
    row("value of a live person", person("A", phone("x")), person("A", ""), person("A", phone("x")),
        "deleted 2, recovered 2, missed 0");
    row("index only", person("A", "", "3", "hiddenContact"), none, person("A", ""),
        "deleted 1, recovered 0, missed 1, copies of live data 0, invented 1");
    row("parts in another order",
        person("A", phone("x", R"({"key":"a","value":"1"},{"key":"b","value":"2"})")), none,
        person("A", phone("x", R"({"key":"b","value":"2"},{"key":"a","value":"1"})")),
        "recovered 2, missed 0");
    row("parts mixed up",
        person("A", phone("x", R"({"key":"a","value":"1"},{"key":"b","value":"2"})")), none,
        person("A", phone("x", R"({"key":"a","value":"2"},{"key":"b","value":"1"})")),
        "recovered 1, missed 1, copies of live data 0, invented 1");
    row("conversation lost", messages("a", "hi"), none, messages("", "hi"),
        "recovered 0, incomplete 1, missed 0");
    row("cut text of a message with an identifier", messages("a", R"(hi","guid":"G)"), none,
        messages("a", R"(h","guid":"G)"), "recovered 0, incomplete 1, missed 0");
    row("end of an event lost", calendarEvent("a", "b", "5"), none, calendarEvent("a", "b", "0"),
        "recovered 0, incomplete 1, missed 0");
    row("event for reminder", calendarEvent("a", "", "0").replace("calendar", "reminder"), none,
        calendarEvent("a", "", "0"), "missed 1, copies of live data 0, invented 1");
    row("places", calendarEvent("", "b", "0"), none, calendarEvent("", "c", "0"),
        "missed 1, copies of live data 0, invented 1");
    const QByteArray whole = whatsapp("Choir", "Ida", "hi");
    row("sender lost", whole, none, whatsapp("Choir", "", "hi"), "recovered 0, incomplete 1");
    row("chat without name", whole, none, whatsapp("49", "Ida", "hi"), "recovered 0, incomplete 1");
    row("other conversation", weChat("ab", "hi"), none, weChat("cd", "hi"),
        "recovered 0, incomplete 1, missed 0");
    row("another text", messages("a", "hi"), none, messages("a", "h"),
        "missed 1, copies of live data 0, invented 1");
}

void TestCompareTruth::results()
{
    QFETCH(QByteArray, deleted);
    QFETCH(QByteArray, live);
    QFETCH(QByteArray, found);
    QFETCH(QByteArray, summary);
    const QByteArray out = compare(deleted, live, found);
    QVERIFY2(out.split('\n').value(out.count('\n') - 1).contains(summary), out.constData());
}

void TestCompareTruth::longListsAreSummarised()
{
    QByteArray calls;
    for (int i = 0; i < 100; ++i) {
        calls += QByteArray(Call).replace("1400000000", QByteArray::number(1400000000 + i)) + '\n';
    }
    const QByteArray brief = compare(calls, QByteArray(), calls);
    QVERIFY2(brief.contains("and 92 more\n") && brief.count('\n') == 10, brief.constData());
    QCOMPARE(compare(calls, QByteArray(), calls, {QStringLiteral("--all")}).count('\n'), 101);
}

void TestCompareTruth::unusableInput()
{
    const QString good = write("good", Call);
    for (const QStringList &arguments :
         {QStringList{good, good}, QStringList{good, good, m_folder.filePath(QStringLiteral("no"))},
          QStringList{write("bad", "[1]\n"), good, good}}) {
        QProcess process;
        process.start(QStringLiteral(COMPARETRUTH_PROGRAM), arguments);
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitCode(), arguments.size() == 2 ? 2 : 1);
        QCOMPARE(process.readAllStandardOutput(), QByteArray());
        QVERIFY(process.readAllStandardError().endsWith('\n'));
    }
}

QTEST_GUILESS_MAIN(TestCompareTruth)
#include "tst_comparetruth.moc"
