#include "cli/textprinter.h"

#include "cli/outputfile.h"
#include "cli/reportsummary.h"

#include <QIODevice>

namespace {

TextRows rowsOf(const RecordKind &kind)
{
    TextRows rows;
    if (!kind.columns.isEmpty()) {
        rows.append(kind.columns);
    }
    const unsigned count = kind.count();
    for (unsigned i = 0; i < count; ++i) {
        rows += kind.rows(kind.record(i));
    }
    return rows;
}

bool writeText(QIODevice &out, const QString &text)
{
    return writeAll(out, text.toUtf8());
}

bool writeKind(QIODevice &out, const RecordKind &kind, const QString &place)
{
    QString heading = QStringLiteral("%1 (%2)").arg(QLatin1String(kind.heading)).arg(kind.items());
    if (!place.isNull()) {
        heading += QStringLiteral(" in ") + place;
    }
    return writeTable(out, {QStringList(heading)}) && writeTable(out, rowsOf(kind));
}

/// Writes the kinds of which something was found; `isFirst` says whether nothing stands above.
bool writeKinds(QIODevice &out, const ScanResults &results, const QString &place, bool *isFirst)
{
    for (const RecordKind &kind : results.kinds) {
        if (kind.count() == 0) {
            continue;
        }
        if ((!*isFirst && !writeText(out, QStringLiteral("\n"))) || !writeKind(out, kind, place)) {
            return false;
        }
        *isFirst = false;
    }
    return true;
}

/// The summary of a backup tells the reasons; of a single file it stands here.
QString nothingFoundText(const Report &report, bool isFirst)
{
    const bool isSingle = !report.isBackup && report.databases.size() == 1;
    const QString remark = isSingle ? report.databases.first().remark : QString();
    const QString reason = remark.isEmpty() ? QString() : QStringLiteral(": ") + remark;
    return QStringLiteral("%1No deleted records found%2.\n")
        .arg(isFirst ? QString() : QStringLiteral("\n"), reason);
}

} // namespace

bool printText(const Report &report, QIODevice &out)
{
    if (report.isBackup && !printSummary(report, out)) {
        return false;
    }
    bool isFirst = !report.isBackup;
    for (const ScannedDatabase &database : report.databases) {
        const QString place = report.isBackup ? database.place : QString();
        if (!writeKinds(out, database.results, place, &isFirst)) {
            return false;
        }
    }
    return itemsIn(report) > 0 || writeText(out, nothingFoundText(report, isFirst));
}
