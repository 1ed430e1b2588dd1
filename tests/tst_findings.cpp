// Databases that once cost too much: few bytes that stand for far more, or for far too many steps.
// Each is searched as every kind of database, and compared in a log as every kind.

#include "api/sqliterecovery.h"
#include "api/walrecovery.h"
#include "fuzz/resultchecks.h"
#include "samples/calendarsamples.h"
#include "samples/contactsamples.h"
#include "samples/messagesamples.h"
#include "samples/safarisamples.h"
#include "samples/sampledatabase.h"
#include "samples/whatsappsamples.h"
#include "tests/support/testfiles.h"

#include <QTemporaryDir>
#include <QtTest>

#include <ctime>

namespace {

/// Characters of records that a byte of a file may stand for.
constexpr qint64 MostPerByte = 16;
constexpr qint64 SmallestBound = 16 * 1024;
/// How often a file may be read.
constexpr qint64 MostReads = 10;
/// Of processor time, which sanitizers multiply: most scans of these take some hundredths.
constexpr int MostSeconds = 20;

struct Finding
{
    const char *name;
    bool (*makeSample)(SampleDatabase *db);
    const char *twist; ///< makes the hostile database of it
    const char *erase; ///< what makes rows to find
};

bool makeContacts(SampleDatabase *db)
{
    ContactSample sample;
    return makeContactSample(db, ContactPlan(), &sample);
}

template<MessageLayout layout> bool makeMessages(SampleDatabase *db)
{
    MessageSample sample;
    return makeMessageSample(db, {layout, MessageDeletion::SingleMessages, 400, 1}, &sample);
}

bool makeCalendar(SampleDatabase *db)
{
    CalendarSample sample;
    return makeCalendarSample(db, CalendarPlan(), &sample);
}

/// Each table of its own gives out the same identifier.
bool makeHistoryOfTables(SampleDatabase *db)
{
    HistorySample sample;
    bool ok = makeHistorySample(db, HistoryPlan(), &sample) && db->exec(QStringLiteral("begin"));
    const QString table =
        db->scalar(QStringLiteral("select sql from sqlite_master where name = 'history_items'"))
            .toString();
    const QString fill =
        QStringLiteral("insert into %1 (id, url, visit_count, daily_visit_counts, "
                       "should_recompute_derived_visit_counts, "
                       "visit_count_score) values (1, '%2', 1, x'64000000', 0, 100)");
    for (int i = 0; i < 200 && ok; ++i) {
        const QString name = QStringLiteral("other_%1").arg(i);
        ok = db->exec(QString(table).replace(QLatin1String("history_items"), name))
             && db->exec(fill.arg(name, QStringLiteral("http://example.com/%1").arg(i)));
    }
    return ok && db->exec(QStringLiteral("commit"));
}

bool makeWhatsapp(SampleDatabase *db)
{
    WhatsappSample sample;
    return makeWhatsappSample(db, WhatsappPlan(), &sample);
}

bool makeConversation(SampleDatabase *db)
{
    return db->exec(QStringLiteral(
        "create table Chat_0 (CreateTime INTEGER DEFAULT 0, Des INTEGER, ImgStatus INTEGER DEFAULT "
        "0, MesLocalID INTEGER PRIMARY KEY AUTOINCREMENT, Message TEXT, MesSvrID INTEGER DEFAULT "
        "0, Status INTEGER DEFAULT 0, TableVer INTEGER DEFAULT 1, Type INTEGER)"));
}

// hex(zeroblob(100000)) is a text of 200,000 bytes.
constexpr Finding Findings[] = {
    {"values with one long label", makeContacts,
     "update ABMultiValueLabel set value = hex(zeroblob(100000)) where rowid = 1;"
     "update ABMultiValue set label = 1;",
     "delete from ABMultiValue"},
    {"messages of a long handle", makeMessages<MessageLayout::Ios12>,
     "update handle set id = hex(zeroblob(100000)) where rowid = 1;"
     "update message set handle_id = 1;",
     "delete from message"},
    {"messages of a long handle that is gone", makeMessages<MessageLayout::Ios12>,
     "update handle set id = hex(zeroblob(100000)) where rowid = 1;"
     "update message set handle_id = 1;",
     "delete from message; delete from handle"},
    {"room with a long member many times", makeMessages<MessageLayout::Ios12>,
     "update handle set id = hex(zeroblob(100000)) where rowid = 1;"
     "update chat set room_name = 'room';"
     "update message set cache_roomnames = 'room';"
     "drop table chat_handle_join;"
     "create table chat_handle_join (chat_id integer, handle_id integer);"
     "with recursive n(i) as (values(1) union all select i + 1 from n where i < 20000)"
     "insert into chat_handle_join select 1, 1 from n",
     "delete from message"},
    {"messages of a large group", makeMessages<MessageLayout::Ios5>,
     "update message set group_id = 1, is_madrid = 0;"
     "with recursive n(i) as (values(1) union all select i + 1 from n where i < 4000)"
     "insert into message (address, date, text, flags, group_id) "
     "select '+15550100', 1300000000 + i, 'Text', 2, 1 from n;"
     "with recursive n(i) as (values(1) union all select i + 1 from n where i < 20000)"
     "insert into group_member (group_id, address) select 1, '+1555' || (1000000 + i) from n",
     "delete from message"},
    {"reminders of a list with a long name", makeCalendar,
     "update CalendarItem set calendar_id = (select rowid from Calendar where title = 'Shopping');"
     "update Calendar set title = hex(zeroblob(100000)) where title = 'Shopping'",
     "delete from CalendarItem"},
    {"events at a long place", makeCalendar,
     "update Location set title = hex(zeroblob(100000)) where rowid = "
     "(select min(rowid) from Location);"
     "update CalendarItem set location_id = (select min(rowid) from Location)",
     "delete from CalendarItem"},
    {"messages of one long media item", makeWhatsapp,
     "update ZWAMEDIAITEM set ZTITLE = hex(zeroblob(100000)) where Z_PK = 1;"
     "update ZWAMESSAGE set ZMEDIAITEM = 1",
     "delete from ZWAMESSAGE"},
    {"messages of one long contact", makeWhatsapp,
     "update ZWAMEDIAITEM set ZVCARDSTRING = hex(zeroblob(100000)) where Z_PK = 1;"
     "update ZWAMESSAGE set ZMEDIAITEM = 1, ZMESSAGETYPE = 4",
     "delete from ZWAMESSAGE"},
    {"messages of a member with a long name", makeWhatsapp,
     "update ZWAMESSAGE set ZGROUPMEMBER = (select max(Z_PK) from ZWAGROUPMEMBER);"
     "update ZWAGROUPMEMBER set ZCONTACTNAME = hex(zeroblob(100000)) where Z_PK = "
     "(select max(Z_PK) from ZWAGROUPMEMBER)",
     "delete from ZWAMESSAGE"},
    {"chats on the same pages", makeConversation,
     "insert into Chat_0 (CreateTime, Message, Des, Type) "
     "with recursive n(i) as (values(1) union all select i + 1 from n where i < 15000)"
     "select 1500000000 + i, 'm' || i, 1, 1 from n;"
     "pragma writable_schema = on;"
     "with recursive n(i) as (values(1) union all select i + 1 from n where i < 8000)"
     "insert into sqlite_master select 'table', 'Chat_' || i, 'Chat_' || i, rootpage, "
     "replace(sql, 'Chat_0', 'Chat_' || i) from n, sqlite_master where name = 'Chat_0'",
     "delete from Chat_0 where MesLocalID % 100 = 1"},
    {"pages of a long title that share an identifier", makeHistoryOfTables,
     "update history_visits set title = hex(zeroblob(400000)), history_item = 1 where id = (select "
     "max(id) from history_visits)",
     "delete from history_visits; delete from history_items"},
};

} // namespace

class TestFindings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void carved_data() { addRows(); }
    void carved();
    void logs_data() { addRows(); }
    void logs();

private:
    static void addRows();
};

namespace {

/// What the program has read since it started; 0 where the system does not tell.
qint64 bytesRead()
{
    const QByteArray counters = readFile(QStringLiteral("/proc/self/io"));
    return counters.mid(counters.indexOf("rchar: ") + 7).split('\n').first().toLongLong();
}

/// Scans the files as every type, and adds to `found` how much that gives. Returns what is wrong;
/// nothing when all scans keep to their bounds.
template<typename Facade, typename Scan>
QString checkScans(qint64 fileSize, Scan scan, qint64 *found)
{
    for (int type = ScanTypeContacts; type <= ScanTypeWeChat; ++type) {
        const std::clock_t start = std::clock();
        const qint64 readBefore = bytesRead();
        Facade facade;
        scan(&facade, type);
        const double seconds = double(std::clock() - start) / CLOCKS_PER_SEC;
        const qint64 read = bytesRead() - readBefore;
        const qint64 size = checkResults(facade, fileSize);
        *found += size;
        if (size > SmallestBound + MostPerByte * fileSize || seconds > MostSeconds
            || read > MostReads * fileSize) {
            return QStringLiteral("type %1, %2 bytes: read %3, found %4, in %5 s")
                .arg(type)
                .arg(fileSize)
                .arg(read)
                .arg(size)
                .arg(seconds);
        }
    }
    return QString();
}

} // namespace

void TestFindings::addRows()
{
    QTest::addColumn<int>("finding");
    for (int i = 0; i < int(std::size(Findings)); ++i) {
        QTest::newRow(Findings[i].name) << i;
    }
}

void TestFindings::carved()
{
    QFETCH(int, finding);
    const Finding &tested = Findings[finding];
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("hostile.db"));
    SampleDatabase db;
    QVERIFY2(db.create(path) && tested.makeSample(&db) && db.exec(QLatin1String(tested.twist))
                 && db.exec(QLatin1String(tested.erase)) && db.close(),
             qPrintable(db.errorText()));
    qint64 found = 0;
    const auto scan = [&path](SqliteRecovery *recovery, int type) {
        recovery->scanRecoveryForType(type, path, nullptr);
    };
    const QString fault = checkScans<SqliteRecovery>(QFileInfo(path).size(), scan, &found);
    QVERIFY2(fault.isEmpty() && found > 0, qPrintable(fault));
}

void TestFindings::logs()
{
    QFETCH(int, finding);
    const Finding &tested = Findings[finding];
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("hostile.db"));
    SampleDatabase db;
    QVERIFY2(db.create(dir.filePath(QStringLiteral("origin.db"))) && tested.makeSample(&db)
                 && db.exec(QLatin1String(tested.twist)) && db.startLog()
                 && db.exec(QLatin1String(tested.erase)) && db.copyWithLog(path),
             qPrintable(db.errorText()));
    const QString log = path + QStringLiteral("-wal");
    qint64 found = 0;
    const auto scan = [&](WalRecovery *recovery, int type) {
        recovery->scanRecoveryForType(type, path, log, nullptr);
    };
    const qint64 size = QFileInfo(path).size() + QFileInfo(log).size();
    const QString fault = checkScans<WalRecovery>(size, scan, &found);
    QVERIFY2(fault.isEmpty(), qPrintable(fault));
}

QTEST_APPLESS_MAIN(TestFindings)
#include "tst_findings.moc"
