#include "recoverers/communication/messagematchers.h"
#include "samples/messagelayout.h"
#include "tests/support/matcherharness.h"

#include <QtTest>

namespace {

const QString MessageTable = QStringLiteral("message");
const QString ChatTable = QStringLiteral("madrid_chat");
const QString HandleTable = QStringLiteral("handle");
const QString Guid = QStringLiteral("0B6C7F0E-1D9C-4B52-8D55-3C6B7A9D1E2F");

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
    void rowThatIsOlderThanTheTable();
    void columnsThatCannotBeBound();

private:
    QVariantMap messageRow() const
    {
        return {{QStringLiteral("guid"), Guid},
                {QStringLiteral("text"), QStringLiteral("On my way")},
                {QStringLiteral("replace"), 0},
                {QStringLiteral("handle_id"), 5},
                {QStringLiteral("attributedbody"), QByteArray(80, 'x')},
                {QStringLiteral("version"), 10},
                {QStringLiteral("type"), 0},
                {QStringLiteral("service"), QStringLiteral("iMessage")},
                {QStringLiteral("error"), 0},
                {QStringLiteral("date"), qint64(568883121000000000)},
                {QStringLiteral("is_from_me"), 1}};
    }
    QVariantMap oldMessageRow() const
    {
        return {{QStringLiteral("address"), QStringLiteral("+15550001")},
                {QStringLiteral("date"), 1300000000},
                {QStringLiteral("text"), QStringLiteral("On my way")},
                {QStringLiteral("flags"), 2},
                {QStringLiteral("replace"), 0},
                {QStringLiteral("group_id"), 5},
                {QStringLiteral("association_id"), 0},
                {QStringLiteral("country"), QStringLiteral("us")}};
    }
    template<typename Matcher>
    void compare(const QString &table, const QString &statement, QVariantMap row)
    {
        QFETCH(QString, column);
        QFETCH(QVariant, value);
        QFETCH(bool, isTaken);
        QVERIFY(m_harness.open(table, statement));
        QVERIFY(m_harness.columns().contains(column));
        row[column] = value;
        QCOMPARE(m_harness.matches<Matcher>(m_harness.cell(row)), int(isTaken));
    }
    void addColumns()
    {
        QTest::addColumn<QString>("column");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<bool>("isTaken");
    }
    void addRow(const char *name, const char *column, const QVariant &value, bool isTaken)
    {
        QTest::newRow(name) << QString::fromLatin1(column) << value << isTaken;
    }

    MatcherHarness<SMSDbFile> m_harness;
};

void TestMessageMatchers::messages_data()
{
    addColumns();
    addRow("as on a device", "text", letters(200), true);
    addRow("no text", "text", QVariant(), false);
    addRow("number as text", "text", 5, false);
    addRow("guid in another width", "guid", letters(35), false);
    addRow("own message in a room", "handle_id", 0, true);
    addRow("no handle", "handle_id", QVariant(), false);
    addRow("no attributed text", "attributedbody", QVariant(), true);
    addRow("text as attributed text", "attributedbody", letters(80), false);
    addRow("no version", "version", QVariant(), false);
    addRow("type 1", "type", 1, true);
    addRow("type 2", "type", 2, true);
    addRow("type of two bytes", "type", 300, false);
    addRow("no type", "type", QVariant(), false);
    addRow("SMS", "service", QStringLiteral("SMS"), true);
    addRow("service in another width", "service", QStringLiteral("Madrid"), false);
    addRow("no service", "service", QVariant(), false);
}

void TestMessageMatchers::messages()
{
    compare<SMSDbFile::Message6Matcher>(MessageTable, messageStatement(MessageLayout::Ios12),
                                        messageRow());
}

void TestMessageMatchers::oldMessages_data()
{
    addColumns();
    addRow("as on a device", "text", letters(200), true);
    addRow("no text", "text", QVariant(), true);
    addRow("number as text", "text", 5, false);
    addRow("date in another width", "date", 300, false);
    addRow("no address", "address", QVariant(), true);
    addRow("no group", "group_id", QVariant(), false);
    addRow("text as group", "group_id", letters(3), false);
    addRow("no association", "association_id", QVariant(), false);
    addRow("no country", "country", QVariant(), true);
    addRow("country of three letters", "country", QStringLiteral("usa"), false);
}

void TestMessageMatchers::oldMessages()
{
    compare<SMSDbFile::Message5Matcher>(MessageTable, messageStatement(MessageLayout::Ios5),
                                        oldMessageRow());
}

void TestMessageMatchers::chats_data()
{
    addColumns();
    addRow("as on a device", "room_name", QStringLiteral("chat5"), true);
    addRow("account in another width", "account_id", letters(35), false);
    addRow("no properties", "properties", QVariant(), true);
    addRow("text as properties", "properties", letters(9), false);
    addRow("no identifier", "chat_identifier", QVariant(), false);
    addRow("service in another width", "service_name", QStringLiteral("iMessage"), false);
    addRow("no service", "service_name", QVariant(), false);
}

void TestMessageMatchers::chats()
{
    compare<SMSDbFile::MadridChatMatcher>(
        ChatTable, ChatStatement,
        {{QStringLiteral("style"), 45},
         {QStringLiteral("state"), 3},
         {QStringLiteral("account_id"), Guid},
         {QStringLiteral("properties"), QByteArray(30, 'x')},
         {QStringLiteral("chat_identifier"), QStringLiteral("+15550001")},
         {QStringLiteral("service_name"), QStringLiteral("Madrid")}});
}

void TestMessageMatchers::handles_data()
{
    addColumns();
    addRow("as on a device", "service", QStringLiteral("iMessage"), true);
    addRow("SMS", "service", QStringLiteral("SMS"), true);
    addRow("service in another width", "service", QStringLiteral("Madrid"), false);
    addRow("no country", "country", QVariant(), false);
    addRow("no address", "id", QVariant(), false);
    addRow("number as address", "id", 15550001, false);
}

void TestMessageMatchers::handles()
{
    compare<SMSDbFile::Handle6Matcher>(HandleTable, HandleStatement,
                                       {{QStringLiteral("id"), QStringLiteral("+15550001")},
                                        {QStringLiteral("country"), QStringLiteral("us")},
                                        {QStringLiteral("service"), QStringLiteral("SMS")}});
}

void TestMessageMatchers::rowThatIsOlderThanTheTable()
{
    QVERIFY(m_harness.open(MessageTable, messageStatement(MessageLayout::Ios12)));
    const TableSchema &table = *m_harness.file().table(MessageTable);
    const QByteArray cell = m_harness.cell(messageRow(), 9);
    SMSDbFile::Message6Matcher matcher(&m_harness.file());
    QVERIFY(matcher.bindColumns(table));
    QVERIFY(matcher.matchHeader(table, cell, cell.indexOf('\x55')));
    QCOMPARE(matcher.serialTypes.size(), table.columns.size() - 1 - 9);
    QCOMPARE(cell.mid(int(matcher.bodyStart), Guid.size()), Guid.toLatin1());
}

void TestMessageMatchers::columnsThatCannotBeBound()
{
    const QString withoutCountry = QStringLiteral(
        "CREATE TABLE message (ROWID INTEGER PRIMARY KEY, address TEXT, date INTEGER, text TEXT, "
        "flags INTEGER, replace INTEGER, svc_center TEXT, group_id INTEGER)");
    QVERIFY(m_harness.open(MessageTable, withoutCountry));
    const QByteArray oldCell = m_harness.cell(oldMessageRow());
    QCOMPARE(m_harness.matches<SMSDbFile::Message5Matcher>(oldCell), -1);
    QCOMPARE(m_harness.matches<SMSDbFile::Message6Matcher>(oldCell), -1);
    // The country is there, but not what every generation has behind the date.
    QVERIFY(m_harness.open(MessageTable,
                           QStringLiteral("CREATE TABLE message (ROWID INTEGER PRIMARY KEY, "
                                          "country TEXT, date INTEGER, text TEXT)")));
    QCOMPARE(m_harness.matches<SMSDbFile::Message5Matcher>(m_harness.cell(oldMessageRow())), 0);
    QVERIFY(m_harness.open(ChatTable,
                           QStringLiteral("CREATE TABLE madrid_chat (ROWID INTEGER PRIMARY KEY, "
                                          "chat_identifier, service_name, account_id)")));
    QCOMPARE(m_harness.matches<SMSDbFile::MadridChatMatcher>(
                 m_harness.cell({{QStringLiteral("account_id"), Guid}})),
             0);
}

QTEST_APPLESS_MAIN(TestMessageMatchers)
#include "tst_messagematchers.moc"
