#include "samples/bulksamples.h"

#include "samples/callsamples.h"
#include "samples/messagelayout.h"
#include "samples/messagetext.h"
#include "samples/sampledatabase.h"
#include "samples/samplerandom.h"

namespace {

const char partyTables[] =
    "CREATE TABLE handle (ROWID INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, id TEXT NOT NULL, "
    "country TEXT, service TEXT NOT NULL, uncanonicalized_id TEXT, person_centric_id TEXT, "
    "UNIQUE (id, service));"
    "CREATE TABLE chat (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, guid TEXT UNIQUE NOT NULL, "
    "style INTEGER, state INTEGER, account_id TEXT, properties BLOB, chat_identifier TEXT, "
    "service_name TEXT, room_name TEXT);"
    "CREATE TABLE chat_handle_join (chat_id INTEGER, handle_id INTEGER, "
    "UNIQUE (chat_id, handle_id));"
    "CREATE TABLE chat_message_join (chat_id INTEGER, message_id INTEGER, "
    "message_date INTEGER DEFAULT 0, PRIMARY KEY (chat_id, message_id));";

const char messageIndexes[] =
    "CREATE INDEX message_idx_date ON message (date);"
    "CREATE INDEX message_idx_handle ON message (handle_id, date);"
    "CREATE INDEX message_idx_is_read ON message (is_read, is_from_me, is_finished);"
    "CREATE INDEX message_idx_failed ON message (is_finished, is_from_me, error);"
    "CREATE INDEX chat_message_join_idx_message_id_only ON chat_message_join (message_id);";

constexpr int handleCount = 60;

/// Nanoseconds since 2001.
constexpr qint64 firstMessageDate = 568000000000000000;

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
    const QString text = plainSentence(random);
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
    return db->exec(QLatin1String(partyTables))
           && db->exec(QStringLiteral("CREATE TABLE message (%1);")
                           .arg(messageColumnList(MessageLayout::Ios12)))
           && db->exec(QLatin1String(messageIndexes)) && insertParties(db)
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
