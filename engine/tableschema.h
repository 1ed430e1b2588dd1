#pragma once

#include <QString>
#include <QVector>

/// One column of a table.
struct ColumnDef
{
    /// First word of the definition, in lower case, with any quotes that it had.
    QString name;
    /// The whole definition, trimmed, in lower case, without parenthesised parts.
    QString definition;
};

/// One table as its schema row describes it. A column's place in `columns` is its place in records.
struct TableSchema
{
    QString name; ///< in lower case
    qint32 rootPage = 0;
    QVector<ColumnDef> columns;

    /// Returns the place of the column `columnName` (exact comparison); -1 when there is none.
    int columnIndex(QLatin1String columnName) const;
};

/// Reads the column list of a CREATE TABLE statement into `columns`.
/// Returns false, and leaves `columns` empty, when the statement has no "(" or no ")" after it.
bool parseCreateTable(const QString &sql, QVector<ColumnDef> &columns);

/// Reads a column list without the parentheses around it, already in lower case: it is split at
/// every comma, and what remains of a plain UNIQUE or PRIMARY KEY constraint is skipped. Other
/// table constraints count as a column named by their first word; rows are matched by column count,
/// so this simple rule must not change.
QVector<ColumnDef> parseColumnList(const QString &list);
