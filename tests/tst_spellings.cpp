#include "engine/address.h"
#include "recoverers/communication/messagetext.h"
#include "recoverers/communication/spellings.h"

#include <QtTest>

/// Texts that people and devices write in more than one way.
class TestSpellings : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void normalizedAddresses_data();
    void normalizedAddresses();
    void indexedSpellings_data();
    void indexedSpellings();
    void hostileTextIsNotTakenApart();
    void messageTexts_data();
    void messageTexts();
};

void TestSpellings::normalizedAddresses_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("normalized");
    const auto row = [](const char *address, const char *normalized) {
        QTest::newRow(address) << QString::fromUtf8(address) << QString::fromUtf8(normalized);
    };
    row("+1 (408) 555-5270", "+14085555270");
    row("001 408 555.5270", "+14085555270");
    row("\u202A+1\u00A0408\u00A0555\u20115270\u202C", "+14085555270");
    row("408/5555270", "4085555270");
    row("+14085555270", "+14085555270");
    row(" Anna.Adler@Example.COM ", "anna.adler@example.com");
    row("anna @ example.com", "anna@example.com");
    row("57711", "57711");
    row("*101#", "*101#");
    row("O2-Info", "o2-info");
    row("urn:biz:4F", "urn:biz:4f");
    row("  ", "");
}

void TestSpellings::normalizedAddresses()
{
    QFETCH(QString, address);
    QFETCH(QString, normalized);
    QCOMPARE(normalizedAddress(address), normalized);
    QCOMPARE(normalizedAddress(normalized), normalized);
}

void TestSpellings::indexedSpellings_data()
{
    QTest::addColumn<QChar>("kind");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("values");
    const auto row = [](char kind, const char *text, const char *values) {
        QTest::newRow(text) << QChar::fromLatin1(kind) << text << values;
    };
    row('p', "+1 (408) 555-5270 +14085555270 14085555270 4085555270 5555270", "+14085555270");
    row('p', "(408) 555-5270 4085555270 5555270", "4085555270");
    row('p', "(408) 555-5270", "(408) 555-5270");
    row('p', "5555270 4085555270 +14085555270 5559999 2125559999", "+14085555270;2125559999");
    row('p', "030 1234567 0301234567 +49301234567 110", "+49301234567;110");
    row('p', "0049301234567 +49301234567", "+49301234567");
    row('p', "*101#", "*101#");
    row('p', "unknown", "unknown");
    row('p', "  ", "");
    row('m', "anna@example.com anna example com", "anna@example.com");
    row('m', "Anna@example.com anna@EXAMPLE.com b.c@post.example.net b c",
        "Anna@example.com;b.c@post.example.net");
    row('m', "not an address", "not an address");
    row('w', "http://example.com/a example com a", "http://example.com/a");
    row('w', "www.example.com http://www.example.com https://other.example.org",
        "http://www.example.com;https://other.example.org");
    row('w', "home page", "home page");
}

void TestSpellings::indexedSpellings()
{
    QFETCH(QChar, kind);
    QFETCH(QString, text);
    QFETCH(QString, values);
    const QStringList found = kind == QLatin1Char('p')   ? telephoneNumbers(text)
                              : kind == QLatin1Char('m') ? mailAddresses(text)
                                                         : webAddresses(text);
    QCOMPARE(found.join(QLatin1Char(';')), values);
}

void TestSpellings::hostileTextIsNotTakenApart()
{
    QStringList words;
    for (int i = 0; i < 50000; ++i) {
        words.append(QString::number(1000000 + i));
    }
    const QString text = words.join(QLatin1Char(' '));
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(telephoneNumbers(text), QStringList{text});
    QCOMPARE(mailAddresses(text), QStringList{text});
    QCOMPARE(webAddresses(text), QStringList{text});
    QVERIFY(timer.elapsed() < 20000); // comparing every word with every other takes minutes
}

void TestSpellings::messageTexts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("cleaned");
    const auto row = [](const char *name, const QString &text, const QString &cleaned) {
        QTest::newRow(name) << text << cleaned;
    };
    const auto text = [](const char *utf8) { return QString::fromUtf8(utf8); };
    row("plain", text("See you at 8"), text("See you at 8"));
    row("spaces are kept", text(" hi "), text(" hi "));
    row("archive behind the text", text("Hello\x04\x0Bstreamtyped..."), text("Hello"));
    row("archive cut in front", text("Hello\x0Bstreamtyped\x04\x0Bstream"), text("Hello"));
    row("archive alone", text("\x04\x0Bstreamtyped"), QString());
    row("piece of a guid", text("ABCD-1234-5678"), QString());
    row("piece of a guid with four more bytes", text("ABCD-1234-5678wxyz"), QString());
    row("piece of a guid with five more bytes", text("ABCD-1234-5678vwxyz"),
        text("ABCD-1234-5678vwxyz"));
    row("words around a piece", text("Call me ABCD-1234-5678"), text("Call me ABCD-1234-5678"));
    row("space beside a piece", text("-1234-5678 a"), text("-1234-5678 a"));
    row("lower case is no piece", text("abcd-1234"), text("abcd-1234"));
    row("forty bytes are no piece", QStringLiteral("ABCD").repeated(7) + text("-1234-5678AB"),
        QStringLiteral("ABCD").repeated(7) + text("-1234-5678AB"));
}

void TestSpellings::messageTexts()
{
    QFETCH(QString, text);
    QFETCH(QString, cleaned);
    QCOMPARE(cleanedMessageText(text), cleaned);
}

QTEST_APPLESS_MAIN(TestSpellings)
#include "tst_spellings.moc"
