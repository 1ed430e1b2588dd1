#include "api/backupindex.h"
#include "api/databasecheck.h"
#include "cli/backupfolder.h"
#include "samples/backupsample.h"
#include "samples/sampledatabase.h"
#include "tests/support/folderstate.h"
#include "tests/support/words.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

Q_DECLARE_METATYPE(BackupLayout)

namespace {

const QString Home = QStringLiteral("HomeDomain");
const QString Sms = QStringLiteral("Library/SMS/sms.db");
const QString Chats = QStringLiteral("AppDomain-com.tencent.xin");

IndexedFile chatFile(const QString &name, char account = 'a')
{
    const QString folder(32, QLatin1Char(account));
    return {Chats, QStringLiteral("Documents/%1/DB/%2").arg(folder, name)};
}

/// All files at the known places, in the order in which they are to be found.
QVector<IndexedFile> knownFiles()
{
    QVector<IndexedFile> files;
    for (const BackupLocation &location : backupLocations()) {
        files.append({location.domain, location.relativePath});
    }
    return files;
}

QStringList placesOf(const BackupContents &contents)
{
    QStringList places;
    for (const BackupDatabase &database : contents.databases) {
        places.append(database.place);
    }
    return places;
}

QString placeOf(const IndexedFile &file)
{
    return file.domain + QLatin1Char('/') + file.relativePath;
}

} // namespace

class TestBackupFolder : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void findsAllDatabases_data();
    void findsAllDatabases();
    void theSampleBackup();
    void theFolderCountsWhereAFileLiesTwice();
    void chatsComeByAccountAndNumber();
    void oddEntriesOfTheIndexAreNoChats();
    void logs_data();
    void logs();
    void device_data();
    void device();
    void noBackup_data();
    void noBackup();
    void notAFolder();
    void whatMakesABackup();
    void encrypted_data();
    void encrypted();
    void whatCannotBeReadIsListed();
    void brokenPartsAreWarnedOf_data();
    void brokenPartsAreWarnedOf();

private:
    QString at(const QString &name) const { return m_dir->filePath(name); }
    QString at(const char *name) const { return at(QLatin1String(name)); }
    bool write(const char *name, const QByteArray &bytes) { return writeFile(at(name), bytes); }
    /// Puts a file into the backup, a database if nothing else is given.
    bool put(BackupLayout layout, const IndexedFile &file, const QByteArray &bytes = QByteArray());
    bool putAll(BackupLayout layout, const QVector<IndexedFile> &files);
    bool writeLists(bool isEncrypted = false);
    /// Reads the backup, and fails when that changed it.
    BackupContents read();

    QByteArray m_database;
    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestBackupFolder::initTestCase()
{
    const QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("some.db"));
    SampleDatabase db;
    QVERIFY(db.create(path) && db.exec(QStringLiteral("CREATE TABLE t (a)")) && db.close());
    m_database = readFile(path);
    QVERIFY(!m_database.isEmpty());
}

void TestBackupFolder::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
}

bool TestBackupFolder::put(BackupLayout layout, const IndexedFile &file, const QByteArray &bytes)
{
    const QString path = at(sampleBackupName(layout, file));
    return QDir().mkpath(QFileInfo(path).path())
           && writeFile(path, bytes.isNull() ? m_database : bytes);
}

bool TestBackupFolder::putAll(BackupLayout layout, const QVector<IndexedFile> &files)
{
    return std::all_of(files.begin(), files.end(),
                       [&](const IndexedFile &file) { return put(layout, file); });
}

bool TestBackupFolder::writeLists(bool isEncrypted)
{
    BackupFacts facts;
    facts.deviceName = QStringLiteral("Ana's <phone>");
    facts.productType = QStringLiteral("iPhone9,3");
    facts.productVersion = QStringLiteral("12.0.1");
    facts.date = QDateTime(QDate(2019, 3, 4), QTime(5, 6, 7), Qt::UTC);
    facts.isEncrypted = isEncrypted;
    return writePropertyLists(m_dir->path(), facts);
}

BackupContents TestBackupFolder::read()
{
    const QStringList before = folderState(m_dir->path());
    const BackupContents contents = readBackup(m_dir->path());
    if (folderState(m_dir->path()) != before) {
        QTest::qFail("the folder has changed", __FILE__, __LINE__);
    }
    return contents;
}

void TestBackupFolder::findsAllDatabases_data()
{
    QTest::addColumn<BackupLayout>("layout");
    QTest::addColumn<int>("inOtherLayout"); // how many of the files
    QTest::newRow("flat") << BackupLayout::Flat << 0;
    QTest::newRow("folders") << BackupLayout::Folders << 0;
    QTest::newRow("a mixture") << BackupLayout::Folders << 5;
}

void TestBackupFolder::findsAllDatabases()
{
    QFETCH(BackupLayout, layout);
    QFETCH(int, inOtherLayout);
    const QVector<IndexedFile> files =
        knownFiles() + QVector<IndexedFile>{chatFile(QStringLiteral("MM.sqlite"))};
    QVERIFY(writeBackupIndex(m_dir->path(), layout, files) && writeLists());
    QVERIFY(putAll(BackupLayout::Flat, files.mid(0, inOtherLayout)));
    QVERIFY(putAll(layout, files.mid(inOtherLayout)));
    const BackupContents contents = read();
    QCOMPARE(contents.problem, QString());
    QCOMPARE(contents.warnings, QStringList());
    QCOMPARE(contents.databases.size(), files.size());
    for (int i = 0; i < files.size(); ++i) {
        const BackupDatabase &database = contents.databases.at(i);
        const ScanType type =
            i < backupLocations().size() ? backupLocations().at(i).type : ScanTypeWeChat;
        QCOMPARE(database.type, type);
        QCOMPARE(database.place, placeOf(files.at(i)));
        const BackupLayout ownLayout = i < inOtherLayout ? BackupLayout::Flat : layout;
        QCOMPARE(database.path, at(sampleBackupName(ownLayout, files.at(i))));
        QVERIFY(database.logPath.isEmpty() && database.logPlace.isEmpty());
    }
}

void TestBackupFolder::theSampleBackup()
{
    const QStringList arguments = words("backup @ --layout folders", m_dir->path());
    QCOMPARE(QProcess::execute(QStringLiteral(MAKESAMPLE_PROGRAM), arguments), 0);
    const BackupContents contents = readBackup(at("backup"));
    QCOMPARE(contents.problem, QString());
    QCOMPARE(contents.warnings, QStringList());
    QCOMPARE(contents.device.name, QStringLiteral("Sample Phone"));
    QStringList found;
    for (const BackupDatabase &database : contents.databases) {
        QCOMPARE(checkDatabase(database.path), DatabaseState::Readable);
        QCOMPARE(checkLog(database.logPath),
                 database.logPath.isEmpty() ? LogState::Missing : LogState::Usable);
        found.append(QString::number(database.type)
                     + (database.logPath.isEmpty() ? QString() : QStringLiteral("+log")));
    }
    QCOMPARE(found.join(QLatin1Char(' ')), QStringLiteral("0 1 2 3 4 5+log 7 6 2 8 6 10"));
}

void TestBackupFolder::theFolderCountsWhereAFileLiesTwice()
{
    const IndexedFile file{Home, Sms};
    QVERIFY(put(BackupLayout::Flat, file) && put(BackupLayout::Folders, file));
    const BackupContents contents = read();
    QCOMPARE(contents.databases.size(), 1);
    QCOMPARE(contents.databases.first().path, at(sampleBackupName(BackupLayout::Folders, file)));
}

void TestBackupFolder::chatsComeByAccountAndNumber()
{
    const QVector<IndexedFile> files{chatFile(QStringLiteral("MM.sqlite"), 'a'),
                                     chatFile(QStringLiteral("message_2.sqlite"), 'a'),
                                     chatFile(QStringLiteral("message_10.sqlite"), 'a'),
                                     chatFile(QStringLiteral("message_1000.sqlite"), 'a'),
                                     chatFile(QStringLiteral("message_1.sqlite"), 'b')};
    QVector<IndexedFile> listed = files;
    std::reverse(listed.begin(), listed.end());
    // Listed twice, and listed although the file itself is not there.
    listed << files.first() << chatFile(QStringLiteral("message_3.sqlite"), 'a');
    QVERIFY(writeBackupIndex(m_dir->path(), BackupLayout::Flat, listed));
    QVERIFY(putAll(BackupLayout::Flat, files));
    QStringList expected;
    for (const IndexedFile &file : files) {
        expected.append(placeOf(file));
    }
    QCOMPARE(placesOf(read()), expected);
}

void TestBackupFolder::oddEntriesOfTheIndexAreNoChats()
{
    QVector<IndexedFile> files{chatFile(QStringLiteral("MM.sqlite"), 'z')};
    for (const char *name :
         {"message_10000.sqlite", "message_.sqlite", "MM.sqlite\n", "fts_message.sqlite",
          "message_1.sqlite-wal", "message_\u0661.sqlite"}) { // a digit, too
        files.append(chatFile(QString::fromUtf8(name)));
    }
    for (const char *path : {"../../etc/MM.sqlite", "Documents/../DB/MM.sqlite",
                             "Library/Documents/00000000000000000000000000000000/DB/MM.sqlite",
                             "Documents/00000000000000000000000000000000/DB/x/MM.sqlite"}) {
        files.append({Chats, QLatin1String(path)});
    }
    files.append({Home, chatFile(QStringLiteral("MM.sqlite")).relativePath});
    QVERIFY(makeManifestDatabase(at("Manifest.db"), files));
    QVERIFY(putAll(BackupLayout::Folders, files));
    QVERIFY(put(BackupLayout::Folders, {Home, Sms}));
    QCOMPARE(placesOf(read()), QStringList{QStringLiteral("HomeDomain/Library/SMS/sms.db")});
}

void TestBackupFolder::logs_data()
{
    QTest::addColumn<QByteArray>("beside"); // bytes of the log; null for none
    QTest::addColumn<QByteArray>("entry");
    QTest::addColumn<QString>("found");
    const QByteArray none;
    const QByteArray empty("", 0);
    const QByteArray log = "some log";
    const IndexedFile file{Home, Sms};
    const QString beside = sampleBackupName(BackupLayout::Folders, file) + QStringLiteral("-wal");
    const QString entry =
        sampleBackupName(BackupLayout::Folders, {Home, Sms + QStringLiteral("-wal")});
    QTest::newRow("beside the file") << log << none << beside;
    QTest::newRow("a file of its own") << none << log << entry;
    QTest::newRow("both") << log << log << beside;
    QTest::newRow("empty beside the file") << empty << log << entry;
    QTest::newRow("empty") << empty << empty << QString();
    QTest::newRow("none") << none << none << QString();
}

void TestBackupFolder::logs()
{
    QFETCH(QByteArray, beside);
    QFETCH(QByteArray, entry);
    QFETCH(QString, found);
    const IndexedFile file{Home, Sms};
    QVERIFY(put(BackupLayout::Folders, file));
    const QString name = sampleBackupName(BackupLayout::Folders, file);
    QVERIFY(beside.isNull() || writeFile(at(name + QStringLiteral("-wal")), beside));
    QVERIFY(entry.isNull()
            || put(BackupLayout::Folders, {Home, Sms + QStringLiteral("-wal")}, entry));
    const BackupContents contents = read();
    QCOMPARE(contents.databases.size(), 1);
    const BackupDatabase &database = contents.databases.first();
    QCOMPARE(database.logPath, found.isEmpty() ? QString() : at(found));
    QCOMPARE(database.logPlace,
             found.isEmpty() ? QString() : placeOf(file) + QStringLiteral("-wal"));
}

void TestBackupFolder::device_data()
{
    QTest::addColumn<QByteArray>("info");
    QTest::addColumn<QString>("device");
    const QByteArray name = "<key>Device Name</key><string>Pho\u00F1e</string>";
    const QByteArray type = "<key>Product Type</key><string>iPhone9,3</string>";
    QTest::newRow("model by its name")
        << name + type + "<key>Product Name</key><string>iPhone 7</string>"
        << "Pho\u00F1e|iPhone 7||";
    QTest::newRow("model by its type") << type + "<key>Product Version</key><string>9.3</string>"
                                       << "|iPhone9,3|9.3|";
    QTest::newRow("values of other kinds")
        << QByteArray("<key>Device Name</key><integer>1</integer><key>Last Backup Date</key>"
                      "<date>2012-02-03T04:05:06Z</date>")
        << "|||2012-02-03T04:05:06Z";
}

void TestBackupFolder::device()
{
    QFETCH(QByteArray, info);
    QVERIFY(put(BackupLayout::Flat, {Home, Sms}));
    QVERIFY(!read().hasDevice);
    QVERIFY(write("Info.plist", "<plist version=\"1.0\"><dict>" + info + "</dict></plist>"));
    const BackupContents contents = read();
    QVERIFY(contents.hasDevice);
    const DeviceInfo &device = contents.device;
    const QStringList facts{device.name, device.model, device.systemVersion, device.backupDate};
    QTEST(facts.join(QLatin1Char('|')), "device");
}

void TestBackupFolder::noBackup_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("problem"); // a part of it
    const auto row = [](const char *file, const char *problem) {
        QTest::newRow(file) << QString::fromLatin1(file) << QString::fromLatin1(problem);
    };
    row("", "no backup, which has");
    row("Info.plist", "no backup, which has");
    row("sms.db", "scan TYPE FILE");
    row("message_12.sqlite", "scan TYPE FILE");
    row("MM.sqlite", "scan TYPE FILE");
    row("b/Manifest.db", "/b"); // a folder of backups
    row("b/some.db", "no backup, which has");
}

void TestBackupFolder::noBackup()
{
    QFETCH(QString, file);
    QFETCH(QString, problem);
    QVERIFY(QDir().mkpath(at("b")));
    QVERIFY(file.isEmpty() || writeFile(at(file), "bytes"));
    const BackupContents contents = read();
    QVERIFY2(contents.problem.contains(problem), qPrintable(contents.problem));
    QVERIFY(contents.problem.contains(m_dir->path()));
    QVERIFY(contents.databases.isEmpty() && contents.warnings.isEmpty() && !contents.hasDevice);
    // Nor is the folder above one of those inside.
    QVERIFY(QDir().mkpath(at("c/d")) && writeFile(at("c/Manifest.db"), "bytes"));
    QVERIFY(readBackup(at("c/d")).problem.startsWith(QStringLiteral("no backup, which has")));
}

void TestBackupFolder::notAFolder()
{
    const QString missing = at("missing");
    QCOMPARE(readBackup(missing).problem, QStringLiteral("no such folder: ") + missing);
    QVERIFY(!QFileInfo::exists(missing));
    QVERIFY(write("file", m_database));
    const QString problem = readBackup(at("file")).problem;
    QVERIFY(problem.startsWith(QStringLiteral("not a folder")) && problem.endsWith(at("file")));
}

/// Such a folder is a backup, with nothing in it to scan.
void TestBackupFolder::whatMakesABackup()
{
    for (const QString &name : words("Manifest.db Manifest.mbdb Manifest.plist")) {
        QVERIFY(writeFile(at(name), "bytes"));
        QCOMPARE(read().problem,
                 QStringLiteral("the backup has none of the databases that can be scanned: ")
                     + m_dir->path());
        QVERIFY(QFile::remove(at(name)));
    }
}

void TestBackupFolder::encrypted_data()
{
    QTest::addColumn<bool>("saysSo");
    QTest::addColumn<QByteArray>("index");
    QTest::addColumn<QByteArray>("sms");
    QTest::addColumn<QByteArray>("calls");
    QTest::addColumn<QString>("problem");
    const QByteArray none;
    const QByteArray random = randomBytes(5000);
    const QString is = QStringLiteral("is encrypted");
    const QString looks = QStringLiteral("looks encrypted");
    QTest::newRow("says so, random") << true << random << random << random << is;
    QTest::newRow("says so, no databases") << true << none << none << none << is;
    QTest::newRow("says so, short files") << true << none << QByteArray("x") << none << is;
    QTest::newRow("says so, but is not") << true << none << random << m_database << QString();
    QTest::newRow("says so, damaged")
        << true << none << random << m_database.left(100) << QString();
    QTest::newRow("all is random") << false << random << random << random << looks;
    QTest::newRow("index is random") << false << random << none << none << looks;
    QTest::newRow("databases are random") << false << none << random << random << looks;
    QTest::newRow("one database is random") << false << none << random << m_database << QString();
    QTest::newRow("one file is text") << false << random << random << QByteArray("x") << QString();
}

void TestBackupFolder::encrypted()
{
    QFETCH(bool, saysSo);
    QFETCH(QByteArray, index);
    QFETCH(QByteArray, sms);
    QFETCH(QByteArray, calls);
    QFETCH(QString, problem);
    QVERIFY(writeLists(saysSo) && (index.isNull() || write("Manifest.db", index)));
    QVERIFY(sms.isNull() || put(BackupLayout::Flat, {Home, Sms}, sms));
    const IndexedFile callFile{QStringLiteral("WirelessDomain"),
                               QStringLiteral("Library/CallHistory/call_history.db")};
    QVERIFY(calls.isNull() || put(BackupLayout::Flat, callFile, calls));
    const BackupContents contents = read();
    QVERIFY2(contents.problem.contains(problem), qPrintable(contents.problem));
    QCOMPARE(contents.problem.isEmpty(), problem.isEmpty());
    QCOMPARE(contents.databases.size(), problem.isEmpty() ? 2 : 0);
    QCOMPARE(contents.warnings.filter(QStringLiteral("calls itself encrypted")).size(),
             int(saysSo && problem.isEmpty()));
    QCOMPARE(contents.device.name, QStringLiteral("Ana's <phone>"));
}

void TestBackupFolder::whatCannotBeReadIsListed()
{
    const IndexedFile folder{Home, Sms};
    const IndexedFile link{Home, QStringLiteral("Library/Notes/notes.sqlite")};
    const IndexedFile followed{Home, QStringLiteral("Library/Safari/Bookmarks.db")};
    const auto name = [this](const IndexedFile &file) {
        return at(sampleBackupName(BackupLayout::Flat, file));
    };
    QVERIFY(QDir().mkpath(name(folder)));
    QVERIFY(QFile::link(at("nowhere"), name(link)));
    QVERIFY(write("elsewhere", m_database) && QFile::link(at("elsewhere"), name(followed)));
    const IndexedFile lost{Home, QStringLiteral("Library/Safari/History.db")};
    const QString inFolder = at(sampleBackupName(BackupLayout::Folders, lost));
    QVERIFY(QDir().mkpath(QFileInfo(inFolder).path()) && QFile::link(at("nowhere"), inFolder));
    const BackupContents contents = readBackup(m_dir->path());
    QCOMPARE(contents.problem, QString());
    QCOMPARE(placesOf(contents),
             (QStringList{placeOf(folder), placeOf(link), placeOf(followed), placeOf(lost)}));
    // A file in a folder is better than none in the backup's own.
    QVERIFY(put(BackupLayout::Folders, folder));
    QCOMPARE(readBackup(m_dir->path()).databases.first().path,
             at(sampleBackupName(BackupLayout::Folders, folder)));
}

void TestBackupFolder::brokenPartsAreWarnedOf_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("warning");
    const auto row = [](const char *name, const char *warning) {
        QTest::newRow(name) << QString::fromLatin1(name) << QString::fromLatin1(warning);
    };
    row("Info.plist", "cannot read what the backup says");
    row("Manifest.plist", "cannot read whether the backup is");
    row("Manifest.db", "cannot read the backup's index");
}

void TestBackupFolder::brokenPartsAreWarnedOf()
{
    QFETCH(QString, name);
    QFETCH(QString, warning);
    const QVector<IndexedFile> files{{Home, Sms}};
    QVERIFY(put(BackupLayout::Folders, files.first()) && writeLists());
    QStringList warnings = read().warnings;
    QCOMPARE(warnings.size(), 1);
    QVERIFY(warnings.first().startsWith(QStringLiteral("the backup has neither Manifest.db")));
    QVERIFY(makeManifestDatabase(at("Manifest.db"), files));
    QCOMPARE(read().warnings, QStringList());
    QVERIFY(writeFile(at(name), "neither of them"));
    const BackupContents contents = read();
    QCOMPARE(contents.warnings.size(), 1);
    QVERIFY2(contents.warnings.first().startsWith(warning), qPrintable(contents.warnings.first()));
    QVERIFY(contents.warnings.first().endsWith(at(name)));
    QCOMPARE(contents.databases.size(), 1);
    QCOMPARE(contents.hasDevice, name != QStringLiteral("Info.plist"));
    // So is a link that leads nowhere.
    QVERIFY(QFile::remove(at(name)) && QFile::link(at("nowhere"), at(name)));
    QCOMPARE(read().warnings.size(), 1);
}

QTEST_APPLESS_MAIN(TestBackupFolder)
#include "tst_backupfolder.moc"
