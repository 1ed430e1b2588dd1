#include "cli/databasescan.h"

#include "api/sqliterecovery.h"
#include "api/walrecovery.h"
#include "cli/commandparts.h"
#include "cli/consoleprogress.h"

#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QFile>

namespace {

constexpr double MillisecondsPerSecond = 1000;

/// Runs `scan` and keeps what it took and what it gave.
template<typename Facade, typename Scan>
void complete(ScannedDatabase *database, const std::shared_ptr<Facade> &facade, Scan scan)
{
    QElapsedTimer timer;
    timer.start();
    scan();
    database->seconds = double(timer.elapsed()) / MillisecondsPerSecond;
    database->results = resultsOf(database->type, *facade);
    database->facade = facade;
}

} // namespace

void scanDatabase(ScannedDatabase *database, ConsoleProgress *progress)
{
    const auto facade = std::make_shared<SqliteRecovery>();
    progress->begin(double(database->size), typeName(database->type).searches);
    complete(database, facade,
             [&] { facade->scanRecoveryForType(database->type, database->path, progress); });
}

void scanLog(ScannedDatabase *database, const QString &path, ConsoleProgress *progress)
{
    const auto facade = std::make_shared<WalRecovery>();
    progress->begin(double(database->size), 1);
    complete(database, facade,
             [&] { facade->scanRecoveryForType(database->type, path, database->path, progress); });
}

bool hasVersions(ScanType type)
{
    WalRecovery recovery;
    return !resultsOf(type, recovery).kinds.isEmpty();
}

QByteArray hashOf(const QString &path)
{
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    return file.open(QIODevice::ReadOnly) && hash.addData(&file) ? hash.result() : QByteArray();
}
