#include "engine/fieldreader.h"
#include "engine/serialtype.h"
#include "tests/support/databaseimage.h"

#include <QtTest>

#include <limits>

class TestFieldReader : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void serialTypes_data();
    void serialTypes();
    void textsAndBlobsOfAMebibyteAreRefused();
    void integers_data();
    void integers();
    void texts_data();
    void texts();
    void cutValuesDoNotPassForWholeOnes();
    void longNamesAreCutBetweenCharacters();
    void plausibleText_data();
    void plausibleText();
};

void TestFieldReader::serialTypes_data()
{
    QTest::addColumn<qint64>("st");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<int>("kind");
    // Accepted as: i integer, t text, b blob, r real, o boolean, u UUID, n NULL.
    QTest::addColumn<QString>("predicates");
    const auto row = [](qint64 st, qint64 size, int kind, const char *predicates) {
        QTest::newRow(QByteArray::number(st).constData())
            << st << size << kind << QString::fromLatin1(predicates);
    };
    row(0, 0, NullClass, "n");
    row(1, 1, IntegerClass, "io");
    row(2, 2, IntegerClass, "i");
    row(3, 3, IntegerClass, "i");
    row(4, 4, IntegerClass, "i");
    row(5, 6, IntegerClass, "i");
    row(6, 8, IntegerClass, "i");
    row(7, 8, RealClass, "r");
    row(8, 0, ZeroClass, "iro");
    row(9, 0, OneClass, "io");
    row(10, -1, InvalidClass, "");
    row(11, -1, InvalidClass, "");
    row(12, 0, BlobClass, "b");
    row(13, 0, TextClass, "t");
    row(84, 36, BlobClass, "b");
    row(85, 36, TextClass, "tu");
    row(std::numeric_limits<qint64>::max(), (std::numeric_limits<qint64>::max() - 13) / 2,
        TextClass, "");
}

void TestFieldReader::serialTypes()
{
    QFETCH(qint64, st);
    QTEST(serialTypeSize(st), "size");
    QTEST(int(serialTypeClass(st)), "kind");
    const auto accepted = [st](bool allowNull) {
        QString predicates;
        const auto add = [&predicates](bool holds, char name) {
            if (holds) {
                predicates += QLatin1Char(name);
            }
        };
        add(isIntegerSerialType(st, allowNull), 'i');
        add(isTextSerialType(st, allowNull), 't');
        add(isBlobSerialType(st, allowNull), 'b');
        add(isRealSerialType(st, allowNull), 'r');
        add(isBooleanSerialType(st), 'o');
        add(isUuidSerialType(st, allowNull), 'u');
        add(isNullSerialType(st), 'n');
        return predicates;
    };
    QTEST(accepted(false), "predicates");
    if (st == 0) {
        QCOMPARE(accepted(true), QStringLiteral("itbrun"));
    } else {
        QTEST(accepted(true), "predicates");
    }
}

void TestFieldReader::textsAndBlobsOfAMebibyteAreRefused()
{
    const qint64 blob = 12 + 2 * MaxContentSize;
    QVERIFY(isBlobSerialType(blob - 2, false) && !isBlobSerialType(blob, false));
    QVERIFY(isTextSerialType(blob - 1, false) && !isTextSerialType(blob + 1, false));
}

void TestFieldReader::integers_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<qint64>("st");
    QTest::addColumn<bool>("parseText");
    QTest::addColumn<qint64>("value");
    const auto row = [](const char *name, const QByteArray &bytes, qint64 st, qint64 value,
                        bool parseText = false) {
        QTest::newRow(name) << bytes << st << parseText << value;
    };
    constexpr qint64 Smallest = std::numeric_limits<qint64>::min();
    row("one byte, negative", "\xFE", 1, -2);
    row("three bytes", QByteArray("\x01\x00\x00", 3), 3, 65536);
    row("six bytes, negative", "\xFF\xFF\xFF\xFF\xFF\xFE", 5, -2);
    row("eight bytes", QByteArray("\x80\0\0\0\0\0\0\0", 8), 6, Smallest);
    row("real, cut towards zero", QByteArray("\xC0\x04\0\0\0\0\0\0", 8), 7, -2);
    row("real out of range", QByteArray("\x43\xE0\0\0\0\0\0\0", 8), 7, Smallest);
    row("NaN", QByteArray("\x7F\xF8\0\0\0\0\0\0", 8), 7, Smallest);
    row("NULL", "x", 0, 0);
    row("constant 0", "x", 8, 0);
    row("constant 1", QByteArray(), 9, 1);
    row("invalid type", "x", 10, 0);
    row("blob", "12", 16, 0);
    row("text not parsed", "12", 17, 0);
    row("text parsed", "12", 17, 12, true);
    row("text with fraction", "-547783200.9", 37, -547783200, true);
    row("text without number", "ab", 17, 0, true);
    row("word that reads as a number", "nan", 19, 0, true);
    row("number out of range", "1e400", 23, 0, true);
    row("cut", QByteArray("\x01\x02", 2), 4, 0);
}

void TestFieldReader::integers()
{
    QFETCH(QByteArray, bytes);
    QFETCH(qint64, st);
    QFETCH(bool, parseText);
    ImageDevice device(bytes);
    QTEST(readIntegerField(device, st, 1, parseText), "value");
}

void TestFieldReader::texts_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("encoding");
    QTest::addColumn<QString>("text");
    const auto row = [](const char *name, const QByteArray &bytes, int encoding,
                        const QString &text) { QTest::newRow(name) << bytes << encoding << text; };
    const QString face = QString::fromUtf8("\xF0\x9F\x98\x80");
    row("UTF-8", face.toUtf8(), 1, face);
    row("no encoding", "\xC3\xA9", 0, QString(QChar(0xE9)));
    row("undecodable", "a\xFFz", 1, QStringLiteral("a\uFFFDz"));
    row("NUL inside", QByteArray("a\0b", 3), 1, QString::fromLatin1("a\0b", 3));
    row("UTF-16le", QByteArray("\x3D\xD8\x00\xDE", 4), 2, face);
    row("UTF-16be", QByteArray("\xD8\x3D\xDE\x00", 4), 3, face);
    row("byte-order mark is kept", "\xEF\xBB\xBF-", 1, QStringLiteral("\uFEFF-"));
    row("odd last byte", QByteArray("a\0b", 3), 2, QStringLiteral("a"));
    row("lone surrogate", QByteArray("\x00\xDEz\x00", 4), 2, QStringLiteral("\uFFFDz"));
}

void TestFieldReader::texts()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, encoding);
    ImageDevice device(bytes + "more");
    QTEST(readTextField(device, 13 + 2 * bytes.size(), encoding), "text");
    QCOMPARE(device.pos(), qint64(bytes.size()));
}

void TestFieldReader::cutValuesDoNotPassForWholeOnes()
{
    ImageDevice device("+155512345");
    QCOMPARE(readTextField(device, 13 + 2 * 12, 1), QString());
    QCOMPARE(readTextField(device, std::numeric_limits<qint64>::max(), 1), QString());
    QCOMPARE(device.pos(), 0);
}

void TestFieldReader::longNamesAreCutBetweenCharacters()
{
    const QString longest(MostNameLength, QLatin1Char('n'));
    const QString face = QString::fromUtf8("\xF0\x9F\x98\x80"); // two units of UTF-16
    QCOMPARE(cutName(longest), longest);
    QCOMPARE(cutName(longest + face), longest);
    QCOMPARE(cutName(longest.mid(2) + face + face), longest.mid(2) + face);
    QCOMPARE(cutName(longest.mid(1) + face), longest.mid(1));
}

void TestFieldReader::plausibleText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("plausible");
    QTest::newRow("empty") << QString() << false;
    QTest::newRow("white space") << " \t\n" << false;
    QTest::newRow("words") << "Back in 5 min!" << true;
    QTest::newRow("currency and mathematics") << "$+<>" << true;
    QTest::newRow("pictures") << QString::fromUtf8("\xF0\x9F\x98\x80") << false;
    QTest::newRow("exactly 0.6") << "abc\u0001\u0002" << false;
    QTest::newRow("above 0.6") << "abcd\u0001\u0002" << true;
}

void TestFieldReader::plausibleText()
{
    QFETCH(QString, text);
    QTEST(isPlausibleText(text), "plausible");
}

QTEST_APPLESS_MAIN(TestFieldReader)
#include "tst_fieldreader.moc"
