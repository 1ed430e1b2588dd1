#include "samples/bulksamples.h"

#include "samples/callsamples.h"
#include "samples/sampledatabase.h"
#include "samples/samplerandom.h"

namespace {

const char messageTables[] =
    "CREATE TABLE handle (ROWID INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, id TEXT NOT NULL, "
    "country TEXT, service TEXT NOT NULL, uncanonicalized_id TEXT, person_centric_id TEXT, "
    "UNIQUE (id, service));"
    "CREATE TABLE chat (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, guid TEXT UNIQUE NOT NULL, "
    "style INTEGER, state INTEGER, account_id TEXT, properties BLOB, chat_identifier TEXT, "
    "service_name TEXT, room_name TEXT);"
    "CREATE TABLE chat_handle_join (chat_id INTEGER, handle_id INTEGER, "
    "UNIQUE (chat_id, handle_id));"
    "CREATE TABLE chat_message_join (chat_id INTEGER, message_id INTEGER, "
    "message_date INTEGER DEFAULT 0, PRIMARY KEY (chat_id, message_id));"
    "CREATE TABLE message (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, guid TEXT UNIQUE NOT NULL, "
    "text TEXT, replace INTEGER DEFAULT 0, service_center TEXT, handle_id INTEGER DEFAULT 0, "
    "subject TEXT, country TEXT, attributedBody BLOB, version INTEGER DEFAULT 0, "
    "type INTEGER DEFAULT 0, service TEXT, account TEXT, account_guid TEXT, "
    "error INTEGER DEFAULT 0, date INTEGER, date_read INTEGER, date_delivered INTEGER, "
    "is_delivered INTEGER DEFAULT 0, is_finished INTEGER DEFAULT 0, is_emote INTEGER DEFAULT 0, "
    "is_from_me INTEGER DEFAULT 0, is_empty INTEGER DEFAULT 0, is_delayed INTEGER DEFAULT 0, "
    "is_auto_reply INTEGER DEFAULT 0, is_prepared INTEGER DEFAULT 0, is_read INTEGER DEFAULT 0, "
    "is_system_message INTEGER DEFAULT 0, is_sent INTEGER DEFAULT 0, "
    "has_dd_results INTEGER DEFAULT 0, is_service_message INTEGER DEFAULT 0, "
    "is_forward INTEGER DEFAULT 0, was_downgraded INTEGER DEFAULT 0, "
    "is_archive INTEGER DEFAULT 0, cache_has_attachments INTEGER DEFAULT 0, "
    "cache_roomnames TEXT, was_data_detected INTEGER DEFAULT 0, "
    "was_deduplicated INTEGER DEFAULT 0, is_audio_message INTEGER DEFAULT 0, "
    "is_played INTEGER DEFAULT 0, date_played INTEGER, item_type INTEGER DEFAULT 0, "
    "other_handle INTEGER DEFAULT 0, group_title TEXT, group_action_type INTEGER DEFAULT 0, "
    "share_status INTEGER DEFAULT 0, share_direction INTEGER DEFAULT 0, "
    "is_expirable INTEGER DEFAULT 0, expire_state INTEGER DEFAULT 0, "
    "message_action_type INTEGER DEFAULT 0, message_source INTEGER DEFAULT 0, "
    "associated_message_guid TEXT, associated_message_type INTEGER DEFAULT 0, "
    "balloon_bundle_id TEXT, payload_data BLOB, expressive_send_style_id TEXT, "
    "associated_message_range_location INTEGER DEFAULT 0, "
    "associated_message_range_length INTEGER DEFAULT 0, time_expressive_send_played INTEGER, "
    "message_summary_info BLOB, ck_sync_state INTEGER DEFAULT 0, ck_record_id TEXT, "
    "ck_record_change_tag TEXT, destination_caller_id TEXT, sr_ck_sync_state INTEGER DEFAULT 0, "
    "sr_ck_record_id TEXT, sr_ck_record_change_tag TEXT, is_corrupt INTEGER DEFAULT 0);"
    "CREATE INDEX message_idx_date ON message (date);"
    "CREATE INDEX message_idx_handle ON message (handle_id, date);"
    "CREATE INDEX message_idx_is_read ON message (is_read, is_from_me, is_finished);"
    "CREATE INDEX message_idx_failed ON message (is_finished, is_from_me, error);"
    "CREATE INDEX chat_message_join_idx_message_id_only ON chat_message_join (message_id);";

const char *const words[] = {
    "the",      "you",   "and",   "tomorrow", "at",   "we",     "can",    "is",   "meet",  "dinner",
    "late",     "train", "home",  "not",      "sure", "thanks", "please", "call", "me",    "when",
    "are",      "there", "this",  "weekend",  "see",  "soon",   "coffee", "what", "about", "photos",
    "birthday", "ok",    "great", "sorry",    "on",   "my",     "way",    "I'll", "bring", "it"};
constexpr int handleCount = 60;

/// Nanoseconds since 2001.
constexpr qint64 firstMessageDate = 568000000000000000;

QString sentence(SampleRandom *random)
{
    // Mostly short, seldom as long as a letter.
    const int count = random->chance(90) ? random->number(1, 25) : random->number(25, 140);
    QString text = random->pick(words);
    for (int i = 1; i < count; ++i) {
        text += QLatin1Char(' ') + random->pick(words);
    }
    return text + QLatin1Char('.');
}

/// The text once more inside an archive of objects, which adds about 150 bytes.
QByteArray attributedBody(const QString &text)
{
    static const QByteArray head =
        QByteArray::fromHex("040b") + "streamtyped" + QByteArray::fromHex("81e803840140848484")
        + "\x12" + "NSAttributedString" + QByteArray::fromHex("008484") + "\x08NSObject"
        + QByteArray::fromHex("0085928484") + "\x08NSString" + QByteArray::fromHex("0194840181");
    static const QByteArray tail = QByteArray::fromHex("8684026949010f9284848c") + "NSDictionary"
                                   + QByteArray::fromHex("009484016901928484") + "\x08NSNumber"
                                   + QByteArray::fromHex("008484") + "\x07NSValue"
                                   + QByteArray::fromHex("009484012a8484999900868686");
    const QByteArray utf8 = text.toUtf8();
    return head + char(utf8.size() & 0xff) + char(utf8.size() >> 8) + utf8 + tail;
}

bool insertParties(SampleDatabase *db)
{
    for (int i = 1; i <= handleCount; ++i) {
        const QString number = QStringLiteral("+1555%1").arg(1000000 + i * 7919);
        const QString service = QLatin1String(i % 3 ? "iMessage" : "SMS");
        if (!db->run(QStringLiteral("INSERT INTO handle VALUES (?,?,'us',?,NULL,NULL)"),
                     {i, number, service})
            || !db->run(QStringLiteral("INSERT INTO chat VALUES (?,?,45,3,NULL,NULL,?,?,NULL)"),
                        {i, service + QLatin1String(";-;") + number, number, service})
            || !db->run(QStringLiteral("INSERT INTO chat_handle_join VALUES (?,?)"), {i, i})) {
            return false;
        }
    }
    return true;
}

bool insertMessage(SampleDatabase *db, qint64 number, SampleRandom *random)
{
    static const QString insert = QStringLiteral(
        "INSERT INTO message (guid, text, handle_id, attributedBody, version, service, account, "
        "account_guid, date, date_read, is_delivered, is_finished, is_from_me, is_read, is_sent, "
        "was_data_detected, ck_sync_state, ck_record_id, destination_caller_id) "
        "VALUES (?,?,?,?,10,?,'p:+15551234567',?,?,?,?,1,?,?,?,1,?,?,'+15551234567')");
    static const QString join = QStringLiteral("INSERT INTO chat_message_join VALUES (?,?,?)");
    static const QString accountGuid = QStringLiteral("7A1E5C0B-3A61-4C0E-9B57-2D7F0C6E1A55");
    const QString text = sentence(random);
    const int party = random->number(1, handleCount + 1);
    const bool own = random->chance(50);
    const qint64 date = firstMessageDate + number * 1000000007;
    const QVariant ownOrNull = own ? QVariant() : QVariant(date + 3000000000);
    const QString service = QLatin1String(party % 3 ? "iMessage" : "SMS");
    return db->run(insert, {random->guid(), text, own ? 0 : party, attributedBody(text), service,
                            accountGuid, date, ownOrNull, own, own, !own, own, random->number(0, 2),
                            QVariant()})
           && db->run(join, {party, db->lastRowid(), date});
}

/// Inserts rows in one transaction until the file is large enough.
template<typename Insert>
bool fill(SampleDatabase *db, qint64 bytes, qint64 *inserted, Insert insert)
{
    constexpr int rowsBetweenLooks = 1000;
    bool ok = db->exec(QStringLiteral("BEGIN"));
    while (ok && db->size() < bytes) {
        for (int i = 0; i < rowsBetweenLooks && ok; ++i) {
            ok = insert(++*inserted);
        }
    }
    return ok && db->exec(QStringLiteral("COMMIT"));
}

/// Deletes each twentieth row, and three ranges of four percent each. In a transaction of its own,
/// since a page that is filled and freed in the same one is never written.
bool thinOut(SampleDatabase *db, const QString &table, BulkSample *sample)
{
    const qint64 rows = sample->inserted;
    QString condition = QStringLiteral("ROWID % 20 = 7");
    for (const int percent : {20, 50, 80}) {
        condition += QStringLiteral(" OR ROWID BETWEEN %1 AND %2")
                         .arg(rows * percent / 100)
                         .arg(rows * (percent + 4) / 100);
    }
    const bool ok = db->exec(QStringLiteral("DELETE FROM %1 WHERE %2").arg(table, condition));
    const qint64 left = db->scalar(QStringLiteral("SELECT count(*) FROM ") + table).toLongLong();
    sample->deleted = rows - left;
    return ok;
}

} // namespace

bool makeBulkMessages(SampleDatabase *db, qint64 bytes, BulkSample *sample)
{
    *sample = BulkSample();
    SampleRandom random(12);
    return db->exec(QLatin1String(messageTables)) && insertParties(db)
           && fill(db, bytes, &sample->inserted,
                   [&](qint64 number) { return insertMessage(db, number, &random); })
           && thinOut(db, QStringLiteral("message"), sample)
           && db->exec(QStringLiteral("DELETE FROM chat_message_join WHERE message_id NOT IN "
                                      "(SELECT ROWID FROM message)"));
}

bool makeBulkCalls(SampleDatabase *db, qint64 bytes, BulkSample *sample)
{
    *sample = BulkSample();
    CallGenerator generator = bulkCallGenerator();
    return createCallTables(db, CallLayout::Ios7)
           && fill(db, bytes, &sample->inserted,
                   [&](qint64) {
                       SampleCall call = generator.next();
                       return insertCall(db, CallLayout::Ios7, &call);
                   })
           && thinOut(db, QStringLiteral("call"), sample);
}

CallGenerator bulkCallGenerator()
{
    constexpr int maxGap = 40; // keeps the dates of millions of calls in four bytes
    return CallGenerator(CallLayout::Ios7, 7, maxGap);
}
