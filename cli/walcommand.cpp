#include "cli/walcommand.h"

#include "cli/commandparts.h"
#include "cli/consoleprogress.h"
#include "cli/databasescan.h"
#include "cli/messages.h"

namespace {

int scanLogFile(const ScanRequest &request, Report report)
{
    const QString path = request.files.first();
    ScannedDatabase log = requestedFile(request, request.files.last());
    log.isLog = true;
    const QString databaseProblem = databaseObstacle(path);
    const QString problem = databaseProblem.isNull() ? logObstacle(log.path) : databaseProblem;
    if (!problem.isNull()) {
        return failed(problem);
    }
    Output output;
    const int opened = output.open(request);
    if (opened != ExitDone) {
        return opened;
    }
    if (wantsHashes(request)) {
        log.sha256 = hashOf(log.path);
    }
    {
        ConsoleProgress progress(progressTerminal(), double(log.size));
        scanLog(&log, path, &progress);
    }
    report.databases.append(log);
    return finish(&report, &output);
}

} // namespace

int runWal(const ScanOptions &options)
{
    ScanRequest request;
    const int checked = checkOptions("wal", options, 2, &request);
    if (checked != ExitDone) {
        return checked;
    }
    if (!hasVersions(request.type->type)) {
        return usageError(QStringLiteral("wal knows contacts, messages, calendar and bookmarks, "
                                         "not %1")
                              .arg(QLatin1String(request.type->name)));
    }
    if (request.files.size() == 1) {
        request.files.append(request.files.first() + QStringLiteral("-wal"));
    }
    return scanLogFile(request, newReport(options, request.files.first()));
}
