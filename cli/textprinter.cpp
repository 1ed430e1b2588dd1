#include "cli/textprinter.h"

#include "cli/displaytext.h"
#include "cli/outputfile.h"
#include "cli/recordkind.h"

#include <QIODevice>

namespace {

// A longer cell stands out of its column; it must not lengthen every other line.
constexpr int MaxColumnWidth = 40;

QStringList printableRow(QStringList row)
{
    for (QString &cell : row) {
        cell = printable(cell);
    }
    return row;
}

TextRows rowsOf(const ScanResults &results, const RecordKind &kind)
{
    TextRows rows;
    const unsigned count = recordCount(results, kind);
    for (unsigned i = 0; i < count; ++i) {
        const TextRows recordRows = kind.rows(recordAt(results, kind, i));
        for (const QStringList &row : recordRows) {
            rows.append(printableRow(row));
        }
    }
    return rows;
}

// The last cell of a row is not padded, so its width does not count.
QVector<int> widthsOf(const TextRows &rows)
{
    QVector<int> widths;
    for (const QStringList &row : rows) {
        widths.resize(qMax(widths.size(), row.size()));
        for (int column = 0; column + 1 < row.size(); ++column) {
            const int width = qMin(displayWidth(row.at(column)), MaxColumnWidth);
            widths[column] = qMax(widths.at(column), width);
        }
    }
    return widths;
}

QString lineOf(const QStringList &row, const QVector<int> &widths)
{
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

bool writeTable(QIODevice &out, const TextRows &rows)
{
    const QVector<int> widths = widthsOf(rows);
    for (const QStringList &row : rows) {
        if (!writeText(out, lineOf(row, widths))) {
            return false;
        }
    }
    return true;
}

bool writeKind(QIODevice &out, const ScanResults &results, const RecordKind &kind)
{
    TextRows rows = rowsOf(results, kind);
    const unsigned count = kind.rowsAreItems ? unsigned(rows.size()) : recordCount(results, kind);
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
        if (recordCount(results, kind) == 0) {
            continue;
        }
        if ((!first && !writeText(out, QStringLiteral("\n"))) || !writeKind(out, results, kind)) {
            return false;
        }
        first = false;
    }
    return !first || writeText(out, QStringLiteral("No deleted records found.\n"));
}
