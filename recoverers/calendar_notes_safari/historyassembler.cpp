#include "recoverers/calendar_notes_safari/historyassembler.h"

#include "recoverers/livequery.h"

#include <QSet>

namespace {

using Titles = QHash<qint64, QString>;

/// Nothing but damage makes more addresses have one identifier, and with it one title.
constexpr int MostUses = 16;

/// A page has no title until it is loaded, and may have another one at every visit.
Titles lastTitles(const QVector<CarvedVisit> &visits)
{
    QHash<qint64, CarvedVisit> last;
    for (const CarvedVisit &visit : visits) {
        const auto known = last.constFind(visit.item);
        if (!visit.title.isEmpty() && (known == last.constEnd() || known->time < visit.time)) {
            last.insert(visit.item, visit);
        }
    }
    Titles titles;
    for (const CarvedVisit &visit : qAsConst(last)) {
        titles.insert(visit.item, visit.title);
    }
    return titles;
}

/// Knows which address has which row identifier. An identifier that was only concluded is taken for
/// wrong where another address has it.
class ItemIds
{
public:
    ItemIds(const LiveHistory &live, const CarvedHistory &carved)
    {
        for (auto item = live.items.cbegin(); item != live.items.cend(); ++item) {
            addCertain(item.key(), item.value());
        }
        for (const CarvedHistoryItem &item : carved.items) {
            if (item.id.isIntact) {
                addCertain(item.id.value, item.url);
            }
        }
        for (const CarvedHistoryItem &item : carved.items) {
            addConcluded(item);
        }
    }

    /// The identifier of the item; 0 when there is none that can be relied upon.
    qint64 idOf(const CarvedHistoryItem &item) const
    {
        return item.id.isIntact ? item.id.value : m_ids.value(item.url);
    }

private:
    void addCertain(qint64 id, const QString &url)
    {
        m_urls.insert(id, url);
        m_ids.insert(url, id);
    }

    void addConcluded(const CarvedHistoryItem &item)
    {
        const qint64 id = item.id.believed();
        if (id == 0 || m_ids.contains(item.url)) {
            return;
        }
        const auto other = m_urls.constFind(id);
        if (other == m_urls.constEnd()) {
            addCertain(id, item.url);
        } else if (m_ids.value(*other) == id && m_concluded.contains(id)) {
            m_ids.remove(*other);
        }
        m_concluded.insert(id);
    }

    QHash<qint64, QString> m_urls;
    QHash<QString, qint64> m_ids;
    QSet<qint64> m_concluded;
};

} // namespace

LiveHistory readHistory(const QString &dbPath)
{
    LiveQuery query(dbPath);
    LiveHistory live;
    query.forEachRow(
        QStringLiteral("select id, url from history_items"),
        [&live](const LiveRow &row) { live.items.insert(row.integer(0), row.text(1)); });
    query.forEachRow(QStringLiteral("select url from history_tombstones"),
                     [&live](const LiveRow &row) { live.removedUrls.append(row.text(0)); });
    return live;
}

QVector<BookmarkRecord> assembleHistory(const LiveHistory &live, const CarvedHistory &carved)
{
    const Titles titles = lastTitles(carved.visits);
    const ItemIds ids(live, carved);
    QVector<BookmarkRecord> records;
    QSet<QString> delivered;
    const auto deliver = [&](const QString &url, const QString &title) {
        if (!url.isEmpty() && !delivered.contains(url)) {
            delivered.insert(url);
            records.append({title, url, 0});
        }
    };
    QHash<qint64, int> uses;
    for (const CarvedHistoryItem &item : carved.items) {
        const qint64 id = ids.idOf(item);
        deliver(item.url, ++uses[id] <= MostUses ? titles.value(id) : QString());
    }
    for (const QString &url : live.removedUrls) {
        deliver(url, QString());
    }
    return records;
}
