#include "cli/scancommand.h"

#include "cli/commandparts.h"
#include "cli/consoleprogress.h"
#include "cli/databasescan.h"
#include "cli/messages.h"

#include <QFileInfo>

namespace {

int scanFile(const ScanRequest &request, Report report)
{
    ScannedDatabase database = requestedFile(request, request.files.first());
    const QString problem = databaseObstacle(database.path);
    if (!problem.isNull()) {
        return failed(problem);
    }
    Output output;
    const int opened = output.open(request);
    if (opened != ExitDone) {
        return opened;
    }
    if (wantsHashes(request)) {
        database.sha256 = hashOf(database.path);
    }
    addWarning(roomWarning(database.path), &report);
    {
        ConsoleProgress progress(progressTerminal(), double(database.size));
        scanDatabase(&database, &progress);
    }
    report.databases.append(database);
    return finish(&report, &output);
}

} // namespace

int runScan(const ScanOptions &options)
{
    ScanRequest request;
    const int checked = checkOptions("scan", options, 1, &request);
    return checked == ExitDone ? scanFile(request, newReport(options, request.files.first()))
                               : checked;
}
