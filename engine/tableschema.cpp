#include "engine/tableschema.h"

#include <algorithm>

namespace {

/// SQLite's limit of columns in a table, unless it is built with another one. The bound keeps a
/// hostile statement from making every later look at a record header expensive.
constexpr int MaxColumns = 2000;

/// Removes every match of "\([^)]+\)". Nested parentheses are not understood, and a stray ")"
/// stays. Written out because a regular expression would search a text of many "(" in quadratic
/// time.
QString withoutParenthesised(const QString &text)
{
    QString kept;
    int pos = 0;
    for (int open = text.indexOf(QLatin1Char('(')); open >= 0;) {
        const int close = text.indexOf(QLatin1Char(')'), open + 1);
        if (close < 0) {
            break;
        }
        if (close > open + 1) {
            kept += text.midRef(pos, open - pos);
            pos = close + 1;
        }
        open = text.indexOf(QLatin1Char('('), close + 1);
    }
    return kept + text.midRef(pos);
}

ColumnDef parseColumn(const QString &definition)
{
    const auto firstSpace =
        std::find_if(definition.cbegin(), definition.cend(), [](QChar c) { return c.isSpace(); });
    return {definition.left(int(firstSpace - definition.cbegin())), definition};
}

} // namespace

int TableSchema::columnIndex(QLatin1String columnName) const
{
    for (int i = 0; i < columns.size(); ++i) {
        if (columns[i].name == columnName) {
            return i;
        }
    }
    return -1;
}

bool parseCreateTable(const QString &sql, QVector<ColumnDef> &columns)
{
    columns.clear();
    const int open = sql.indexOf(QLatin1Char('('));
    const int close = sql.lastIndexOf(QLatin1Char(')'));
    if (open < 0 || close < open) {
        return false;
    }
    columns = parseColumnList(withoutParenthesised(sql.mid(open + 1, close - open - 1).toLower()));
    return true;
}

QVector<ColumnDef> parseColumnList(const QString &list)
{
    QVector<ColumnDef> columns;
    const auto parts = list.splitRef(QLatin1Char(','), Qt::SkipEmptyParts);
    for (const QStringRef &part : parts) {
        const QString text = part.trimmed().toString();
        const bool constraint =
            text == QLatin1String("unique") || text == QLatin1String("primary key");
        if (!constraint && columns.size() < MaxColumns) {
            columns.append(parseColumn(text));
        }
    }
    return columns;
}
