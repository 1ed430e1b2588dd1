#include "cli/texttable.h"

#include "cli/displaytext.h"
#include "cli/outputfile.h"

namespace {

// A longer cell stands out of its column; it must not lengthen every other line.
constexpr int MaxColumnWidth = 40;

TextRows printableRows(TextRows rows)
{
    for (QStringList &row : rows) {
        for (QString &cell : row) {
            cell = printable(cell);
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

} // namespace

bool writeTable(QIODevice &out, const TextRows &rows)
{
    const TextRows shown = printableRows(rows);
    const QVector<int> widths = widthsOf(shown);
    for (const QStringList &row : shown) {
        if (!writeAll(out, lineOf(row, widths).toUtf8())) {
            return false;
        }
    }
    return true;
}
