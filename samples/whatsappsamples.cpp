#include "samples/whatsappsamples.h"

#include "samples/messagetext.h"
#include "samples/sampledatabase.h"
#include "samples/samplerandom.h"

#include <algorithm>
#include <map>

namespace {

using Row = QVariantMap;
using Message = SampleWhatsappMessage;

enum MessageType {
    Text = 0,
    Image = 1,
    Contact = 4,
    Place = 5,
    GroupEvent = 6,
    Document = 8,
    Revoked = 14
};

constexpr int people = 9;
constexpr int groups = 5;

QVariant textOrNull(const QString &text)
{
    return text.isEmpty() ? QVariant() : QVariant(text);
}

/// Writes rows as the application does, with a counter for the keys of each entity.
class WhatsappStore
{
public:
    explicit WhatsappStore(SampleDatabase *db)
        : m_db(db)
    {
    }

    bool createTables();
    bool begin() { return m_db->exec(QStringLiteral("BEGIN")); }
    bool commit() { return m_db->exec(QStringLiteral("COMMIT")); }
    /// Gives the row its key, entity and first version.
    qint64 insert(const char *table, Row row);
    qint64 nextKey(const char *table) const { return m_highest.value(QLatin1String(table)) + 1; }
    bool update(const char *table, qint64 key, const Row &row);
    bool remove(const char *table, qint64 key);
    bool isOk() const { return m_isOk; }

private:
    bool run(const QString &statement, const QVariantList &values)
    {
        m_isOk = m_isOk && m_db->run(statement, values);
        return m_isOk;
    }

    SampleDatabase *m_db;
    QHash<QString, qint64> m_highest;
    bool m_isOk = true;
};

struct Entity
{
    const char *name;
    const char *table;
};

constexpr Entity entities[] = {
    {"WABlackListItem", "ZWABLACKLISTITEM"},
    {"WAChatProperties", "ZWACHATPROPERTIES"},
    {"WAChatPushConfig", ""},
    {"WAChatSession", "ZWACHATSESSION"},
    {"WAGroupInfo", "ZWAGROUPINFO"},
    {"WAGroupMember", "ZWAGROUPMEMBER"},
    {"WAGroupMembersChange", ""},
    {"WAMediaItem", "ZWAMEDIAITEM"},
    {"WAMessage", "ZWAMESSAGE"},
    {"WAMessageDataItem", "ZWAMESSAGEDATAITEM"},
    {"WAMessageInfo", "ZWAMESSAGEINFO"},
};

int entityOf(const char *table)
{
    const auto entity =
        std::find_if(std::begin(entities), std::end(entities), [&](const Entity &e) {
            return QLatin1String(e.table) == QLatin1String(table);
        });
    return int(entity - std::begin(entities)) + 1;
}

bool WhatsappStore::createTables()
{
    bool ok = m_db->exec(whatsappTables());
    for (const Entity &entity : entities) {
        ok = ok
             && m_db->run(QStringLiteral("INSERT INTO Z_PRIMARYKEY (Z_NAME, Z_SUPER, Z_MAX) VALUES "
                                         "(?, 0, 0)"),
                          {QLatin1String(entity.name)});
    }
    return ok;
}

qint64 WhatsappStore::insert(const char *table, Row row)
{
    const QString name = QLatin1String(table);
    const qint64 key = ++m_highest[name];
    row[QStringLiteral("Z_PK")] = key;
    row[QStringLiteral("Z_ENT")] = entityOf(table);
    if (!row.contains(QStringLiteral("Z_OPT"))) {
        row[QStringLiteral("Z_OPT")] = 1;
    }
    QStringList marks;
    for (int i = 0; i < row.size(); ++i) {
        marks << QStringLiteral("?");
    }
    run(QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
            .arg(name, QStringList(row.keys()).join(QLatin1Char(',')),
                 marks.join(QLatin1Char(','))),
        row.values());
    run(QStringLiteral("UPDATE Z_PRIMARYKEY SET Z_MAX=? WHERE Z_ENT=?"), {key, entityOf(table)});
    return key;
}

bool WhatsappStore::update(const char *table, qint64 key, const Row &row)
{
    return run(QStringLiteral("UPDATE %1 SET %2=? WHERE Z_PK=?")
                   .arg(QLatin1String(table), QStringList(row.keys()).join(QStringLiteral("=?,"))),
               row.values() + QVariantList{key});
}

bool WhatsappStore::remove(const char *table, qint64 key)
{
    return run(QStringLiteral("DELETE FROM %1 WHERE Z_PK=?").arg(QLatin1String(table)), {key});
}

/// A media item as it is stored, and what it makes of a message.
struct Media
{
    Row row;
    QString title;
    QString vcardName;
    QString vcardString;
};

/// Lives one plan through in the database, keeping the truth up to date.
class PlanRunner
{
public:
    PlanRunner(SampleDatabase *db, const WhatsappPlan &plan, WhatsappSample *sample)
        : m_plan(plan)
        , m_random(plan.seed)
        , m_store(db)
        , m_sample(sample)
    {
        *sample = WhatsappSample();
    }

    bool run()
    {
        if (!m_store.createTables()) {
            return false;
        }
        makeChats();
        write(m_plan.messages);
        live();
        return m_store.isOk();
    }

private:
    struct Parts
    {
        QVector<qint64> media;
        QVector<qint64> members;
        qint64 group = 0;
        int counter = 0;
        bool isGone = false;
    };

    void makeChats();
    void addPerson();
    void addGroup();
    SampleWhatsappMember makeMember(qint64 chat);
    void write(int count);
    void writeOne();
    Message makeMessage(int chat, int type);
    void addSender(Message *message);
    Media makeMedia(int type);
    void insert(Message message, int type);
    void addMedia(Media media, Message *message);
    void touchChat(const Message &message);
    void reportDelivery();
    void changeLive(int index, const Row &change, const WhatsappMessageItem &item);
    void revoke(int index);
    void live();
    void removeMessage(int index);
    void removeSome(int percent);
    void clearChat(int chat);
    void removeChat(int chat);
    QString stanzaId();
    QString personJid() { return QStringLiteral("49%1@s.whatsapp.net").arg(m_random.digits(10)); }

    WhatsappPlan m_plan;
    SampleRandom m_random;
    WhatsappStore m_store;
    WhatsappSample *m_sample;
    QVector<Parts> m_parts;          ///< by chat
    QHash<qint64, qint64> m_mediaOf; ///< by message
    QVector<qint64> m_waiting;       ///< own messages that are not delivered yet
    double m_seconds = 650000000;
};

void PlanRunner::makeChats()
{
    for (int i = 0; i < people + groups; ++i) {
        m_store.begin();
        i % 3 == 2 ? addGroup() : addPerson();
        m_store.commit();
    }
}

void PlanRunner::addPerson()
{
    SampleWhatsappChat chat;
    chat.name = m_random.firstName() + QLatin1Char(' ') + m_random.lastName();
    chat.jid = personJid();
    chat.key =
        m_store.insert("ZWACHATSESSION", {{QStringLiteral("ZARCHIVED"), 0},
                                          {QStringLiteral("ZCONTACTABID"), m_random.number(1, 300)},
                                          {QStringLiteral("ZFLAGS"), 256},
                                          {QStringLiteral("ZHIDDEN"), 0},
                                          {QStringLiteral("ZREMOVED"), 0},
                                          {QStringLiteral("ZSESSIONTYPE"), 0},
                                          {QStringLiteral("ZCONTACTJID"), chat.jid},
                                          {QStringLiteral("ZPARTNERNAME"), chat.name}});
    m_sample->chats << chat;
    m_parts << Parts();
}

void PlanRunner::addGroup()
{
    SampleWhatsappChat chat;
    Parts parts;
    chat.name = m_random.city() + QLatin1Char(' ') + m_random.lastName();
    chat.jid = QStringLiteral("49%1-16%2@g.us").arg(m_random.digits(10), m_random.digits(8));
    chat.key = m_store.insert("ZWACHATSESSION", {{QStringLiteral("ZARCHIVED"), 0},
                                                 {QStringLiteral("ZCONTACTABID"), 0},
                                                 {QStringLiteral("ZFLAGS"), 260},
                                                 {QStringLiteral("ZHIDDEN"), 0},
                                                 {QStringLiteral("ZREMOVED"), 0},
                                                 {QStringLiteral("ZSESSIONTYPE"), 1},
                                                 {QStringLiteral("ZCONTACTJID"), chat.jid},
                                                 {QStringLiteral("ZPARTNERNAME"), chat.name}});
    parts.group = m_store.insert("ZWAGROUPINFO", {{QStringLiteral("ZCHATSESSION"), chat.key},
                                                  {QStringLiteral("ZSTATE"), 0},
                                                  {QStringLiteral("ZCREATIONDATE"), m_seconds}});
    m_store.update("ZWACHATSESSION", chat.key, {{QStringLiteral("ZGROUPINFO"), parts.group}});
    for (int i = m_random.number(3, 12); i > 0; --i) {
        chat.members << makeMember(chat.key);
        parts.members << chat.members.last().key;
    }
    // Who left is listed no more, but still named by messages.
    m_store.remove("ZWAGROUPMEMBER", parts.members.takeFirst());
    m_sample->chats << chat;
    m_parts << parts;
}

SampleWhatsappMember PlanRunner::makeMember(qint64 chat)
{
    SampleWhatsappMember member;
    const QString first = m_random.firstName();
    member.name = m_random.chance(92) ? first + QLatin1Char(' ') + m_random.lastName() : QString();
    member.jid = personJid();
    member.pushName = m_random.chance(80) ? first : QString();
    member.key = m_store.insert(
        "ZWAGROUPMEMBER",
        {{QStringLiteral("ZCONTACTABID"), m_random.number(0, 300)},
         {QStringLiteral("ZISACTIVE"), int(m_random.chance(90))},
         {QStringLiteral("ZISADMIN"), int(m_random.chance(20))},
         {QStringLiteral("ZSENDERKEYSENT"), int(m_random.chance(50))},
         {QStringLiteral("ZCHATSESSION"), chat},
         {QStringLiteral("ZCONTACTNAME"), member.name.isNull() ? QStringLiteral("") : member.name},
         {QStringLiteral("ZFIRSTNAME"), m_random.chance(70) ? QVariant(first) : QVariant()},
         {QStringLiteral("ZMEMBERJID"), member.jid}});
    return member;
}

QString PlanRunner::stanzaId()
{
    const QString hex = m_random.guid().remove(QLatin1Char('-'));
    return m_random.chance(70) ? QStringLiteral("3A") + hex.left(18) : hex;
}

void PlanRunner::write(int count)
{
    for (int i = 0; i < count; ++i) {
        writeOne();
        reportDelivery();
    }
}

void PlanRunner::writeOne()
{
    // Most of what is written goes to a few chats.
    const int chats = m_sample->chats.size();
    int chat = m_random.chance(60) ? m_random.number(0, 5) : m_random.number(0, chats);
    chat = m_parts.at(chat).isGone ? 0 : chat;
    const int kind = m_random.number(0, 100);
    const bool isGroup = !m_sample->chats.at(chat).members.isEmpty();
    const int type = kind < 76   ? Text
                     : kind < 86 ? Image
                     : kind < 90 ? Contact
                     : kind < 94 ? Place
                     : kind < 97 ? Document
                     : isGroup   ? GroupEvent
                                 : Text;
    m_seconds += m_random.number(20, 40000);
    // Several pictures are sent at once.
    const int times = type == Image && m_random.chance(25) ? 3 : 1;
    for (int i = 0; i < times; ++i) {
        insert(makeMessage(chat, type), type);
    }
}

Message PlanRunner::makeMessage(int chat, int type)
{
    Message message;
    message.chat = chat;
    const bool own = m_random.chance(45);
    const QString jid = m_sample->chats.at(chat).jid;
    const double date =
        m_random.chance(60) ? m_seconds : m_seconds + m_random.number(1, 1000) / 1024.0;
    const QString text = type == Text ? messageText(&m_random) : QString();
    message.isRefused = type == GroupEvent && m_random.chance(30); // without an identifier
    const QString id = message.isRefused ? QString() : stanzaId();
    message.row = {{QStringLiteral("Z_ENT"), entityOf("ZWAMESSAGE")},
                   {QStringLiteral("Z_OPT"), 1},
                   {QStringLiteral("ZCHILDMESSAGESDELIVEREDCOUNT"), 0},
                   {QStringLiteral("ZCHILDMESSAGESPLAYEDCOUNT"), 0},
                   {QStringLiteral("ZCHILDMESSAGESREADCOUNT"), 0},
                   {QStringLiteral("ZDATAITEMVERSION"), 3},
                   {QStringLiteral("ZDOCID"), type == Text ? m_random.number(1, 5000) : 0},
                   {QStringLiteral("ZENCRETRYCOUNT"), 0},
                   {QStringLiteral("ZFILTEREDRECIPIENTCOUNT"), 0},
                   {QStringLiteral("ZFLAGS"), own ? 16777216 : 0},
                   {QStringLiteral("ZGROUPEVENTTYPE"), type == GroupEvent ? 2 : 0},
                   {QStringLiteral("ZISFROMME"), int(own)},
                   {QStringLiteral("ZMESSAGEERRORSTATUS"), 0},
                   {QStringLiteral("ZMESSAGESTATUS"), own ? 0 : 8},
                   {QStringLiteral("ZMESSAGETYPE"), type},
                   {QStringLiteral("ZSORT"), ++m_parts[chat].counter},
                   {QStringLiteral("ZSPOTLIGHTSTATUS"), -32768},
                   {QStringLiteral("ZSTARRED"), int(m_random.chance(3))},
                   {QStringLiteral("ZCHATSESSION"), m_sample->chats.at(chat).key},
                   {QStringLiteral("ZMESSAGEDATE"), date},
                   {QStringLiteral("ZSENTDATE"), own ? QVariant() : QVariant(date + 0.5)},
                   {own ? QStringLiteral("ZTOJID") : QStringLiteral("ZFROMJID"), jid},
                   {QStringLiteral("ZPHASH"),
                    own ? QVariant() : QVariant(QStringLiteral("2:%1").arg(m_random.digits(8)))},
                   {QStringLiteral("ZSTANZAID"), textOrNull(id)},
                   {QStringLiteral("ZTEXT"), textOrNull(text)}};
    message.item.messageType = type;
    message.item.isFromMe = own;
    message.item.messageStatus = own ? 0 : 8;
    message.item.groupEventType = type == GroupEvent ? 2 : 0;
    message.item.date = qint32(date);
    message.item.text = text;
    message.item.toJid = own ? jid : QString();
    addSender(&message);
    return message;
}

void PlanRunner::addSender(Message *message)
{
    const SampleWhatsappChat &chat = m_sample->chats.at(message->chat);
    if (message->item.isFromMe != 0) {
        return;
    }
    if (chat.members.isEmpty()) {
        message->row[QStringLiteral("ZPUSHNAME")] = chat.name.section(QLatin1Char(' '), 0, 0);
        return;
    }
    const SampleWhatsappMember &sender = chat.members.at(m_random.number(0, chat.members.size()));
    message->row[QStringLiteral("ZGROUPMEMBER")] = sender.key;
    message->row[QStringLiteral("ZPUSHNAME")] = textOrNull(sender.pushName);
    message->item.senderName =
        sender.name.isEmpty() ? QStringLiteral("Unknown member") : sender.name;
}

Media PlanRunner::makeMedia(int type)
{
    Media media;
    media.row = {{QStringLiteral("ZCLOUDSTATUS"), m_random.number(0, 5)},
                 {QStringLiteral("ZFILESIZE"), m_random.number(0, 900000)},
                 {QStringLiteral("ZMEDIAORIGIN"), int(m_random.chance(20))},
                 {QStringLiteral("ZMOVIEDURATION"), 0},
                 {QStringLiteral("ZASPECTRATIO"), 0.0},
                 {QStringLiteral("ZHACCURACY"), 0.0},
                 {QStringLiteral("ZLATITUDE"), 0.0},
                 {QStringLiteral("ZLONGITUDE"), 0.0}};
    const QString file = QStringLiteral("Media/49%1/%2").arg(m_random.digits(10), m_random.guid());
    if (type == Image) {
        const int width = m_random.number(600, 4000);
        media.row[QStringLiteral("ZLATITUDE")] = double(width);
        media.row[QStringLiteral("ZLONGITUDE")] = double(m_random.number(600, 4000));
        media.row[QStringLiteral("ZASPECTRATIO")] = width / 1023.0;
        media.title = m_random.chance(40) ? plainSentence(&m_random).left(80) : QString();
    } else if (type == Place) {
        media.row[QStringLiteral("ZLATITUDE")] = 50.0 + m_random.number(1, 9999) / 10007.0;
        media.row[QStringLiteral("ZLONGITUDE")] = 7.0 + m_random.number(1, 9999) / 10007.0;
        media.vcardName = m_random.city();
    } else if (type == Contact) {
        media.vcardName = m_random.firstName() + QLatin1Char(' ') + m_random.lastName();
        media.vcardString =
            QStringLiteral("BEGIN:VCARD\nVERSION:3.0\nFN:%1\nTEL;type=CELL:+49%2\nEND:VCARD")
                .arg(media.vcardName, m_random.digits(10));
    } else {
        media.title = m_random.lastName() + QStringLiteral(".pdf");
    }
    if (type == Image || type == Document) {
        media.row[QStringLiteral("ZMEDIALOCALPATH")] = file;
        media.row[QStringLiteral("ZMEDIAURL")] =
            QStringLiteral("https://media.example.net/d/f/%1.enc").arg(m_random.guid());
        media.row[QStringLiteral("ZMEDIAKEY")] = m_random.digits(76).toLatin1();
    }
    media.row[QStringLiteral("ZTITLE")] = textOrNull(media.title);
    media.row[QStringLiteral("ZVCARDNAME")] = textOrNull(media.vcardName);
    media.row[QStringLiteral("ZVCARDSTRING")] = textOrNull(media.vcardString);
    return media;
}

void PlanRunner::insert(Message message, int type)
{
    m_store.begin();
    const bool isReply = type == Text && m_random.chance(10) && !m_sample->live.isEmpty();
    if (isReply) {
        message.row[QStringLiteral("ZPARENTMESSAGE")] =
            m_sample->live.at(m_random.number(0, m_sample->live.size())).key;
        message.item.hasParent = 1;
    }
    const bool hasMedia = type == Image || type == Contact || type == Place || type == Document;
    if (hasMedia) {
        message.row[QStringLiteral("ZMEDIAITEM")] = m_store.nextKey("ZWAMEDIAITEM");
    }
    message.key = m_store.insert("ZWAMESSAGE", message.row);
    if (hasMedia) {
        addMedia(makeMedia(type), &message);
    }
    m_sample->live << message;
    touchChat(message);
    m_store.commit();
    if (message.item.isFromMe != 0) {
        m_waiting << message.key;
    }
}

void PlanRunner::addMedia(Media media, Message *message)
{
    media.row[QStringLiteral("ZMESSAGE")] = message->key;
    m_mediaOf.insert(message->key, m_store.insert("ZWAMEDIAITEM", media.row));
    message->item.text = media.vcardName;
    message->item.vcardText = media.vcardString;
    if (!media.title.isEmpty()) {
        message->item.text = media.title + QStringLiteral("\n\n") + message->item.text;
    }
    message->mediaText = message->item.text;
}

void PlanRunner::touchChat(const Message &message)
{
    const Parts &parts = m_parts.at(message.chat);
    m_store.update(
        "ZWACHATSESSION", m_sample->chats.at(message.chat).key,
        {{QStringLiteral("ZLASTMESSAGE"), message.key},
         {QStringLiteral("ZLASTMESSAGEDATE"), message.row.value(QStringLiteral("ZMESSAGEDATE"))},
         {QStringLiteral("ZLASTMESSAGETEXT"), textOrNull(message.item.text.left(60))},
         {QStringLiteral("ZMESSAGECOUNTER"), parts.counter},
         {QStringLiteral("Z_OPT"), parts.counter + 1}});
}

/// Delivery reports rewrite the rows of own messages.
void PlanRunner::reportDelivery()
{
    while (m_waiting.size() > m_random.number(0, 4)) {
        const qint64 key = m_waiting.takeFirst();
        for (int i = m_sample->live.size() - 1; i >= 0; --i) {
            if (m_sample->live.at(i).key == key) {
                WhatsappMessageItem item = m_sample->live.at(i).item;
                item.messageStatus = 6;
                m_store.begin();
                changeLive(i,
                           {{QStringLiteral("ZMESSAGESTATUS"), 6},
                            {QStringLiteral("Z_OPT"), 2},
                            {QStringLiteral("ZSENTDATE"), m_seconds + 1.25}},
                           item);
                m_store.commit();
                break;
            }
        }
    }
}

void PlanRunner::changeLive(int index, const Row &change, const WhatsappMessageItem &item)
{
    Message &message = m_sample->live[index];
    m_sample->formerVersions << message;
    m_store.update("ZWAMESSAGE", message.key, change);
    for (auto value = change.cbegin(); value != change.cend(); ++value) {
        message.row[value.key()] = value.value();
    }
    message.item = item;
}

void PlanRunner::revoke(int index)
{
    const qint64 media = m_mediaOf.take(m_sample->live.at(index).key);
    WhatsappMessageItem item = m_sample->live.at(index).item;
    item.messageType = Revoked;
    item.text.clear();
    item.vcardText.clear();
    m_store.begin();
    if (media != 0) {
        m_store.remove("ZWAMEDIAITEM", media);
    }
    changeLive(index,
               {{QStringLiteral("ZMESSAGETYPE"), Revoked},
                {QStringLiteral("ZTEXT"), QVariant()},
                {QStringLiteral("ZMEDIAITEM"), QVariant()},
                {QStringLiteral("Z_OPT"), 5}},
               item);
    m_sample->live[index].mediaText.clear();
    m_store.commit();
}

void PlanRunner::live()
{
    const int chats = m_sample->chats.size();
    switch (m_plan.deletion) {
    case WhatsappDeletion::SingleMessages:
        removeSome(30);
        break;
    case WhatsappDeletion::ClearedChats:
        for (int chat = 0; chat < chats; chat += 3) {
            clearChat(chat);
        }
        break;
    case WhatsappDeletion::DeletedChats:
    case WhatsappDeletion::Everything:
        for (int chat = 0; chat < chats; ++chat) {
            if (chat % 3 != 0 || m_plan.deletion == WhatsappDeletion::Everything) {
                removeChat(chat);
            }
        }
        break;
    case WhatsappDeletion::ThenMessages:
        for (int chat = 1; chat < chats; chat += 4) {
            removeChat(chat);
        }
        removeSome(20);
        write(m_plan.messages / 10);
        break;
    case WhatsappDeletion::Revoked:
        for (int i = m_sample->live.size() - 1; i >= 0; i -= 5) {
            revoke(i);
        }
        removeSome(20);
        break;
    }
}

void PlanRunner::removeMessage(int index)
{
    const Message message = m_sample->live.takeAt(index);
    const qint64 media = m_mediaOf.take(message.key);
    if (media != 0) {
        m_store.remove("ZWAMEDIAITEM", media);
    }
    m_store.remove("ZWAMESSAGE", message.key);
    m_waiting.removeAll(message.key);
    m_sample->deleted << message;
}

void PlanRunner::removeSome(int percent)
{
    for (int left = m_sample->live.size() * percent / 100; left > 0; --left) {
        m_store.begin();
        removeMessage(m_random.number(0, m_sample->live.size()));
        m_store.commit();
    }
}

void PlanRunner::clearChat(int chat)
{
    m_store.begin();
    for (int i = 0; i < m_sample->live.size();) {
        if (m_sample->live.at(i).chat == chat) {
            removeMessage(i);
        } else {
            ++i;
        }
    }
    m_store.update("ZWACHATSESSION", m_sample->chats.at(chat).key,
                   {{QStringLiteral("ZLASTMESSAGE"), QVariant()},
                    {QStringLiteral("ZLASTMESSAGETEXT"), QVariant()}});
    m_store.commit();
}

void PlanRunner::removeChat(int chat)
{
    m_store.begin();
    for (int i = 0; i < m_sample->live.size();) {
        if (m_sample->live.at(i).chat == chat) {
            removeMessage(i);
        } else {
            ++i;
        }
    }
    Parts &parts = m_parts[chat];
    for (const qint64 member : qAsConst(parts.members)) {
        m_store.remove("ZWAGROUPMEMBER", member);
    }
    if (parts.group != 0) {
        m_store.remove("ZWAGROUPINFO", parts.group);
    }
    m_store.remove("ZWACHATSESSION", m_sample->chats.at(chat).key);
    parts.isGone = true;
    m_store.commit();
}

} // namespace

QVector<WhatsappDeletion> allWhatsappDeletions()
{
    return {WhatsappDeletion::SingleMessages, WhatsappDeletion::ClearedChats,
            WhatsappDeletion::DeletedChats,   WhatsappDeletion::Everything,
            WhatsappDeletion::ThenMessages,   WhatsappDeletion::Revoked};
}

QString deletionName(WhatsappDeletion deletion)
{
    static const char *const names[] = {"single messages", "cleared chats", "deleted chats",
                                        "everything",      "then messages", "revoked"};
    return QString::fromLatin1(names[int(deletion)]);
}

bool makeWhatsappSample(SampleDatabase *db, const WhatsappPlan &plan, WhatsappSample *sample)
{
    return PlanRunner(db, plan, sample).run();
}

std::vector<std::unique_ptr<WhatsappChatRecord>>
expectedChats(const WhatsappSample &sample, const QVector<SampleWhatsappMessage> &messages)
{
    std::map<int, std::unique_ptr<WhatsappChatRecord>> chats;
    for (const SampleWhatsappMessage &message : messages) {
        std::unique_ptr<WhatsappChatRecord> &chat = chats[message.chat];
        if (!chat) {
            chat = std::make_unique<WhatsappChatRecord>();
            chat->chatName = sample.chats.at(message.chat).name;
            chat->chatJids = QStringList(sample.chats.at(message.chat).jid);
        }
        chat->messages.append(new WhatsappMessageItem(message.item));
    }
    std::vector<std::unique_ptr<WhatsappChatRecord>> records;
    for (auto &chat : chats) {
        records.push_back(std::move(chat.second));
    }
    return records;
}
