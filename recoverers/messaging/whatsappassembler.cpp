#include "recoverers/messaging/whatsappassembler.h"

#include "engine/fieldreader.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <map>

namespace {

constexpr qint64 ContactMessage = 4;
constexpr qint64 NamedMediaMessage = 5;
/// A media item belongs to one message, of which several versions may be found. In a hostile file
/// any number of messages may name a long one.
constexpr int MostUses = 16;

bool isGroupJid(const QString &jid)
{
    return jid.endsWith(QLatin1String("@g.us"));
}

bool isPersonJid(const QString &jid)
{
    return jid.endsWith(QLatin1String("@s.whatsapp.net"));
}

/// The address of the other party: in a group that of the group.
const QString &partnerJid(const WhatsappMessage &message)
{
    return message.isFromMe == 0 ? message.fromJid : message.toJid;
}

QString userOf(const QString &jid)
{
    return jid.section(QLatin1Char('@'), 0, 0);
}

/// All fields as one text, equal for two messages only when all fields are.
QString contentKey(const WhatsappMessage &m)
{
    const QChar separator(0x1F); // nobody writes it
    QString key;
    for (const qint64 number : {m.groupEventType, m.isFromMe, m.status, m.type, m.session, m.member,
                                m.media, m.parent, m.date}) {
        key += QString::number(number) + separator;
    }
    const QStringList texts{m.text, m.fromJid, m.pushName, m.toJid};
    return key + texts.join(separator);
}

/// Carved rows by key. Of several rows with one key, versions of a row or a row and one whose key
/// was concluded wrongly, the one that can best be relied upon counts.
template<typename Row> class KeyBook
{
public:
    using Carved = CarvedWhatsappRow<Row>;

    KeyBook(const std::deque<Carved> &rows, qint64 highest)
    {
        for (const Carved &row : rows) {
            const qint64 key = row.key.believed();
            const Carved *known = m_rows.value(key);
            if (isWhatsappKey(key, highest) && (!known || rank(row) < rank(*known))) {
                m_rows.insert(key, &row);
            }
        }
    }

    /// Returns null for a key that no row is known to have had.
    const Carved *find(qint64 key) const { return m_rows.value(key); }

private:
    static int rank(const Carved &row)
    {
        return (row.key.isIntact ? 0 : 2) + int(row.isIncomplete);
    }

    QHash<qint64, const Carved *> m_rows;
};

/// Finds chats: by key, or by the address of the other party.
class SessionBook
{
public:
    SessionBook(const LiveWhatsapp &live, const CarvedWhatsapp &carved)
        : m_live(live)
        , m_carved(carved.sessions, live.highestSession)
    {
        for (const WhatsappSession &session : live.sessions) {
            addJid(session);
        }
        for (const auto &session : carved.sessions) {
            addJid(session.row);
        }
    }

    /// Returns null when there is none. `jids` are the addresses in the chat's messages: a chat
    /// whose key was concluded from its neighbours must have one of them.
    const WhatsappSession *find(qint64 key, const QStringList &jids) const
    {
        const auto live = m_live.sessions.constFind(key);
        if (key != 0 && live != m_live.sessions.cend()) {
            return &*live;
        }
        const CarvedWhatsappRow<WhatsappSession> *carved = m_carved.find(key);
        if (carved
            && (carved->key.isIntact || jids.isEmpty() || jids.contains(carved->row.contactJid))) {
            return &carved->row;
        }
        for (const QString &jid : jids) {
            if (const WhatsappSession *session = m_byJid.value(jid)) {
                return session;
            }
        }
        return nullptr;
    }

private:
    /// The first one with a name counts.
    void addJid(const WhatsappSession &session)
    {
        const WhatsappSession *known = m_byJid.value(session.contactJid);
        if (!session.contactJid.isEmpty() && (!known || known->partnerName.isEmpty())) {
            m_byJid.insert(session.contactJid, &session);
        }
    }

    const LiveWhatsapp &m_live;
    const KeyBook<WhatsappSession> m_carved;
    QHash<QString, const WhatsappSession *> m_byJid;
};

class MemberBook
{
public:
    MemberBook(const LiveWhatsapp &live, const CarvedWhatsapp &carved)
        : m_live(live)
        , m_carved(carved.members, live.highestMember)
    {
    }

    /// Returns null when the message's member is not known.
    const WhatsappMember *find(const WhatsappMessage &message) const
    {
        const auto live = m_live.members.constFind(message.member);
        if (live != m_live.members.cend()) {
            return &*live;
        }
        const CarvedWhatsappRow<WhatsappMember> *carved = m_carved.find(message.member);
        // A message under the name of another is worse than one without a name.
        const bool isBelievable = carved
                                  && (carved->key.isIntact || message.session == 0
                                      || carved->row.session == message.session);
        return isBelievable ? &carved->row : nullptr;
    }

private:
    const LiveWhatsapp &m_live;
    const KeyBook<WhatsappMember> m_carved;
};

/// What a message takes from its media item.
struct MediaText
{
    const WhatsappMedia *media = nullptr;
    bool isIncomplete = false;
};

/// Finds media items. The key of a carved one is often unknown or concluded from its neighbours,
/// but it names its message, as its message names it: what both say can be relied upon.
class MediaBook
{
public:
    using Carved = CarvedWhatsappRow<WhatsappMedia>;

    MediaBook(const LiveWhatsapp &live, const CarvedWhatsapp &carved)
        : m_live(live)
        , m_byKey(carved.media, live.highestMedia)
    {
        for (const Carved &media : carved.media) {
            const Carved *known = m_byMessage.value(media.row.message);
            if (!known || (known->isIncomplete && !media.isIncomplete)) {
                m_byMessage.insert(media.row.message, &media);
            }
        }
        for (const CarvedWhatsappMessage &message : carved.messages) {
            m_messageKeys.insert(message.key.believed());
        }
    }

    MediaText find(const WhatsappMessage &message, const CarvedRowid &messageKey) const
    {
        const auto live = m_live.media.constFind(message.media);
        if (message.media == 0 || live != m_live.media.cend()) {
            return message.media == 0 ? MediaText() : MediaText{&*live, false};
        }
        const Carved *byKey = m_byKey.find(message.media);
        if (byKey && (byKey->key.isIntact || !namesAnother(*byKey, messageKey))) {
            return {&byKey->row, byKey->isIncomplete};
        }
        const Carved *byMessage = m_byMessage.value(messageKey.value);
        if (byMessage && messageKey.value != 0 && isOf(*byMessage, message.media, messageKey)) {
            return {&byMessage->row, byMessage->isIncomplete};
        }
        return {};
    }

private:
    /// True when the media item belongs to another message than that with the key, or to one that
    /// is known when the key is not.
    bool namesAnother(const Carved &media, const CarvedRowid &messageKey) const
    {
        const qint64 owner = media.row.message;
        const qint64 believed = messageKey.believed();
        return believed != 0 ? owner != believed
                             : m_messageKeys.contains(owner)
                                   || std::binary_search(m_live.messageKeys.cbegin(),
                                                         m_live.messageKeys.cend(), owner);
    }

    /// True when a media item that names the message can have the key that the message names: two
    /// guesses must agree.
    static bool isOf(const Carved &media, qint64 key, const CarvedRowid &messageKey)
    {
        const qint64 known = media.key.believed();
        return messageKey.believed() != 0 ? known == 0 || known == key : media.key.value == key;
    }

    const LiveWhatsapp &m_live;
    const KeyBook<WhatsappMedia> m_byKey;
    QHash<qint64, const Carved *> m_byMessage;
    QSet<qint64> m_messageKeys;
};

/// A message that is to be delivered.
struct DeletedMessage
{
    WhatsappMessage row; ///< with believable references only
    CarvedRowid key;     ///< without value when no message can have had it
};

/// Messages of one chat; borrowed.
using ChatMessages = QVector<const DeletedMessage *>;

/// Leaves out what still exists, copies, and pieces of what was found whole.
class DeletedMessages
{
public:
    DeletedMessages(const LiveWhatsapp &live, const CarvedWhatsapp &carved)
        : m_live(live)
        , m_carved(carved.messages)
    {
        QVector<int> pieces;
        for (int place = 0; place < int(m_carved.size()); ++place) {
            if (at(place).isIncomplete) {
                m_copies.add(at(place), place);
                pieces.append(place);
            }
        }
        for (int place = 0; place < int(m_carved.size()); ++place) {
            if (!at(place).isIncomplete) {
                add(place);
            }
        }
        addPieces(pieces);
    }

    /// In the order found.
    const QMap<int, DeletedMessage> &messages() const { return m_messages; }

private:
    const CarvedWhatsappMessage &at(int place) const { return m_carved[size_t(place)]; }

    WhatsappMessage believed(WhatsappMessage message) const
    {
        const auto check = [](qint64 *key, qint64 highest) {
            *key = isWhatsappKey(*key, highest) ? *key : 0;
        };
        check(&message.session, m_live.highestSession);
        check(&message.member, m_live.highestMember);
        check(&message.media, m_live.highestMedia);
        check(&message.parent, m_live.highestMessage);
        return message;
    }

    void add(int place)
    {
        const CarvedWhatsappMessage &message = at(place);
        const WhatsappMessage row = believed(message.row);
        const QString content = contentKey(row);
        if (message.isLiveCopy || m_contents.contains(content)) {
            return;
        }
        m_contents.insert(content);
        const bool isKey = isWhatsappKey(message.key.value, m_live.highestMessage);
        m_messages.insert(place, {row, isKey ? message.key : CarvedRowid()});
        for (const int piece : m_copies.take(message.row)) {
            m_knownPieces.insert(piece);
        }
    }

    /// The longest first, so that shorter ones of the same message are pieces of it.
    void addPieces(QVector<int> pieces)
    {
        const auto size = [this](int place) {
            return at(place).row.text.size() + at(place).row.stanzaId.size();
        };
        std::stable_sort(pieces.begin(), pieces.end(),
                         [&size](int a, int b) { return size(a) > size(b); });
        for (const int place : qAsConst(pieces)) {
            if (!m_knownPieces.contains(place)) {
                add(place);
            }
        }
    }

    const LiveWhatsapp &m_live;
    const std::deque<CarvedWhatsappMessage> &m_carved;
    WhatsappCopies m_copies;
    QSet<int> m_knownPieces;
    QSet<QString> m_contents;
    QMap<int, DeletedMessage> m_messages; ///< by place
};

/// Makes chats of messages.
class ChatMaker
{
public:
    ChatMaker(const LiveWhatsapp &live, const CarvedWhatsapp &carved)
        : m_sessions(live, carved)
        , m_members(live, carved)
        , m_media(live, carved)
    {
    }

    /// `messages` are those of the chat `session` (0 for a chat that is not known), in order.
    std::unique_ptr<WhatsappChatRecord> make(qint64 session, const ChatMessages &messages)
    {
        auto chat = std::make_unique<WhatsappChatRecord>();
        Names names{chat.get(), {}, {}};
        for (const DeletedMessage *message : messages) {
            add(*message, &names);
        }
        chat->chatName = nameOf(session, messages, chat->chatJids);
        return chat;
    }

private:
    /// A chat, and for quick look-up the names that it lists.
    struct Names
    {
        WhatsappChatRecord *chat;
        QSet<QString> members;
        QSet<QString> jids;
    };

    static void addOnce(const QString &name, QSet<QString> *known, QStringList *names)
    {
        if (!name.isEmpty() && !known->contains(name)) {
            known->insert(name);
            names->append(name);
        }
    }

    void add(const DeletedMessage &message, Names *names)
    {
        addOnce(partnerJid(message.row), &names->jids, &names->chat->chatJids);
        auto item = std::make_unique<WhatsappMessageItem>();
        item->messageType = qint32(message.row.type);
        item->isFromMe = qint32(message.row.isFromMe);
        item->messageStatus = qint32(message.row.status);
        item->groupEventType = qint32(message.row.groupEventType);
        item->date = qint32(message.row.date);
        item->hasParent = message.row.parent != 0 ? 1 : 0;
        item->toJid = message.row.toJid;
        item->senderName = senderName(message.row, names);
        addText(message, item.get());
        names->chat->messages.append(item.release());
    }

    QString senderName(const WhatsappMessage &message, Names *names) const
    {
        if (message.member == 0) {
            return QString();
        }
        const WhatsappMember *member = m_members.find(message);
        const QString name = cutName(member ? member->contactName : message.pushName);
        if (name.isEmpty()) {
            return QStringLiteral("Unknown member");
        }
        addOnce(name, &names->members, &names->chat->memberNames);
        return name;
    }

    void addText(const DeletedMessage &message, WhatsappMessageItem *item)
    {
        item->text = message.row.text;
        const MediaText found = m_media.find(message.row, message.key);
        if (!found.media || ++m_uses[found.media] > MostUses) {
            return;
        }
        const WhatsappMedia &media = *found.media;
        const bool isContact = message.row.type == ContactMessage;
        const bool isNameLost = found.isIncomplete && media.vcardName.isEmpty();
        if ((isContact || message.row.type == NamedMediaMessage) && !isNameLost) {
            item->text = media.vcardName;
        }
        if (isContact) {
            item->vcardText = media.vcardString;
        }
        if (!media.title.isEmpty()) {
            item->text = QStringLiteral("%1\n\n%2").arg(media.title, item->text);
        }
    }

    QString nameOf(qint64 key, const ChatMessages &messages, const QStringList &partners) const
    {
        QStringList jids = partners;
        QString group;
        for (const DeletedMessage *message : messages) {
            for (const QString &jid : {message->row.fromJid, message->row.toJid}) {
                group = group.isEmpty() && isGroupJid(jid) ? jid : group;
            }
        }
        if (!group.isEmpty()) {
            jids = QStringList(group);
        }
        const WhatsappSession *session = m_sessions.find(key, jids);
        if (session && !session->partnerName.isEmpty()) {
            return cutName(session->partnerName);
        }
        if (session && !session->contactJid.isEmpty()) {
            jids.prepend(cutName(session->contactJid));
        }
        const auto person = std::find_if(jids.cbegin(), jids.cend(), isPersonJid);
        const QString jid = person != jids.cend() ? *person : jids.value(0);
        return !group.isEmpty() ? group : isGroupJid(jid) ? jid : userOf(jid);
    }

    const SessionBook m_sessions;
    const MemberBook m_members;
    const MediaBook m_media;
    QHash<const WhatsappMedia *, int> m_uses;
};

/// Sorts messages into chats. Those without a chat's key come in one chat for each partner.
class ChatPlaces
{
public:
    /// The key of a chat, and for messages without one the number of their partner.
    using Place = std::pair<qint64, int>;

    Place placeOf(const WhatsappMessage &message)
    {
        if (message.session != 0) {
            return {message.session, 0};
        }
        const QString &other = partnerJid(message);
        const auto known = m_partners.constFind(other);
        return {0,
                known != m_partners.cend() ? *known : *m_partners.insert(other, m_partners.size())};
    }

private:
    QHash<QString, int> m_partners;
};

} // namespace

std::vector<std::unique_ptr<WhatsappChatRecord>> assembleWhatsappChats(const LiveWhatsapp &live,
                                                                       const CarvedWhatsapp &carved)
{
    ChatPlaces places;
    std::map<ChatPlaces::Place, ChatMessages> chats;
    const DeletedMessages deleted(live, carved);
    for (const DeletedMessage &message : deleted.messages()) {
        chats[places.placeOf(message.row)].append(&message);
    }
    ChatMaker maker(live, carved);
    std::vector<std::unique_ptr<WhatsappChatRecord>> records;
    for (auto &[place, ofChat] : chats) {
        std::stable_sort(ofChat.begin(), ofChat.end(),
                         [](const DeletedMessage *a, const DeletedMessage *b) {
                             return a->row.date < b->row.date;
                         });
        records.push_back(maker.make(place.first, ofChat));
    }
    return records;
}
