#pragma once

#include <QAbstractTableModel>
#include <QString>
#include <QVector>

class SqliteRecovery;
class WalRecovery;

/// A record as a row of a table for people, whatever its kind.
struct FoundRecord
{
    QString time; ///< in UTC; empty when the record has none
    QString who;
    QString what;
};

/// Returns copies of all records in a facade: nothing of them is borrowed.
QVector<FoundRecord> recordsOf(SqliteRecovery &recovery);
QVector<FoundRecord> recordsOf(WalRecovery &recovery);

/// Shows found records in a view. A view asks a model only for the rows in sight, so 100,000
/// records are no burden.
class FoundRecordsModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    using QAbstractTableModel::QAbstractTableModel;

    void setRecords(const QVector<FoundRecord> &records);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    QVector<FoundRecord> m_records;
};
