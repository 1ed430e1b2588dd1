#include "samples/whatsapptruth.h"

#include "samples/recordencoder.h"

#include <QMultiHash>
#include <QSet>

#include <algorithm>

namespace {

using Message = SampleWhatsappMessage;

QString describe(const WhatsappMessageItem &item, const QString &chat)
{
    return QStringLiteral("%1 in \"%2\" type %3 from me %4 status %5 sender \"%6\" \"%7\" (%8)")
        .arg(item.date)
        .arg(chat)
        .arg(item.messageType)
        .arg(item.isFromMe)
        .arg(item.messageStatus)
        .arg(item.senderName, item.text.left(50))
        .arg(item.text.size());
}

QString keyOf(const FoundWhatsappMessage &found)
{
    const WhatsappMessageItem &item = found.item;
    return QStringLiteral("%1|%2|%3|%4|%5|%6|")
               .arg(item.date)
               .arg(item.messageType)
               .arg(item.isFromMe)
               .arg(item.messageStatus)
               .arg(found.chatName, item.toJid)
           + item.text + item.vcardText;
}

/// What a version of a message has in common with one that was found.
enum class Match { Whole, Incomplete, None };

Match match(const Message &message, const WhatsappMessageItem &found)
{
    const WhatsappMessageItem &item = message.item;
    if (item.date != found.date || item.messageType != found.messageType
        || item.isFromMe != found.isFromMe || item.messageStatus != found.messageStatus) {
        return Match::None;
    }
    if (item.text == found.text && item.vcardText == found.vcardText) {
        return Match::Whole;
    }
    const bool isMediaLost = !message.mediaText.isNull() && found.text.isEmpty();
    return isMediaLost || item.text.startsWith(found.text) ? Match::Incomplete : Match::None;
}

/// True when the file holds the row: its serial types and, next to them, its values (of a long row
/// their beginning, the rest of which lies on other pages).
bool isWholeInFile(const Message &message, const QByteArray &file)
{
    constexpr int inOneCell = 3900;
    constexpr int leastInCell = 400;
    QVariantList values;
    for (const QString &column : whatsappColumns(QStringLiteral("ZWAMESSAGE")).mid(1)) {
        values << message.row.value(column);
    }
    const EncodedRow row = encodeValues(values, "UTF-8");
    return file.contains(row.types
                         + (row.body.size() < inOneCell ? row.body : row.body.left(leastInCell)));
}

/// Versions by date, each of which is found once at most.
class Versions
{
public:
    /// Pictures of one second can be equal in all that is compared: those that the file holds are
    /// taken first.
    Versions(const QVector<Message> &messages, const QByteArray &file)
    {
        for (const bool isWhole : {false, true}) {
            for (const Message &message : messages) {
                if (isWholeInFile(message, file) == isWhole) {
                    m_byDate.insert(message.item.date, &message);
                }
            }
        }
    }

    /// The best match; takes it out of the versions that are left.
    const Message *take(const FoundWhatsappMessage &found, Match wanted)
    {
        const auto sameDate = m_byDate.equal_range(found.item.date);
        for (auto version = sameDate.first; version != sameDate.second; ++version) {
            if (match(**version, found.item) == wanted) {
                const Message *message = *version;
                m_byDate.erase(version);
                return message;
            }
        }
        return nullptr;
    }

private:
    QMultiHash<qint32, const Message *> m_byDate;
};

class Comparison
{
public:
    Comparison(const WhatsappSample &sample, const QByteArray &file,
               const QVector<FoundWhatsappMessage> &found)
        : m_sample(sample)
        , m_deleted(sample.deleted, file)
        , m_former(sample.formerVersions, file)
        , m_live(sample.live, file)
    {
        // What may be a deleted message without its media text counts as that, before it counts as
        // a live one without any.
        for (const Match wanted : {Match::Whole, Match::Incomplete}) {
            for (const FoundWhatsappMessage &message : found) {
                classify(message, wanted);
            }
        }
        for (const FoundWhatsappMessage &message : found) {
            classifyLive(message);
        }
        for (const FoundWhatsappMessage &message : found) {
            if (!m_done.contains(&message)) {
                const bool isKnown = m_keys.contains(keyOf(message));
                count(isKnown ? &result.twice : &result.invented, isKnown ? "twice" : "invented",
                      message);
            }
        }
    }

    bool isFound(const Message &message) const { return m_found.contains(&message); }

    WhatsappResult result;

private:
    void classify(const FoundWhatsappMessage &found, Match wanted)
    {
        if (m_done.contains(&found)) {
            return;
        }
        const Message *deleted = m_deleted.take(found, wanted);
        const Message *former = deleted ? nullptr : m_former.take(found, wanted);
        if (!deleted && !former) {
            return;
        }
        m_done.insert(&found);
        m_keys.insert(keyOf(found));
        const Message &message = deleted ? *deleted : *former;
        m_found.insert(&message);
        if (wanted == Match::Incomplete) {
            count(&result.incomplete, "incomplete", found);
        } else {
            ++(deleted ? result.recovered : result.former);
        }
        compareFields(message, found);
    }

    void classifyLive(const FoundWhatsappMessage &found)
    {
        if (!m_done.contains(&found)
            && (m_live.take(found, Match::Whole) || m_live.take(found, Match::Incomplete))) {
            m_done.insert(&found);
            count(&result.liveCopies, "live copy", found);
        }
    }

    void compareFields(const Message &message, const FoundWhatsappMessage &found)
    {
        const SampleWhatsappChat &chat = m_sample.chats.at(message.chat);
        const WhatsappMessageItem &item = message.item;
        if (item.groupEventType != found.item.groupEventType
            || item.hasParent != found.item.hasParent
            || (item.toJid != found.item.toJid && !found.item.toJid.isEmpty())) {
            count(&result.wrongFields, "wrong fields", found);
        }
        if (item.senderName != found.item.senderName) {
            const QString push = message.row.value(QStringLiteral("ZPUSHNAME")).toString();
            const bool isLost = found.item.senderName == QLatin1String("Unknown member")
                                || found.item.senderName == push;
            count(isLost ? &result.lostSenders : &result.wrongFields,
                  isLost ? "lost sender" : "wrong sender", found);
        }
        if (found.chatName != chat.name) {
            const bool isAddress = found.chatName == chat.jid
                                   || found.chatName == chat.jid.section(QLatin1Char('@'), 0, 0);
            count(isAddress || found.chatName.isEmpty() ? &result.nameless : &result.wrongChats,
                  "other chat name", found);
        }
    }

    void count(int *counter, const char *what, const FoundWhatsappMessage &found)
    {
        ++*counter;
        result.details << QLatin1String(what) + QStringLiteral(": ")
                              + describe(found.item, found.chatName);
    }

    const WhatsappSample &m_sample;
    Versions m_deleted;
    Versions m_former;
    Versions m_live;
    QSet<const FoundWhatsappMessage *> m_done;
    QSet<const Message *> m_found;
    QSet<QString> m_keys;
};

/// The counters in the order of their names.
constexpr int WhatsappResult::*counters[] = {
    &WhatsappResult::deleted,     &WhatsappResult::refused,     &WhatsappResult::overwritten,
    &WhatsappResult::missedWhole, &WhatsappResult::recovered,   &WhatsappResult::former,
    &WhatsappResult::incomplete,  &WhatsappResult::liveCopies,  &WhatsappResult::twice,
    &WhatsappResult::invented,    &WhatsappResult::wrongFields, &WhatsappResult::lostSenders,
    &WhatsappResult::wrongChats,  &WhatsappResult::nameless};
constexpr const char *counterNames[] = {"deleted",     "refused",  "overwritten",  "missed whole",
                                        "recovered",   "former",   "incomplete",   "live copies",
                                        "twice",       "invented", "wrong fields", "lost senders",
                                        "wrong chats", "nameless"};

} // namespace

int WhatsappResult::found() const
{
    return recovered + former + incomplete + liveCopies + twice + invented;
}

void WhatsappResult::add(const WhatsappResult &other)
{
    for (const auto counter : counters) {
        this->*counter += other.*counter;
    }
    details << other.details;
}

QString WhatsappResult::summary() const
{
    QStringList parts;
    for (size_t i = 0; i < std::size(counters); ++i) {
        parts
            << QStringLiteral("%1 %2").arg(QLatin1String(counterNames[i])).arg(this->*counters[i]);
    }
    return parts.join(QStringLiteral(", "));
}

WhatsappResult compareWhatsapp(const WhatsappSample &sample, const QByteArray &file,
                               const QVector<FoundWhatsappMessage> &found)
{
    const Comparison comparison(sample, file, found);
    WhatsappResult result = comparison.result;
    result.deleted = sample.deleted.size();
    for (const SampleWhatsappMessage &message : sample.deleted) {
        if (comparison.isFound(message)) {
            continue;
        }
        const QString text =
            QStringLiteral(": ") + describe(message.item, sample.chats.at(message.chat).name);
        if (message.isRefused) {
            ++result.refused;
        } else if (isWholeInFile(message, file)) {
            ++result.missedWhole;
            result.details << QStringLiteral("missed although whole") + text;
        } else {
            ++result.overwritten;
            result.details << QStringLiteral("overwritten") + text;
        }
    }
    return result;
}
