#pragma once

#include "recoverers/rownumbering.h"

#include <QHash>
#include <QMap>
#include <QSet>
#include <QString>
#include <QVector>

#include <algorithm>
#include <deque>
#include <limits>

class LiveQuery;

/// A chat: with one person, or with a group. The fields of all rows here are as stored.
struct WhatsappSession
{
    qint64 contactId = 0;
    qint64 isHidden = 0;
    qint64 type = 0;
    qint64 lastMessage = 0; ///< its key; of carved rows only
    QString contactJid;
    QString partnerName; ///< also the subject of a group
};

/// Somebody in a group. The same person is another member in every group.
struct WhatsappMember
{
    qint64 contactId = 0;
    qint64 session = 0;
    QString contactName;
    QString memberJid;
};

/// What came with a message: a file, a contact card, a place.
struct WhatsappMedia
{
    qint64 fileSize = 0;
    qint64 movieDuration = 0;
    qint64 message = 0; ///< the key of the message that it belongs to
    QString localPath;
    QString url;
    QString vcardName;
    QString vcardString;
    QString title;
};

/// A message. References are keys; 0 is none.
struct WhatsappMessage
{
    qint64 groupEventType = 0;
    qint64 isFromMe = 0;
    qint64 status = 0;
    qint64 type = 0;
    qint64 session = 0;
    qint64 member = 0;
    qint64 media = 0;
    qint64 parent = 0;
    qint64 date = 0;
    QString stanzaId; ///< no two messages have the same
    QString text;
    QString fromJid;
    QString pushName;
    QString toJid;
};

template<typename Row> struct CarvedWhatsappRow
{
    CarvedRowid key;
    qint64 entity = 0; ///< the number of the table's entity, where the row is one of this table
    Row row;
    bool isIncomplete = false; ///< some field could not be read, or not to its end
};

struct CarvedWhatsappMessage : CarvedWhatsappRow<WhatsappMessage>
{
    bool isLiveCopy = false; ///< the same message still exists
};

/// The carved rows in the order found. Rows stay where they are.
struct CarvedWhatsapp
{
    std::deque<CarvedWhatsappRow<WhatsappSession>> sessions;
    std::deque<CarvedWhatsappRow<WhatsappMember>> members;
    std::deque<CarvedWhatsappRow<WhatsappMedia>> media;
    std::deque<CarvedWhatsappMessage> messages;
};

/// A key that no row ever had cannot be told from others while nothing says what the highest one
/// was.
constexpr qint64 UnknownHighestKey = std::numeric_limits<qint64>::max();

/// The number of a table's entity, which all its rows hold: any other number shows a header that is
/// read shifted, or bytes that are no row. 0 where it is not known.
struct WhatsappEntity
{
    qint64 live = 0;       ///< as all live rows have it
    qint64 registered = 0; ///< as the list of entities says
};

/// Drops the rows that are not of the table's entity. Its number is that of the live rows, or of
/// rows whose cells are whole: a new version of the program may have numbered the entities anew.
/// Where neither tells, the list of entities decides, then the majority.
template<typename Rows> void dropOtherEntities(const WhatsappEntity &entity, Rows *rows)
{
    QHash<qint64, size_t> counts;
    QSet<qint64> kept;
    for (const auto &row : *rows) {
        ++counts[row.entity];
        if (row.key.isIntact) {
            kept.insert(row.entity);
        }
    }
    if (entity.live != 0) {
        kept.insert(entity.live);
    }
    if (kept.isEmpty() && !counts.isEmpty()) {
        kept.insert(counts.contains(entity.registered)
                        ? entity.registered
                        : std::max_element(counts.cbegin(), counts.cend()).key());
    }
    rows->erase(std::remove_if(rows->begin(), rows->end(),
                               [&kept](const auto &row) { return !kept.contains(row.entity); }),
                rows->end());
}

/// What still exists, by key, and the highest keys that were ever given out.
struct LiveWhatsapp
{
    QMap<qint64, WhatsappSession> sessions;
    QMap<qint64, WhatsappMember> members;
    QMap<qint64, WhatsappMedia> media;
    QVector<qint64> messageKeys; ///< ascending
    qint64 highestSession = UnknownHighestKey;
    qint64 highestMember = UnknownHighestKey;
    qint64 highestMedia = UnknownHighestKey;
    qint64 highestMessage = UnknownHighestKey;
    WhatsappEntity sessionEntity;
    WhatsappEntity memberEntity;
    WhatsappEntity mediaEntity;
    WhatsappEntity messageEntity;
};

/// True for a key that some row can have had.
inline bool isWhatsappKey(qint64 key, qint64 highest)
{
    return key >= 1 && key <= highest;
}

/// Reads what can be read of it. A statement that fails leaves its collection empty.
LiveWhatsapp readWhatsapp(LiveQuery &query);

/// Finds the copies of messages among carved ones: those with the same date, kind, sender, chat,
/// identifier and text, and pieces of which that holds as far as they go.
class WhatsappCopies
{
public:
    /// Takes a carved message, under a number of the caller's.
    void add(const CarvedWhatsappMessage &message, int number);

    /// Returns the numbers of the messages that are copies or pieces of this one, each once: they
    /// are forgotten then.
    QVector<int> take(const WhatsappMessage &message);

private:
    QHash<QString, QVector<int>> m_numbers;
    QHash<QString, QSet<int>> m_lengths; ///< of the texts of pieces
};

/// Marks the carved messages that are copies of a message that still exists. SQLite leaves copies
/// of rows where it moves them, and every delivery report rewrites the row; a message that was
/// revoked or edited differs in its kind or text from what it was before.
void markLiveCopies(LiveQuery &query, CarvedWhatsapp *carved);
