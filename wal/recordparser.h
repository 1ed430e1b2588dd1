#pragma once

#include "wal/columnvalue.h"
#include "wal/tableversion.h"

/// Reads the rows of one table column by column into records of the type `Record`.
template<typename Record> class RecordParser
{
public:
    virtual ~RecordParser() = default;

    /// Takes over the value of one column, whose name is in lower case. Called once for every
    /// column of the table in its order; columns that are younger than the row come as NULL.
    virtual void parseColumn(Record &record, const QString &columnName,
                             const ColumnValue &column) = 0;
};

/// Reads a row with the parser, beginning with a default record. Returns false when the row cannot
/// be decoded.
template<typename Record>
bool parseRow(RecordParser<Record> &parser, const TableVersion &table, const TableRow &row,
              Record *record)
{
    const QVector<ColumnDef> &columns = table.schema().columns;
    const QVector<ColumnValue> values = decodeRow(row, table);
    *record = Record();
    for (int i = 0; i < values.size(); ++i) {
        parser.parseColumn(*record, columns.at(i).name, values.at(i));
    }
    return !values.isEmpty();
}
