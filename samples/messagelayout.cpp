#include "samples/messagelayout.h"

#include "samples/sampledatabase.h"

namespace {

constexpr qint64 secondsFrom1970To2001 = 978307200;

/// iOS 6 and 7; every later table begins like this.
const char messageColumns[] =
    "ROWID INTEGER PRIMARY KEY AUTOINCREMENT, guid TEXT UNIQUE NOT NULL, text TEXT, "
    "replace INTEGER DEFAULT 0, service_center TEXT, handle_id INTEGER DEFAULT 0, subject TEXT, "
    "country TEXT, attributedBody BLOB, version INTEGER DEFAULT 0, type INTEGER DEFAULT 0, "
    "service TEXT, account TEXT, account_guid TEXT, error INTEGER DEFAULT 0, date INTEGER, "
    "date_read INTEGER, date_delivered INTEGER, is_delivered INTEGER DEFAULT 0, "
    "is_finished INTEGER DEFAULT 0, is_emote INTEGER DEFAULT 0, is_from_me INTEGER DEFAULT 0, "
    "is_empty INTEGER DEFAULT 0, is_delayed INTEGER DEFAULT 0, is_auto_reply INTEGER DEFAULT 0, "
    "is_prepared INTEGER DEFAULT 0, is_read INTEGER DEFAULT 0, "
    "is_system_message INTEGER DEFAULT 0, is_sent INTEGER DEFAULT 0, "
    "has_dd_results INTEGER DEFAULT 0, is_service_message INTEGER DEFAULT 0, "
    "is_forward INTEGER DEFAULT 0, was_downgraded INTEGER DEFAULT 0, "
    "is_archive INTEGER DEFAULT 0, cache_has_attachments INTEGER DEFAULT 0, "
    "cache_roomnames TEXT, was_data_detected INTEGER DEFAULT 0, "
    "was_deduplicated INTEGER DEFAULT 0";

/// Since iOS 12, in the order of the table; iOS 17 has no columns for a second synchronisation.
const char columnsOfIos12[] =
    ", is_audio_message INTEGER DEFAULT 0, is_played INTEGER DEFAULT 0, date_played INTEGER, "
    "item_type INTEGER DEFAULT 0, other_handle INTEGER DEFAULT 0, group_title TEXT, "
    "group_action_type INTEGER DEFAULT 0, share_status INTEGER DEFAULT 0, "
    "share_direction INTEGER DEFAULT 0, is_expirable INTEGER DEFAULT 0, "
    "expire_state INTEGER DEFAULT 0, message_action_type INTEGER DEFAULT 0, "
    "message_source INTEGER DEFAULT 0, associated_message_guid TEXT, "
    "associated_message_type INTEGER DEFAULT 0, balloon_bundle_id TEXT, payload_data BLOB, "
    "expressive_send_style_id TEXT, associated_message_range_location INTEGER DEFAULT 0, "
    "associated_message_range_length INTEGER DEFAULT 0, time_expressive_send_played INTEGER, "
    "message_summary_info BLOB, ck_sync_state INTEGER DEFAULT 0, ck_record_id TEXT, "
    "ck_record_change_tag TEXT, destination_caller_id TEXT";

const char secondSyncColumns[] =
    ", sr_ck_sync_state INTEGER DEFAULT 0, sr_ck_record_id TEXT, sr_ck_record_change_tag TEXT";

const char corruptColumn[] = ", is_corrupt INTEGER DEFAULT 0";

const char columnsOfIos14[] =
    ", reply_to_guid TEXT DEFAULT NULL, sort_id INTEGER DEFAULT 0, is_spam INTEGER DEFAULT 0, "
    "has_unseen_mention INTEGER DEFAULT 0, thread_originator_guid TEXT DEFAULT NULL, "
    "thread_originator_part TEXT DEFAULT NULL";

const char columnsOfIos17[] =
    ", reply_to_guid TEXT, sort_id INTEGER, is_spam INTEGER DEFAULT 0, "
    "has_unseen_mention INTEGER DEFAULT 0, thread_originator_guid TEXT, "
    "thread_originator_part TEXT, syndication_ranges TEXT, synced_syndication_ranges TEXT, "
    "was_delivered_quietly INTEGER DEFAULT 0, did_notify_recipient INTEGER DEFAULT 0, "
    "date_retracted INTEGER, date_edited INTEGER, was_detonated INTEGER DEFAULT 0, "
    "part_count INTEGER, is_stewie INTEGER DEFAULT 0, is_sos INTEGER DEFAULT 0, "
    "is_critical INTEGER DEFAULT 0, bia_reference_id TEXT, is_kt_verified INTEGER DEFAULT 0, "
    "fallback_hash TEXT";

const char chatColumns[] =
    "ROWID INTEGER PRIMARY KEY AUTOINCREMENT, guid TEXT UNIQUE NOT NULL, style INTEGER, "
    "state INTEGER, account_id TEXT, properties BLOB, chat_identifier TEXT, service_name TEXT, "
    "room_name TEXT, account_login TEXT, is_archived INTEGER DEFAULT 0, "
    "last_addressed_handle TEXT";

const char chatColumnsOfIos12[] =
    ", group_id TEXT, is_filtered INTEGER, successful_query INTEGER, engram_id TEXT, "
    "server_change_token TEXT, ck_sync_state INTEGER DEFAULT 0, original_group_id TEXT, "
    "last_read_message_timestamp INTEGER DEFAULT 0, sr_server_change_token TEXT, "
    "sr_ck_sync_state INTEGER DEFAULT 0, cloudkit_record_id TEXT, sr_cloudkit_record_id TEXT, "
    "last_addressed_sim_id TEXT";

const char chatColumnsOfIos17[] =
    ", group_id TEXT, is_filtered INTEGER DEFAULT 0, successful_query INTEGER, engram_id TEXT, "
    "server_change_token TEXT, ck_sync_state INTEGER DEFAULT 0, original_group_id TEXT, "
    "last_read_message_timestamp INTEGER DEFAULT 0, cloudkit_record_id TEXT, "
    "last_addressed_sim_id TEXT, is_blackholed INTEGER DEFAULT 0, "
    "syndication_date INTEGER DEFAULT 0, syndication_type INTEGER DEFAULT 0, "
    "is_recovered INTEGER DEFAULT 0, is_deleting_incoming_messages INTEGER DEFAULT 0";

const char attachmentColumns[] =
    "ROWID INTEGER PRIMARY KEY AUTOINCREMENT, guid TEXT UNIQUE NOT NULL, "
    "created_date INTEGER DEFAULT 0, start_date INTEGER DEFAULT 0, filename TEXT, uti TEXT, "
    "mime_type TEXT, transfer_state INTEGER DEFAULT 0, is_outgoing INTEGER DEFAULT 0, "
    "user_info BLOB, transfer_name TEXT, total_bytes INTEGER DEFAULT 0";

const char messageColumnsOfIos5[] =
    "ROWID INTEGER PRIMARY KEY AUTOINCREMENT, address TEXT, date INTEGER, text TEXT, flags "
    "INTEGER, replace INTEGER, svc_center TEXT, group_id INTEGER, association_id INTEGER, "
    "height INTEGER, UIFlags INTEGER, version INTEGER, subject TEXT, country TEXT, headers "
    "BLOB, recipients BLOB, read INTEGER, madrid_attributedBody BLOB, madrid_handle TEXT, "
    "madrid_version INTEGER, madrid_guid TEXT, madrid_type INTEGER, madrid_roomname TEXT, "
    "madrid_service TEXT, madrid_account TEXT, madrid_account_guid TEXT, madrid_flags INTEGER, "
    "madrid_attachmentInfo BLOB, madrid_url TEXT, madrid_error INTEGER, is_madrid INTEGER, "
    "madrid_date_read INTEGER, madrid_date_delivered INTEGER";

const char groupTables[] =
    "CREATE TABLE msg_group (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, type INTEGER, "
    "newest_message INTEGER, unread_count INTEGER, hash INTEGER);"
    "CREATE TABLE group_member (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, group_id INTEGER, "
    "address TEXT, country TEXT);"
    "CREATE TABLE msg_pieces (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, message_id INTEGER, "
    "data BLOB, part_id INTEGER, preview_part INTEGER, content_type TEXT, height INTEGER, "
    "version INTEGER, flags INTEGER, content_id TEXT, content_loc TEXT, headers BLOB);"
    "CREATE TABLE madrid_attachment (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, attachment_guid "
    "TEXT, created_date INTEGER, start_date INTEGER, filename TEXT, uti_type TEXT, mime_type "
    "TEXT, transfer_state INTEGER, is_incoming INTEGER, message_id INTEGER);"
    "CREATE INDEX madrid_attachment_message_index ON madrid_attachment(message_id);"
    "CREATE INDEX madrid_attachment_guid_index ON madrid_attachment(attachment_guid);"
    "CREATE INDEX madrid_attachment_filename_index ON madrid_attachment(filename);"
    "CREATE TABLE madrid_chat (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, style INTEGER, state "
    "INTEGER, account_id TEXT, properties BLOB, chat_identifier TEXT, service_name TEXT, guid "
    "TEXT, room_name TEXT, account_login TEXT, participants BLOB);"
    "CREATE INDEX madrid_chat_style_index ON madrid_chat(style);"
    "CREATE INDEX madrid_chat_state_index ON madrid_chat(state);"
    "CREATE INDEX madrid_chat_account_id_index ON madrid_chat(account_id);"
    "CREATE INDEX madrid_chat_chat_identifier_index ON madrid_chat(chat_identifier);"
    "CREATE INDEX madrid_chat_service_name_index ON madrid_chat(service_name);"
    "CREATE INDEX madrid_chat_guid_index ON madrid_chat(guid);"
    "CREATE INDEX madrid_chat_room_name_index ON madrid_chat(room_name);"
    "CREATE INDEX madrid_chat_account_login_index ON madrid_chat(account_login);"
    "CREATE INDEX pieces_message_index ON msg_pieces(message_id);";

const char indexesOfIos5[] =
    "CREATE INDEX message_group_index ON message(group_id, ROWID);"
    "CREATE INDEX message_flags_index ON message(flags);"
    "CREATE INDEX madrid_guid_index ON message(madrid_guid);"
    "CREATE INDEX madrid_roomname_service_index ON message(madrid_roomname, madrid_service);"
    "CREATE INDEX madrid_handle_service_index ON message(madrid_handle, madrid_service);";

const char indexesOfIos7[] =
    "CREATE INDEX chat_idx_identifier ON chat(chat_identifier);"
    "CREATE INDEX chat_idx_room_name ON chat(room_name);"
    "CREATE INDEX message_idx_was_downgraded ON message(was_downgraded);"
    "CREATE INDEX message_idx_is_read ON message(is_read, is_from_me, is_finished);"
    "CREATE INDEX message_idx_failed ON message(is_finished, is_from_me, error);"
    "CREATE INDEX message_idx_handle ON message(handle_id, date);"
    "CREATE INDEX chat_message_join_idx_message_id ON chat_message_join(message_id, chat_id);";

const char indexesOfIos12[] =
    "CREATE INDEX message_idx_expire_state ON message(expire_state);"
    "CREATE INDEX message_attachment_join_idx_message_id ON "
    "message_attachment_join(message_id);"
    "CREATE INDEX chat_handle_join_idx_handle_id ON chat_handle_join(handle_id);"
    "CREATE INDEX message_attachment_join_idx_attachment_id ON "
    "message_attachment_join(attachment_id);"
    "CREATE INDEX message_idx_date ON message(date);"
    "CREATE INDEX message_idx_handle ON message(handle_id, date);"
    "CREATE INDEX message_idx_handle_id ON message(handle_id);"
    "CREATE INDEX message_idx_is_sent_is_from_me_error ON message(is_sent, is_from_me, error);"
    "CREATE INDEX chat_message_join_idx_message_id_only ON chat_message_join(message_id);"
    "CREATE INDEX message_idx_associated_message ON message(associated_message_guid);"
    "CREATE INDEX chat_idx_chat_identifier ON chat(chat_identifier);"
    "CREATE INDEX chat_message_join_idx_chat_id ON chat_message_join(chat_id);"
    "CREATE INDEX message_idx_cache_has_attachments ON message(cache_has_attachments);"
    "CREATE INDEX chat_idx_chat_room_name_service_name ON chat(room_name, service_name);"
    "CREATE INDEX message_idx_other_handle ON message(other_handle);"
    "CREATE INDEX message_idx_was_downgraded ON message(was_downgraded);"
    "CREATE INDEX chat_idx_is_archived ON chat(is_archived);"
    "CREATE INDEX chat_idx_chat_identifier_service_name ON chat(chat_identifier, service_name);"
    "CREATE INDEX chat_message_join_idx_message_date_id_chat_id ON chat_message_join(chat_id, "
    "message_date, message_id);"
    "CREATE INDEX message_idx_is_read ON message(is_read, is_from_me, is_finished);"
    "CREATE INDEX message_idx_isRead_isFromMe_itemType ON message(is_read, is_from_me, "
    "item_type);"
    "CREATE INDEX message_idx_failed ON message(is_finished, is_from_me, error);";

const char indexesOfIos17[] =
    "CREATE INDEX message_idx_date ON message(date);"
    "CREATE INDEX message_idx_handle ON message(handle_id, date);"
    "CREATE INDEX message_idx_is_read ON message(is_read, is_from_me, is_finished);"
    "CREATE INDEX message_attachment_join_idx_message_id ON "
    "message_attachment_join(message_id);"
    "CREATE INDEX chat_handle_join_idx_handle_id ON chat_handle_join(handle_id);"
    "CREATE INDEX message_attachment_join_idx_attachment_id ON "
    "message_attachment_join(attachment_id);"
    "CREATE INDEX chat_message_join_idx_message_id_only ON chat_message_join(message_id);"
    "CREATE INDEX chat_idx_chat_identifier ON chat(chat_identifier);"
    "CREATE INDEX chat_message_join_idx_chat_id ON chat_message_join(chat_id);"
    "CREATE INDEX chat_idx_chat_room_name_service_name ON chat(room_name, service_name);"
    "CREATE INDEX chat_idx_is_archived ON chat(is_archived);"
    "CREATE INDEX chat_idx_chat_identifier_service_name ON chat(chat_identifier, service_name);"
    "CREATE INDEX chat_message_join_idx_message_date_id_chat_id ON chat_message_join(chat_id, "
    "message_date, message_id);";

const char joinTables[] =
    "CREATE TABLE message_attachment_join (message_id INTEGER REFERENCES message (ROWID) ON "
    "DELETE CASCADE, attachment_id INTEGER REFERENCES attachment (ROWID) ON DELETE CASCADE, "
    "UNIQUE(message_id, attachment_id));"
    "CREATE TABLE chat_handle_join (chat_id INTEGER REFERENCES chat (ROWID) ON DELETE CASCADE, "
    "handle_id INTEGER REFERENCES handle (ROWID) ON DELETE CASCADE, UNIQUE(chat_id, "
    "handle_id));";

const char propertyTable[] =
    "CREATE TABLE _SqliteDatabaseProperties (key TEXT, value TEXT, UNIQUE(key));";

/// What devices of iOS 12 keep about deleted messages until every other device knows of them.
const char deletionTables[] =
    "CREATE TABLE deleted_messages (ROWID INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, "
    "guid TEXT NOT NULL);"
    "CREATE TABLE sync_deleted_messages (ROWID INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, "
    "guid TEXT NOT NULL, recordID TEXT );";

bool isSince12(MessageLayout layout)
{
    return layout >= MessageLayout::Ios12;
}

QString createTable(const char *name, const QString &columns)
{
    return QStringLiteral("CREATE TABLE %1 (%2);").arg(QLatin1String(name), columns);
}

QString handleColumns(MessageLayout layout)
{
    return QStringLiteral("ROWID INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, id TEXT NOT NULL, "
                          "country TEXT, service TEXT NOT NULL, uncanonicalized_id TEXT, ")
           + QLatin1String(isSince12(layout) ? "person_centric_id TEXT, " : "")
           + QLatin1String("UNIQUE (id, service)");
}

QString chatColumnList(MessageLayout layout)
{
    QString columns = QLatin1String(chatColumns);
    if (layout >= MessageLayout::Ios7) {
        columns += QLatin1String(", display_name TEXT");
    }
    if (isSince12(layout)) {
        columns +=
            QLatin1String(layout == MessageLayout::Ios17 ? chatColumnsOfIos17 : chatColumnsOfIos12);
    }
    return columns;
}

QString chatMessageColumns(MessageLayout layout)
{
    return QStringLiteral("chat_id INTEGER REFERENCES chat (ROWID) ON DELETE CASCADE, "
                          "message_id INTEGER REFERENCES message (ROWID) ON DELETE CASCADE, ")
           + QLatin1String(isSince12(layout) ? "message_date INTEGER DEFAULT 0, " : "")
           + QLatin1String("PRIMARY KEY (chat_id, message_id)");
}

QString indexes(MessageLayout layout)
{
    switch (layout) {
    case MessageLayout::Ios7:
        return QLatin1String(indexesOfIos7);
    case MessageLayout::Ios12:
    case MessageLayout::Ios14:
        return QLatin1String(indexesOfIos12);
    case MessageLayout::Ios17:
        return QLatin1String(indexesOfIos17);
    default:
        return QString();
    }
}

} // namespace

QVector<MessageLayout> allMessageLayouts()
{
    return {MessageLayout::Ios5,  MessageLayout::Ios6,  MessageLayout::Ios7,
            MessageLayout::Ios12, MessageLayout::Ios14, MessageLayout::Ios17};
}

QString layoutName(MessageLayout layout)
{
    static const int versions[] = {5, 6, 7, 12, 14, 17};
    return QStringLiteral("iOS %1").arg(versions[int(layout)]);
}

bool hasGroups(MessageLayout layout)
{
    return layout == MessageLayout::Ios5;
}

SampleOptions deviceOptions(MessageLayout layout)
{
    SampleOptions options;
    options.autoVacuum = layout == MessageLayout::Ios5 ? 1 : 2;
    return options;
}

QString messageColumnList(MessageLayout layout)
{
    if (hasGroups(layout)) {
        return QLatin1String(messageColumnsOfIos5);
    }
    QString columns = QLatin1String(messageColumns);
    if (isSince12(layout)) {
        columns += QLatin1String(columnsOfIos12);
        columns += QLatin1String(layout == MessageLayout::Ios17 ? "" : secondSyncColumns);
        columns += QLatin1String(corruptColumn);
    }
    if (layout >= MessageLayout::Ios14) {
        columns += QLatin1String(layout == MessageLayout::Ios17 ? columnsOfIos17 : columnsOfIos14);
    }
    return columns;
}

QString messageTables(MessageLayout layout)
{
    if (hasGroups(layout)) {
        return QLatin1String(propertyTable) + createTable("message", messageColumnList(layout))
               + QLatin1String(groupTables) + QLatin1String(indexesOfIos5);
    }
    return QLatin1String(propertyTable)
           + QLatin1String(layout == MessageLayout::Ios12 ? deletionTables : "")
           + createTable("message", messageColumnList(layout))
           + createTable("chat", chatColumnList(layout))
           + createTable("attachment", QLatin1String(attachmentColumns))
           + createTable("handle", handleColumns(layout)) + QLatin1String(joinTables)
           + createTable("chat_message_join", chatMessageColumns(layout)) + indexes(layout);
}

qint64 storedDate(MessageLayout layout, bool isTextMessage, qint64 seconds)
{
    if (hasGroups(layout) && isTextMessage) {
        return seconds;
    }
    const qint64 since2001 = seconds - secondsFrom1970To2001;
    return isSince12(layout) ? since2001 * 1000000000 : since2001;
}
