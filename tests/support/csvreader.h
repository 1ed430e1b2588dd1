#pragma once

#include <QByteArray>
#include <QStringList>
#include <QVector>

/// Reads comma-separated values as RFC 4180 describes them.
inline QVector<QStringList> rowsFromCsv(const QByteArray &csv)
{
    QVector<QStringList> rows;
    QStringList row;
    QByteArray cell;
    bool quoted = false;
    for (int i = 0; i < csv.size(); ++i) {
        const char c = csv.at(i);
        const char next = i + 1 < csv.size() ? csv.at(i + 1) : '\0';
        if (quoted && c == '"' && next == '"') {
            cell += c;
            ++i;
        } else if (c == '"') {
            quoted = !quoted;
        } else if (!quoted && (c == ',' || (c == '\r' && next == '\n'))) {
            row.append(QString::fromUtf8(cell));
            cell.clear();
            if (c == '\r') {
                rows.append(row);
                row.clear();
                ++i;
            }
        } else {
            cell += c;
        }
    }
    return rows;
}
