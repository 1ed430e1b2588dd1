#include "recoverers/communication/smsdbfile.h"

#include "api/sqliterecovery.h"
#include "recoverers/communication/messageassembler.h"
#include "recoverers/communication/messagematchers.h"
#include "recoverers/livequery.h"

namespace {

/// The table as of iOS 14. Rows keep the layout under which they were written when a new system
/// adds columns, and are found under this list then.
const char MessageColumns[] =
    "rowid integer primary key autoincrement, guid text unique not null, text text, [replace] "
    "integer default 0, service_center text, handle_id integer default 0, subject text, country "
    "text, attributedbody blob, version integer default 0, type integer default 0, service text, "
    "account text, account_guid text, error integer default 0, date integer, date_read integer, "
    "date_delivered integer, is_delivered integer default 0, is_finished integer default 0, "
    "is_emote integer default 0, is_from_me integer default 0, is_empty integer default 0, "
    "is_delayed integer default 0, is_auto_reply integer default 0, is_prepared integer default "
    "0, is_read integer default 0, is_system_message integer default 0, is_sent integer default "
    "0, has_dd_results integer default 0, is_service_message integer default 0, is_forward "
    "integer default 0, was_downgraded integer default 0, is_archive integer default 0, "
    "cache_has_attachments integer default 0, cache_roomnames text, was_data_detected integer "
    "default 0, was_deduplicated integer default 0, is_audio_message integer default 0, is_played "
    "integer default 0, date_played integer, item_type integer default 0, other_handle integer "
    "default 0, group_title text, group_action_type integer default 0, share_status integer "
    "default 0, share_direction integer default 0, is_expirable integer default 0, expire_state "
    "integer default 0, message_action_type integer default 0, message_source integer default 0, "
    "associated_message_guid text, associated_message_type integer default 0, balloon_bundle_id "
    "text, payload_data blob, expressive_send_style_id text, associated_message_range_location "
    "integer default 0, associated_message_range_length integer default 0, "
    "time_expressive_send_played integer, message_summary_info blob, ck_sync_state integer "
    "default 0, ck_record_id text, ck_record_change_tag text, destination_caller_id text, "
    "sr_ck_sync_state integer default 0, sr_ck_record_id text, sr_ck_record_change_tag text, "
    "is_corrupt integer default 0, reply_to_guid text, sort_id integer, is_spam integer default "
    "0, has_unseen_mention integer default 0, thread_originator_guid text default null, "
    "thread_originator_part text default null";

} // namespace

SMSDbFile::SMSDbFile(QObject *parent)
    : SqliteDbFile(parent)
{
}

SMSDbFile::~SMSDbFile() = default;

int SMSDbFile::scanDeletedRecords(SqliteRecovery *resultHolder)
{
    LiveQuery query(path);
    m_live = readMessages(query);
    m_liveHandleIds = m_live.handles.keys().toVector();
    m_carved = CarvedMessages();
    const double span = progressValue();
    const bool isOldGeneration = table(QStringLiteral("group_member")) != nullptr;
    if (isOldGeneration) {
        carveOldGeneration(span);
    } else {
        carveNewGeneration(span);
    }
    markLiveCopies(query, &m_carved);
    resultHolder->m_messageGroups += isOldGeneration ? assembleOldMessages(m_live, m_carved)
                                                     : assembleMessages(m_live, m_carved);
    return 0;
}

void SMSDbFile::carveOldGeneration(double span)
{
    const TableSchema *messages = table(QStringLiteral("message"));
    if (const TableSchema *chats = table(QStringLiteral("madrid_chat"))) {
        MadridChatMatcher matcher(this);
        const bool goOn = carveTable(*chats, matcher, span, false);
        matcher.finish();
        if (!goOn) {
            return;
        }
    }
    if (messages) {
        Message5Matcher matcher(this);
        carveTable(*messages, matcher, span, false);
        matcher.finish();
    }
}

void SMSDbFile::carveNewGeneration(double span)
{
    if (carveMessages(span)) {
        carveHandles(span);
    }
}

TableSchema SMSDbFile::fixedTable(const TableSchema &messages)
{
    TableSchema table = messages;
    table.columns = parseColumnList(QLatin1String(MessageColumns));
    return table;
}

bool SMSDbFile::carveMessages(double span)
{
    const TableSchema *messages = table(QStringLiteral("message"));
    if (!messages) {
        return true;
    }
    const TableSchema fixed = fixedTable(*messages);
    Message6Matcher matcher(this);
    bool goOn = carveTable(*messages, matcher, span, false);
    matcher.startSecondSearch();
    goOn = goOn && carveTable(fixed, matcher, span, false);
    matcher.finish();
    return goOn;
}

void SMSDbFile::carveHandles(double span)
{
    if (const TableSchema *handles = table(QStringLiteral("handle"))) {
        Handle6Matcher matcher(this);
        carveTable(*handles, matcher, span, false);
        matcher.finish();
    }
}
