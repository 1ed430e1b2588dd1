#include "engine/recordmatcher.h"
#include "engine/serialtype.h"
#include "engine/signaturesearch.h"
#include "engine/sqlitedbfile.h"
#include "tests/support/databaseimage.h"
#include "tests/support/probematcher.h"

#include <QtTest>

/// The decoding of record headers around an anchor, and the walk over a candidate's fields.
class TestRecordMatcher : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void firstType_data();
    void firstType();
    void intactCell();
    void severalTypesInFront();
    void withoutTypesInFront();
    void undecodable_data();
    void undecodable();
    void overrunIsTrimmedOnlyWhenTheStoredHeaderSizeSaysSo();
    void nextSignatureIsTheLowestOfAll();
    void liveCellsReachFourBytes();
    void fieldsStopAtTheLimitButConstantsDoNot();
    void fieldsNeverLeaveThePayload();
};

namespace {

using Types = QVector<qint64>;

/// Decodes at the first byte 0x04 of `bytes` with one type in front.
int decode(ProbeMatcher &matcher, const QByteArray &bytes, int expectedClass = -1)
{
    return matcher.decodeHeaderAt(bytes, bytes.indexOf('\x04'), 1, 2, matcher.prefix, 3,
                                  expectedClass);
}

} // namespace

void TestRecordMatcher::firstType_data()
{
    QTest::addColumn<QByteArray>("inFront");
    QTest::addColumn<int>("expectedClass");
    QTest::addColumn<qint64>("first");
    QTest::addColumn<int>("headerStart");
    const auto row = [](const char *name, const QByteArray &inFront, qint64 first, int headerStart,
                        int expectedClass = -1) {
        QTest::newRow(name) << inFront << expectedClass << first << headerStart;
    };
    const auto bytes = [](const char *text, int size) { return QByteArray(text, size); };
    // The first byte stands for what precedes the cell; then rowid, header size, NULL.
    row("intact cell", bytes("\x30\x07\x06\x00\x27", 5), 0x27, 4);
    row("intact cell, long type", bytes("\x30\x07\x07\x00\x81\x27", 6), 128 + 0x27, 5);
    row("rowid of two bytes", bytes("\x30\x81\x07\x06\x00\x27", 6), 0x27, 5);
    // A freeblock header (next freeblock, size) over the four bytes of a short cell. A size of 128
    // or more looks like the first byte of a long type; where the bytes in front could be those of
    // a cell it is taken for one, and the row is misread.
    row("freeblock", bytes("\x00\x00\x00\x2F\x27", 5), 0x27, 4);
    row("last freeblock of 156 bytes", bytes("\x30\x00\x00\x00\x9C\x27", 6), 0x27, 4);
    row("freeblock of 412 bytes", bytes("\x30\x02\x10\x01\x9C\x27", 6), 0x27, 4);
    row("freeblock of 156 bytes with a successor", bytes("\x30\x02\x10\x00\x9C\x27", 6),
        (0x1C << 7) | 0x27, 5);
    row("long type without room for a cell", bytes("\x06\x00\x81\x27", 4), 0x27, 4);
    row("long type at the region's second byte", bytes("\x07\x07\x00\x81\x27", 5), 0x27, 4);
    row("header size 0", bytes("\x30\x07\x00\x00\x81\x27", 6), 0x27, 4);
    row("no NULL in front", bytes("\x30\x07\x07\x01\x81\x27", 6), 0x27, 4);
    // The class helps where the rest of the cell is lost.
    row("expected class", bytes("\x30\x99\x00\x00\x81\x27", 6), 128 + 0x27, 6, TextClass);
    row("another class", bytes("\x30\x99\x00\x00\x81\x26", 6), 0x26, 4, TextClass);
}

void TestRecordMatcher::firstType()
{
    QFETCH(QByteArray, inFront);
    QFETCH(int, expectedClass);
    ProbeMatcher matcher;
    QVERIFY(decode(matcher, inFront + "\x04\x11 body", expectedClass) > 0);
    QCOMPARE(matcher.serialTypes.size(), 3);
    QTEST(matcher.serialTypes[0], "first");
    QTEST(matcher.headerStart, "headerStart");
    QCOMPARE(matcher.bodyStart, qint64(inFront.size() + 2));
}

void TestRecordMatcher::intactCell()
{
    ProbeMatcher matcher;
    const QByteArray cell = leafCell(
        300, record({QVariant(), QStringLiteral("Ada"), 70000000, QStringLiteral("London")}));
    QCOMPARE(decode(matcher, "\x11" + cell), 3);
    QCOMPARE(matcher.prefix, (Types{300, 5, 0}));
    QCOMPARE(matcher.serialTypes, (Types{19, 4, 25}));
    QCOMPARE(cell.mid(int(matcher.bodyStart) - 1), QByteArray("Ada\x04\x2C\x1D\x80London"));
    // The record starts at its rowid, one byte behind the cell's start.
    QCOMPARE(cell.indexOf('\x04') - matcher.headerStart, 1);
    // With the rowid lost, three bytes are counted for what cannot be read.
    QVERIFY(decode(matcher, QByteArray("\x80\x80\x80\x13\x04\x19", 6)) > 0);
    QVERIFY(matcher.prefix.isEmpty());
    QCOMPARE(matcher.headerStart, 4);
}

void TestRecordMatcher::severalTypesInFront()
{
    ProbeMatcher matcher;
    const QByteArray header("\x11\x05\x0A\x00\x81\x11\x08\x82\x13\x04\x01", 11);
    QCOMPARE(matcher.decodeHeaderAt(header, 9, 3, 2, matcher.prefix, 3, -1), 7);
    QCOMPARE(matcher.serialTypes, (Types{145, 8, 275, 4, 1}));
    QCOMPARE(matcher.prefix, (Types{5, 10, 0}));
    QCOMPARE(matcher.headerStart, 8);
}

void TestRecordMatcher::withoutTypesInFront()
{
    ProbeMatcher matcher;
    const QByteArray header("\x11\x05\x04\x04\x01\x0F", 6);
    QCOMPARE(matcher.decodeHeaderAt(header, 3, 0, 3, matcher.prefix, 0, -1), 3);
    QCOMPARE(matcher.serialTypes, (Types{4, 1, 15}));
    QCOMPARE(matcher.headerStart, 0);
    QVERIFY(matcher.prefix.isEmpty());
    QCOMPARE(matcher.decodeHeaderAt(header, 3, 2, 0, matcher.prefix, 0, -1), 2);
    QCOMPARE(matcher.serialTypes, (Types{5, 4}));
    // With fewer than three varints to look back over, one byte is the first type.
    QCOMPARE(matcher.decodeHeaderAt(header, 3, 1, 1, matcher.prefix, 2, -1), 2);
    QCOMPARE(matcher.serialTypes, (Types{4, 4}));
    QCOMPARE(matcher.prefix, (Types{17, 5}));
}

void TestRecordMatcher::undecodable_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("before");
    QTest::addColumn<int>("after");
    QTest::newRow("nothing in front") << QByteArray("\x04\x01") << 1 << 2;
    QTest::newRow("too little in front") << QByteArray("\x11\x04\x01") << 3 << 2;
    QTest::newRow("no varint in front") << QByteArray("\x11\x99\x04\x01") << 2 << 2;
    QTest::newRow("too little behind") << QByteArray("\x11\x04") << 1 << 2;
    QTest::newRow("endless type behind") << "\x11\x04" + QByteArray(9, '\xFF') + "\x01" << 1 << 2;
}

void TestRecordMatcher::undecodable()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, before);
    QFETCH(int, after);
    ProbeMatcher matcher;
    QCOMPARE(
        matcher.decodeHeaderAt(bytes, bytes.indexOf('\x04'), before, after, matcher.prefix, 3, -1),
        0);
    QVERIFY(matcher.serialTypes.size() != before + after);
}

void TestRecordMatcher::overrunIsTrimmedOnlyWhenTheStoredHeaderSizeSaysSo()
{
    // Header size, NULL and two types make 4 bytes; four types are read.
    const QByteArray cell("\x11\x07\x04\x00\x13\x04\x00\x00body", 12);
    ProbeMatcher matcher;
    const auto bodyStart = [&matcher](const QByteArray &bytes) {
        matcher.decodeHeaderAt(bytes, 5, 1, 3, matcher.prefix, 3, -1);
        return matcher.bodyStart;
    };
    QCOMPARE(bodyStart(cell), 8);
    matcher.trimTrailingNull = true;
    QCOMPARE(bodyStart(cell), 6);
    const QByteArray longOverrun =
        "\x11\x07\x04" + QByteArray("\0\x13\x04", 3) + QByteArray(10, '\0');
    matcher.decodeHeaderAt(longOverrun, 5, 1, 11, matcher.prefix, 3, -1);
    QCOMPARE(matcher.bodyStart, 16); // ten bytes of NULLs are no overrun
    QCOMPARE(bodyStart(QByteArray(cell).replace(2, 1, "\x06")), 8);
    QCOMPARE(bodyStart(QByteArray(cell).replace(2, 1, QByteArray(1, '\0'))), 8);
    QCOMPARE(bodyStart(QByteArray(cell).replace(3, 1, "\x01")), 8);
}

void TestRecordMatcher::nextSignatureIsTheLowestOfAll()
{
    const QByteArray region("..b..ab..aab");
    const QList<QByteArrayMatcher> signatures{QByteArrayMatcher("a", 1), QByteArrayMatcher("ab", 2),
                                              QByteArrayMatcher("x", 1), QByteArrayMatcher("b", 1)};
    RegionSignatures patterns(signatures, region);
    QVector<int> hits;
    int pos = 0;
    for (int hit = 0; (hit = findNextSignature(patterns, pos)) >= 0;) {
        QCOMPARE(pos, hit + 1);
        hits.append(hit);
    }
    QCOMPARE(hits, (QVector<int>{2, 5, 6, 9, 10, 11}));
    RegionSignatures again(signatures, region);
    pos = 7;
    QCOMPARE(findNextSignature(again, pos), 9);
    pos = 12;
    QCOMPARE(findNextSignature(again, pos), -1);
    QCOMPARE(pos, 12);
}

void TestRecordMatcher::liveCellsReachFourBytes()
{
    const QVector<quint16> cells{100, 200};
    const QVector<QPair<int, bool>> expected{{99, false},  {100, true}, {104, true},  {105, false},
                                             {199, false}, {204, true}, {205, false}, {-3, false}};
    for (const auto &row : expected) {
        QVERIFY2(isLiveCellStart(row.first, cells) == row.second,
                 qPrintable(QString::number(row.first)));
    }
    QVERIFY(!isLiveCellStart(0, {}));
}

void TestRecordMatcher::fieldsStopAtTheLimitButConstantsDoNot()
{
    const QByteArray payload("..ab\x05\x06tail");
    const Types types{17, 1, 1, 9, 21, 0};
    const auto seen = [&](int limit) {
        RecordFields fields(payload, 2, types, limit, 1);
        QStringList values;
        while (fields.next()) {
            values.append(fields.index() == 0 || fields.index() == 4
                              ? fields.text()
                              : QString::number(fields.integer()));
        }
        return values.join(QLatin1Char(' '));
    };
    QCOMPARE(seen(0), QStringLiteral("ab 5 6 1 tail 0"));
    QCOMPARE(seen(7), QStringLiteral("ab 5 6 1 tail 0")); // begins before the limit, read whole
    QCOMPARE(seen(6), QStringLiteral("ab 5 6 1 0"));
    QCOMPARE(seen(5), QStringLiteral("ab 5 1 0"));
    QCOMPARE(seen(1), QStringLiteral("1 0"));
}

void TestRecordMatcher::fieldsNeverLeaveThePayload()
{
    const QByteArray payload("ab");
    // The invalid types count as -1 bytes; a text that is not all there is empty.
    const Types types{10, 15, 11, 11, 11, 15, 1 << 20, 15};
    RecordFields fields(payload, 0, types, 0, 1);
    QStringList texts;
    while (fields.next()) {
        texts.append(fields.text());
    }
    QCOMPARE(texts, (QStringList{QString(), QStringLiteral("a"), QString(), QString(), QString(),
                                 QStringLiteral("a"), QString(), QString()}));
    QVERIFY(fields.isCut());
    RecordFields behind(payload, 99, types, 0, 1);
    while (behind.next()) {
        QCOMPARE(behind.integer(), 0);
    }
    const Types whole{15, 1};
    RecordFields all(payload, 0, whole, 0, 1);
    while (all.next()) {
        all.integer();
    }
    QVERIFY(!all.isCut());
}

QTEST_APPLESS_MAIN(TestRecordMatcher)
#include "tst_recordmatcher.moc"
