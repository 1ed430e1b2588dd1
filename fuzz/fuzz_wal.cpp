// Compares the versions in a log. The first byte says of which kind of database, and in its upper
// half whether the database is carved instead with the log beside it; then come the database and,
// from the first bytes on that begin as a log does, the log.

#include "api/databasecheck.h"
#include "api/sqliterecovery.h"
#include "api/walrecovery.h"
#include "fuzz/fuzzsupport.h"
#include "fuzz/pagemutator.h"
#include "fuzz/resultchecks.h"
#include "wal/walfile.h"

namespace {

void checkLogFile(const QString &path, qint64 bytes)
{
    WalFile log(path);
    const bool isLoaded = log.load();
    require(isLoaded || checkLog(path) != LogState::Usable, "a log that is usable can be read");
    if (!isLoaded) {
        require(log.transactionCount() == 0, "what is no log has no transactions");
        return;
    }
    require(log.frames().size() <= bytes / 24, "a frame has a header");
    int frames = 0;
    for (int i = 0; i < log.transactionCount(); ++i) {
        const QVector<quint32> pages = log.pagesOf(i);
        require(!pages.isEmpty(), "a transaction has pages");
        for (const quint32 pageNo : pages) {
            const qint64 place = log.findFrame(quint32(i), pageNo);
            require(place > 0 && place <= bytes, "a page that was written is in the log");
        }
        frames += pages.size();
    }
    require(frames <= log.frames().size(), "a page is written by a frame");
}

} // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t maxSize, unsigned seed)
{
    return mutatePages(data, size, maxSize, seed, 1, true);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static ScratchFile database("database");
    static ScratchFile log("database-wal");
    if (size == 0) {
        return 0;
    }
    const size_t split = 1 + findLog(data + 1, size - 1);
    database.write(reinterpret_cast<const char *>(data) + 1, split - 1);
    log.write(reinterpret_cast<const char *>(data) + split, size - split);
    const int type = data[0] & 0x0F;
    if (data[0] >> 4 == 1) {
        SqliteRecovery recovery;
        recovery.scanRecoveryForType(type, database.path(), nullptr);
        checkResults(recovery, qint64(size));
        releaseNotes(recovery);
        return 0;
    }
    checkLogFile(log.path(), qint64(size - split));
    WalRecovery recovery;
    recovery.scanRecoveryForType(type, database.path(), log.path(), nullptr);
    checkResults(recovery, qint64(size));
    return 0;
}
