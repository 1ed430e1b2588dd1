#include "recoverers/matchedanchors.h"
#include "recoverers/rownumbering.h"

#include <QtTest>

#include <deque>

/// Rows of pages, written as words by ascending offset: "L7" a live row, "L" one whose identifier
/// is unknown, "i7" a carved row with an intact identifier, "d7" one whose identifier may be
/// misread, "?" one without, "_" a row that is not kept, "." a gap in which a row may have been,
/// "|" the end of a region. Of the numbers those that are only guesses have a question mark.
class TestRowNumbering : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void numbers_data();
    void numbers();
    void numberingIsLinear();
    void secondSearchKnowsTheFirstOnesAnchors();
};

void TestRowNumbering::numbers_data()
{
    QTest::addColumn<QString>("rows");
    QTest::addColumn<QVector<qint64>>("liveIds");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const char *rows, const QVector<qint64> &liveIds,
                        const char *expected) {
        QTest::newRow(name) << rows << liveIds << expected;
    };
    row("upwards from the live row behind", "? ? L7", {7}, "9 8");
    row("several live rows", "? L9 ? L7 ? L5", {5, 7, 9}, "10 8 6");
    row("rows that are not kept count", "? _ L7", {7}, "9");
    row("unknown live row numbers nothing but counts", "? L ? L7", {7}, "10 8");
    row("numbers run on over an intact one", "? i9 ? L7", {7}, "10 9 8");
    row("intact one is never corrected", "i3 L7", {3, 7}, "3");
    row("intact one out of order numbers nothing", "? i3 . ? L7", {7}, "10? 3 8");
    row("misread one is corrected", "d99 L7", {7}, "8");
    row("misread one with nothing behind is forgotten", ". d4", {5, 9}, "0");
    row("between two live rows, as many as there were", "L10 ? . ? L7", {7, 10}, "9 8");
    row("between two live rows, more than there were", "L9 ? ? L7", {7, 9}, "0 8?");
    row("between two live rows, one is missing anywhere", "L11 ? ? L7", {7, 11}, "9? 8?");
    row("between two live rows, those in the gap are missing", "L20 ? . ? L7", {7, 20}, "19 8");
    row("between two live rows, gaps on both sides", "L20 . ? . L7", {7, 20}, "8?");
    row("between two live rows, more than there were, with gaps", "L12 ? . ? . ? L10", {10, 12},
        "0 0 11?");
    row("between a live and an intact row", "i20 ? . ? L7", {7}, "20 19 8");
    row("gap behind a row with nothing in front", "? . ? L7", {7}, "9? 8");
    row("live row in front that was written earlier", "L3 . ? ? L7", {3, 7}, "9 8");
    row("behind the last live row, as many as there were", "L3 . ? . ?", {3}, "2 1");
    row("behind the last live row, side by side", "L9 ? ? . ?", {4, 9}, "8 7 0");
    row("behind the last live row, no number left", "L9 ? ?", {7, 9}, "8 0");
    row("behind the last live row, a gap", "L9 . ?", {6, 9}, "0");
    row("behind an intact row", "i4 ? ? . ?", {9}, "4 3 2 1");
    row("nothing known", "? ?", {}, "0 0");
    row("regions are apart", "L7 | ? ? | ? L5", {5, 6, 7}, "0 0 6");
    row("only the end of a region", "| ? |", {}, "0");
}

void TestRowNumbering::numbers()
{
    QFETCH(QString, rows);
    QFETCH(QVector<qint64>, liveIds);
    QFETCH(QString, expected);
    std::deque<CarvedRowid> carved;
    RowNumbering numbering(liveIds);
    qint64 offset = 0;
    for (const QString &word : rows.split(QLatin1Char(' '))) {
        const qint64 number = word.mid(1).toLongLong();
        const QChar kind = word.at(0);
        const RowNumbering::Place place{offset + 4, offset + 50};
        offset += 50;
        if (kind == QLatin1Char('|')) {
            numbering.restart();
            offset = 0;
        } else if (kind == QLatin1Char('L')) {
            numbering.addLive(number, place);
        } else if (kind == QLatin1Char('_')) {
            numbering.addCarved(nullptr, place);
        } else if (kind != QLatin1Char('.')) {
            carved.push_back({number, kind == QLatin1Char('i'), false});
            numbering.addCarved(&carved.back(), place);
        }
    }
    numbering.restart();
    QStringList numbers;
    for (const CarvedRowid &row : carved) {
        numbers.append(QString::number(row.value)
                       + QLatin1String(row.believed() == row.value ? "" : "?"));
    }
    QCOMPARE(numbers.join(QLatin1Char(' ')), expected);
}

void TestRowNumbering::numberingIsLinear()
{
    constexpr int count = 400000;
    const QVector<qint64> noLiveIds;
    std::deque<CarvedRowid> carved(count);
    RowNumbering numbering(noLiveIds);
    QElapsedTimer timer;
    timer.start();
    for (CarvedRowid &row : carved) {
        numbering.addCarved(&row, {0, 0});
    }
    numbering.restart();
    QVERIFY(timer.elapsed() < 20000); // a quadratic pass takes minutes
    QCOMPARE(carved.front().value, 0);
}

void TestRowNumbering::secondSearchKnowsTheFirstOnesAnchors()
{
    MatchedAnchors anchors;
    for (const qint64 place : {900, 20, 400}) { // pages are not searched in their order
        QVERIFY(anchors.add(place));
    }
    anchors.startSecondSearch();
    QVERIFY(!anchors.add(20) && !anchors.add(400) && !anchors.add(900));
    QVERIFY(anchors.add(21));
}

QTEST_APPLESS_MAIN(TestRowNumbering)
#include "tst_rownumbering.moc"
