#include "samples/messagetruth.h"

#include <QHash>
#include <QSet>
#include <QtEndian>

#include <algorithm>

namespace {

constexpr int guidSize = 36;
constexpr int longestHeader = 400;
constexpr int beginning = 100; ///< of a text, on its leaf page

/// A message and the conversation that it belongs to.
struct Place
{
    const MessageGroupRecord *group = nullptr;
    const MessageItem *message = nullptr;
};

using Places = QHash<QString, Place>;

/// Messages of the layout with groups come back without a guid, but no two of a sample have the
/// same date.
QString identityOf(const MessageItem &message)
{
    return message.guid.isEmpty() ? QString::number(message.date) : message.guid;
}

/// The same for all copies of one version of a message.
QString keyOf(const MessageItem &message)
{
    const QString identity = message.guid.isEmpty() ? QString::number(message.date) : message.guid;
    return identity + QLatin1Char('\n') + message.text;
}

QStringList sortedIds(const MessageGroupRecord &group)
{
    QStringList ids;
    for (const MessageParticipant &participant : group.participants) {
        ids << participant.id;
    }
    ids.removeDuplicates();
    ids.sort();
    return ids;
}

/// The same for all parts of one conversation.
QString keyOf(MessageLayout layout, const MessageGroupRecord &group)
{
    const QString kind = hasGroups(layout) ? group.service : QString();
    return kind
           + (group.roomName.isEmpty() ? sortedIds(group).join(QLatin1Char(',')) : group.roomName);
}

Places placesOf(const QVector<MessageGroupRecord> &groups)
{
    Places places;
    for (const MessageGroupRecord &group : groups) {
        for (const MessageItem &message : group.messages) {
            places.insert(keyOf(message), {&group, &message});
        }
    }
    return places;
}

QSet<QString> identities(const QVector<MessageGroupRecord> &groups)
{
    QSet<QString> all;
    for (const MessageGroupRecord &group : groups) {
        for (const MessageItem &message : group.messages) {
            all << identityOf(message);
        }
    }
    return all;
}

QString describe(const MessageItem &message)
{
    return QStringLiteral("%1 %2 %3 \"%4\" subject \"%5\" %6 from me %7 sent %8")
        .arg(message.guid)
        .arg(message.date)
        .arg(message.address, message.text.left(40), message.subject, message.service)
        .arg(message.isFromMe)
        .arg(message.isSent);
}

QString describe(const MessageGroupRecord &group)
{
    return QStringLiteral("conversation \"%1\" room \"%2\" %3 with %4")
        .arg(group.chatIdentifier, group.roomName, group.service,
             sortedIds(group).join(QLatin1Char(' ')));
}

/// More than 0.6 of what is no space must be letters, digits, marks, punctuation or signs; each
/// half of a surrogate pair counts as something else.
bool isPlausible(const QString &text)
{
    int visible = 0;
    int good = 0;
    for (const QChar c : text) {
        visible += !c.isSpace();
        good += !c.isSpace()
                && (c.isLetterOrNumber() || c.isMark() || c.isPunct()
                    || (c.isSymbol() && c.category() != QChar::Symbol_Other));
    }
    return visible > 0 && double(good) / visible > 0.6;
}

/// Reads the varint at `*position` and moves behind it. Returns false at the end of the bytes.
bool readVarint(const QByteArray &bytes, int *position, quint64 *value)
{
    *value = 0;
    for (int i = 0; i < 9 && *position < bytes.size(); ++i) {
        const uchar byte = uchar(bytes.at((*position)++));
        *value = *value << 7 | (byte & 0x7f);
        if (byte < 0x80) {
            return true;
        }
    }
    return false;
}

int sizeOf(quint64 serialType)
{
    static const int sizes[] = {0, 1, 2, 3, 4, 6, 8, 8, 0, 0, 0, 0};
    return serialType < 12 ? sizes[serialType]
                           : int(std::min(serialType, quint64(1) << 30) - 12) / 2;
}

/// Looks for the remains of rows of the table "message" in the bytes of a file. A reader of its
/// own, kept apart from the carver that it checks.
class Remains
{
public:
    Remains(MessageLayout layout, const QByteArray &file)
        : m_file(file)
        , m_columns(messageColumnList(layout).count(QLatin1Char(',')))
        , m_textColumn(hasGroups(layout) ? 2 : 1)
    {
    }

    /// Says where the message's header and text stand; empty when they are not whole.
    QString find(const MessageItem &message) const
    {
        const QByteArray text = message.text.toUtf8();
        const QByteArray before = inFrontOfText(message);
        const QByteArray needle = before + text.left(beginning);
        for (int at = m_file.indexOf(needle); at >= 0; at = m_file.indexOf(needle, at + 1)) {
            const int textAt = at + before.size();
            for (int start = std::max(0, at - longestHeader); start < at; ++start) {
                if (isRow(start, textAt, text)) {
                    return QStringLiteral("header at %1, text at %2").arg(start).arg(textAt);
                }
            }
        }
        return QString();
    }

private:
    QByteArray inFrontOfText(const MessageItem &message) const
    {
        if (!message.guid.isEmpty()) {
            return message.guid.toUtf8();
        }
        QByteArray date(4, 0);
        qToBigEndian(quint32(message.date), date.data());
        return date;
    }

    /// True when a header begins at `start` whose row has its text, whole, at `textAt`.
    bool isRow(int start, int textAt, const QByteArray &text) const
    {
        int position = start;
        int before = 0;
        qint64 body = 0;
        for (int column = 0; column < m_columns; ++column) {
            quint64 type = 0;
            if (!readVarint(m_file, &position, &type)
                || (column == m_textColumn && type != quint64(text.size()) * 2 + 13)) {
                return false;
            }
            before += column < m_textColumn ? sizeOf(type) : 0;
            body += sizeOf(type);
        }
        // The header also counts itself and the row identifier, which is NULL there.
        const int header = position - start + (position - start > 125 ? 3 : 2);
        return position + before == textAt
               && payloadFrom(position - header, header + body)
                          .mid(textAt - position + header, text.size())
                      == text;
    }

    /// The payload at `start`, with what follows in overflow pages.
    QByteArray payloadFrom(int start, qint64 size) const
    {
        const int pageSize = qFromBigEndian<quint16>(m_file.constData() + 16);
        const int most = pageSize - 35;
        const int least = (pageSize - 12) * 32 / 255 - 23;
        const qint64 best = least + (size - least) % (pageSize - 4);
        const qint64 local = size <= most ? size : best <= most ? best : least;
        QByteArray payload = m_file.mid(start, int(local));
        qint64 next = start + local;
        while (payload.size() < size && next + 4 <= m_file.size()) {
            const qint64 page = qFromBigEndian<quint32>(m_file.constData() + next);
            next = (page - 1) * pageSize;
            if (page < 2 || next + pageSize > m_file.size()) {
                break;
            }
            payload += m_file.mid(int(next) + 4, pageSize - 4);
        }
        return payload;
    }

    const QByteArray &m_file;
    int m_columns; ///< without the row identifier
    int m_textColumn;
};

struct NamedCount
{
    const char *name;
    int MessageResult::*member;
};

const NamedCount namedCounts[] = {
    {"deleted", &MessageResult::deleted},
    {"refused", &MessageResult::refused},
    {"overwritten", &MessageResult::overwritten},
    {"missed whole", &MessageResult::missedWhole},
    {"recovered", &MessageResult::recovered},
    {"former", &MessageResult::former},
    {"damaged", &MessageResult::damaged},
    {"live", &MessageResult::liveCopies},
    {"live damaged", &MessageResult::liveDamaged},
    {"twice", &MessageResult::twice},
    {"invented", &MessageResult::invented},
    {"incomplete", &MessageResult::incomplete},
    {"wrong fields", &MessageResult::wrongFields},
    {"wrong conversation", &MessageResult::wrongConversation},
    {"split", &MessageResult::splits},
    {"wrong groups", &MessageResult::wrongGroups},
};

/// Compares what a scan found with the truth about one sample.
class Comparison
{
public:
    Comparison(const MessageSample &sample, const QByteArray &file)
        : m_sample(sample)
        , m_remains(sample.layout, file)
        , m_deleted(placesOf(sample.deleted))
        , m_live(placesOf(sample.live))
        , m_former(placesOf(sample.formerVersions))
        , m_deletedIdentities(identities(sample.deleted))
        , m_liveIdentities(identities(sample.live))
    {
        for (const MessageParticipant &handle : sample.deletedHandles) {
            m_goneHandles << handle.id;
        }
    }

    MessageResult run(const QVector<MessageGroupRecord> &found)
    {
        for (const MessageGroupRecord &group : found) {
            judge(group);
        }
        judgeSplits();
        judgeOrder(found);
        for (const Place &place : qAsConst(m_deleted)) {
            judgeDeleted(*place.message);
        }
        return m_result;
    }

private:
    void judge(const MessageGroupRecord &group)
    {
        QHash<QString, int> conversations;
        const MessageGroupRecord *truth = nullptr;
        for (const MessageItem &message : group.messages) {
            const Place place = judgeFound(message);
            if (place.group) {
                ++conversations[keyOf(m_sample.layout, *place.group)];
                truth = truth ? truth : place.group;
            }
        }
        if (!truth) {
            return;
        }
        const QString own = keyOf(m_sample.layout, *truth);
        for (auto it = conversations.begin(); it != conversations.end(); ++it) {
            if (it.key() != own) {
                m_result.wrongConversation += it.value();
                note(QStringLiteral("%1 messages of %2 are in %3")
                         .arg(it.value())
                         .arg(it.key(), describe(group)));
            }
        }
        ++m_parts[own];
        judgeFields(group, *truth);
    }

    /// Returns the message's place in the truth, or none unless all its fields are right.
    Place judgeFound(const MessageItem &message)
    {
        const QString key = keyOf(message);
        const Place place = m_deleted.value(key, m_former.value(key, m_live.value(key)));
        if (m_found.contains(key)) {
            ++m_result.twice;
            note(QStringLiteral("twice: ") + describe(message));
            return {};
        }
        m_found << key;
        if (!place.message) {
            judgeUnknown(message);
            return {};
        }
        if (m_deleted.contains(key)) {
            ++m_result.recovered;
        } else if (m_former.contains(key)) {
            ++m_result.former;
        } else {
            ++m_result.liveCopies;
            note(QStringLiteral("not deleted: ") + describe(message));
        }
        return judgeMessage(message, *place.message) ? place : Place();
    }

    void judgeUnknown(const MessageItem &message)
    {
        const QString identity = identityOf(message);
        if (m_deletedIdentities.contains(identity)) {
            ++m_result.damaged;
            note(QStringLiteral("damaged: ") + describe(message));
        } else if (m_liveIdentities.contains(identity)) {
            ++m_result.liveDamaged;
            note(QStringLiteral("damaged and not deleted: ") + describe(message));
        } else {
            ++m_result.invented;
            note(QStringLiteral("invented: ") + describe(message));
        }
    }

    /// True when all fields are right.
    bool judgeMessage(const MessageItem &found, const MessageItem &truth)
    {
        const bool unknown = !hasGroups(m_sample.layout) && found.address.isEmpty()
                             && m_goneHandles.contains(truth.address);
        const bool rightAddress = unknown || found.address == truth.address;
        if (rightAddress && sameFields(found, truth)) {
            return true;
        }
        const bool complete = !hasGaps(found, truth);
        ++(complete ? m_result.wrongFields : m_result.incomplete);
        note(QStringLiteral("%1 %2\n  instead of %3")
                 .arg(QLatin1String(complete ? "wrong" : "incomplete"), describe(found),
                      describe(truth)));
        return false;
    }

    static bool sameFields(const MessageItem &found, const MessageItem &truth)
    {
        return found.date == truth.date && found.subject == truth.subject
               && found.service == truth.service && found.isFromMe == truth.isFromMe
               && found.isSent == truth.isSent;
    }

    /// True when every field is either right or has its default.
    static bool hasGaps(const MessageItem &found, const MessageItem &truth)
    {
        const auto fits = [](const auto &value, const auto &right, const auto &none) {
            return value == right || value == none;
        };
        return fits(found.date, truth.date, qint64(0))
               && fits(found.subject, truth.subject, QString())
               && fits(found.service, truth.service, QString())
               && fits(found.isFromMe, truth.isFromMe, 0) && fits(found.isSent, truth.isSent, 0)
               && fits(found.address, truth.address, QString());
    }

    void judgeFields(const MessageGroupRecord &found, const MessageGroupRecord &truth)
    {
        const bool gone = isGone(truth);
        const bool textGroup = hasGroups(m_sample.layout) && truth.service == QLatin1String("SMS");
        const QStringList foundIds = sortedIds(found);
        const QStringList ids = sortedIds(truth);
        const bool members =
            foundIds == ids
            || (gone && std::all_of(foundIds.begin(), foundIds.end(), [&ids](const QString &id) {
                    return ids.contains(id);
                }));
        const bool name = found.chatIdentifier == truth.chatIdentifier
                          || (found.chatIdentifier.isEmpty() && (gone || textGroup));
        if (!members || !name || found.roomName != truth.roomName) {
            ++m_result.wrongGroups;
            note(QStringLiteral("found %1\n  instead of %2").arg(describe(found), describe(truth)));
        }
    }

    /// True when the database may not know any more who took part.
    bool isGone(const MessageGroupRecord &truth) const
    {
        const QStringList ids = sortedIds(truth);
        return m_sample.deletedRooms.contains(truth.roomName)
               || std::any_of(ids.begin(), ids.end(),
                              [this](const QString &id) { return m_goneHandles.contains(id); });
    }

    void judgeSplits()
    {
        for (auto it = m_parts.begin(); it != m_parts.end(); ++it) {
            const bool gone = m_goneHandles.contains(it.key());
            if (it.value() > 1 && !gone) {
                ++m_result.splits;
                note(QStringLiteral("%1 came back in %2 parts").arg(it.key()).arg(it.value()));
            }
        }
    }

    void judgeOrder(const QVector<MessageGroupRecord> &found)
    {
        qint64 last = 0;
        for (const MessageGroupRecord &group : found) {
            const QList<MessageItem> &messages = group.messages;
            const bool sorted = std::is_sorted(
                messages.begin(), messages.end(),
                [](const MessageItem &a, const MessageItem &b) { return a.date < b.date; });
            // With groups the dates have two beginnings, and cannot be compared.
            const qint64 first =
                messages.isEmpty() || hasGroups(m_sample.layout) ? last : messages.first().date;
            if (messages.isEmpty() || !sorted || first < last) {
                ++m_result.wrongGroups;
                note(QStringLiteral("empty or out of order: ") + describe(group));
            }
            last = first;
        }
    }

    void judgeDeleted(const MessageItem &message)
    {
        ++m_result.deleted;
        if (m_found.contains(keyOf(message))) {
            return;
        }
        if (isRefused(m_sample.layout, message)) {
            ++m_result.refused;
            return;
        }
        const QString remains = m_remains.find(message);
        if (remains.isEmpty()) {
            ++m_result.overwritten;
        } else {
            ++m_result.missedWhole;
            note(QStringLiteral("missed, %1: %2").arg(remains, describe(message)));
        }
    }

    void note(const QString &line) { m_result.details << line; }

    const MessageSample &m_sample;
    Remains m_remains;
    Places m_deleted;
    Places m_live;
    Places m_former;
    QSet<QString> m_deletedIdentities;
    QSet<QString> m_liveIdentities;
    QSet<QString> m_goneHandles;
    QSet<QString> m_found;
    QHash<QString, int> m_parts;
    MessageResult m_result;
};

} // namespace

int MessageResult::found() const
{
    return recovered + former + damaged + liveCopies + liveDamaged + twice + invented;
}

void MessageResult::add(const MessageResult &other)
{
    for (const NamedCount &count : namedCounts) {
        this->*count.member += other.*count.member;
    }
    details << other.details;
}

QString MessageResult::summary() const
{
    QStringList counts;
    for (const NamedCount &count : namedCounts) {
        counts << QStringLiteral("%1 %2").arg(QLatin1String(count.name)).arg(this->*count.member);
    }
    return counts.join(QLatin1String(", "));
}

bool isRefused(MessageLayout layout, const MessageItem &message)
{
    if (hasGroups(layout)) {
        return false;
    }
    const int serviceSize = message.service.size();
    return !isPlausible(message.text) || message.guid.size() != guidSize
           || (serviceSize != 3 && serviceSize != 8);
}

MessageResult compareMessages(const MessageSample &sample, const QByteArray &file,
                              const QVector<MessageGroupRecord> &found)
{
    return Comparison(sample, file).run(found);
}
