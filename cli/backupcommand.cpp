#include "cli/backupcommand.h"

#include "cli/backupfolder.h"
#include "cli/commandparts.h"
#include "cli/consoleprogress.h"
#include "cli/databasescan.h"
#include "cli/interrupt.h"
#include "cli/messages.h"
#include "cli/reportsummary.h"

#include <QFileInfo>

namespace {

/// One thing to scan: a database, or the log of the one before it.
struct Scan
{
    ScannedDatabase file;
    QString databasePath; ///< of a log; else empty
};

ScannedDatabase newFile(const BackupDatabase &database, bool isLog)
{
    ScannedDatabase file;
    file.type = database.type;
    file.typeName = QLatin1String(typeName(database.type).name);
    file.isLog = isLog;
    file.place = isLog ? database.logPlace : database.place;
    file.path = isLog ? database.logPath : database.path;
    file.size = QFileInfo(file.path).size();
    return file;
}

QVector<Scan> scansOf(const BackupContents &contents)
{
    QVector<Scan> scans;
    for (const BackupDatabase &database : contents.databases) {
        scans.append({newFile(database, false), QString()});
        if (!database.logPath.isEmpty() && hasVersions(database.type)) {
            scans.append({newFile(database, true), database.path});
        }
    }
    return scans;
}

double weightOf(const QVector<Scan> &scans)
{
    double weight = 0;
    for (const Scan &scan : scans) {
        weight += double(scan.file.size);
    }
    return weight;
}

QString obstacleOf(const Scan &scan)
{
    const bool isLog = scan.file.isLog;
    const QString problem = databaseObstacle(isLog ? scan.databasePath : scan.file.path);
    return problem.isNull() && isLog ? logObstacle(scan.file.path) : problem;
}

void run(Scan *scan, bool isHashed, ConsoleProgress *progress)
{
    ScannedDatabase *const file = &scan->file;
    file->problem = obstacleOf(*scan);
    if (isHashed) {
        file->sha256 = hashOf(file->path);
    }
    if (!file->problem.isNull()) {
        progress->skip(double(file->size));
        return;
    }
    if (file->isLog) {
        scanLog(file, scan->databasePath, progress);
    } else {
        scanDatabase(file, progress);
    }
    if (isInterrupted()) {
        file->remark = QStringLiteral("the scan was stopped");
    }
}

/// Scans what the backup holds until the program is asked to stop.
void scanAll(QVector<Scan> scans, bool isHashed, Report *report)
{
    ConsoleProgress progress(progressTerminal(), weightOf(scans));
    for (Scan &scan : scans) {
        if (isInterrupted()) {
            scan.file.remark = QStringLiteral("the run was stopped before this scan");
        } else {
            run(&scan, isHashed, &progress);
        }
        report->databases.append(scan.file);
    }
}

void printProblems(const Report &report)
{
    for (const ScannedDatabase &database : report.databases) {
        if (!database.problem.isEmpty()) {
            printMessage(QStringLiteral("%1: %2").arg(database.place, database.problem));
        }
    }
    const QString failures = failuresText(report);
    if (!failures.isEmpty()) {
        printMessage(failures);
    }
}

/// Where the records do not go to the terminal, it shows what was found in all.
int showSummary(const ScanRequest &request, const Report &report)
{
    if (request.output.isEmpty()) {
        return ExitDone;
    }
    OutputFile terminal;
    const bool isShown = terminal.open(QString(), false) && printSummary(report, terminal.device())
                         && terminal.commit();
    return isShown ? ExitDone : failed(QStringLiteral("cannot write the summary"));
}

/// Links in the folder may lead to evidence that lies elsewhere.
ScanRequest withEvidence(ScanRequest request, const BackupContents &contents)
{
    for (const BackupDatabase &database : contents.databases) {
        request.files.append(database.path);
        if (!database.logPath.isEmpty()) {
            request.files.append(database.logPath);
        }
    }
    return request;
}

int scanBackup(const ScanRequest &request, Report report)
{
    const BackupContents contents = readBackup(request.files.first());
    for (const QString &warning : contents.warnings) {
        addWarning(warning, &report);
    }
    if (!contents.problem.isEmpty()) {
        return failed(contents.problem);
    }
    Output output;
    const int opened = output.open(withEvidence(request, contents));
    if (opened != ExitDone) {
        return opened;
    }
    report.isBackup = true;
    report.device = contents.device;
    for (const BackupDatabase &database : contents.databases) {
        addWarning(roomWarning(database.path), &report);
    }
    scanAll(scansOf(contents), wantsHashes(request), &report);
    printProblems(report);
    if (!report.databases.isEmpty() && failuresIn(report) == report.databases.size()) {
        return ExitFailed;
    }
    const int finished = finish(&report, &output);
    const int shown = finished == ExitFailed ? finished : showSummary(request, report);
    return shown == ExitDone ? finished : shown;
}

} // namespace

int runBackup(const ScanOptions &options)
{
    ScanRequest request;
    const int checked = checkFolderOptions("backup", options, &request);
    return checked == ExitDone ? scanBackup(request, newReport(options, request.files.first()))
                               : checked;
}
