#include "cli/textprinter.h"

#include "cli/outputfile.h"
#include "cli/recordkind.h"

#include <QIODevice>

namespace {

TextRows rowsOf(const RecordKind &kind)
{
    TextRows rows;
    const unsigned count = kind.count();
    for (unsigned i = 0; i < count; ++i) {
        rows += kind.rows(recordAt(kind, i));
    }
    return rows;
}

bool writeText(QIODevice &out, const QString &text)
{
    return writeAll(out, text.toUtf8());
}

bool writeKind(QIODevice &out, const RecordKind &kind)
{
    TextRows rows = rowsOf(kind);
    const unsigned count = kind.rowsAreItems ? unsigned(rows.size()) : kind.count();
    if (!kind.columns.isEmpty()) {
        rows.prepend(kind.columns);
    }
    return writeText(out, QStringLiteral("%1 (%2)\n").arg(QLatin1String(kind.heading)).arg(count))
           && writeTable(out, rows);
}

} // namespace

bool printText(const ScanResults &results, QIODevice &out)
{
    bool first = true;
    for (const RecordKind &kind : results.kinds) {
        if (kind.count() == 0) {
            continue;
        }
        if ((!first && !writeText(out, QStringLiteral("\n"))) || !writeKind(out, kind)) {
            return false;
        }
        first = false;
    }
    return !first || writeText(out, QStringLiteral("No deleted records found.\n"));
}
