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
    return rowFromJson(R"({"z_ent": 4, "z_opt": 2, "zcontactabid": 17, "zhidden": 0,
        "zlastmessage": 300, "zlastmessagedate": 650000000.5,
        "zcontactjid": "4915@s.whatsapp.net", "zpartnername": "Ida"})");
}

QVariantMap memberRow()
{
    return rowFromJson(R"({"z_ent": 6, "z_opt": 2, "zcontactabid": 17, "zisactive": 1,
        "zisadmin": 0, "zchatsession": 300, "zcontactname": "Ida",
        "zmemberjid": "4915@s.whatsapp.net"})");
}

QVariantMap mediaRow()
{
    return rowFromJson(R"({"z_ent": 8, "z_opt": 2, "zfilesize": 70000, "zmediaorigin": 0,
        "zmessage": 300, "zaspectratio": 1.25, "zhaccuracy": 0, "zlatitude": 50.5,
        "zvcardname": "Ida"})");
}

QVariantMap messageRow()
{
    return rowFromJson(R"({"z_ent": 9, "z_opt": 2, "zisfromme": 0, "zmessagestatus": 8,
        "zmessagetype": 0, "zchatsession": 300, "zmessagedate": 650000000.5,
        "zfromjid": "4915@s.whatsapp.net", "zstanzaid": "3A001122334455667788",
        "ztext": "tea?"})");
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
    void neededColumns();

private:
    bool open(const char *table)
    {
        const QString name = QString::fromLatin1(table);
        return m_harness.open(name.toLower(), statementOf(name));
    }
    MatcherHarness<WhatsappDbFile> m_harness;
};

void TestWhatsappMatchers::sessions_data()
{
    addValueColumns();
    addValueRow("as on a device", "zpartnername", QStringLiteral("Clara"), true);
    addValueRow("whole date", "zlastmessagedate", 650000000, true);
    addValueRow("date of two bytes", "zlastmessagedate", 300, false);
    addValueRow("no last message", "zlastmessage", QVariant(), false);
    addValueRow("last message 1", "zlastmessage", 1, true);
    addValueRow("no address", "zcontactjid", QVariant(), false);
    addValueRow("no name", "zpartnername", QVariant(), false);
    addValueRow("bytes as name", "zpartnername", QByteArray(4, 'x'), false);
    addValueRow("hidden", "zhidden", 1, true);
    addValueRow("no mark of hidden ones", "zhidden", QVariant(), false);
    addValueRow("mark of two bytes", "zhidden", 300, false);
    addValueRow("no number in the address book", "zcontactabid", QVariant(), true);
}

void TestWhatsappMatchers::sessions()
{
    QVERIFY(open("ZWACHATSESSION"));
    m_harness.compare<WhatsappDbFile::SessionMatcher>(sessionRow());
}

void TestWhatsappMatchers::members_data()
{
    addValueColumns();
    addValueRow("as on a device", "zcontactname", QStringLiteral("Clara"), true);
    addValueRow("who left", "zisactive", 0, true);
    addValueRow("activity of one byte", "zisactive", 2, true);
    addValueRow("activity of two bytes", "zisactive", 300, false);
    addValueRow("no number in the address book", "zcontactabid", QVariant(), false);
    addValueRow("no chat", "zchatsession", QVariant(), false);
    addValueRow("no name", "zcontactname", QVariant(), false);
    addValueRow("empty name", "zcontactname", QStringLiteral(""), true);
    addValueRow("first name", "zfirstname", QStringLiteral("Ida"), true);
    addValueRow("number as first name", "zfirstname", 5, false);
    addValueRow("no address", "zmemberjid", QVariant(), false);
}

void TestWhatsappMatchers::members()
{
    QVERIFY(open("ZWAGROUPMEMBER"));
    m_harness.compare<WhatsappDbFile::MemberMatcher>(memberRow());
}

void TestWhatsappMatchers::media_data()
{
    addValueColumns();
    addValueRow("place", "zlatitude", 50.25, true);
    addValueRow("no place", "zlatitude", 0, true);
    addValueRow("width of a picture", "zlatitude", 1200, true);
    addValueRow("width of one byte", "zlatitude", 90, true);
    addValueRow("width of four bytes", "zlatitude", 100000000, true);
    addValueRow("width of three bytes", "zlatitude", 100000, false);
    addValueRow("NULL as latitude", "zlatitude", QVariant(), false);
    addValueRow("no message", "zmessage", QVariant(), false);
    addValueRow("origin of two bytes", "zmediaorigin", 300, false);
    addValueRow("aspect of a square", "zaspectratio", 1, false);
    addValueRow("no aspect", "zaspectratio", 0, true);
    addValueRow("NULL as aspect", "zaspectratio", QVariant(), false);
    addValueRow("accuracy", "zhaccuracy", 12.5, true);
    addValueRow("NULL as accuracy", "zhaccuracy", QVariant(), false);
    addValueRow("path", "zmedialocalpath", QStringLiteral("Media/1.jpg"), true);
    addValueRow("number as path", "zmedialocalpath", 5, false);
}

void TestWhatsappMatchers::media()
{
    QVERIFY(open("ZWAMEDIAITEM"));
    m_harness.compare<WhatsappDbFile::MediaMatcher>(mediaRow());
}

void TestWhatsappMatchers::messages_data()
{
    addValueColumns();
    addValueRow("as on a device", "ztext", QStringLiteral("yes"), true);
    addValueRow("whole date", "zmessagedate", 650000000, true);
    addValueRow("date of two bytes", "zmessagedate", 300, false);
    addValueRow("no date", "zmessagedate", QVariant(), false);
    addValueRow("own", "zisfromme", 1, true);
    addValueRow("no direction", "zisfromme", QVariant(), false);
    addValueRow("status of two bytes", "zmessagestatus", 300, false);
    addValueRow("no status", "zmessagestatus", QVariant(), false);
    addValueRow("kind of one byte", "zmessagetype", 14, true);
    addValueRow("kind of two bytes", "zmessagetype", 300, false);
    addValueRow("no chat", "zchatsession", QVariant(), true);
    addValueRow("no sender", "zfromjid", QVariant(), true);
    addValueRow("number as sender", "zfromjid", 5, false);
    addValueRow("push name", "zpushname", QStringLiteral("Ida"), true);
    addValueRow("bytes as push name", "zpushname", QByteArray(3, 'x'), false);
    addValueRow("no identifier", "zstanzaid", QVariant(), false);
    addValueRow("no text", "ztext", QVariant(), true);
    addValueRow("number as text", "ztext", 5, false);
    addValueRow("text of a mebibyte", "ztext", letters(1048576), false);
    addValueRow("receiver", "ztojid", QStringLiteral("4915@g.us"), true);
    addValueRow("number as receiver", "ztojid", 5, false);
}

void TestWhatsappMatchers::messages()
{
    QVERIFY(open("ZWAMESSAGE"));
    m_harness.compare<WhatsappDbFile::MessageMatcher>(messageRow());
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

void TestWhatsappMatchers::neededColumns()
{
    QVERIFY(open("ZWACHATSESSION"));
    QCOMPARE(m_harness.neededColumns<WhatsappDbFile::SessionMatcher>(),
             QStringLiteral("zhidden zlastmessage zlastmessagedate zcontactjid "
                            "zpartnername"));
    QVERIFY(open("ZWAGROUPMEMBER"));
    QCOMPARE(m_harness.neededColumns<WhatsappDbFile::MemberMatcher>(),
             QStringLiteral("zcontactabid zisactive zchatsession zcontactname zfirstname "
                            "zmemberjid"));
    QVERIFY(open("ZWAMEDIAITEM"));
    QCOMPARE(m_harness.neededColumns<WhatsappDbFile::MediaMatcher>(),
             QStringLiteral("zmediaorigin zmessage zaspectratio zhaccuracy zlatitude "
                            "zmedialocalpath"));
    QVERIFY(open("ZWAMESSAGE"));
    QCOMPARE(m_harness.neededColumns<WhatsappDbFile::MessageMatcher>(),
             QStringLiteral("zisfromme zmessagestatus zmessagetype zmessagedate zfromjid "
                            "zpushname zstanzaid ztext ztojid"));
}

QTEST_APPLESS_MAIN(TestWhatsappMatchers)
#include "tst_whatsappmatchers.moc"
