#include "api/personrecord.h"

#include <QtTest>

#include <limits>

/// What the library says about the values of a person.
class TestPersonRecord : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void labels_data();
    void labels();
    void valueKinds_data();
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

void TestPersonRecord::valueKinds_data()
{
    QTest::addColumn<qint64>("property");
    QTest::addColumn<int>("kind");
    const auto row = [](const char *name, qint64 property, PersonValueKind kind) {
        QTest::newRow(name) << property << int(kind);
    };
    row("phone", 3, PersonValueKind::Phone);
    row("e-mail", 4, PersonValueKind::Email);
    row("postal address", 5, PersonValueKind::Address);
    row("date", 12, PersonValueKind::Date);
    row("instant message", 13, PersonValueKind::InstantMessage);
    row("url", 22, PersonValueKind::Url);
    row("related name", 23, PersonValueKind::RelatedName);
    row("social profile", 46, PersonValueKind::SocialProfile);
    row("nothing read", 0, PersonValueKind::Unknown);
    row("number between two kinds", 14, PersonValueKind::Unknown);
    row("negative", -3, PersonValueKind::Unknown);
    row("beyond 32 bits", (Q_INT64_C(1) << 32) + 3, PersonValueKind::Unknown);
    row("largest", std::numeric_limits<qint64>::max(), PersonValueKind::Unknown);
}

void TestPersonRecord::valueKinds()
{
    QFETCH(qint64, property);
    QTEST(int(personValueKind(property)), "kind");
}

QTEST_APPLESS_MAIN(TestPersonRecord)
#include "tst_personrecord.moc"
