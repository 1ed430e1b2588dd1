#include "cli/csvprinter.h"

#include "cli/displaytext.h"
#include "cli/jsonprinter.h"
#include "cli/outputfile.h"
#include "cli/report.h"

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
        return c == ',' || c == ';' || c == '"' || c == '\r' || c == '\n';
    });
    return plain ? cell : '"' + QByteArray(cell).replace('"', "\"\"") + '"';
}

bool isObeyed(QChar c)
{
    static const QString kept = QStringLiteral("\t\r\n");
    return !kept.contains(c) && !c.isSurrogate() && isUnprintable(c.unicode());
}

/// A terminal must obey a table as little as a spreadsheet does.
QString visible(const QString &text)
{
    if (std::none_of(text.cbegin(), text.cend(), isObeyed)) {
        return text;
    }
    QString shown;
    for (const QChar c : text) {
        shown += isObeyed(c) ? printable(c) : QString(c);
    }
    return shown;
}

QByteArray cellOf(const QCborValue &value)
{
    if (value.isUndefined() || value.isNull()) {
        return QByteArray(); // only other kinds have this field; or it is a time that makes no
                             // sense
    }
    return quoted(value.isString() ? visible(defused(value.toString())).toUtf8() : toJson(value));
}

/// A kind of records in one of the databases.
struct Source
{
    const RecordKind *kind;
    QString place;
};

/// All of them, or those of one kind.
QVector<Source> sourcesOf(const Report &report, const char *name)
{
    QVector<Source> sources;
    for (const ScannedDatabase &database : report.databases) {
        for (const RecordKind &kind : database.results.kinds) {
            if (name == nullptr || qstrcmp(kind.name, name) == 0) {
                sources.append({&kind, database.place});
            }
        }
    }
    return sources;
}

/// Several kinds share the columns of the same name.
QStringList columnsOf(const QVector<Source> &sources)
{
    QStringList columns;
    for (const Source &source : sources) {
        columns += source.kind->fields;
    }
    columns.removeDuplicates();
    return columns;
}

QByteArray lineOf(const Source &source, unsigned index, bool hasPlace, const QStringList &columns)
{
    QByteArrayList cells{source.kind->name};
    if (hasPlace) {
        cells += cellOf(source.place);
    }
    const QCborMap record = source.kind->record(index);
    for (const QString &column : columns) {
        cells += cellOf(record.value(column));
    }
    return cells.join(',') + "\r\n";
}

bool writeLines(const Source &source, bool hasPlace, const QStringList &columns, QIODevice &out)
{
    const unsigned count = source.kind->count();
    for (unsigned i = 0; i < count; ++i) {
        if (!writeAll(out, lineOf(source, i, hasPlace, columns))) {
            return false;
        }
    }
    return true;
}

bool writeTable(const QVector<Source> &sources, bool hasPlace, QIODevice &out)
{
    const QStringList columns = columnsOf(sources);
    QStringList heading{QStringLiteral("kind")};
    if (hasPlace) {
        heading.append(QStringLiteral("database"));
    }
    heading += columns;
    bool isWritten = writeAll(out, heading.join(QLatin1Char(',')).toUtf8() + "\r\n");
    for (const Source &source : sources) {
        isWritten = isWritten && writeLines(source, hasPlace, columns, out);
    }
    return isWritten;
}

} // namespace

bool printCsv(const Report &report, QIODevice &out)
{
    return writeTable(sourcesOf(report, nullptr), report.isBackup, out);
}

bool printCsvOfKind(const Report &report, const char *kind, QIODevice &out)
{
    return writeTable(sourcesOf(report, kind), report.isBackup, out);
}
