#include "cli/textprinter.h"

#include "cli/displaytext.h"
#include "cli/outputfile.h"
#include "cli/recordkind.h"

#include <QIODevice>

namespace {

using Rows = QVector<QStringList>;

QStringList printableRow(QStringList row)
{
    for (QString &cell : row) {
        cell = printable(cell);
    }
    return row;
}

Rows rowsOf(const ScanResults &results, const RecordKind &kind)
{
    Rows rows{kind.columns};
    for (unsigned i = 0; i < recordCount(results, kind); ++i) {
        rows.append(printableRow(kind.row(recordAt(results, kind, i))));
    }
    return rows;
}

QVector<int> widthsOf(const Rows &rows)
{
    QVector<int> widths(rows.first().size(), 0);
    for (const QStringList &row : rows) {
        for (int column = 0; column < row.size(); ++column) {
            widths[column] = qMax(widths.at(column), displayWidth(row.at(column)));
        }
    }
    return widths;
}

QString lineOf(const QStringList &row, const QVector<int> &widths)
{
    // The last cell is not padded: one long text must not lengthen every other line.
    QString line;
    for (int column = 0; column + 1 < row.size(); ++column) {
        line += padded(row.at(column), widths.at(column)) + QStringLiteral("  ");
    }
    return line + row.last() + QLatin1Char('\n');
}

bool writeText(QIODevice &out, const QString &text)
{
    return writeAll(out, text.toUtf8());
}

bool writeTable(QIODevice &out, const Rows &rows)
{
    const QVector<int> widths = widthsOf(rows);
    for (const QStringList &row : rows) {
        if (!writeText(out, lineOf(row, widths))) {
            return false;
        }
    }
    return true;
}

} // namespace

bool printText(const ScanResults &results, QIODevice &out)
{
    bool first = true;
    for (const RecordKind &kind : results.kinds) {
        const unsigned count = recordCount(results, kind);
        if (count == 0) {
            continue;
        }
        const QString heading =
            QStringLiteral("%1 (%2)\n").arg(QLatin1String(kind.heading)).arg(count);
        if (!writeText(out, first ? heading : QLatin1Char('\n') + heading)
            || !writeTable(out, rowsOf(results, kind))) {
            return false;
        }
        first = false;
    }
    return !first || writeText(out, QStringLiteral("No deleted records found.\n"));
}
