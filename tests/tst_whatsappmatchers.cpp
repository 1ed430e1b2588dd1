#include "recoverers/messaging/whatsappmatchers.h"
#include "samples/whatsapplayout.h"
#include "tests/support/matcherharness.h"

#include <QtTest>

namespace {

QString statementOf(const QString &table)
{
    QStringList columns = whatsappColumns(table);
    columns.first() += QStringLiteral(" INTEGER PRIMARY KEY");
    return QStringLiteral("CREATE TABLE %1 ( %2 )").arg(table, columns.join(QStringLiteral(", ")));
}

QVariantMap sessionRow()
{
    return {{QStringLiteral("z_ent"), 4},
            {QStringLiteral("z_opt"), 2},
            {QStringLiteral("zcontactabid"), 17},
            {QStringLiteral("zhidden"), 0},
            {QStringLiteral("zlastmessage"), 300},
            {QStringLiteral("zlastmessagedate"), 650000000.5},
            {QStringLiteral("zcontactjid"), QStringLiteral("4915@s.whatsapp.net")},
            {QStringLiteral("zpartnername"), QStringLiteral("Ida")}};
}

QVariantMap memberRow()
{
    return {{QStringLiteral("z_ent"), 6},
            {QStringLiteral("z_opt"), 2},
            {QStringLiteral("zcontactabid"), 17},
            {QStringLiteral("zisactive"), 1},
            {QStringLiteral("zisadmin"), 0},
            {QStringLiteral("zchatsession"), 300},
            {QStringLiteral("zcontactname"), QStringLiteral("Ida")},
            {QStringLiteral("zmemberjid"), QStringLiteral("4915@s.whatsapp.net")}};
}

QVariantMap mediaRow()
{
    return {{QStringLiteral("z_ent"), 8},
            {QStringLiteral("z_opt"), 2},
            {QStringLiteral("zfilesize"), 70000},
            {QStringLiteral("zmediaorigin"), 0},
            {QStringLiteral("zmessage"), 300},
            {QStringLiteral("zaspectratio"), 1.25},
            {QStringLiteral("zhaccuracy"), 0},
            {QStringLiteral("zlatitude"), 50.5},
            {QStringLiteral("zvcardname"), QStringLiteral("Ida")}};
}

QVariantMap messageRow()
{
    return {{QStringLiteral("z_ent"), 9},
            {QStringLiteral("z_opt"), 2},
            {QStringLiteral("zisfromme"), 0},
            {QStringLiteral("zmessagestatus"), 8},
            {QStringLiteral("zmessagetype"), 0},
            {QStringLiteral("zchatsession"), 300},
            {QStringLiteral("zmessagedate"), 650000000.5},
            {QStringLiteral("zfromjid"), QStringLiteral("4915@s.whatsapp.net")},
            {QStringLiteral("zstanzaid"), letters(20)},
            {QStringLiteral("ztext"), QStringLiteral("tea?")}};
}

} // namespace

/// Which record headers the matchers of the four tables take, on rows in which one column differs
/// from what devices write.
class TestWhatsappMatchers : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void sessions_data();
    void sessions();
    void members_data();
    void members();
    void media_data();
    void media();
    void messages_data();
    void messages();
    void freedCells();
    void rowOlderThanTheTableIsRefused();
    void missingColumns_data();
    void missingColumns();

private:
    static void addRow(const char *name, const char *column, const QVariant &value, bool isTaken)
    {
        QTest::newRow(name) << QString::fromLatin1(column) << value << isTaken;
    }
    static void addColumns()
    {
        QTest::addColumn<QString>("column");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<bool>("isTaken");
    }
    bool open(const char *table)
    {
        const QString name = QString::fromLatin1(table);
        return m_harness.open(name.toLower(), statementOf(name));
    }
    template<typename Matcher> void verify(QVariantMap row)
    {
        QFETCH(QString, column);
        QFETCH(QVariant, value);
        QFETCH(bool, isTaken);
        QVERIFY(m_harness.columns().contains(column));
        row[column] = value;
        QCOMPARE(m_harness.matches<Matcher>(m_harness.cell(row)) > 0, isTaken);
    }

    MatcherHarness<WhatsappDbFile> m_harness;
};

void TestWhatsappMatchers::sessions_data()
{
    addColumns();
    addRow("as on a device", "zpartnername", QStringLiteral("Clara"), true);
    addRow("whole date", "zlastmessagedate", 650000000, true);
    addRow("date of two bytes", "zlastmessagedate", 300, false);
    addRow("no last message", "zlastmessage", QVariant(), false);
    addRow("last message 1", "zlastmessage", 1, true);
    addRow("no address", "zcontactjid", QVariant(), false);
    addRow("no name", "zpartnername", QVariant(), false);
    addRow("bytes as name", "zpartnername", QByteArray(4, 'x'), false);
    addRow("hidden", "zhidden", 1, true);
    addRow("no mark of hidden ones", "zhidden", QVariant(), false);
    addRow("mark of two bytes", "zhidden", 300, false);
    addRow("no number in the address book", "zcontactabid", QVariant(), true);
}

void TestWhatsappMatchers::sessions()
{
    QVERIFY(open("ZWACHATSESSION"));
    verify<WhatsappDbFile::SessionMatcher>(sessionRow());
}

void TestWhatsappMatchers::members_data()
{
    addColumns();
    addRow("as on a device", "zcontactname", QStringLiteral("Clara"), true);
    addRow("who left", "zisactive", 0, true);
    addRow("activity of one byte", "zisactive", 2, true);
    addRow("activity of two bytes", "zisactive", 300, false);
    addRow("no number in the address book", "zcontactabid", QVariant(), false);
    addRow("no chat", "zchatsession", QVariant(), false);
    addRow("no name", "zcontactname", QVariant(), false);
    addRow("empty name", "zcontactname", QStringLiteral(""), true);
    addRow("first name", "zfirstname", QStringLiteral("Ida"), true);
    addRow("number as first name", "zfirstname", 5, false);
    addRow("no address", "zmemberjid", QVariant(), false);
}

void TestWhatsappMatchers::members()
{
    QVERIFY(open("ZWAGROUPMEMBER"));
    verify<WhatsappDbFile::MemberMatcher>(memberRow());
}

void TestWhatsappMatchers::media_data()
{
    addColumns();
    addRow("place", "zlatitude", 50.25, true);
    addRow("no place", "zlatitude", 0, true);
    addRow("width of a picture", "zlatitude", 1200, true);
    addRow("width of one byte", "zlatitude", 90, true);
    addRow("width of four bytes", "zlatitude", 100000000, true);
    addRow("width of three bytes", "zlatitude", 100000, false);
    addRow("NULL as latitude", "zlatitude", QVariant(), false);
    addRow("no message", "zmessage", QVariant(), false);
    addRow("origin of two bytes", "zmediaorigin", 300, false);
    addRow("aspect of a square", "zaspectratio", 1, false);
    addRow("no aspect", "zaspectratio", 0, true);
    addRow("NULL as aspect", "zaspectratio", QVariant(), false);
    addRow("accuracy", "zhaccuracy", 12.5, true);
    addRow("NULL as accuracy", "zhaccuracy", QVariant(), false);
    addRow("path", "zmedialocalpath", QStringLiteral("Media/1.jpg"), true);
    addRow("number as path", "zmedialocalpath", 5, false);
}

void TestWhatsappMatchers::media()
{
    QVERIFY(open("ZWAMEDIAITEM"));
    verify<WhatsappDbFile::MediaMatcher>(mediaRow());
}

void TestWhatsappMatchers::messages_data()
{
    addColumns();
    addRow("as on a device", "ztext", QStringLiteral("yes"), true);
    addRow("whole date", "zmessagedate", 650000000, true);
    addRow("date of two bytes", "zmessagedate", 300, false);
    addRow("no date", "zmessagedate", QVariant(), false);
    addRow("own", "zisfromme", 1, true);
    addRow("no direction", "zisfromme", QVariant(), false);
    addRow("status of two bytes", "zmessagestatus", 300, false);
    addRow("no status", "zmessagestatus", QVariant(), false);
    addRow("kind of one byte", "zmessagetype", 14, true);
    addRow("kind of two bytes", "zmessagetype", 300, false);
    addRow("no chat", "zchatsession", QVariant(), true);
    addRow("no sender", "zfromjid", QVariant(), true);
    addRow("number as sender", "zfromjid", 5, false);
    addRow("push name", "zpushname", QStringLiteral("Ida"), true);
    addRow("bytes as push name", "zpushname", QByteArray(3, 'x'), false);
    addRow("no identifier", "zstanzaid", QVariant(), false);
    addRow("no text", "ztext", QVariant(), true);
    addRow("number as text", "ztext", 5, false);
    addRow("text of a mebibyte", "ztext", letters(1048576), false);
    addRow("receiver", "ztojid", QStringLiteral("4915@g.us"), true);
    addRow("number as receiver", "ztojid", 5, false);
}

void TestWhatsappMatchers::messages()
{
    QVERIFY(open("ZWAMESSAGE"));
    verify<WhatsappDbFile::MessageMatcher>(messageRow());
}

void TestWhatsappMatchers::freedCells()
{
    QVERIFY(open("ZWAGROUPMEMBER"));
    QByteArray cell = m_harness.cell(memberRow());
    // A short row loses all in front of the entity's type. The size of a freeblock of 128 bytes or
    // more looks like a part of that type.
    for (const char *freeblock : {"\x00\x00\x00\x40", "\x01\x23\x00\x40", "\x01\x23\x00\x85"}) {
        cell.replace(0, 4, QByteArray(freeblock, 4));
        QCOMPARE(m_harness.matches<WhatsappDbFile::MemberMatcher>(cell), 1);
    }
}

void TestWhatsappMatchers::rowOlderThanTheTableIsRefused()
{
    QVERIFY(open("ZWAMESSAGE"));
    QCOMPARE(m_harness.matches<WhatsappDbFile::MessageMatcher>(m_harness.cell(messageRow())), 1);
    QCOMPARE(m_harness.matches<WhatsappDbFile::MessageMatcher>(m_harness.cell(messageRow(), 1)), 0);
}

void TestWhatsappMatchers::missingColumns_data()
{
    QTest::addColumn<QString>("table");
    QTest::addColumn<QStringList>("required");
    const auto row = [](const char *table, const char *columns) {
        QTest::newRow(table) << QString::fromLatin1(table)
                             << QString::fromLatin1(columns).split(QLatin1Char(' '));
    };
    row("ZWACHATSESSION", "ZLASTMESSAGE ZLASTMESSAGEDATE ZCONTACTJID ZPARTNERNAME ZHIDDEN");
    row("ZWAGROUPMEMBER", "ZCONTACTABID ZISACTIVE ZCHATSESSION ZCONTACTNAME ZFIRSTNAME ZMEMBERJID");
    row("ZWAMEDIAITEM", "ZLATITUDE ZMESSAGE ZMEDIAORIGIN ZMEDIALOCALPATH ZASPECTRATIO ZHACCURACY");
    row("ZWAMESSAGE", "ZMESSAGEDATE ZISFROMME ZSTANZAID ZMESSAGESTATUS ZMESSAGETYPE ZFROMJID "
                      "ZPUSHNAME ZTEXT ZTOJID");
}

void TestWhatsappMatchers::missingColumns()
{
    QFETCH(QString, table);
    QFETCH(QStringList, required);
    for (const QString &column : whatsappColumns(table).mid(3)) {
        const QString statement = statementOf(table).replace(QStringLiteral(" %1,").arg(column),
                                                             QStringLiteral(" OTHER,"));
        QVERIFY(m_harness.open(table.toLower(),
                               statement.endsWith(column + QLatin1String(" )"))
                                   ? QString(statement).replace(column + QLatin1String(" )"),
                                                                QStringLiteral("OTHER )"))
                                   : statement));
        QVERIFY(m_harness.columns().contains(QStringLiteral("other")));
        const QByteArray cell = m_harness.cell({});
        const int matches = table == QLatin1String("ZWACHATSESSION")
                                ? m_harness.matches<WhatsappDbFile::SessionMatcher>(cell)
                            : table == QLatin1String("ZWAGROUPMEMBER")
                                ? m_harness.matches<WhatsappDbFile::MemberMatcher>(cell)
                            : table == QLatin1String("ZWAMEDIAITEM")
                                ? m_harness.matches<WhatsappDbFile::MediaMatcher>(cell)
                                : m_harness.matches<WhatsappDbFile::MessageMatcher>(cell);
        QVERIFY2((matches == -1) == required.contains(column), qPrintable(column));
    }
}

QTEST_APPLESS_MAIN(TestWhatsappMatchers)
#include "tst_whatsappmatchers.moc"
