#include "cli/scancommand.h"

#include "api/sqliterecovery.h"
#include "cli/commandparts.h"
#include "cli/consoleprogress.h"
#include "cli/messages.h"
#include "cli/outputfile.h"
#include "cli/recordkind.h"

#include <unistd.h>

namespace {

int scanFile(const ScanRequest &request)
{
    const QString path = request.files.first();
    const QString problem = databaseObstacle(path);
    if (!problem.isNull()) {
        return failed(problem);
    }
    OutputFile output;
    const int opened = openOutput(request, &output);
    if (opened != ExitDone) {
        return opened;
    }
    SqliteRecovery recovery;
    ConsoleProgress progress(isatty(STDERR_FILENO) != 0 ? stderr : nullptr, request.type->searches);
    recovery.scanRecoveryForType(request.type->type, path, &progress);

    const ScanResults results = resultsOf(request.type->type, recovery);
    if (results.kinds.isEmpty()) {
        printMessage(QStringLiteral("this version does not recover records of the type %1 yet")
                         .arg(QLatin1String(request.type->name)));
    }
    return printResults(results, request, output);
}

} // namespace

int runScan(const ScanOptions &options)
{
    ScanRequest request;
    const int checked = checkOptions("scan", options, 1, &request);
    return checked == ExitDone ? scanFile(request) : checked;
}
