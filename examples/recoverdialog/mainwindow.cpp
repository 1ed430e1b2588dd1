#include "mainwindow.h"

#include "scanthread.h"

#include <QFileDialog>
#include <QHeaderView>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QProgressDialog>
#include <QSplitter>
#include <QStatusBar>
#include <QTableView>
#include <QToolBar>
#include <QVBoxLayout>

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent)
    , m_list(new QListWidget)
{
    setWindowTitle(QStringLiteral("Deleted records of a backup"));
    resize(1100, 640);
    QToolBar *const tools = addToolBar(QStringLiteral("Backup"));
    connect(tools->addAction(QStringLiteral("Open backup…")), &QAction::triggered, this,
            &MainWindow::askForBackup);
    m_list->setTextElideMode(Qt::ElideMiddle);
    m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    connect(m_list, &QListWidget::itemActivated, this,
            [this](QListWidgetItem *item) { scan(m_list->row(item)); });
    auto *const splitter = new QSplitter;
    splitter->addWidget(m_list);
    splitter->addWidget(newResults());
    splitter->setSizes({330, 770});
    setCentralWidget(splitter);
    statusBar()->showMessage(QStringLiteral("Open the folder of a backup."));
}

QWidget *MainWindow::newResults()
{
    m_shown.setSourceModel(&m_records);
    m_shown.setFilterKeyColumn(-1);
    m_shown.setFilterCaseSensitivity(Qt::CaseInsensitive);
    auto *const filter = new QLineEdit;
    filter->setPlaceholderText(QStringLiteral("Filter"));
    connect(filter, &QLineEdit::textChanged, &m_shown,
            &QSortFilterProxyModel::setFilterFixedString);
    auto *const table = new QTableView;
    table->setModel(&m_shown);
    table->setSortingEnabled(true);
    table->setColumnWidth(0, 210);
    table->setColumnWidth(1, 180);
    table->horizontalHeader()->setStretchLastSection(true);
    auto *const results = new QWidget;
    auto *const layout = new QVBoxLayout(results);
    layout->addWidget(filter);
    layout->addWidget(table);
    return results;
}

void MainWindow::askForBackup()
{
    const QString folder =
        QFileDialog::getExistingDirectory(this, QStringLiteral("Folder of a backup"));
    if (!folder.isEmpty()) {
        openBackup(folder);
    }
}

void MainWindow::openBackup(const QString &folder)
{
    m_databases = databasesIn(folder);
    m_list->clear();
    for (const Database &database : qAsConst(m_databases)) {
        m_list->addItem(database.place);
    }
    m_records.setRecords({});
    statusBar()->showMessage(m_databases.isEmpty()
                                 ? QStringLiteral("No known database lies in this folder.")
                                 : QStringLiteral("Double-click a database to scan it."));
}

void MainWindow::scan(int row)
{
    if (m_scan != nullptr) {
        return; // it was cancelled, and has not ended yet
    }
    const Database &database = m_databases.at(row);
    const QString problem = problemOf(database.path);
    if (!problem.isEmpty()) {
        statusBar()->showMessage(problem);
        return;
    }
    m_scan = new ScanThread(database, this);
    connect(m_scan, &QThread::finished, this, &MainWindow::showResults);
    showProgress();
    m_scan->start();
}

/// A modal dialog: while it is there, nothing else can be scanned or opened.
void MainWindow::showProgress()
{
    m_progress =
        new QProgressDialog(m_scan->database().place, QStringLiteral("Cancel"), 0, 1000, this);
    m_progress->setWindowModality(Qt::WindowModal);
    m_progress->setAutoReset(false);
    m_progress->setMinimumDuration(0);
    connect(m_scan, &ScanThread::progressed, m_progress, &QProgressDialog::setValue);
    connect(m_progress, &QProgressDialog::canceled, m_scan, &ScanThread::cancel);
    m_progress->setValue(0);
}

void MainWindow::showResults()
{
    const QVector<FoundRecord> &records = m_scan->records();
    m_records.setRecords(records);
    QString message = QStringLiteral("%1 deleted records.").arg(records.size());
    if (m_scan->isCanceled()) {
        message += QStringLiteral(" The scan was stopped before its end.");
    } else if (records.isEmpty()) {
        message +=
            QLatin1Char(' ') + reasonForNothing(m_scan->database().type, m_scan->database().path);
    }
    statusBar()->showMessage(message);
    m_progress->deleteLater();
    m_scan->deleteLater();
    m_progress = nullptr;
    m_scan = nullptr;
}
