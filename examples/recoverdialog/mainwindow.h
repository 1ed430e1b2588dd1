#pragma once

#include "databases.h"
#include "foundrecords.h"

#include <QMainWindow>
#include <QSortFilterProxyModel>

class QListWidget;
class QProgressDialog;
class ScanThread;

/// The databases of a backup on the left; on the right what was deleted from the one that was
/// chosen.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget *parent = nullptr);

    /// Lists the databases of the backup in `folder`.
    void openBackup(const QString &folder);

private:
    QWidget *newResults();
    void askForBackup();
    void scan(int row);
    void showProgress();
    void showResults();

    QVector<Database> m_databases;
    QListWidget *m_list;
    FoundRecordsModel m_records;
    QSortFilterProxyModel m_shown;
    ScanThread *m_scan = nullptr; ///< null while nothing is scanned
    QProgressDialog *m_progress = nullptr;
};
