#include "recoverers/communication/messagematchers.h"
#include "samples/messagelayout.h"
#include "tests/support/matcherharness.h"

#include <QtTest>

namespace {

const QString MessageTable = QStringLiteral("message");
const QString ChatTable = QStringLiteral("madrid_chat");
const QString HandleTable = QStringLiteral("handle");

QString messageStatement(MessageLayout layout)
{
    return QStringLiteral("CREATE TABLE message (%1)").arg(messageColumnList(layout));
}

const QString ChatStatement = QStringLiteral(
    "CREATE TABLE madrid_chat (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, style INTEGER, state "
    "INTEGER, account_id TEXT, properties BLOB, chat_identifier TEXT, service_name TEXT, guid "
    "TEXT, room_name TEXT, account_login TEXT, participants BLOB)");
const QString HandleStatement = QStringLiteral(
    "CREATE TABLE handle (ROWID INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, id TEXT NOT NULL, "
    "country TEXT, service TEXT NOT NULL, uncanonicalized_id TEXT, UNIQUE (id, service))");

} // namespace

/// Which record headers the matchers of messages take, on rows in which one column differs from
/// what devices write.
class TestMessageMatchers : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void messages_data();
    void messages();
    void oldMessages_data();
    void oldMessages();
    void chats_data();
    void chats();
    void handles_data();
    void handles();
    void columnsThatCannotBeBound();

private:
    QVariantMap messageRow() const
    {
        QVariantMap row = rowFromJson(R"({"guid": "0B6C7F0E-1D9C-4B52-8D55-3C6B7A9D1E2F",
            "text": "On my way", "replace": 0, "handle_id": 5, "version": 10, "type": 0,
            "service": "iMessage", "error": 0, "date": 568883121000000000, "is_from_me": 1})");
        row[QStringLiteral("attributedbody")] = QByteArray(80, 'x');
        return row;
    }
    QVariantMap oldMessageRow() const
    {
        return rowFromJson(R"({"address": "+15550001", "date": 1300000000, "text": "On my way",
            "flags": 2, "replace": 0, "group_id": 5, "association_id": 0, "country": "us"})");
    }

    MatcherHarness<SMSDbFile> m_harness;
};

void TestMessageMatchers::messages_data()
{
    addValueColumns();
    addValueRow("as on a device", "text", letters(200), true);
    addValueRow("no text", "text", QVariant(), false);
    addValueRow("number as text", "text", 5, false);
    addValueRow("guid in another width", "guid", letters(35), false);
    addValueRow("own message in a room", "handle_id", 0, true);
    addValueRow("no handle", "handle_id", QVariant(), false);
    addValueRow("no attributed text", "attributedbody", QVariant(), true);
    addValueRow("text as attributed text", "attributedbody", letters(80), false);
    addValueRow("no version", "version", QVariant(), false);
    addValueRow("type 1", "type", 1, true);
    addValueRow("type 2", "type", 2, true);
    addValueRow("type of two bytes", "type", 300, false);
    addValueRow("no type", "type", QVariant(), false);
    addValueRow("SMS", "service", QStringLiteral("SMS"), true);
    addValueRow("service in another width", "service", QStringLiteral("Madrid"), false);
    addValueRow("service of nine bytes", "service", QStringLiteral("Telegraph"), false);
    addValueRow("no service", "service", QVariant(), false);
}

void TestMessageMatchers::messages()
{
    QVERIFY(m_harness.open(MessageTable, messageStatement(MessageLayout::Ios12)));
    m_harness.compare<SMSDbFile::Message6Matcher>(messageRow());
}

void TestMessageMatchers::oldMessages_data()
{
    addValueColumns();
    addValueRow("as on a device", "text", letters(200), true);
    addValueRow("no text", "text", QVariant(), true);
    addValueRow("number as text", "text", 5, false);
    addValueRow("date in another width", "date", 300, false);
    addValueRow("no address", "address", QVariant(), true);
    addValueRow("no group", "group_id", QVariant(), false);
    addValueRow("text as group", "group_id", letters(3), false);
    addValueRow("no association", "association_id", QVariant(), false);
    addValueRow("no country", "country", QVariant(), true);
    addValueRow("country of three letters", "country", QStringLiteral("usa"), false);
}

void TestMessageMatchers::oldMessages()
{
    QVERIFY(m_harness.open(MessageTable, messageStatement(MessageLayout::Ios5)));
    m_harness.compare<SMSDbFile::Message5Matcher>(oldMessageRow());
}

void TestMessageMatchers::chats_data()
{
    addValueColumns();
    addValueRow("as on a device", "room_name", QStringLiteral("chat5"), true);
    addValueRow("account in another width", "account_id", letters(35), false);
    addValueRow("no properties", "properties", QVariant(), true);
    addValueRow("text as properties", "properties", letters(9), false);
    addValueRow("no identifier", "chat_identifier", QVariant(), false);
    addValueRow("service in another width", "service_name", QStringLiteral("iMessage"), false);
    addValueRow("no service", "service_name", QVariant(), false);
}

void TestMessageMatchers::chats()
{
    QVERIFY(m_harness.open(ChatTable, ChatStatement));
    QVariantMap row = rowFromJson(R"({"style": 45, "state": 3, "service_name": "Madrid",
        "account_id": "0B6C7F0E-1D9C-4B52-8D55-3C6B7A9D1E2F", "chat_identifier": "+15550001"})");
    row[QStringLiteral("properties")] = QByteArray(30, 'x');
    m_harness.compare<SMSDbFile::MadridChatMatcher>(row);
}

void TestMessageMatchers::handles_data()
{
    addValueColumns();
    addValueRow("as on a device", "service", QStringLiteral("iMessage"), true);
    addValueRow("SMS", "service", QStringLiteral("SMS"), true);
    addValueRow("service in another width", "service", QStringLiteral("Madrid"), false);
    addValueRow("no country", "country", QVariant(), false);
    addValueRow("no address", "id", QVariant(), false);
    addValueRow("number as address", "id", 15550001, false);
}

void TestMessageMatchers::handles()
{
    QVERIFY(m_harness.open(HandleTable, HandleStatement));
    m_harness.compare<SMSDbFile::Handle6Matcher>(
        rowFromJson(R"({"id": "+15550001", "country": "us", "service": "SMS"})"));
}

void TestMessageMatchers::columnsThatCannotBeBound()
{
    QVERIFY(m_harness.open(MessageTable, messageStatement(MessageLayout::Ios5)));
    QCOMPARE(m_harness.neededColumns<SMSDbFile::Message5Matcher>(), QStringLiteral("date country"));
    QVERIFY(m_harness.open(MessageTable, messageStatement(MessageLayout::Ios12)));
    QCOMPARE(m_harness.neededColumns<SMSDbFile::Message6Matcher>(),
             QStringLiteral("guid text handle_id attributedbody version type service"));
    QVERIFY(m_harness.open(ChatTable, ChatStatement));
    QCOMPARE(m_harness.neededColumns<SMSDbFile::MadridChatMatcher>(),
             QStringLiteral("account_id chat_identifier service_name"));
    QVERIFY(m_harness.open(HandleTable, HandleStatement));
    QCOMPARE(m_harness.neededColumns<SMSDbFile::Handle6Matcher>(),
             QStringLiteral("id country service"));
    // The country is there, but not what every generation has behind the date.
    QVERIFY(m_harness.open(MessageTable,
                           QStringLiteral("CREATE TABLE message (ROWID INTEGER PRIMARY KEY, "
                                          "country TEXT, date INTEGER, text TEXT)")));
    QCOMPARE(m_harness.matches<SMSDbFile::Message5Matcher>(m_harness.cell(oldMessageRow())), 0);
    QVERIFY(m_harness.open(ChatTable,
                           QStringLiteral("CREATE TABLE madrid_chat (ROWID INTEGER PRIMARY KEY, "
                                          "chat_identifier, service_name, account_id)")));
    QCOMPARE(m_harness.matches<SMSDbFile::MadridChatMatcher>(
                 m_harness.cell({{QStringLiteral("account_id"), letters(36)}})),
             0);
}

QTEST_APPLESS_MAIN(TestMessageMatchers)
#include "tst_messagematchers.moc"
