#include "cli/propertylist.h"
#include "samples/backupsample.h"
#include "tests/support/testfiles.h"

#include <QDir>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QByteArray xml(const QByteArray &value)
{
    return "<?xml version=\"1.0\"?>\n<plist version=\"1.0\">" + value + "</plist>\n";
}

QByteArray bigEndian(quint64 number, int size)
{
    QByteArray bytes;
    for (int i = size - 1; i >= 0; --i) {
        bytes.append(char(number >> (8 * i)));
    }
    return bytes;
}

/// The first object is the outermost; references and offsets take four bytes.
QByteArray binary(const QVector<QByteArray> &objects)
{
    constexpr int size = 4;
    QByteArray list = "bplist00";
    QByteArray offsets;
    for (const QByteArray &object : objects) {
        offsets += bigEndian(quint64(list.size()), size);
        list += object;
    }
    const quint64 place = quint64(list.size());
    return list + offsets + QByteArray(6, '\0') + char(size) + char(size)
           + bigEndian(quint64(objects.size()), 8) + bigEndian(0, 8) + bigEndian(place, 8);
}

QByteArray references(const QVector<int> &objects)
{
    QByteArray bytes;
    for (const int object : objects) {
        bytes += bigEndian(quint64(object), 4);
    }
    return bytes;
}

QByteArray ascii(const QByteArray &text)
{
    return '\x5F' + ('\x12' + bigEndian(quint64(text.size()), 4)) + text;
}

/// {"Device Name": "Phone", "IsEncrypted": true}
QByteArray soundBinary()
{
    return binary({'\xD2' + references({1, 2, 3, 4}), ascii("Device Name"), ascii("IsEncrypted"),
                   ascii("Phone"), QByteArray("\x09")});
}

QByteArray repeated(const QByteArray &text, int times)
{
    return text.repeated(times);
}

/// `levels` arrays, or sets, each of which holds the next one `fan` times.
QByteArray nestedBinary(int levels, int fan, int kind = 0xA0)
{
    QVector<QByteArray> objects;
    for (int i = 1; i <= levels; ++i) {
        objects.append(char(kind | fan) + references(QVector<int>(fan, i)));
    }
    return binary(objects << ascii("end"));
}

} // namespace

class TestPropertyList : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void values_data();
    void values();
    void othersAreRefused_data();
    void othersAreRefused();
    void longTextsAreCut();
    void damage_data();
    void damage();

private:
    bool read(const QByteArray &bytes)
    {
        m_list = PropertyList();
        QFile::remove(m_path); // to write a file over takes some file systems a while
        return writeFile(m_path, bytes) && m_list.read(m_path);
    }

    QTemporaryDir m_dir;
    QString m_path = m_dir.filePath(QStringLiteral("Some.plist"));
    PropertyList m_list;
};

void TestPropertyList::values_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("XML") << xml("<dict><key>Device Name</key><string>Phone</string>"
                                "<key>IsEncrypted</key><true/></dict>");
    QTest::newRow("binary") << soundBinary();
}

void TestPropertyList::values()
{
    QFETCH(QByteArray, bytes);
    QVERIFY(read(bytes));
    QCOMPARE(m_list.text("Device Name"), QStringLiteral("Phone"));
    QVERIFY(m_list.isTrue("IsEncrypted"));
    // What is of another kind, or is not there, is nothing.
    QVERIFY(m_list.text("IsEncrypted").isEmpty());
    QVERIFY(!m_list.isTrue("Device Name"));
    QVERIFY(!m_list.date("Device Name").isValid());
    QVERIFY(m_list.text("Phone").isEmpty());
    QVERIFY(read(xml("<dict><key>d</key><date>2019-06-01T10:20:30Z</date><key>u</key>"
                     "<string>&lt;&#x416;\xC3\xA9&gt;</string></dict>")));
    QCOMPARE(m_list.date("d"), QDateTime(QDate(2019, 6, 1), QTime(10, 20, 30), Qt::UTC));
    QCOMPARE(m_list.text("u"), QStringLiteral("<\u0416\u00E9>"));
}

void TestPropertyList::othersAreRefused_data()
{
    QTest::addColumn<QByteArray>("bytes");
    const auto row = [](const char *name, const QByteArray &bytes) {
        QTest::newRow(name) << bytes;
    };
    row("empty", QByteArray());
    row("text", "Device Name: Phone\n");
    row("an array", xml("<array><string>Device Name</string></array>"));
    row("binary array", nestedBinary(1, 1));
    row("deep XML", xml(repeated("<array>", 500000) + repeated("</array>", 500000)));
    row("deep XML that does not end", "<plist>" + repeated("<dict><key>a</key>", 400000));
    row("many keys", xml("<dict>" + repeated("<key>a</key><true/>", 500000) + "</dict>"));
    row("many references", xml("<string>" + repeated("&amp;", 2000000) + "</string>"));
    row("too large", xml("<dict/>" + repeated(" ", 17 * 1024 * 1024)));
    row("deep binary", nestedBinary(500000, 1));
    row("binary that doubles at every level", nestedBinary(60, 2));
    row("binary sets that double at every level", nestedBinary(60, 2, 0xC0));
    row("binary that is just too deep", nestedBinary(90000, 1));
    row("XML that is just too deep", xml("<dict><key>a</key>" + repeated("<array>", 100000)
                                         + repeated("</array>", 100000) + "</dict>"));
    row("binary that is many times itself", nestedBinary(20, 14));
    row("binary that holds itself", binary({'\xA1' + references({0})}));
    row("binary of texts that are many times as long",
        binary({'\xAF' + ('\x12' + bigEndian(5000, 4)) + references(QVector<int>(5000, 1)),
                ascii(QByteArray(1000000, 'x'))}));
    row("binary trailer alone", "bplist00" + QByteArray(32, '\xFF'));
}

void TestPropertyList::othersAreRefused()
{
    QFETCH(QByteArray, bytes);
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!read(bytes));
    QVERIFY(m_list.text("a").isEmpty() && !m_list.isTrue("a"));
    QVERIFY(timer.elapsed() < 20000);
}

void TestPropertyList::longTextsAreCut()
{
    QVERIFY(read(xml("<dict><key>a</key><string>" + repeated("ab", 5000) + "</string></dict>")));
    QCOMPARE(m_list.text("a"), QString::fromLatin1(repeated("ab", 100)));
}

void TestPropertyList::damage_data()
{
    QTest::addColumn<QByteArray>("whole");
    BackupFacts facts;
    facts.deviceName = facts.productType = QStringLiteral("Phone");
    facts.productVersion = QStringLiteral("12.0");
    facts.date = QDateTime::fromSecsSinceEpoch(1559384430, Qt::UTC);
    QVERIFY(writePropertyLists(m_dir.path(), facts));
    QTest::newRow("XML") << readFile(m_dir.filePath(QStringLiteral("Info.plist")));
    QTest::newRow("binary") << soundBinary();
}

/// Whatever a damaged list gives, nothing of it is longer than the list.
void TestPropertyList::damage()
{
    QFETCH(QByteArray, whole);
#if defined(__SANITIZE_ADDRESS__)
    constexpr int Rounds = 500;
#else
    constexpr int Rounds = 3000;
#endif
    QRandomGenerator random(5);
    QVERIFY(read(whole));
    for (int i = 0; i < whole.size() + Rounds; ++i) {
        QByteArray bytes = whole.left(i < whole.size() ? i : whole.size());
        for (int flips = i < whole.size() ? 0 : random.bounded(1, 6); flips > 0; --flips) {
            bytes[int(random.bounded(bytes.size()))] = char(random.generate());
        }
        const bool isRead = read(bytes);
        QVERIFY(isRead || m_list.text("Device Name").isEmpty());
        QVERIFY(m_list.text("Device Name").size() <= whole.size());
        m_list.date("Last Backup Date");
    }
}

QTEST_APPLESS_MAIN(TestPropertyList)
#include "tst_propertylist.moc"
