// Measures on realistic sample databases how many deleted calls a scan recovers, and gives for
// every miss and every invention the reason that the bytes of the file show.

#include "samples/callscan.h"
#include "samples/recallreport.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTextStream>

namespace {

void printDetails(const RecallCase &recallCase, const RecallResult &result, QTextStream *out)
{
    *out << recallCaseName(recallCase) << '\n';
    if (!result.valid) {
        *out << "    UNEXPLAINED: the sample could not be made, or its live rows not be found\n";
    }
    for (const QString &detail : result.details) {
        *out << "    " << detail << '\n';
    }
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments().mid(1);
    const bool verbose = arguments == QStringList(QStringLiteral("--verbose"));
    if (!verbose && !arguments.isEmpty()) {
        QTextStream(stderr) << "usage: recall [--verbose]\n";
        return 2;
    }
    QTextStream out(stdout);
    const QTemporaryDir folder;
    RecallReport report;
    for (const RecallCase &recallCase : recallMatrix()) {
        const RecallResult result = runRecallCase(recallCase, folder.path(), scanCalls);
        report.add(recallCase, result);
        if (verbose || !result.valid || result.unexplained() > 0) {
            printDetails(recallCase, result, &out);
        }
    }
    out << report.text();
    return report.isSound() ? 0 : 1;
}
