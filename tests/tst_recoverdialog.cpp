// Uses the window of the example as a person would, without a display.

#include "api/backupindex.h"
#include "api/sqliterecovery.h"
#include "api/walrecovery.h"
#include "examples/recoverdialog/mainwindow.h"
#include "tests/support/testfiles.h"
#include "tests/support/words.h"

#include <QAbstractItemModel>
#include <QDateTime>
#include <QLineEdit>
#include <QListWidget>
#include <QPointer>
#include <QProcess>
#include <QProgressDialog>
#include <QPushButton>
#include <QStatusBar>
#include <QTableView>
#include <QTemporaryDir>
#include <QtTest>

class TestRecoverDialog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup() { m_window.reset(); }

    void findsEveryDatabase();
    void showsWhatTheLibraryFinds();
    void comparesTheLogToo();
    void cancels();
    void namesWhatCannotBeScanned();
    void windowClosesDuringAScan();

private:
    int rowOf(const QString &place) const;
    void choose(const QString &place);
    bool waitForResults();
    QString cell(int row, int column) const;
    QString bookmarks(const char *suffix) const;
    QString message() const { return m_window->statusBar()->currentMessage(); }

    QTemporaryDir m_folder;
    QString m_backup;
    QScopedPointer<MainWindow> m_window;
    QListWidget *m_list = nullptr;
    QAbstractItemModel *m_results = nullptr;
};

void TestRecoverDialog::initTestCase()
{
    m_backup = m_folder.filePath(QStringLiteral("backup"));
    QCOMPARE(QProcess::execute(QStringLiteral(MAKESAMPLE_PROGRAM),
                               words("backup @ --layout folders", m_folder.path())),
             0);
}

void TestRecoverDialog::init()
{
    m_window.reset(new MainWindow);
    m_window->openBackup(m_backup);
    m_window->show();
    m_list = m_window->findChild<QListWidget *>();
    m_results = m_window->findChild<QTableView *>()->model();
}

int TestRecoverDialog::rowOf(const QString &place) const
{
    const QList<QListWidgetItem *> items = m_list->findItems(place, Qt::MatchEndsWith);
    return items.size() == 1 ? m_list->row(items.first()) : -1;
}

void TestRecoverDialog::choose(const QString &place)
{
    QVERIFY2(rowOf(place) >= 0, qPrintable(place));
    m_window->statusBar()->clearMessage();
    Q_EMIT m_list->itemActivated(m_list->item(rowOf(place)));
}

bool TestRecoverDialog::waitForResults()
{
    return QTest::qWaitFor([this] { return message().contains(QLatin1String("records.")); }, 60000);
}

QString TestRecoverDialog::cell(int row, int column) const
{
    return m_results->data(m_results->index(row, column)).toString();
}

QString TestRecoverDialog::bookmarks(const char *suffix) const
{
    const QString name =
        backupFileName(QStringLiteral("HomeDomain"),
                       QStringLiteral("Library/Safari/Bookmarks.db") + QLatin1String(suffix));
    return m_backup + QLatin1Char('/') + name.left(2) + QLatin1Char('/') + name;
}

void TestRecoverDialog::findsEveryDatabase()
{
    for (const char *place :
         {"AddressBook.sqlitedb", "sms.db", "CallHistory.storedata", "Calendar.sqlitedb",
          "notes.sqlite", "NoteStore.sqlite", "Bookmarks.db", "Safari/History.db",
          "ChatStorage.sqlite", "message_1.sqlite"}) {
        QVERIFY2(!m_list->findItems(QLatin1String(place), Qt::MatchEndsWith).isEmpty(), place);
    }
}

void TestRecoverDialog::showsWhatTheLibraryFinds()
{
    choose(QStringLiteral("call_history.db"));
    QVERIFY(waitForResults());
    SqliteRecovery recovery;
    const QString name = QStringLiteral("2b/2b2b0084a1bc3a5ac8c27afdf14afb42c61a19ca");
    recovery.scanRecoveryForType(ScanTypeCallHistory, m_backup + QLatin1Char('/') + name, nullptr);
    const int count = int(recovery.getCallhistoryCount());
    QVERIFY(count > 0);
    QCOMPARE(m_results->rowCount(), count);
    QSet<QString> shown;
    QSet<QString> found;
    for (int i = 0; i < count; ++i) {
        shown.insert(cell(i, 0) + cell(i, 1));
        const CallhistoryRecord *call = recovery.getCallhistory(unsigned(i));
        const QDateTime time = QDateTime::fromSecsSinceEpoch(call->date, Qt::UTC);
        found.insert((call->date == 0 ? QString() : time.toString(Qt::ISODate)) + call->address);
    }
    QCOMPARE(shown, found);

    m_window->findChild<QLineEdit *>()->setText(recovery.getCallhistory(0)->address);
    QVERIFY(m_results->rowCount() > 0 && m_results->rowCount() < count);
}

void TestRecoverDialog::comparesTheLogToo()
{
    choose(QStringLiteral("Bookmarks.db"));
    QVERIFY(waitForResults());
    SqliteRecovery carved;
    carved.scanRecoveryForType(ScanTypeBookmarks, bookmarks(""), nullptr);
    WalRecovery former;
    former.scanRecoveryForType(ScanTypeBookmarks, bookmarks(""), bookmarks("-wal"), nullptr);
    QVERIFY(carved.getBookmarkCount() > 0 && former.getBookmarkCount() > 0);
    QCOMPARE(m_results->rowCount(), int(carved.getBookmarkCount() + former.getBookmarkCount()));
}

void TestRecoverDialog::cancels()
{
    choose(QStringLiteral("AddressBook.sqlitedb"));
    m_window->findChild<QProgressDialog *>()->findChild<QPushButton *>()->click();
    QVERIFY(waitForResults());
    QVERIFY(message().contains(QLatin1String("stopped")));
    choose(QStringLiteral("AddressBook.sqlitedb"));
    QVERIFY(waitForResults());
    QVERIFY(!message().contains(QLatin1String("stopped")));
    QVERIFY(m_results->rowCount() > 0);
}

void TestRecoverDialog::namesWhatCannotBeScanned()
{
    const QTemporaryDir broken;
    const QString name =
        backupFileName(QStringLiteral("HomeDomain"), QStringLiteral("Library/SMS/sms.db"));
    QVERIFY(writeFile(broken.filePath(name), "no database"));
    m_window->openBackup(broken.path());
    choose(QStringLiteral("sms.db"));
    QCOMPARE(message(), QStringLiteral("The file is no database."));
    QVERIFY(m_window->findChild<QProgressDialog *>() == nullptr);

    m_window->openBackup(broken.filePath(QStringLiteral("nowhere")));
    QCOMPARE(m_list->count(), 0);
}

void TestRecoverDialog::windowClosesDuringAScan()
{
    choose(QStringLiteral("AddressBook.sqlitedb"));
    const QPointer<QProgressDialog> progress = m_window->findChild<QProgressDialog *>();
    QVERIFY(!progress.isNull());
    m_window.reset();
    QVERIFY(progress.isNull());
}

QTEST_MAIN(TestRecoverDialog)
#include "tst_recoverdialog.moc"
