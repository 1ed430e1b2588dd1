#include "benchmarks/benchfiles.h"

#include "api/sqliterecovery.h"
#include "recoverers/communication/callhistorymatchers.h"
#include "recoverers/communication/messagematchers.h"
#include "samples/bulksamples.h"
#include "samples/sampledatabase.h"

#include <QDir>
#include <QFile>
#include <QHash>

#include <cstdio>

namespace {

constexpr int smallMebibytes = 16;

using MakeBulk = bool (*)(SampleDatabase *, qint64, BulkSample *);

bool prepareFile(const QString &path, int mebibytes, MakeBulk make)
{
    if (QFile::exists(path)) {
        return true;
    }
    const QString unfinished = path + QLatin1String(".part");
    SampleOptions options;
    options.bulk = true;
    SampleDatabase db;
    BulkSample sample;
    std::printf("making %s\n", qPrintable(path));
    return db.create(unfinished, options) && make(&db, qint64(mebibytes) << 20, &sample)
           && db.close() && QFile::rename(unfinished, path);
}

qint64 countRows(const QString &path, const QString &table, const char *what)
{
    SampleDatabase db;
    const QString query = QStringLiteral("SELECT %1 FROM %2").arg(QLatin1String(what), table);
    return db.open(path) ? db.scalar(query).toLongLong() : -1;
}

qint64 insertedRows(const QString &path, const QString &table)
{
    SampleDatabase db;
    return db.open(path)
               ? db.scalar(QStringLiteral("SELECT seq FROM sqlite_sequence WHERE name=?"), {table})
                     .toLongLong()
               : -1;
}

template<typename Matcher, typename DbFile>
bool verifyCounts(const QString &path, const QString &table)
{
    DbFile file;
    if (!file.open(path) || !file.table(table)) {
        return false;
    }
    Matcher matcher(&file);
    file.carveTable(*file.table(table), matcher, 0, false);
    const qint64 live = countRows(path, table, "count(*)");
    const qint64 inserted = insertedRows(path, table);
    std::printf("%s: %lld rows live, %d matched; %lld rows deleted, %d deleted matches\n",
                qPrintable(table), live, matcher.liveMatches, inserted - live,
                matcher.deletedMatches);
    return live > 0 && matcher.liveMatches == live && matcher.liveCellTotal == live
           && matcher.deletedMatches > 0;
}

/// How the calls that a scan found relate to the calls that were inserted.
bool verifyCallRecords(const QString &path)
{
    SqliteRecovery recovery;
    recovery.scanRecoveryForType(ScanTypeCallHistory, path, nullptr);
    QMultiHash<qint64, const CallhistoryRecord *> found;
    for (unsigned i = 0; i < recovery.getCallhistoryCount(); ++i) {
        found.insert(recovery.getCallhistory(i)->date, recovery.getCallhistory(i));
    }
    const qint64 inserted = insertedRows(path, QStringLiteral("call"));
    CallGenerator generator = bulkCallGenerator();
    qint64 known = 0;
    for (qint64 i = 0; i < inserted; ++i) {
        const CallhistoryRecord call = expectedRecord(CallLayout::Ios7, generator.next());
        for (const CallhistoryRecord *record : found.values(call.date)) {
            known += record->address == call.address && record->duration == call.duration
                     && record->flags == call.flags;
        }
    }
    const double share = found.isEmpty() ? 0 : double(known) / found.size();
    std::printf("call: %d records recovered, %.2f%% equal a call that was inserted\n",
                int(found.size()), 100 * share);
    return share > 0.95; // the others are mixtures where rows met
}

/// Every message that a scan finds must be one that was inserted and is no more.
bool verifyMessageRecords(const QString &path)
{
    const qint64 live = countRows(path, QStringLiteral("message"), "count(*)");
    const qint64 deleted = insertedRows(path, QStringLiteral("message")) - live;
    SqliteRecovery recovery;
    recovery.scanRecoveryForType(ScanTypeMessages, path, nullptr);
    QHash<QString, int> found;
    for (unsigned i = 0; i < recovery.getMessageGroupCount(); ++i) {
        for (const MessageItem &message : recovery.getMessageGroup(i)->messages) {
            ++found[message.guid];
        }
    }
    SampleDatabase db;
    if (!db.open(path)) {
        return false;
    }
    int stillLive = 0;
    for (auto guid = found.cbegin(); guid != found.cend(); ++guid) {
        stillLive +=
            db.scalar(QStringLiteral("SELECT 1 FROM message WHERE guid=?"), {guid.key()}).isValid();
    }
    std::printf("message: %d of %lld deleted messages recovered, %d that are still live\n",
                found.size(), deleted, stillLive);
    return stillLive == 0 && found.size() <= deleted && found.size() > deleted * 9 / 10;
}

} // namespace

bool prepareFiles(const QString &folder, int mebibytes, BenchFiles *files)
{
    const QDir dir(folder);
    const auto path = [&dir](const char *kind, int size) {
        return dir.filePath(QStringLiteral("bench_%1_%2mib.db").arg(QLatin1String(kind)).arg(size));
    };
    *files = {path("calls", mebibytes), path("calls", smallMebibytes), path("messages", mebibytes),
              path("messages", smallMebibytes)};
    return dir.mkpath(QStringLiteral(".")) && prepareFile(files->calls, mebibytes, makeBulkCalls)
           && prepareFile(files->smallCalls, smallMebibytes, makeBulkCalls)
           && prepareFile(files->messages, mebibytes, makeBulkMessages)
           && prepareFile(files->smallMessages, smallMebibytes, makeBulkMessages);
}

void removeFiles(const BenchFiles &files)
{
    for (const QString &path :
         {files.calls, files.smallCalls, files.messages, files.smallMessages}) {
        QFile::remove(path);
    }
}

bool verifyFiles(const BenchFiles &files)
{
    return verifyCounts<CallHistoryDbFile::CallhistoryMatcher, CallHistoryDbFile>(
               files.calls, QStringLiteral("call"))
           && verifyCounts<SMSDbFile::Message6Matcher, SMSDbFile>(files.messages,
                                                                  QStringLiteral("message"))
           && verifyCallRecords(files.calls) && verifyMessageRecords(files.messages);
}

int carveCalls(const QString &path)
{
    CallHistoryDbFile file;
    if (!file.open(path)) {
        return -1;
    }
    CallHistoryDbFile::CallhistoryMatcher matcher(&file);
    file.carveTable(*file.table(QStringLiteral("call")), matcher, 0, false);
    return matcher.deletedMatches;
}

int carveMessages(const QString &path)
{
    SMSDbFile file;
    if (!file.open(path)) {
        return -1;
    }
    const TableSchema messages = *file.table(QStringLiteral("message"));
    SMSDbFile::Message6Matcher matcher(&file);
    file.carveTable(messages, matcher, 0, false);
    matcher.startSecondSearch();
    const TableSchema fixed = SMSDbFile::fixedTable(messages);
    file.carveTable(fixed, matcher, 0, false);
    matcher.finish();
    SMSDbFile::Handle6Matcher handles(&file);
    file.carveTable(*file.table(QStringLiteral("handle")), handles, 0, false);
    handles.finish();
    return matcher.deletedMatches;
}

int scanMessageFile(const QString &path)
{
    SqliteRecovery recovery;
    recovery.scanRecoveryForType(ScanTypeMessages, path, nullptr);
    int messages = 0;
    for (unsigned i = 0; i < recovery.getMessageGroupCount(); ++i) {
        messages += recovery.getMessageGroup(i)->messages.size();
    }
    return messages;
}
