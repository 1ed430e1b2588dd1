#include "samples/callsamples.h"

#include "samples/callgenerator.h"
#include "samples/sampledatabase.h"

#include <QRandomGenerator>
#include <QStringList>

namespace {

constexpr int callLimit = 100;

QString columnList(CallLayout layout)
{
    QStringList columns;
    for (const CallColumn &column : callColumns(layout)) {
        columns << QLatin1String(column.name) + QLatin1Char(' ') + QLatin1String(column.type);
    }
    return columns.join(QLatin1String(", "));
}

QString placeholders(int count)
{
    return QStringList(QVector<QString>(count, QStringLiteral("?")).toList())
        .join(QLatin1Char(','));
}

/// The first column is the row identifier in every layout.
QString rowidCondition(CallLayout layout)
{
    return QStringLiteral(" WHERE %1=?").arg(QLatin1String(callColumns(layout).first().name));
}

bool createTableCallFile(SampleDatabase *db, CallLayout layout)
{
    static const int clientVersions[] = {5, 7, 11, 13};
    const QString tables =
        QStringLiteral("CREATE TABLE _SqliteDatabaseProperties (key TEXT, value TEXT, UNIQUE(key));"
                       "CREATE TABLE call (%1);"
                       "CREATE INDEX date_index on call(date);"
                       "INSERT INTO _SqliteDatabaseProperties VALUES ('call_history_limit', '100');"
                       "INSERT INTO _SqliteDatabaseProperties VALUES ('_ClientVersion', '%2');");
    const QString traffic = QStringLiteral(
        "CREATE TABLE data (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, pdp_ip INTEGER, "
        "bytes_rcvd REAL, bytes_sent REAL, bytes_last_rcvd REAL, bytes_last_sent REAL, "
        "bytes_lifetime_rcvd REAL, bytes_lifetime_sent REAL);"
        "INSERT INTO data VALUES (1, 0, 5301248.0, 884736.0, 0.0, 0.0, 5301248.0, 884736.0);");
    const bool countsTraffic = layout == CallLayout::Ios4 || layout == CallLayout::Ios6;
    return db->exec(tables.arg(columnList(layout)).arg(clientVersions[int(layout)]))
           && (!countsTraffic || db->exec(traffic));
}

QString storeIndexes(CallLayout layout)
{
    switch (layout) {
    case CallLayout::Ios11Store:
        return QStringLiteral("CREATE INDEX Z_CallRecord_date ON ZCALLRECORD (ZDATE);");
    case CallLayout::Ios17Store:
        return QStringLiteral(
            "CREATE INDEX Z_CallRecord_date ON ZCALLRECORD (ZDATE);"
            "CREATE INDEX Z_CallRecord_localParticipantUUID ON ZCALLRECORD "
            "(ZLOCALPARTICIPANTUUID);"
            "CREATE UNIQUE INDEX Z_CallRecord_UNIQUE_unique_id ON ZCALLRECORD (ZUNIQUE_ID);");
    default:
        return QStringLiteral("CREATE INDEX ZCALLRECORD_ZDATE_INDEX ON ZCALLRECORD (ZDATE);");
    }
}

bool createHandleTables(SampleDatabase *db)
{
    return db->exec(QStringLiteral(
        "CREATE TABLE Z_2REMOTEPARTICIPANTHANDLES (Z_2REMOTEPARTICIPANTCALLS INTEGER, "
        "Z_3REMOTEPARTICIPANTHANDLES INTEGER, "
        "PRIMARY KEY (Z_2REMOTEPARTICIPANTCALLS, Z_3REMOTEPARTICIPANTHANDLES));"
        "CREATE TABLE ZHANDLE (Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER, "
        "ZTYPE INTEGER, ZNORMALIZEDVALUE VARCHAR, ZVALUE VARCHAR);"
        "CREATE INDEX Z_Handle_value ON ZHANDLE (ZVALUE);"
        "INSERT INTO Z_PRIMARYKEY VALUES (3, 'Handle', 0, 0);"));
}

bool createStoreFile(SampleDatabase *db, CallLayout layout)
{
    const QString tables = QStringLiteral(
        "CREATE TABLE ZCALLDBPROPERTIES (Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER, "
        "ZTIMER_ALL FLOAT, ZTIMER_INCOMING FLOAT, ZTIMER_LAST FLOAT, ZTIMER_LIFETIME FLOAT, "
        "ZTIMER_OUTGOING FLOAT);"
        "CREATE TABLE ZCALLRECORD (%1);"
        "CREATE TABLE Z_PRIMARYKEY (Z_ENT INTEGER PRIMARY KEY, Z_NAME VARCHAR, Z_SUPER INTEGER, "
        "Z_MAX INTEGER);"
        "CREATE TABLE Z_METADATA (Z_VERSION INTEGER PRIMARY KEY, Z_UUID VARCHAR(255), "
        "Z_PLIST BLOB);"
        "CREATE TABLE Z_MODELCACHE (Z_CONTENT BLOB);"
        "INSERT INTO ZCALLDBPROPERTIES VALUES (1, 1, 1, 0.0, 0.0, 0.0, 0.0, 0.0);"
        "INSERT INTO Z_PRIMARYKEY VALUES (1, 'CallDBProperties', 0, 1);"
        "INSERT INTO Z_PRIMARYKEY VALUES (2, 'CallRecord', 0, 0);"
        "INSERT INTO Z_METADATA VALUES (1, '6F1D1A52-0B7C-4D2B-9E59-0C6E3F1B7A11', x'62706C69');");
    return db->exec(tables.arg(columnList(layout))) && db->exec(storeIndexes(layout))
           && (layout != CallLayout::Ios17Store || createHandleTables(db));
}

bool insertHandle(SampleDatabase *db, const SampleCall &call)
{
    const int type = call.address.contains(QLatin1Char('@')) ? 3 : 2;
    return db->run(QStringLiteral("INSERT INTO ZHANDLE (Z_ENT, Z_OPT, ZTYPE, ZNORMALIZEDVALUE, "
                                  "ZVALUE) VALUES (3, 1, ?, ?, ?)"),
                   {type, call.address, call.address})
           && db->run(QStringLiteral("INSERT INTO Z_2REMOTEPARTICIPANTHANDLES VALUES (?, ?)"),
                      {call.rowid, db->lastRowid()});
}

bool noteRowid(SampleDatabase *db, qint64 rowid)
{
    return db->run(QStringLiteral("UPDATE Z_PRIMARYKEY SET Z_MAX=max(Z_MAX, ?) WHERE Z_ENT=2"),
                   {rowid});
}

/// Lives one plan through in the database, keeping the truth up to date.
class PlanRunner
{
public:
    PlanRunner(SampleDatabase *db, const CallPlan &plan, CallSample *sample)
        : m_db(db)
        , m_plan(plan)
        , m_sample(sample)
        , m_generator(plan.layout, plan.seed)
        , m_random(plan.seed ^ 0x5eed)
    {
    }

    bool run();

private:
    bool insert(int count);
    bool removeAt(int index);
    bool removeScattered(int percent);
    bool removeRange();
    bool removeAll();
    bool removeOldestWhileInserting();
    bool update(int percent);
    bool rewrite(SampleCall *call);

    SampleDatabase *m_db;
    CallPlan m_plan;
    CallSample *m_sample;
    CallGenerator m_generator;
    QRandomGenerator m_random;
};

bool PlanRunner::run()
{
    switch (m_plan.deletion) {
    case Deletion::Scattered:
        return insert(m_plan.calls) && removeScattered(30);
    case Deletion::Contiguous:
        return insert(m_plan.calls) && removeRange();
    case Deletion::WholeTable:
        return insert(m_plan.calls) && removeAll();
    case Deletion::ThenInserts:
        return insert(m_plan.calls) && removeScattered(30) && insert(m_plan.calls / 12);
    case Deletion::OldestBeyondLimit:
        return removeOldestWhileInserting();
    case Deletion::Updated:
        return insert(m_plan.calls) && update(25) && removeScattered(20);
    }
    return false;
}

bool PlanRunner::insert(int count)
{
    for (int i = 0; i < count; ++i) {
        SampleCall call = m_generator.next();
        if (!insertCall(m_db, m_plan.layout, &call)) {
            return false;
        }
        m_sample->live << call;
    }
    return true;
}

bool PlanRunner::removeAt(int index)
{
    const SampleCall call = m_sample->live.takeAt(index);
    m_sample->deleted << call;
    return deleteCall(m_db, m_plan.layout, call);
}

bool PlanRunner::removeScattered(int percent)
{
    for (int left = m_sample->live.size() * percent / 100; left > 0; --left) {
        if (!removeAt(m_random.bounded(m_sample->live.size()))) {
            return false;
        }
    }
    return true;
}

bool PlanRunner::removeRange()
{
    const int first = m_sample->live.size() / 3;
    for (int left = m_sample->live.size() / 3; left > 0; --left) {
        if (!removeAt(first)) {
            return false;
        }
    }
    return true;
}

bool PlanRunner::removeAll()
{
    m_sample->deleted << m_sample->live;
    m_sample->live.clear();
    return m_db->exec(QStringLiteral("DELETE FROM ") + callTable(m_plan.layout));
}

bool PlanRunner::removeOldestWhileInserting()
{
    for (int i = 0; i < m_plan.calls; ++i) {
        if (!insert(1) || (m_sample->live.size() > callLimit && !removeAt(0))) {
            return false;
        }
    }
    return true;
}

bool PlanRunner::update(int percent)
{
    for (SampleCall &call : m_sample->live) {
        if (m_random.bounded(100) < percent && !rewrite(&call)) {
            return false;
        }
    }
    return true;
}

/// A contact's name becomes known, a call is marked as read, or another device adds its share.
bool PlanRunner::rewrite(SampleCall *call)
{
    m_sample->formerVersions << *call;
    ++call->changes;
    switch (m_random.bounded(3)) {
    case 0:
        call->name = QStringLiteral("Alexandra Fitzgerald");
        break;
    case 1:
        call->read = !call->read;
        break;
    default:
        call->duration += 17 + m_random.bounded(3000);
    }
    return updateCall(m_db, m_plan.layout, *call);
}

} // namespace

QVector<Deletion> allDeletions()
{
    return {Deletion::Scattered,   Deletion::Contiguous,        Deletion::WholeTable,
            Deletion::ThenInserts, Deletion::OldestBeyondLimit, Deletion::Updated};
}

QString deletionName(Deletion deletion)
{
    static const char *const names[] = {"scattered",    "contiguous", "whole table",
                                        "then inserts", "oldest out", "updated"};
    return QString::fromLatin1(names[int(deletion)]);
}

bool createCallTables(SampleDatabase *db, CallLayout layout)
{
    return isStore(layout) ? createStoreFile(db, layout) : createTableCallFile(db, layout);
}

bool insertCall(SampleDatabase *db, CallLayout layout, SampleCall *call)
{
    QVariantList row = callRow(layout, *call);
    row.first() = QVariant();
    const QString insert = QStringLiteral("INSERT INTO %1 VALUES (%2)");
    if (!db->run(insert.arg(callTable(layout), placeholders(row.size())), row)) {
        return false;
    }
    call->rowid = db->lastRowid();
    return !isStore(layout)
           || (noteRowid(db, call->rowid)
               && (layout != CallLayout::Ios17Store || insertHandle(db, *call)));
}

bool deleteCall(SampleDatabase *db, CallLayout layout, const SampleCall &call)
{
    const QString handles =
        QStringLiteral("DELETE FROM Z_2REMOTEPARTICIPANTHANDLES WHERE Z_2REMOTEPARTICIPANTCALLS=?");
    return db->run(QStringLiteral("DELETE FROM ") + callTable(layout) + rowidCondition(layout),
                   {call.rowid})
           && (layout != CallLayout::Ios17Store || db->run(handles, {call.rowid}));
}

bool updateCall(SampleDatabase *db, CallLayout layout, const SampleCall &call)
{
    QStringList assignments;
    for (const CallColumn &column : callColumns(layout).mid(1)) {
        assignments << QLatin1String(column.name) + QLatin1String("=?");
    }
    const QString update = QStringLiteral("UPDATE %1 SET %2")
                               .arg(callTable(layout), assignments.join(QLatin1Char(',')));
    QVariantList values = callRow(layout, call).mid(1);
    values << call.rowid;
    return db->run(update + rowidCondition(layout), values);
}

bool makeCallSample(SampleDatabase *db, const CallPlan &plan, CallSample *sample)
{
    *sample = CallSample();
    sample->layout = plan.layout;
    if (!createCallTables(db, plan.layout) || !PlanRunner(db, plan, sample).run()) {
        return false;
    }
    const QString root = QStringLiteral("SELECT rootpage FROM sqlite_master WHERE name=?");
    sample->rootPage = db->scalar(root, {callTable(plan.layout)}).toUInt();
    return sample->rootPage > 0;
}

QVector<CallhistoryRecord> expectedRecords(CallLayout layout, const QVector<SampleCall> &calls)
{
    QVector<CallhistoryRecord> records;
    for (const SampleCall &call : calls) {
        records << expectedRecord(layout, call);
    }
    return records;
}
