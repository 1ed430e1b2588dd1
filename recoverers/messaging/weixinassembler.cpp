#include "recoverers/messaging/weixinassembler.h"

#include <algorithm>
#include <limits>

namespace {

/// So many parts of one moment are compared with each whole message. A device writes no more in one
/// second; a file that claims more keeps some parts too many.
constexpr int MostParts = 32;

constexpr int NoConversation = CarvedWeixinMessage::NoConversation;

qint64 momentOf(qint32 createTime, bool isFromMe)
{
    return qint64(createTime) * 2 + (isFromMe ? 1 : 0);
}

/// The messages of one conversation around a row identifier that only grows from call to call.
class Neighbours
{
public:
    explicit Neighbours(const WeixinNumbers &numbers)
        : m_numbers(&numbers)
    {
        lookAhead();
    }

    bool isEmpty() const { return m_numbers->messages.isEmpty(); }

    /// True when a message of this identifier and time would stand in order.
    bool fits(qint64 rowid, qint32 time)
    {
        while (m_next < rowid) {
            m_timeBefore = m_numbers->messages[m_at].second;
            ++m_at;
            lookAhead();
        }
        const bool wasGiven = m_numbers->highest == 0 || rowid <= m_numbers->highest;
        return m_next != rowid && m_timeBefore <= time && time <= m_timeBehind && wasGiven;
    }

    /// True when nothing but the highest identifier says whether it was one of these.
    bool mayHaveHeld(qint64 rowid) const { return isEmpty() && rowid <= m_numbers->highest; }

private:
    void lookAhead()
    {
        const bool isEnd = m_at == m_numbers->messages.size();
        m_next = isEnd ? std::numeric_limits<qint64>::max() : m_numbers->messages[m_at].first;
        m_timeBehind =
            isEnd ? std::numeric_limits<qint32>::max() : m_numbers->messages[m_at].second;
    }

    const WeixinNumbers *m_numbers;
    int m_at = 0;
    qint64 m_next = 0; ///< the first identifier that is not below the one asked for
    qint32 m_timeBefore = std::numeric_limits<qint32>::min();
    qint32 m_timeBehind = 0;
};

/// The first conversation that the message fits in, or of those that are empty the first that may
/// have held it; else the first of all.
int conversationOf(QVector<Neighbours> *conversations, const CarvedWeixinMessage &message)
{
    int emptied = NoConversation;
    for (int i = 0; i < conversations->size(); ++i) {
        Neighbours &neighbours = (*conversations)[i];
        if (emptied == NoConversation && neighbours.mayHaveHeld(message.rowid)) {
            emptied = i;
        } else if (!neighbours.isEmpty() && neighbours.fits(message.rowid, message.createTime)) {
            return i;
        }
    }
    return std::max(emptied, 0);
}

} // namespace

void DeletedWeixinMessages::add(const CarvedWeixinMessage &message)
{
    const Key key{message.createTime, message.isFromMe, message.text};
    const int place = m_places.value(key, -1);
    if (place >= 0) {
        // What is whole as it stands on one page may be cut on another.
        m_messages[place].isIncomplete = m_messages[place].isIncomplete && message.isIncomplete;
        return;
    }
    m_places.insert(key, m_messages.size());
    m_moments.insert(momentOf(message.createTime, message.isFromMe));
    if (message.isIncomplete) {
        m_incomplete.insert(momentOf(message.createTime, message.isFromMe), m_messages.size());
    }
    m_messages.append(message);
    m_isDropped.append(false);
}

bool DeletedWeixinMessages::hasMoment(qint32 createTime, bool isFromMe) const
{
    return m_moments.contains(momentOf(createTime, isFromMe));
}

void DeletedWeixinMessages::dropLive(qint32 createTime, bool isFromMe, const QString &text)
{
    const Key key{createTime, isFromMe, text};
    const int place = m_places.value(key, -1);
    if (place >= 0) {
        m_isDropped[place] = true;
    }
    dropParts(key);
}

void DeletedWeixinMessages::dropParts(const Key &whole)
{
    const qint64 moment = momentOf(whole.createTime, whole.isFromMe);
    int left = MostParts;
    for (auto part = m_incomplete.constFind(moment);
         part != m_incomplete.cend() && part.key() == moment && left > 0; ++part, --left) {
        const CarvedWeixinMessage &message = m_messages[part.value()];
        if (message.isIncomplete && whole.text.startsWith(message.text)) {
            m_isDropped[part.value()] = true;
        }
    }
}

QVector<CarvedWeixinMessage> DeletedWeixinMessages::take()
{
    for (const CarvedWeixinMessage &message : qAsConst(m_messages)) {
        if (!message.isIncomplete) {
            dropParts({message.createTime, message.isFromMe, message.text});
        }
    }
    QVector<CarvedWeixinMessage> left;
    for (int i = 0; i < m_messages.size(); ++i) {
        if (!m_isDropped[i]) {
            left.append(m_messages[i]);
        }
    }
    *this = DeletedWeixinMessages();
    return left;
}

void findConversations(const QVector<WeixinNumbers> &conversations,
                       QVector<CarvedWeixinMessage> *messages)
{
    if (conversations.isEmpty()) {
        return;
    }
    QVector<int> places;
    for (int i = 0; i < messages->size(); ++i) {
        if (messages->at(i).conversation == NoConversation) {
            places.append(i);
        }
    }
    std::sort(places.begin(), places.end(),
              [messages](int a, int b) { return messages->at(a).rowid < messages->at(b).rowid; });
    QVector<Neighbours> neighbours;
    for (const WeixinNumbers &numbers : conversations) {
        neighbours.append(Neighbours(numbers));
    }
    for (const int place : qAsConst(places)) {
        CarvedWeixinMessage &message = (*messages)[place];
        message.conversation = message.rowid > 0 ? conversationOf(&neighbours, message) : 0;
    }
}
