#include "recoverers/messaging/weixindbfile.h"

#include "api/sqliterecovery.h"
#include "recoverers/livequery.h"
#include "recoverers/messaging/weixinmatcher.h"

#include <QMap>

#include <algorithm>
#include <map>
#include <memory>

namespace {

const QLatin1String TablePrefix("Chat_");

/// The conversations that scans delivered to, by identifier. One for the whole process, since a
/// backup keeps one conversation in several files, which are scanned one after the other.
QMap<QString, WeiChatChat *> &knownChats()
{
    static QMap<QString, WeiChatChat *> chats;
    return chats;
}

QString chatIdOf(const TableSchema &table)
{
    return table.name.mid(TablePrefix.size());
}

QString quoted(QString name)
{
    return QLatin1Char('"') + name.replace(QLatin1Char('"'), QLatin1String("\"\""))
           + QLatin1Char('"');
}

/// The free pages are searched for the rows of so many layouts. The conversations of one file were
/// all made by two or three versions of the program.
constexpr int MostLayouts = 16;

void sortByTime(WeiChatChat *chat)
{
    std::stable_sort(chat->messages.begin(), chat->messages.end(),
                     [](const WeiChatMessage *a, const WeiChatMessage *b) {
                         return a->createTime < b->createTime;
                     });
}

} // namespace

weixinDBFile::weixinDBFile(QObject *parent)
    : SqliteDbFile(parent)
{
}

weixinDBFile::~weixinDBFile() = default;

void weixinDBFile::forgetChats()
{
    knownChats().clear();
}

int weixinDBFile::scanDeletedRecords(SqliteRecovery *resultHolder)
{
    m_conversations = tablesWithPrefix(TablePrefix);
    m_deleted = DeletedWeixinMessages();
    carve();
    readLiveMessages();
    QVector<CarvedWeixinMessage> messages = m_deleted.take();
    const bool isAnyLost =
        std::any_of(messages.cbegin(), messages.cend(), [](const CarvedWeixinMessage &message) {
            return message.conversation == CarvedWeixinMessage::NoConversation;
        });
    if (isAnyLost) {
        findConversations(readNumbers(), &messages);
    }
    deliver(messages, resultHolder);
    return 0;
}

/// The search for the rows of all tables that look alike.
struct weixinDBFile::LayoutSearch
{
    explicit LayoutSearch(weixinDBFile *recoverer)
        : matcher(recoverer)
    {
    }

    MsgMatcher matcher;
    const TableSchema *table = nullptr; ///< any of them
    bool mayUseFreePages = false;
    double step = 0; ///< of progress, for each free region
};

void weixinDBFile::carve()
{
    if (m_conversations.isEmpty()) {
        return;
    }
    findFreeRegions();
    m_roots.clear();
    m_isSearched.fill(false, headerInfo().pageBits());
    std::map<QVector<int>, std::unique_ptr<LayoutSearch>> searches; // nearly always one
    MsgMatcher binder(this);
    int layouts = 0;
    for (int i = 0; i < m_conversations.size(); ++i) {
        const bool isBound = bind(binder, *m_conversations[i]);
        std::unique_ptr<LayoutSearch> &search = searches[binder.layout()];
        if (!search) {
            search = std::make_unique<LayoutSearch>(this);
            search->mayUseFreePages = isBound && ++layouts <= MostLayouts;
        }
        if (!carveConversation(i, search.get())) {
            return;
        }
    }
    for (auto &[layout, search] : searches) {
        const bool goOn = search->mayUseFreePages
                              ? carveFreePages(search.get())
                              : reportProgress(search->step * freeRegions.size());
        if (!goOn) {
            return;
        }
    }
}

/// Searches the conversation's own pages. Returns false when the scan is to stop.
bool weixinDBFile::carveConversation(int conversation, LayoutSearch *search)
{
    const TableSchema &table = *m_conversations[conversation];
    const double span = progressValue() / m_conversations.size();
    if (!search->matcher.bindColumns(table)) {
        return reportProgress(span);
    }
    const QVector<quint32> leafPages = newLeafPages(table);
    const int items = freeRegions.size() + leafPages.size();
    const double step = items > 0 ? span / items : 0;
    search->table = &table;
    search->step += step;
    search->matcher.startConversation(conversation);
    carveFormerLeaf(table, &search->matcher);
    const bool goOn = carveLeafPages(table, leafPages, step, search->matcher);
    search->matcher.finish();
    return goOn;
}

/// A table's first leaf page becomes its root when the table grows, and keeps most of its bytes.
void weixinDBFile::carveFormerLeaf(const TableSchema &table, MsgMatcher *matcher)
{
    if (takePage(quint32(table.rootPage))) {
        const qint64 pageSize = headerInfo().pageSize;
        carveRegion(table, pageOffset(quint32(table.rootPage), pageSize), pageSize, {}, *matcher);
    }
}

bool weixinDBFile::carveFreePages(LayoutSearch *search)
{
    search->matcher.startConversation(CarvedWeixinMessage::NoConversation);
    const bool goOn = carveFreeRegions(*search->table, search->step, search->matcher);
    search->matcher.finish();
    return goOn;
}

/// The table's leaf pages but for those of an earlier table: in a damaged file many may claim one.
QVector<quint32> weixinDBFile::newLeafPages(const TableSchema &table)
{
    QVector<quint32> pages;
    if (m_roots.contains(table.rootPage)) {
        return pages;
    }
    m_roots.insert(table.rootPage);
    for (const quint32 pageNo : reader->collectLeafPages(quint32(table.rootPage))) {
        if (takePage(pageNo)) {
            pages.append(pageNo);
        }
    }
    return pages;
}

/// False when the page was searched before, or is none.
bool weixinDBFile::takePage(quint32 pageNo)
{
    const bool isNew =
        pageNo > 1 && qint64(pageNo) < m_isSearched.size() && !m_isSearched.testBit(int(pageNo));
    if (isNew) {
        m_isSearched.setBit(int(pageNo));
    }
    return isNew;
}

/// Keeps out of the results what still exists. The pattern's "_" stands for any character, so that
/// other tables are listed as well; their queries fail.
void weixinDBFile::readLiveMessages()
{
    LiveQuery query(path);
    QStringList tables;
    query.forEachRow(QStringLiteral("select tbl_name from sqlite_master where type = 'table' and "
                                    "tbl_name like 'Chat_%'"),
                     [&tables](const LiveRow &row) { tables << row.text(0); });
    for (const QString &table : qAsConst(tables)) {
        query.forEachRow(
            QStringLiteral("select createtime, des, message from %1").arg(quoted(table)),
            [this](const LiveRow &row) {
                const auto time = qint32(row.integer(0));
                const bool isFromMe = row.integer(1) == 0;
                if (m_deleted.hasMoment(time, isFromMe)) { // or its text need not be decoded
                    m_deleted.dropLive(time, isFromMe, row.text(2));
                }
            });
    }
}

QVector<WeixinNumbers> weixinDBFile::readNumbers() const
{
    LiveQuery query(path);
    QHash<QString, qint64> highest;
    query.forEachRow(
        QStringLiteral("select name, seq from sqlite_sequence"),
        [&highest](const LiveRow &row) { highest.insert(row.text(0).toLower(), row.integer(1)); });
    QVector<WeixinNumbers> conversations;
    for (const TableSchema *table : m_conversations) {
        WeixinNumbers numbers;
        numbers.highest = highest.value(table->name);
        query.forEachRow(
            QStringLiteral("select rowid, createtime from %1 order by 1").arg(quoted(table->name)),
            [&numbers](const LiveRow &row) {
                numbers.messages.append({row.integer(0), qint32(row.integer(1))});
            });
        conversations.append(numbers);
    }
    return conversations;
}

void weixinDBFile::deliver(const QVector<CarvedWeixinMessage> &messages,
                           SqliteRecovery *resultHolder)
{
    // The conversations of another facade are its own.
    knownChats().clear();
    for (WeiChatChat *chat : qAsConst(resultHolder->m_weiChatChats)) {
        knownChats().insert(chat->chatId, chat);
    }
    QVector<QVector<WeiChatMessage *>> ofConversations(m_conversations.size());
    for (const CarvedWeixinMessage &message : messages) {
        ofConversations[message.conversation].append(
            new WeiChatMessage{message.text, message.createTime, message.type, message.isFromMe});
    }
    for (int i = 0; i < ofConversations.size(); ++i) {
        if (ofConversations[i].isEmpty()) {
            continue;
        }
        WeiChatChat *&chat = knownChats()[chatIdOf(*m_conversations[i])];
        if (!chat) {
            chat = new WeiChatChat;
            chat->chatId = chatIdOf(*m_conversations[i]);
            resultHolder->m_weiChatChats.append(chat);
        }
        chat->messages += ofConversations[i].toList();
        sortByTime(chat);
    }
}
