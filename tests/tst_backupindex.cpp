#include "api/backupindex.h"
#include "samples/backupsample.h"
#include "samples/sampledatabase.h"
#include "tests/support/testfiles.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

Q_DECLARE_METATYPE(BackupIndexState)
Q_DECLARE_METATYPE(BackupLayout)

namespace {

const QString Chats = QStringLiteral("AppDomain-com.tencent.xin");

QString path(int number)
{
    return QStringLiteral("Documents/%1/file.sqlite").arg(number);
}

/// Files of two domains in turn, and a folder that is in the domain of the first.
QVector<IndexedFile> someFiles(int count)
{
    QVector<IndexedFile> files{{Chats, QStringLiteral("Documents"), 0, true}};
    for (int i = 0; i < count; ++i) {
        files.append({i % 2 == 0 ? Chats : QStringLiteral("HomeDomain"), path(i), 1000 + i});
    }
    return files;
}

} // namespace

class TestBackupIndex : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void composedAndDecomposedLettersNameTheSameFile();
    void locations();
    void listsTheFilesOfADomain_data();
    void listsTheFilesOfADomain();
    void states_data();
    void states();
    void theListStandsInForABrokenDatabase();
    void quotesInTheDomain();
    void theNameIsComputedWhateverTheIndexSays();
    void cutListGivesTheFilesInFrontOfTheCut();
    void linksAreNoFiles();
    void damagedPagesAreNeverPassedOver();
    void damagedIndexNeverInvents_data();
    void damagedIndexNeverInvents();

private:
    QString file(const char *name) const { return m_dir->filePath(QLatin1String(name)); }
    BackupIndexState read(const QString &domain = Chats)
    {
        return readBackupIndex(m_dir->path(), domain, &m_files);
    }
    QStringList paths() const;

    std::unique_ptr<QTemporaryDir> m_dir;
    QVector<BackupFile> m_files;
};

QStringList TestBackupIndex::paths() const
{
    QStringList found;
    for (const BackupFile &file : m_files) {
        found.append(file.relativePath);
    }
    return found;
}

void TestBackupIndex::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_files = {{QString(), QString(), QStringLiteral("from the last call")}};
}

void TestBackupIndex::composedAndDecomposedLettersNameTheSameFile()
{
    const QString domain = QStringLiteral("HomeDomain");
    const QString composed = backupFileName(domain, QStringLiteral("\u00E9.db"));
    QCOMPARE(composed, backupFileName(domain, QStringLiteral("e\u0301.db")));
    // SHA-1 of the bytes "HomeDomain-e", CC 81, ".db".
    QCOMPARE(composed, QStringLiteral("418384373b3fc539c4c30fb886de453cba7a51e1"));
}

void TestBackupIndex::locations()
{
    QStringList names;
    for (const BackupLocation &location : backupLocations()) {
        names.append(QString::number(location.type)
                     + QLatin1Char(location.isInWholeScan ? '+' : '-')
                     + backupFileName(location.domain, location.relativePath).left(8));
    }
    QCOMPARE(names.join(QLatin1Char(' ')),
             QStringLiteral("0+31bb7ba8 1+3d0d7e5f 2+2b2b0084 3+2041457d 4+ca3bc056 5+d1f062e2 "
                            "7+e74113c1 7+1a0e7afc 6+1b6b187a 2-5a4935c7 2-81b7fe4b 8-4f98687d "
                            "6-7c7fba66"));
}

void TestBackupIndex::listsTheFilesOfADomain_data()
{
    QTest::addColumn<BackupLayout>("layout");
    QTest::newRow("Manifest.mbdb") << BackupLayout::Flat;
    QTest::newRow("Manifest.db") << BackupLayout::Folders;
}

void TestBackupIndex::listsTheFilesOfADomain()
{
    QFETCH(BackupLayout, layout);
    QVERIFY(writeBackupIndex(m_dir->path(), layout, someFiles(5)));
    QCOMPARE(read(), BackupIndexState::Read);
    QCOMPARE(paths(), (QStringList{path(0), path(2), path(4)}));
    for (const BackupFile &file : qAsConst(m_files)) {
        QCOMPARE(file.domain, Chats);
        QCOMPARE(file.name, sampleBackupName(BackupLayout::Flat, {Chats, file.relativePath}));
    }
    QCOMPARE(read(QStringLiteral("OtherDomain")), BackupIndexState::Read);
    QVERIFY(m_files.isEmpty());
}

void TestBackupIndex::states_data()
{
    QTest::addColumn<QByteArray>("database");
    QTest::addColumn<QByteArray>("list");
    QTest::addColumn<BackupIndexState>("state");
    const QByteArray list = manifestList({});
    const QByteArray text = "neither of them\n";
    const QByteArray none;
    QTest::newRow("no index") << none << none << BackupIndexState::Missing;
    QTest::newRow("encrypted") << randomBytes(4096) << none << BackupIndexState::LooksEncrypted;
    QTest::newRow("both are none") << randomBytes(4096) << text << BackupIndexState::LooksEncrypted;
    QTest::newRow("text") << text << none << BackupIndexState::NotAnIndex;
    QTest::newRow("list of text") << none << text << BackupIndexState::NotAnIndex;
    QTest::newRow("cut magic") << none << list.left(5) << BackupIndexState::NotAnIndex;
    QTest::newRow("later form") << none << QByteArray("mbdb\6\0", 6)
                                << BackupIndexState::NotAnIndex;
    QTest::newRow("empty list") << none << list << BackupIndexState::Read;
    QTest::newRow("list beside text") << text << list << BackupIndexState::Read;
}

void TestBackupIndex::states()
{
    QFETCH(QByteArray, database);
    QFETCH(QByteArray, list);
    QVERIFY(database.isNull() || writeFile(file("Manifest.db"), database));
    QVERIFY(list.isNull() || writeFile(file("Manifest.mbdb"), list));
    QTEST(read(), "state");
    QVERIFY(m_files.isEmpty());
    const QString nowhere = file("nowhere");
    QCOMPARE(readBackupIndex(nowhere, Chats, &m_files), BackupIndexState::Missing);
    QVERIFY(!QFileInfo::exists(nowhere));
}

void TestBackupIndex::theListStandsInForABrokenDatabase()
{
    QVERIFY(QDir().mkpath(file("Manifest.db")));
    QCOMPARE(read(), BackupIndexState::Unreadable);
    QVERIFY(writeFile(file("Manifest.mbdb"), manifestList(someFiles(1))));
    QCOMPARE(read(), BackupIndexState::Read);
    QCOMPARE(paths(), QStringList{path(0)});
    // A database of something else is no index, and a view is no list of files.
    QVERIFY(QDir().rmdir(file("Manifest.db")));
    QVERIFY(QFile::remove(file("Manifest.mbdb")));
    SampleDatabase db;
    QVERIFY(db.create(file("Manifest.db"))
            && db.exec(QStringLiteral("CREATE TABLE t (a); CREATE VIEW Files AS SELECT "
                                      "'AppDomain-com.tencent.xin' AS domain, 1 AS flags, "
                                      "'x' AS relativePath"))
            && db.close());
    QCOMPARE(read(), BackupIndexState::NotAnIndex);
    QVERIFY(m_files.isEmpty());
}

void TestBackupIndex::quotesInTheDomain()
{
    const QString domain = QStringLiteral("AppDomain-it's' OR 'a'='a");
    QVERIFY(makeManifestDatabase(file("Manifest.db"),
                                 someFiles(3) + QVector<IndexedFile>{{domain, path(9)}}));
    QCOMPARE(read(domain), BackupIndexState::Read);
    QCOMPARE(paths(), QStringList{path(9)});
}

void TestBackupIndex::theNameIsComputedWhateverTheIndexSays()
{
    QVERIFY(makeManifestDatabase(file("Manifest.db"), someFiles(1)));
    SampleDatabase db;
    QVERIFY(db.open(file("Manifest.db"))
            && db.exec(QStringLiteral("UPDATE Files SET fileID = '../../etc/passwd', "
                                      "relativePath = '../../etc/passwd' WHERE flags = 1"))
            && db.close());
    QCOMPARE(read(), BackupIndexState::Read);
    QCOMPARE(m_files.size(), 1);
    QCOMPARE(m_files.first().name,
             sampleBackupName(BackupLayout::Flat, {Chats, QStringLiteral("../../etc/passwd")}));
}

void TestBackupIndex::cutListGivesTheFilesInFrontOfTheCut()
{
    const QVector<IndexedFile> files = someFiles(9);
    const QByteArray whole = manifestList(files);
    QVector<int> ends;
    for (int count = 0; count <= files.size(); ++count) {
        ends.append(manifestList(files.mid(0, count)).size());
    }
    for (int size = 0; size <= whole.size(); ++size) {
        QFile::remove(file("Manifest.mbdb"));
        QVERIFY(writeFile(file("Manifest.mbdb"), whole.left(size)));
        const auto state = read();
        const BackupIndexState whenRead =
            ends.contains(size) ? BackupIndexState::Read : BackupIndexState::ReadInPart;
        QCOMPARE(state, size < ends.first() ? BackupIndexState::NotAnIndex : whenRead);
        int expected = 0; // records whole in front of the cut: a folder, then every second one
        for (int record = 2; record < ends.size(); record += 2) {
            expected += ends.at(record) <= size ? 1 : 0;
        }
        QCOMPARE(m_files.size(), expected);
    }
}

void TestBackupIndex::linksAreNoFiles()
{
    QByteArray list = manifestList({{Chats, path(1)}, {Chats, path(2)}});
    const QByteArray fileMode("\x81\xA4");
    QCOMPARE(list.count(fileMode), 2);
    list.replace(list.indexOf(fileMode), 2, QByteArray("\xA1\xFF"));
    QVERIFY(writeFile(file("Manifest.mbdb"), list));
    QCOMPARE(read(), BackupIndexState::Read);
    QCOMPARE(paths(), QStringList{path(2)});
}

/// Nobody would look for what is missing.
void TestBackupIndex::damagedPagesAreNeverPassedOver()
{
    constexpr int PageSize = 4096;
    QVERIFY(writeBackupIndex(m_dir->path(), BackupLayout::Folders, someFiles(400)));
    QCOMPARE(read(), BackupIndexState::Read);
    const int all = m_files.size();
    const QByteArray whole = readFile(file("Manifest.db"));
    QMap<BackupIndexState, int> pages;
    for (int page = PageSize; page < whole.size(); page += PageSize) {
        QVERIFY(writeFile(file("Manifest.db"),
                          QByteArray(whole).replace(page, PageSize, QByteArray(PageSize, 'x'))));
        const BackupIndexState state = read();
        QVERIFY(m_files.size() <= all);
        QVERIFY(state != BackupIndexState::Read || m_files.size() == all);
        ++pages[state];
    }
    // Damage to SQLite's own index of the table takes nothing from the list.
    QVERIFY(pages[BackupIndexState::Read] > 1 && pages[BackupIndexState::ReadInPart] > 1);
}

void TestBackupIndex::damagedIndexNeverInvents_data()
{
    listsTheFilesOfADomain_data();
}

void TestBackupIndex::damagedIndexNeverInvents()
{
    QFETCH(BackupLayout, layout);
    QVERIFY(writeBackupIndex(m_dir->path(), layout, someFiles(60)));
    const QString path = file(layout == BackupLayout::Flat ? "Manifest.mbdb" : "Manifest.db");
    const QByteArray whole = readFile(path);
    QRandomGenerator random(11);
    for (int round = 0; round < 300; ++round) {
        QByteArray bytes = whole;
        for (int flips = random.bounded(1, 9); flips > 0; --flips) {
            bytes[int(random.bounded(bytes.size()))] = char(random.generate());
        }
        QFile::remove(path); // to write a file over takes some file systems a while
        QVERIFY(writeFile(path, round % 3 == 0 ? bytes.left(random.bounded(bytes.size())) : bytes));
        read();
        QVERIFY(m_files.size() <= 61);
        for (const BackupFile &file : qAsConst(m_files)) {
            QCOMPARE(file.name, backupFileName(Chats, file.relativePath));
        }
    }
}

QTEST_APPLESS_MAIN(TestBackupIndex)
#include "tst_backupindex.moc"
