#include "api/backupfilename_p.h"

#include <QtTest>

class TestBackupFilename : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void names_data();
    void names();
    void composedAndDecomposedLettersNameTheSameFile();
};

void TestBackupFilename::names_data()
{
    QTest::addColumn<QString>("domain");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("name");
    const auto row = [](const char *domain, const char *path, const char *name) {
        QTest::newRow(path) << QString::fromLatin1(domain) << QString::fromLatin1(path)
                            << QString::fromLatin1(name);
    };
    row("HomeDomain", "Library/AddressBook/AddressBook.sqlitedb",
        "31bb7ba8914766d4ba40d6dfb6113c8b614be442");
    row("HomeDomain", "Library/SMS/sms.db", "3d0d7e5fb2ce288813306e4d4636395e047a3d28");
    row("WirelessDomain", "Library/CallHistory/call_history.db",
        "2b2b0084a1bc3a5ac8c27afdf14afb42c61a19ca");
    row("HomeDomain", "Library/Safari/History.db", "1a0e7afc19d307da602ccdcece51af33afe92c53");
}

void TestBackupFilename::names()
{
    QFETCH(QString, domain);
    QFETCH(QString, path);
    QTEST(backupFilename(domain, path), "name");
}

void TestBackupFilename::composedAndDecomposedLettersNameTheSameFile()
{
    const QString domain = QStringLiteral("HomeDomain");
    const QString composed = backupFilename(domain, QStringLiteral("\u00E9.db"));
    QCOMPARE(composed, backupFilename(domain, QStringLiteral("e\u0301.db")));
    // SHA-1 of the bytes "HomeDomain-e", CC 81, ".db".
    QCOMPARE(composed, QStringLiteral("418384373b3fc539c4c30fb886de453cba7a51e1"));
}

QTEST_APPLESS_MAIN(TestBackupFilename)
#include "tst_backupfilename.moc"
