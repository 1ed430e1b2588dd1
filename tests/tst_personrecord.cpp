#include "api/personrecord.h"

#include <QtTest>

/// What the library says about the values of a person.
class TestPersonRecord : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void labels_data();
    void labels();
    void valueKinds();
};

void TestPersonRecord::labels_data()
{
    QTest::addColumn<QString>("stored");
    QTest::addColumn<QString>("readable");
    const auto row = [](const char *stored, const char *readable) {
        QTest::newRow(stored) << QString::fromUtf8(stored) << QString::fromUtf8(readable);
    };
    row("_$!<Mobile>!$_", "Mobile");
    row("_$!<Home fax>!$_", "Home fax");
    row("_$!<_$!<A>!$_>!$_", "_$!<A>!$_");
    row("iPhone", "iPhone");
    row("Büro", "Büro");
    row("", "");
    row("_$!<>!$_", "_$!<>!$_");
    row("_$!<!$_", "_$!<!$_"); // the ends must not overlap
    row("_$!<Mobile", "_$!<Mobile");
    row("Mobile>!$_", "Mobile>!$_");
    row(" _$!<Mobile>!$_", " _$!<Mobile>!$_");
}

void TestPersonRecord::labels()
{
    QFETCH(QString, stored);
    QTEST(readableLabel(stored), "readable");
}

void TestPersonRecord::valueKinds()
{
    int kind = int(PersonValueKind::Phone); // the kinds stand in the order of their numbers
    for (const qint64 property : {3, 4, 5, 12, 13, 22, 23, 46}) {
        QCOMPARE(int(personValueKind(property)), kind++);
    }
    for (const qint64 property : {qint64(0), qint64(14), qint64(-3), (qint64(1) << 32) + 3}) {
        QVERIFY(personValueKind(property) == PersonValueKind::Unknown);
    }
}

QTEST_APPLESS_MAIN(TestPersonRecord)
#include "tst_personrecord.moc"
