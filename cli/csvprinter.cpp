#include "cli/csvprinter.h"

#include "cli/jsonprinter.h"
#include "cli/outputfile.h"
#include "cli/recordkind.h"

#include <QIODevice>

#include <algorithm>

namespace {

bool isInNumbers(QChar c)
{
    return (c >= QLatin1Char('0') && c <= QLatin1Char('9')) || c == QLatin1Char('.');
}

bool isSignedNumber(const QString &text)
{
    return text.size() > 1 && (text.at(0) == QLatin1Char('+') || text.at(0) == QLatin1Char('-'))
           && std::all_of(text.cbegin() + 1, text.cend(), isInNumbers);
}

// A spreadsheet runs a cell that begins like a formula, and recovered text is written by strangers.
// A sign with nothing but digits can only be a number, so telephone numbers and dates stay as they
// are and can be compared with those of other lists.
QString defused(const QString &text)
{
    static const QString dangerous = QStringLiteral("=+-@\t\r");
    const bool runs = !text.isEmpty() && dangerous.contains(text.at(0));
    return runs && !isSignedNumber(text) ? QLatin1Char('\'') + text : text;
}

QByteArray quoted(const QByteArray &cell)
{
    const bool plain = std::none_of(cell.cbegin(), cell.cend(), [](char c) {
        return c == ',' || c == '"' || c == '\r' || c == '\n';
    });
    return plain ? cell : '"' + QByteArray(cell).replace('"', "\"\"") + '"';
}

QByteArray cellOf(const QCborValue &value)
{
    if (value.isUndefined()) {
        return QByteArray(); // another kind of record has this field
    }
    return quoted(value.isString() ? defused(value.toString()).toUtf8() : toJson(value));
}

// Kinds that come from one database share one table.
QStringList columnsOf(const QVector<RecordKind> &kinds)
{
    QStringList columns{QStringLiteral("kind")};
    for (const RecordKind &kind : kinds) {
        columns += kind.fields;
    }
    columns.removeDuplicates();
    return columns;
}

QByteArray lineOf(const QCborMap &record, const QStringList &columns)
{
    QByteArrayList cells;
    for (const QString &column : columns) {
        cells += cellOf(record.value(column));
    }
    return cells.join(',') + "\r\n";
}

} // namespace

bool printCsv(const ScanResults &results, QIODevice &out)
{
    const QStringList columns = columnsOf(results.kinds);
    if (!writeAll(out, columns.join(QLatin1Char(',')).toUtf8() + "\r\n")) {
        return false;
    }
    for (const RecordKind &kind : results.kinds) {
        for (unsigned i = 0; i < kind.count(); ++i) {
            if (!writeAll(out, lineOf(recordAt(kind, i), columns))) {
                return false;
            }
        }
    }
    return true;
}
