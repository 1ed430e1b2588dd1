#include "cli/walcommand.h"

#include "api/databasecheck.h"
#include "api/walrecovery.h"
#include "cli/commandparts.h"
#include "cli/consoleprogress.h"
#include "cli/messages.h"
#include "cli/outputfile.h"
#include "cli/recordkind.h"

#include <unistd.h>

namespace {

/// What keeps a scan from reading the log; a null string when nothing does.
QString logObstacle(const QString &path)
{
    switch (checkLog(path)) {
    case LogState::Usable:
    case LogState::NothingCommitted: // sound, with nothing to compare
        return QString();
    case LogState::Missing:
        return QStringLiteral("no such log: %1").arg(path);
    case LogState::Unreadable:
        return QStringLiteral("cannot read the log: %1").arg(path);
    case LogState::NotALog:
        return QStringLiteral("not a write-ahead log: %1").arg(path);
    }
    return QStringLiteral("cannot scan the log: %1").arg(path);
}

int scanLog(const ScanRequest &request)
{
    const QString database = request.files.first();
    const QString log = request.files.last();
    const QString databaseProblem = databaseObstacle(database);
    const QString problem = databaseProblem.isNull() ? logObstacle(log) : databaseProblem;
    if (!problem.isNull()) {
        return failed(problem);
    }
    OutputFile output;
    const int opened = openOutput(request, &output);
    if (opened != ExitDone) {
        return opened;
    }
    constexpr int searches = 1;
    WalRecovery recovery;
    ConsoleProgress progress(isatty(STDERR_FILENO) != 0 ? stderr : nullptr, searches);
    recovery.scanRecoveryForType(request.type->type, database, log, &progress);
    return printResults(resultsOf(request.type->type, recovery), request, output);
}

/// True when the versions of such a database can be compared.
bool hasCollector(ScanType type)
{
    WalRecovery recovery;
    return !resultsOf(type, recovery).kinds.isEmpty();
}

} // namespace

int runWal(const ScanOptions &options)
{
    ScanRequest request;
    const int checked = checkOptions("wal", options, 2, &request);
    if (checked != ExitDone) {
        return checked;
    }
    if (!hasCollector(request.type->type)) {
        return usageError(QStringLiteral("wal knows contacts, messages, calendar and bookmarks, "
                                         "not %1")
                              .arg(QLatin1String(request.type->name)));
    }
    if (request.files.size() == 1) {
        request.files.append(request.files.first() + QStringLiteral("-wal"));
    }
    return scanLog(request);
}
