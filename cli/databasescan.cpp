#include "cli/databasescan.h"

#include "api/databasecheck.h"
#include "api/sqliterecovery.h"
#include "api/walrecovery.h"
#include "cli/commandparts.h"
#include "cli/consoleprogress.h"
#include "cli/interrupt.h"

#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>

#include <algorithm>

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

bool isEmpty(const ScanResults &results)
{
    return std::all_of(results.kinds.cbegin(), results.kinds.cend(),
                       [](const RecordKind &kind) { return kind.count() == 0; });
}

} // namespace

void scanDatabase(ScannedDatabase *database, ConsoleProgress *progress)
{
    const auto facade = std::make_shared<SqliteRecovery>();
    progress->begin(double(database->size), typeName(database->type).searches);
    complete(database, facade,
             [&] { facade->scanRecoveryForType(database->type, database->path, progress); });
    // A scan that was stopped may have been about to find something.
    if (isEmpty(database->results) && !isInterrupted()) {
        database->remark = emptyRemark(database->type, database->path);
    }
}

void scanLog(ScannedDatabase *database, const QString &path, ConsoleProgress *progress)
{
    const auto facade = std::make_shared<WalRecovery>();
    progress->begin(double(database->size), 1);
    complete(database, facade,
             [&] { facade->scanRecoveryForType(database->type, path, database->path, progress); });
}

QString emptyRemark(ScanType type, const QString &path)
{
    switch (whyNothingFound(type, path)) {
    case EmptyReason::NoSuchTable:
        if (hasVersions(type) && checkLog(path + QStringLiteral("-wal")) == LogState::Usable) {
            return QStringLiteral("no table of this kind is in the file itself; compare the "
                                  "versions in its log with \"sqliterecovery wal\"");
        }
        return QStringLiteral("no table of this kind is in the file; it may be of another type");
    case EmptyReason::ColumnsMissing:
        return QStringLiteral("the layout of its tables is not known to this version");
    case EmptyReason::NoFreeSpace:
        return QStringLiteral("the file has no freed space (nothing deleted, or vacuumed since); "
                              "try an older backup");
    case EmptyReason::FreeSpaceErased:
        return QStringLiteral("all freed space was erased with zeros; try an older backup");
    case EmptyReason::NothingLeft:
        return QStringLiteral("freed space holds no row of this kind that can be read; try an "
                              "older backup");
    case EmptyReason::Unknown:
        break;
    }
    return QString();
}

QString roomWarning(const QString &path)
{
    const qint64 log = QFileInfo(path + QStringLiteral("-wal")).size();
    if (log == 0) {
        return QString();
    }
    const QStorageInfo storage(QDir::tempPath());
    if (!storage.isValid() || storage.bytesAvailable() >= QFileInfo(path).size() + log) {
        return QString();
    }
    return QStringLiteral("%1 has no room for a copy of the database with its log, so that records "
                          "that still exist may come as deleted; set TMPDIR to a folder with room: "
                          "%2")
        .arg(QDir::tempPath(), path);
}

bool hasVersions(ScanType type)
{
    WalRecovery recovery;
    return !resultsOf(type, recovery).kinds.isEmpty();
}

QByteArray hashOf(const QString &path)
{
    constexpr qint64 step = 1024 * 1024;
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly)) {
        return QByteArray();
    }
    QByteArray bytes;
    do { // a disk that cannot be read gives no bytes, though the file has no end there
        bytes = file.read(step);
        hash.addData(bytes);
    } while (!bytes.isEmpty() && !isInterrupted());
    const bool isWhole = file.atEnd() && file.error() == QFileDevice::NoError;
    return isWhole ? hash.result() : QByteArray();
}
