#include "api/databasecheck.h"

#include "api/recovererfactory_p.h"
#include "api/sqliterecovery.h"
#include "engine/databasereader.h"
#include "wal/walfile.h"

#include <QFile>
#include <QFileInfo>

#include <array>
#include <cmath>

namespace {

constexpr int SampleSize = 4096;
/// Random bytes of a sample of SampleSize have about 7.95 bits of entropy each, texts and tables
/// well under 7.
constexpr double RandomEntropy = 7.8;
/// Fewer bytes cannot reach that entropy even when they are random.
constexpr int SmallestSample = 2048;

double entropyPerByte(const QByteArray &bytes)
{
    std::array<int, 256> counts{};
    for (const char byte : bytes) {
        ++counts[uchar(byte)];
    }
    double entropy = 0;
    for (const int count : counts) {
        const double share = double(count) / bytes.size();
        entropy -= count == 0 ? 0 : share * std::log2(share);
    }
    return entropy;
}

DatabaseState checkFormat(QFile &file)
{
    DatabaseReader reader(&file);
    if (reader.open()) {
        return DatabaseState::Readable;
    }
    const bool rewound = file.seek(0);
    const QByteArray sample = rewound ? file.read(SampleSize) : QByteArray();
    if (sample.startsWith("SQLite format 3")) {
        return DatabaseState::Damaged;
    }
    const bool looksRandom =
        sample.size() >= SmallestSample && entropyPerByte(sample) > RandomEntropy;
    return looksRandom ? DatabaseState::LooksEncrypted : DatabaseState::NotADatabase;
}

EmptyReason reasonOf(FreedSpace space)
{
    switch (space) {
    case FreedSpace::None:
        return EmptyReason::NoFreeSpace;
    case FreedSpace::Erased:
        return EmptyReason::FreeSpaceErased;
    case FreedSpace::Filled:
        return EmptyReason::NothingLeft;
    case FreedSpace::Unknown:
        break;
    }
    return EmptyReason::Unknown;
}

} // namespace

DatabaseState checkDatabase(const QString &path)
{
    const QFileInfo info(path);
    if (!info.exists()) {
        return DatabaseState::Missing;
    }
    QFile file(path);
    if (!info.isFile() || !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return DatabaseState::Unreadable;
    }
    return checkFormat(file);
}

LogState checkLog(const QString &path)
{
    const QFileInfo info(path);
    if (!info.exists()) {
        return LogState::Missing;
    }
    if (!info.isFile() || !QFile(path).open(QIODevice::ReadOnly)) {
        return LogState::Unreadable;
    }
    if (info.size() == 0) { // as SQLite leaves it once all is in the database
        return LogState::NothingCommitted;
    }
    WalFile log(path);
    if (!log.load()) {
        return LogState::NotALog;
    }
    return log.transactionCount() > 0 ? LogState::Usable : LogState::NothingCommitted;
}

EmptyReason whyNothingFound(int type, const QString &path)
{
    const std::unique_ptr<SqliteDbFile> recoverer = makeRecoverer(type);
    if (!recoverer || !recoverer->open(path)) {
        return EmptyReason::Unknown;
    }
    recoverer->setBindingOnly();
    SqliteRecovery unused;
    recoverer->scanDeletedRecords(&unused);
    if (recoverer->boundTables() == 0) {
        return recoverer->refusedTables() > 0 ? EmptyReason::ColumnsMissing
                                              : EmptyReason::NoSuchTable;
    }
    return reasonOf(recoverer->freedSpace());
}
