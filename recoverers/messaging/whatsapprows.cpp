#include "recoverers/messaging/whatsapprows.h"

#include "recoverers/livequery.h"

#include <algorithm>

namespace {

void readHighestKeys(LiveQuery &query, LiveWhatsapp *live)
{
    struct Entity
    {
        QString name;
        qint64 LiveWhatsapp::*highest;
    };
    const Entity entities[] = {
        {QStringLiteral("WAChatSession"), &LiveWhatsapp::highestSession},
        {QStringLiteral("WAGroupMember"), &LiveWhatsapp::highestMember},
        {QStringLiteral("WAMediaItem"), &LiveWhatsapp::highestMedia},
        {QStringLiteral("WAMessage"), &LiveWhatsapp::highestMessage},
    };
    query.forEachRow(QStringLiteral("select z_name, z_max from z_primarykey"),
                     [&](const LiveRow &row) {
                         const QString name = row.text(0);
                         for (const Entity &entity : entities) {
                             if (name == entity.name) {
                                 live->*entity.highest = row.integer(1);
                             }
                         }
                     });
}

void readSessions(LiveQuery &query, LiveWhatsapp *live)
{
    query.forEachRow(QStringLiteral("select z_pk, zcontactabid, zhidden, zsessiontype, "
                                    "zcontactjid, zpartnername from zwachatsession"),
                     [live](const LiveRow &row) {
                         WhatsappSession session;
                         session.contactId = row.integer(1);
                         session.isHidden = row.integer(2);
                         session.type = row.integer(3);
                         session.contactJid = row.text(4);
                         session.partnerName = row.text(5);
                         live->sessions.insert(row.integer(0), session);
                     });
}

void readMembers(LiveQuery &query, LiveWhatsapp *live)
{
    query.forEachRow(QStringLiteral("select z_pk, zcontactabid, zchatsession, zcontactname, "
                                    "zmemberjid from zwagroupmember"),
                     [live](const LiveRow &row) {
                         live->members.insert(row.integer(0), {row.integer(1), row.integer(2),
                                                               row.text(3), row.text(4)});
                     });
}

void readMedia(LiveQuery &query, LiveWhatsapp *live)
{
    query.forEachRow(QStringLiteral("select z_pk, zfilesize, zmovieduration, zmessage, "
                                    "zmedialocalpath, zmediaurl, zvcardname, zvcardstring from "
                                    "zwamediaitem"),
                     [live](const LiveRow &row) {
                         live->media.insert(row.integer(0),
                                            {row.integer(1), row.integer(2), row.integer(3),
                                             row.text(4), row.text(5), row.text(6), row.text(7),
                                             QString()});
                     });
    // Apart from the others, because not every generation has titles.
    query.forEachRow(
        QStringLiteral("select z_pk, ztitle from zwamediaitem where ztitle is not null"),
        [live](const LiveRow &row) {
            const auto media = live->media.find(row.integer(0));
            if (media != live->media.end()) {
                media->title = row.text(1);
            }
        });
}

WhatsappEntity readEntity(LiveQuery &query, const char *table, const char *name)
{
    WhatsappEntity entity;
    query.forEachRow(
        QStringLiteral("select min(z_ent), max(z_ent) from %1").arg(QLatin1String(table)),
        [&entity](const LiveRow &row) {
            entity.live = row.integer(0) == row.integer(1) ? row.integer(0) : 0;
        });
    query.forEachRow(QStringLiteral("select z_ent from z_primarykey where z_name = '%1'")
                         .arg(QLatin1String(name)),
                     [&entity](const LiveRow &row) { entity.registered = row.integer(0); });
    return entity;
}

/// The record of the highest key can be out of date; a row that exists had a key.
template<typename Rows> void raise(qint64 *highest, const Rows &rows)
{
    if (!rows.isEmpty()) {
        *highest = std::max(*highest, rows.lastKey());
    }
}

/// What a message and each of its copies and pieces have in common; the identifier of a piece may
/// be lost.
QString keyOf(const WhatsappMessage &message, const QString &stanzaId)
{
    return QStringLiteral("%1|%2|%3|%4|")
               .arg(message.date)
               .arg(message.type)
               .arg(message.isFromMe)
               .arg(message.session)
           + stanzaId;
}

QString wholeKey(const QString &key, const QString &text)
{
    return key + QLatin1Char('=') + text;
}

/// Where one row covers another, single bytes of a third may be left between them: the last
/// characters of a piece say nothing.
QString believableText(const WhatsappMessage &piece)
{
    constexpr int doubtful = 4;
    return piece.text.left(piece.text.size() - std::min(piece.text.size(), doubtful));
}

QString pieceKey(const QString &key, const QString &text)
{
    return key + QLatin1Char('<') + text;
}

} // namespace

LiveWhatsapp readWhatsapp(LiveQuery &query)
{
    LiveWhatsapp live;
    readHighestKeys(query, &live);
    readSessions(query, &live);
    readMembers(query, &live);
    readMedia(query, &live);
    query.forEachRow(QStringLiteral("select z_pk from zwamessage order by z_pk"),
                     [&live](const LiveRow &row) { live.messageKeys.append(row.integer(0)); });
    live.sessionEntity = readEntity(query, "zwachatsession", "WAChatSession");
    live.memberEntity = readEntity(query, "zwagroupmember", "WAGroupMember");
    live.mediaEntity = readEntity(query, "zwamediaitem", "WAMediaItem");
    live.messageEntity = readEntity(query, "zwamessage", "WAMessage");
    raise(&live.highestSession, live.sessions);
    raise(&live.highestMember, live.members);
    raise(&live.highestMedia, live.media);
    if (!live.messageKeys.isEmpty()) {
        live.highestMessage = std::max(live.highestMessage, live.messageKeys.last());
    }
    return live;
}

void WhatsappCopies::add(const CarvedWhatsappMessage &message, int number)
{
    const QString key = keyOf(message.row, message.row.stanzaId);
    if (message.isIncomplete) {
        const QString text = believableText(message.row);
        m_numbers[pieceKey(key, text)].append(number);
        m_lengths[key].insert(text.size());
    } else {
        m_numbers[wholeKey(key, message.row.text)].append(number);
    }
}

QVector<int> WhatsappCopies::take(const WhatsappMessage &message)
{
    const QString key = keyOf(message, message.stanzaId);
    QVector<int> numbers = m_numbers.take(wholeKey(key, message.text));
    for (const QString &keyOfPiece : {key, keyOf(message, QString())}) {
        const QSet<int> lengths = m_lengths.value(keyOfPiece);
        for (const int length : lengths) {
            if (length <= message.text.size()) {
                numbers += m_numbers.take(pieceKey(keyOfPiece, message.text.left(length)));
            }
        }
    }
    return numbers;
}

void markLiveCopies(LiveQuery &query, CarvedWhatsapp *carved)
{
    if (carved->messages.empty()) {
        return;
    }
    WhatsappCopies copies;
    int count = 0;
    for (const CarvedWhatsappMessage &message : carved->messages) {
        copies.add(message, count++);
    }
    query.forEachRow(QStringLiteral("select zmessagedate, zmessagetype, zisfromme, zchatsession, "
                                    "zstanzaid, ztext from zwamessage"),
                     [&](const LiveRow &row) {
                         WhatsappMessage live;
                         live.date = row.integer(0);
                         live.type = row.integer(1);
                         live.isFromMe = row.integer(2);
                         live.session = row.integer(3);
                         live.stanzaId = row.text(4);
                         live.text = row.text(5);
                         for (const int number : copies.take(live)) {
                             carved->messages[size_t(number)].isLiveCopy = true;
                         }
                     });
}
