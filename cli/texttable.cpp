#include "cli/texttable.h"

#include "cli/displaytext.h"
#include "cli/outputfile.h"

namespace {

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
QVector<int> widthsOf(const TextRows &rows, int widest)
{
    QVector<int> widths;
    for (const QStringList &row : rows) {
        widths.resize(qMax(widths.size(), row.size()));
        for (int column = 0; column + 1 < row.size(); ++column) {
            const int width = qMin(displayWidth(row.at(column)), widest);
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

bool writeTable(QIODevice &out, const TextRows &rows, int widest)
{
    const TextRows shown = printableRows(rows);
    const QVector<int> widths = widthsOf(shown, widest);
    for (const QStringList &row : shown) {
        if (!writeAll(out, lineOf(row, widths).toUtf8())) {
            return false;
        }
    }
    return true;
}
