#include "recoverers/messaging/whatsappassembler.h"

#include <QtTest>

#include <ctime>

namespace {

QString person(const char *number)
{
    return QLatin1String(number) + QStringLiteral("@s.whatsapp.net");
}

const QString Group = QStringLiteral("49-16@g.us");

CarvedRowid intact(qint64 key)
{
    return {key, key > 0, false};
}

QString toText(const WhatsappMessageItem &item)
{
    return QStringLiteral("%1|%2|%3").arg(item.date).arg(item.senderName, item.text);
}

} // namespace

Q_DECLARE_METATYPE(WhatsappEntity)

/// The rules by which carved rows and live rows become chats. Rows as SQLite leaves them are in
/// tst_whatsapp.
class TestWhatsappAssembler : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void mediaTexts_data();
    void mediaTexts();
    void senders_data();
    void senders();
    void namesAreListedOnce();
    void mediaOfOthers();
    void chatNames_data();
    void chatNames();
    void chatsWithoutKeys();
    void orderOfTheResult();
    void fieldsOfAMessage();
    void datesAreCut();
    void keysThatNoRowHad_data();
    void keysThatNoRowHad();
    void copiesAndPieces_data();
    void copiesAndPieces();
    void otherEntities_data();
    void otherEntities();
    void joiningIsLinear();

private:
    /// Adds a received message of the chat 1 in a group.
    CarvedWhatsappMessage &message(const char *text, qint64 date = 1)
    {
        CarvedWhatsappMessage carved;
        carved.row.text = QString::fromUtf8(text);
        carved.row.date = date;
        carved.row.session = 1;
        carved.row.fromJid = Group;
        carved.row.stanzaId = QStringLiteral("S%1").arg(m_carved.messages.size());
        m_carved.messages.push_back(carved);
        return m_carved.messages.back();
    }
    WhatsappMember &member(qint64 key, const char *name)
    {
        m_carved.members.push_back({intact(key), 6, {}, false});
        m_carved.members.back().row.contactName = QString::fromUtf8(name);
        m_carved.members.back().row.session = 1;
        return m_carved.members.back().row;
    }
    CarvedWhatsappRow<WhatsappMedia> &media(const CarvedRowid &key, const char *title,
                                            qint64 owner = 0)
    {
        m_carved.media.push_back({key, 8, {}, false});
        m_carved.media.back().row.title = QString::fromUtf8(title);
        m_carved.media.back().row.message = owner;
        return m_carved.media.back();
    }
    WhatsappSession session(const QString &jid, const char *name)
    {
        WhatsappSession session;
        session.contactJid = jid;
        session.partnerName = QString::fromUtf8(name);
        return session;
    }
    /// The messages of all chats, one after the other.
    QStringList assembled() const
    {
        QStringList texts;
        for (const auto &chat : assembleWhatsappChats(m_live, m_carved)) {
            for (const WhatsappMessageItem *item : chat->messages) {
                texts << toText(*item);
            }
        }
        return texts;
    }
    QString firstText() const { return assembled().value(0).section(QLatin1Char('|'), 2); }
    QStringList chatNamesOf() const
    {
        QStringList names;
        for (const auto &chat : assembleWhatsappChats(m_live, m_carved)) {
            names << chat->chatName;
        }
        return names;
    }

    LiveWhatsapp m_live;
    CarvedWhatsapp m_carved;
};

void TestWhatsappAssembler::init()
{
    m_live = LiveWhatsapp();
    m_carved = CarvedWhatsapp();
}

void TestWhatsappAssembler::mediaTexts_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("card");
    const QString x = QStringLiteral("X");
    QTest::newRow("picture without title") << 1 << QString() << x << QString();
    QTest::newRow("picture with title") << 1 << QStringLiteral("T") << "T\n\nX" << QString();
    QTest::newRow("contact") << 4 << QString() << QStringLiteral("Ida") << "BEGIN";
    QTest::newRow("contact with title") << 4 << QStringLiteral("T") << "T\n\nIda"
                                        << "BEGIN";
    QTest::newRow("place") << 5 << QString() << QStringLiteral("Ida") << QString();
    QTest::newRow("marks in the title")
        << 0 << QStringLiteral("%2 %1") << "%2 %1\n\nX" << QString();
}

void TestWhatsappAssembler::mediaTexts()
{
    QFETCH(int, type);
    QFETCH(QString, title);
    WhatsappMessage &row = message("X").row;
    row.type = type;
    row.media = 5;
    WhatsappMedia item;
    item.title = title;
    item.vcardName = QStringLiteral("Ida");
    item.vcardString = QStringLiteral("BEGIN");
    // The same from a carved item as from a live one.
    for (const bool isLive : {true, false}) {
        m_live.media.clear();
        m_carved.media.clear();
        if (isLive) {
            m_live.media.insert(5, item);
        } else {
            m_carved.media.push_back({intact(5), 8, item, false});
        }
        const auto chats = assembleWhatsappChats(m_live, m_carved);
        QTEST(chats.at(0)->messages.at(0)->text, "text");
        QTEST(chats.at(0)->messages.at(0)->vcardText, "card");
    }
}

void TestWhatsappAssembler::senders_data()
{
    QTest::addColumn<QString>("liveName"); // null for no such member
    QTest::addColumn<QString>("carvedName");
    QTest::addColumn<QString>("pushName");
    QTest::addColumn<QString>("expected");
    const QString none;
    const QString empty = QStringLiteral("");
    const QString push = QStringLiteral("ida");
    const QString unknown = QStringLiteral("Unknown member");
    QTest::newRow("live") << "Ida" << none << push << "Ida";
    QTest::newRow("carved") << none << "Ida" << push << "Ida";
    QTest::newRow("live before carved") << "Ida"
                                        << "Clara" << push << "Ida";
    QTest::newRow("push name") << none << none << push << "ida";
    QTest::newRow("nothing known") << none << none << none << unknown;
    // The name of a known member counts, also where there is none.
    QTest::newRow("known without name") << none << empty << push << unknown;
}

void TestWhatsappAssembler::senders()
{
    QFETCH(QString, liveName);
    QFETCH(QString, carvedName);
    QFETCH(QString, pushName);
    WhatsappMessage &row = message("X").row;
    row.member = 9;
    row.pushName = pushName;
    if (!liveName.isNull()) {
        m_live.members.insert(9, {0, 1, liveName, QString()});
    }
    if (!carvedName.isNull()) {
        member(9, qPrintable(carvedName));
    }
    const auto chats = assembleWhatsappChats(m_live, m_carved);
    QTEST(chats.at(0)->messages.at(0)->senderName, "expected");
    QCOMPARE(chats.at(0)->memberNames.contains(QStringLiteral("Unknown member")), false);
}

void TestWhatsappAssembler::namesAreListedOnce()
{
    member(1, "Wrong");
    m_carved.members.back().key = {1, false, true}; // the certain key counts
    member(1, "Ida");
    member(2, "Clara");
    int date = 0;
    for (const qint64 key : {2, 1, 7, 2, 0}) {
        message("X", ++date).row.member = key;
    }
    member(3, "Olga").session = 2;
    m_carved.members.back().key = {3, false, true};
    message("X", ++date).row.member = 3; // concluded, and of another chat
    member(4, "Eva");
    m_carved.members.back().key = {4, false, true};
    message("X", ++date).row.member = 4; // concluded, and of this chat
    member(5, "Nora");
    m_carved.members.back().key = {5, false, false};
    message("X", ++date).row.member = 5; // a guess
    const auto chats = assembleWhatsappChats(m_live, m_carved);
    QCOMPARE(chats.at(0)->memberNames,
             (QStringList{QStringLiteral("Clara"), QStringLiteral("Ida"), QStringLiteral("Eva")}));
    QCOMPARE(assembled(),
             (QStringList{QStringLiteral("1|Clara|X"), QStringLiteral("2|Ida|X"),
                          QStringLiteral("3|Unknown member|X"), QStringLiteral("4|Clara|X"),
                          QStringLiteral("5||X"), QStringLiteral("6|Unknown member|X"),
                          QStringLiteral("7|Eva|X"), QStringLiteral("8|Unknown member|X")}));
}

void TestWhatsappAssembler::mediaOfOthers()
{
    CarvedWhatsappMessage &carved = message("X");
    carved.row.media = 5;
    carved.key = intact(30);
    const QString joined = QStringLiteral("T\n\nX");
    const QString alone = QStringLiteral("X");

    media({5, false, true}, "T", 30); // concluded, names the message
    QCOMPARE(firstText(), joined);
    m_carved.media.back().row.message = 31; // concluded, names another
    QCOMPARE(firstText(), alone);
    m_carved.media.back().key = intact(5); // certain
    QCOMPARE(firstText(), joined);
    m_carved.media.back() = {CarvedRowid(), 8, m_carved.media.back().row, false};
    m_carved.media.back().row.message = 30; // no key, but names the message
    QCOMPARE(firstText(), joined);
    m_carved.media.back().key = intact(6); // another one of the same message
    QCOMPARE(firstText(), alone);
    carved.key = {30, false, false}; // two guesses that agree, and two that do not
    m_carved.media.back().key = {5, false, false};
    QCOMPARE(firstText(), joined);
    m_carved.media.back().key = {4, false, false};
    QCOMPARE(firstText(), alone);
    carved.key = CarvedRowid();
    m_carved.media.back().key = {5, false, true};
    QCOMPARE(firstText(), joined); // nothing says otherwise
    m_live.messageKeys = {30};
    QCOMPARE(firstText(), alone); // it belongs to a message that still exists
}

void TestWhatsappAssembler::chatNames_data()
{
    QTest::addColumn<QString>("from");
    QTest::addColumn<QString>("to");
    QTest::addColumn<bool>("isKnown");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("jids");
    const QString ida = person("4915");
    const QStringList idas{ida};
    QTest::newRow("known chat") << ida << QString() << true << "Ida" << idas;
    QTest::newRow("received") << ida << QString() << false << "4915" << idas;
    QTest::newRow("sent") << QString() << ida << false << "4915" << idas;
    QTest::newRow("group") << Group << QString() << false << Group << QStringList(Group);
    QTest::newRow("sent to a group") << QString() << Group << false << Group << QStringList(Group);
    QTest::newRow("suffix in other letters")
        << "49@G.US" << QString() << false << "49" << QStringList(QStringLiteral("49@G.US"));
    QTest::newRow("list") << QString() << "77@broadcast" << false << "77"
                          << QStringList(QStringLiteral("77@broadcast"));
    QTest::newRow("no address") << QString() << QString() << false << QString() << QStringList();
}

void TestWhatsappAssembler::chatNames()
{
    QFETCH(QString, from);
    QFETCH(QString, to);
    QFETCH(bool, isKnown);
    WhatsappMessage &row = message("X").row;
    row.fromJid = from;
    row.toJid = to;
    row.isFromMe = from.isEmpty() ? 1 : 0;
    if (isKnown) {
        m_live.sessions.insert(1, session(from, "Ida"));
    }
    const auto chats = assembleWhatsappChats(m_live, m_carved);
    QTEST(chats.at(0)->chatName, "name");
    QTEST(chats.at(0)->chatJids, "jids");
    // A chat that was deleted is known by its key or by its address.
    for (const CarvedRowid &key : {intact(1), intact(0), CarvedRowid{1, false, true}}) {
        m_live.sessions.clear();
        m_carved.sessions.clear();
        m_carved.sessions.push_back({key, 4, session(from + to, "Clara"), false});
        const bool isFound = key.isIntact || !(from + to).isEmpty();
        QCOMPARE(chatNamesOf(),
                 QStringList(isFound || key.isSure ? QStringLiteral("Clara") : QString()));
    }
    // One whose key is only concluded, with another address, is another chat.
    m_carved.sessions.back() = {{1, false, true}, 4, session(person("1"), "Olga"), false};
    QCOMPARE(chatNamesOf().contains(QStringLiteral("Olga")), (from + to).isEmpty());
}

void TestWhatsappAssembler::chatsWithoutKeys()
{
    m_live.highestSession = 10;
    m_live.sessions.insert(3, session(person("1"), "Ida"));
    for (const qint64 key : {0, 11, -1}) {
        WhatsappMessage &row = message("X", key).row;
        row.session = key;
        row.fromJid = person("1");
    }
    message("Y").row.session = 0;
    m_carved.messages.back().row.fromJid = person("2");
    message("Z").row.session = 10;
    m_carved.messages.back().row.fromJid = person("3");
    QCOMPARE(chatNamesOf(),
             (QStringList{QStringLiteral("Ida"), QStringLiteral("2"), QStringLiteral("3")}));
    QCOMPARE(assembled().size(), 5);
}

void TestWhatsappAssembler::orderOfTheResult()
{
    for (const qint64 key : {20, 3, 100}) {
        message("a", 5).row.session = key;
        message("b", 4).row.session = key;
        message("c", 5).row.session = key;
        m_live.sessions.insert(key, session(Group, qPrintable(QString::number(key))));
    }
    QCOMPARE(chatNamesOf(),
             (QStringList{QStringLiteral("3"), QStringLiteral("20"), QStringLiteral("100")}));
    const QStringList chat{QStringLiteral("4||b"), QStringLiteral("5||a"), QStringLiteral("5||c")};
    QCOMPARE(assembled(), chat + chat + chat);
}

void TestWhatsappAssembler::fieldsOfAMessage()
{
    WhatsappMessage &row = message("X", 77).row;
    row.groupEventType = 2;
    row.status = 6;
    row.type = 6;
    row.isFromMe = 1;
    row.parent = 40;
    row.toJid = person("4915");
    row.pushName = QStringLiteral("Ida"); // says nothing without a member
    const auto chats = assembleWhatsappChats(m_live, m_carved);
    const WhatsappMessageItem &item = *chats.at(0)->messages.at(0);
    QCOMPARE(item.groupEventType, 2);
    QCOMPARE(item.messageStatus, 6);
    QCOMPARE(item.messageType, 6);
    QCOMPARE(item.isFromMe, 1);
    QCOMPARE(item.hasParent, 1);
    QCOMPARE(item.toJid, person("4915"));
    QCOMPARE(item.senderName, QString());
}

void TestWhatsappAssembler::datesAreCut()
{
    message("a", 4294967296 + 7);
    message("b", 3000000000);
    message("c", std::numeric_limits<qint64>::min()); // what is read from a NaN
    QCOMPARE(assembled(), (QStringList{QStringLiteral("0||c"), QStringLiteral("-1294967296||b"),
                                       QStringLiteral("7||a")}));
}

void TestWhatsappAssembler::keysThatNoRowHad_data()
{
    QTest::addColumn<qint64>("key");
    QTest::addColumn<qint64>("highest");
    QTest::addColumn<bool>("isBelieved");
    QTest::newRow("highest") << qint64(9) << qint64(9) << true;
    QTest::newRow("above") << qint64(10) << qint64(9) << false;
    QTest::newRow("negative") << qint64(-9) << qint64(9) << false;
    QTest::newRow("nothing recorded") << qint64(9) << UnknownHighestKey << true;
    QTest::newRow("none ever") << qint64(1) << qint64(0) << false;
}

void TestWhatsappAssembler::keysThatNoRowHad()
{
    QFETCH(qint64, key);
    QFETCH(qint64, highest);
    QFETCH(bool, isBelieved);
    m_live.highestMember = highest;
    m_live.highestMedia = highest;
    m_live.highestMessage = highest;
    WhatsappMessage &row = message("X").row;
    row.member = key;
    row.media = key;
    row.parent = key;
    member(key, "Ida");
    media({key, true, false}, "T");
    const auto chats = assembleWhatsappChats(m_live, m_carved);
    const WhatsappMessageItem &item = *chats.at(0)->messages.at(0);
    QCOMPARE(item.senderName, isBelieved ? QStringLiteral("Ida") : QString());
    QCOMPARE(item.text, isBelieved ? QStringLiteral("T\n\nX") : QStringLiteral("X"));
    QCOMPARE(item.hasParent, int(isBelieved));
}

void TestWhatsappAssembler::copiesAndPieces_data()
{
    QTest::addColumn<QString>("field"); // in which the second message differs
    QTest::addColumn<bool>("isPiece");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("count");
    QTest::newRow("copy") << QString() << false << "milk" << 1;
    QTest::newRow("other text") << QString() << false << "tea" << 2;
    QTest::newRow("beginning of the text") << QString() << false << "mi" << 2;
    QTest::newRow("other status") << "status" << false << "milk" << 2;
    QTest::newRow("other identifier") << "stanza" << false << "milk" << 1; // no field of a record
    QTest::newRow("other media") << "media" << false << "milk" << 2;
    QTest::newRow("other reply") << "parent" << false << "milk" << 2;
    QTest::newRow("piece") << QString() << true << "mi" << 1;
    QTest::newRow("piece of another") << QString() << true << "tea, please" << 2;
    QTest::newRow("piece with a stray end") << QString() << true << "miq" << 1;
    QTest::newRow("piece without identifier") << "no stanza" << true << "" << 1;
    QTest::newRow("piece with another identifier") << "stanza" << true << "mi" << 2;
    QTest::newRow("piece of another chat") << "session" << true << "mi" << 2;
}

void TestWhatsappAssembler::copiesAndPieces()
{
    QFETCH(QString, field);
    QFETCH(bool, isPiece);
    QFETCH(QString, text);
    const WhatsappMessage first = message("milk").row;
    CarvedWhatsappMessage &second = message("");
    second.row = first;
    second.row.text = text;
    second.row.status += field == QLatin1String("status");
    second.row.media += field == QLatin1String("media");
    second.row.parent += field == QLatin1String("parent");
    second.row.session += field == QLatin1String("session");
    second.row.stanzaId += QLatin1String(field == QLatin1String("stanza") ? "x" : "");
    if (field == QLatin1String("no stanza")) {
        second.row.stanzaId.clear();
    }
    second.isIncomplete = isPiece;
    QTEST(assembled().size(), "count");
    std::swap(m_carved.messages[0], m_carved.messages[1]); // whichever was found first
    QTEST(assembled().size(), "count");
    m_carved.messages[0].isLiveCopy = true;
    m_carved.messages[1].isLiveCopy = true;
    QCOMPARE(assembled().size(), 0);
}

void TestWhatsappAssembler::otherEntities_data()
{
    QTest::addColumn<WhatsappEntity>("entity");
    QTest::addColumn<bool>("isIntact"); // the row of entity 9
    QTest::addColumn<QVector<qint64>>("left");
    const QVector<qint64> most{1, 1};
    QTest::newRow("live rows tell") << WhatsappEntity{9, 1} << false << QVector<qint64>{9};
    QTest::newRow("whole cells tell") << WhatsappEntity{0, 1} << true << QVector<qint64>{9};
    QTest::newRow("numbered anew since")
        << WhatsappEntity{1, 1} << true << QVector<qint64>{1, 9, 1};
    QTest::newRow("the list tells") << WhatsappEntity{0, 9} << false << QVector<qint64>{9};
    QTest::newRow("the list tells of others") << WhatsappEntity{0, 5} << false << most;
    QTest::newRow("nothing tells") << WhatsappEntity() << false << most;
}

void TestWhatsappAssembler::otherEntities()
{
    QFETCH(WhatsappEntity, entity);
    QFETCH(bool, isIntact);
    for (const qint64 number : {1, 9, 1}) {
        message("X").entity = number;
    }
    m_carved.messages[1].key.isIntact = isIntact;
    dropOtherEntities(entity, &m_carved.messages);
    QVector<qint64> left;
    for (const CarvedWhatsappMessage &carved : m_carved.messages) {
        left << carved.entity;
    }
    QTEST(left, "left");
}

void TestWhatsappAssembler::joiningIsLinear()
{
    const auto time = [this](int count) {
        init();
        for (int i = 0; i < count; ++i) {
            // All at one time, with partners and members of their own, and half of them pieces.
            CarvedWhatsappMessage &carved = message("milk");
            carved.row.fromJid = person(qPrintable(QString::number(i)));
            carved.row.member = i + 1;
            carved.row.media = i + 1;
            carved.isIncomplete = i % 2 == 0;
            member(i + 1, qPrintable(QString::number(i)));
            media({0, false, false}, "T", i);
        }
        const std::clock_t begin = std::clock(); // of the processor: others may keep it busy
        const auto chats = assembleWhatsappChats(m_live, m_carved);
        return chats.at(0)->messages.size() == count ? qint64(std::clock() - begin) : -1;
    };
    const qint64 few = time(2000);
    const qint64 many = time(40000);
    QVERIFY(few > 0 && many > 0);
    QVERIFY2(many < 150 * few, qPrintable(QStringLiteral("%1 and %2").arg(few).arg(many)));
}

QTEST_APPLESS_MAIN(TestWhatsappAssembler)
#include "tst_whatsappassembler.moc"
