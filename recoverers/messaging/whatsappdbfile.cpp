#include "recoverers/messaging/whatsappdbfile.h"

#include "api/sqliterecovery.h"
#include "recoverers/livequery.h"
#include "recoverers/messaging/whatsappassembler.h"
#include "recoverers/messaging/whatsappmatchers.h"

#include <algorithm>
#include <iterator>

WhatsappDbFile::WhatsappDbFile(QObject *parent)
    : SqliteDbFile(parent)
{
}

WhatsappDbFile::~WhatsappDbFile() = default;

int WhatsappDbFile::scanDeletedRecords(SqliteRecovery *resultHolder)
{
    LiveQuery query(path);
    m_live = readWhatsapp(query);
    m_liveSessions = m_live.sessions.keys().toVector();
    m_liveMembers = m_live.members.keys().toVector();
    m_liveMedia = m_live.media.keys().toVector();
    m_carved = CarvedWhatsapp();
    carve();
    dropOtherEntities(m_live.sessionEntity, &m_carved.sessions);
    dropOtherEntities(m_live.memberEntity, &m_carved.members);
    dropOtherEntities(m_live.mediaEntity, &m_carved.media);
    dropOtherEntities(m_live.messageEntity, &m_carved.messages);
    markLiveCopies(query, &m_carved);
    for (std::unique_ptr<WhatsappChatRecord> &chat : assembleWhatsappChats(m_live, m_carved)) {
        resultHolder->m_whatsappChats.append(chat.release());
    }
    return 0;
}

void WhatsappDbFile::carve()
{
    const TableSchema *tables[] = {
        table(QStringLiteral("zwachatsession")), table(QStringLiteral("zwagroupmember")),
        table(QStringLiteral("zwamediaitem")), table(QStringLiteral("zwamessage"))};
    const auto missing = std::count(std::begin(tables), std::end(tables), nullptr);
    const double span = progressValue() / std::max<double>(double(std::size(tables) - missing), 1);
    // The header of a member says so little that other pages than its own and free ones would give
    // more chance matches than members.
    constexpr bool freeListOnly = true;
    if (carve<SessionMatcher>(tables[0], span, !freeListOnly)
        && carve<MemberMatcher>(tables[1], span, freeListOnly)
        && carve<MediaMatcher>(tables[2], span, !freeListOnly)) {
        carve<MessageMatcher>(tables[3], span, !freeListOnly);
    }
}

/// Returns false when the scan is to stop.
template<typename Matcher>
bool WhatsappDbFile::carve(const TableSchema *table, double span, bool freeListOnly)
{
    if (!table) {
        return true;
    }
    Matcher matcher(this);
    const bool goOn = carveTable(*table, matcher, span, freeListOnly);
    matcher.finish();
    return goOn;
}
