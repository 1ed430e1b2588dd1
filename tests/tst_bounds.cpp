#include "samples/samplerandom.h"
#include "tests/support/databaseimage.h"
#include "tests/support/hostiledatabase.h"
#include "tests/support/kindsamples.h"
#include "tests/support/measuredscan.h"
#include "tests/support/testfiles.h"
#include "tests/support/walbuilder.h"

#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>

namespace {

/// Bounds are of processor time, so that other processes do not count. Sanitizers and debug builds
/// take many times longer: for them the files are smaller, and only what the scans do counts.
#if defined(__SANITIZE_ADDRESS__) || !defined(__OPTIMIZE__)
constexpr int FileSize = 128 * 1024;
constexpr unsigned EveryKind = 3; ///< each row takes every third kind, not all rows the same
constexpr double MostSeconds = 60;
constexpr bool IsMemoryMeasured = false;
#else
constexpr int FileSize = 1024 * 1024;
constexpr unsigned EveryKind = 1;
constexpr double MostSeconds = 5;
constexpr bool IsMemoryMeasured = true;
#endif
constexpr double MostMebibytes = 64;
constexpr qint64 LongText = 400000;

/// A hostile database, and its log if it has one.
struct Hostile
{
    QByteArray database;
    QByteArray log;
};

/// What the files are made of.
struct Ground
{
    const KindSample *kind;
    QString path;

    QByteArray sound(int pageSize) const { return kindSampleOfPages(*kind, path, pageSize); }
};

/// All texts of all rows, each in turn far longer than it is.
QVector<LongRecord> allLongRecords(const QByteArray &database, qint64 length)
{
    QVector<LongRecord> records;
    const QVector<SampleRow> rows = firstRows(database);
    for (const SampleRow &row : rows) {
        records += withLongTexts(row.record, length);
    }
    return records;
}

/// Pages of nothing but beginnings of rows, of each of which a text goes on to the page's end.
Hostile overlappingTexts(const Ground &ground)
{
    constexpr int PageSize = 65536;
    const QByteArray sound = ground.sound(PageSize);
    HostileDatabase hostile(sound);
    const QVector<LongRecord> records = allLongRecords(sound, PageSize / 2);
    int next = 0;
    hostile.fillUp(hostile.bytes().size() + FileSize, [&] {
        const QByteArray cell = "1111\x01" + records.at(next++ % records.size()).header;
        return cell.repeated(PageSize / cell.size());
    });
    return {hostile.bytes(), {}};
}

/// Pages of the bytes of record headers, in any order.
Hostile headerNoise(const Ground &ground)
{
    constexpr int PageSize = 65536;
    const QByteArray sound = ground.sound(PageSize);
    HostileDatabase hostile(sound);
    QByteArray bytes(8, '\0');
    for (const LongRecord &record : allLongRecords(sound, PageSize / 4)) {
        bytes += record.header;
    }
    SampleRandom random(1);
    hostile.fillUp(hostile.bytes().size() + FileSize, [&] {
        QByteArray page;
        while (page.size() < PageSize) {
            const int start = random.number(0, bytes.size());
            page += bytes.mid(start, random.number(1, 30));
        }
        return page;
    });
    return {hostile.bytes(), {}};
}

/// Each page is full of one byte.
Hostile everyByte(const Ground &ground)
{
    HostileDatabase hostile(ground.sound(1024));
    int byte = 0;
    hostile.fillUp(FileSize, [&] { return QByteArray(1024, char(byte++)); });
    return {hostile.bytes(), {}};
}

/// True where the headers of rows fit into what a small page keeps of a long payload.
bool fitSmallPages(const Ground &ground)
{
    constexpr int LocalBytes = 39;
    const QVector<LongRecord> records = allLongRecords(ground.sound(512), LongText);
    return std::all_of(records.cbegin(), records.cend(),
                       [](const LongRecord &record) { return record.header.size() <= LocalBytes; });
}

/// Rows of every table that share one overflow chain. `own` is told which pages they stand on.
template<typename Own> Hostile sharedChain(const Ground &ground, Own own)
{
    const int pageSize = fitSmallPages(ground) ? 512 : 4096;
    const QByteArray sound = ground.sound(pageSize);
    HostileDatabase hostile(sound);
    hostile.addChain(int(LongText / pageSize) + 20);
    const QVector<SampleRow> rows = firstRows(sound);
    const int pagesEach =
        (FileSize - hostile.bytes().size()) / pageSize / std::max(rows.size(), 1) - 2;
    qint64 rowid = 1000;
    for (const SampleRow &row : rows) {
        const QVector<LongRecord> records = withLongTexts(row.record, LongText);
        QVector<Branch> leaves;
        for (int i = 0; i < pagesEach && !records.isEmpty(); ++i) {
            QVector<QByteArray> cells;
            for (int space = pageSize - 8; space > 0;) {
                const QByteArray cell = hostile.cell(++rowid, records.at(i % records.size()));
                space -= cell.size() + 2;
                if (space >= 0) {
                    cells.append(cell);
                }
            }
            leaves.append({hostile.addLeaf(cells), rowid});
        }
        if (!leaves.isEmpty()) {
            own(&hostile, row.table, leaves);
        }
    }
    return {hostile.bytes(), {}};
}

Hostile sharedChainOfDeletedRows(const Ground &ground)
{
    return sharedChain(ground, [](HostileDatabase *, const QString &, const QVector<Branch> &) {});
}

Hostile sharedChainOfLiveRows(const Ground &ground)
{
    QString sql;
    const auto own = [&sql](HostileDatabase *hostile, const QString &table,
                            const QVector<Branch> &leaves) {
        sql += rootPageSql(hostile->addTree(leaves), table);
    };
    writeFile(ground.path, sharedChain(ground, own).database);
    return {changeSchema(ground.path, sql), {}};
}

/// A log whose only commit empties every table.
QByteArray emptyingLog(const QByteArray &database)
{
    const int pageSize = HostileDatabase(database).pageSize();
    WalBuilder log{quint32(pageSize)};
    for (const quint32 root : rootPages(database)) {
        log.frame(root, QByteArray("\x0d\0\0\0\0\0\0\0", 8));
    }
    log.frame(1, database.left(pageSize), quint32(database.size() / pageSize));
    return log.bytes();
}

Hostile sharedChainInALog(const Ground &ground)
{
    const Hostile hostile = sharedChainOfLiveRows(ground);
    return {hostile.database, emptyingLog(hostile.database)};
}

/// Leaf pages with as many cell pointers as fit, all to the same cell.
Hostile pointersToOneCell(const Ground &ground)
{
    constexpr int PageSize = 65536;
    const QByteArray sound = ground.sound(PageSize);
    HostileDatabase hostile(sound);
    QString sql;
    const QVector<SampleRow> rows = firstRows(sound);
    for (const SampleRow &row : rows) {
        DatabaseImage image(PageSize, 2);
        image.leafPage(2, {leafCell(row.rowid, row.record)});
        const int cells = 32000;
        image.put16(PageSize + 3, cells);
        for (int i = 1; i < cells; ++i) {
            image.putBytes(PageSize + 8 + 2 * i, image.bytes().mid(PageSize + 8, 2));
        }
        QVector<Branch> leaves;
        const int pages = FileSize / PageSize / rows.size() + 1;
        for (int i = 0; i < pages; ++i) {
            leaves.append({hostile.add(image.bytes().mid(PageSize)), row.rowid + i});
        }
        sql += rootPageSql(hostile.addTree(leaves), row.table);
    }
    writeFile(ground.path, hostile.bytes());
    const QByteArray bytes = changeSchema(ground.path, sql);
    return {bytes, isComparedInLogs(*ground.kind) ? emptyingLog(bytes) : QByteArray()};
}

/// Every table begins at `root`, which `addPages` adds.
template<typename AddPages> Hostile withRoot(const Ground &ground, int pageSize, AddPages addPages)
{
    HostileDatabase hostile(ground.sound(pageSize));
    const quint32 root = addPages(&hostile);
    writeFile(ground.path, hostile.bytes());
    const QByteArray bytes = changeSchema(ground.path, rootPageSql(root));
    return {bytes, isComparedInLogs(*ground.kind) ? emptyingLog(bytes) : QByteArray()};
}

Hostile fanOut(const Ground &ground)
{
    return withRoot(ground, 4096, [](HostileDatabase *hostile) {
        const quint32 root = hostile->nextPage();
        for (int i = 1; i <= 10; ++i) {
            hostile->addInterior(QVector<quint32>(200, hostile->nextPage() + 1));
        }
        hostile->addLeaf({});
        return root;
    });
}

Hostile deepChain(const Ground &ground)
{
    return withRoot(ground, 512, [](HostileDatabase *hostile) {
        const quint32 root = hostile->nextPage();
        for (int i = 0; i < 30000; ++i) {
            hostile->addInterior({hostile->nextPage() + 1});
        }
        hostile->addLeaf({});
        return root;
    });
}

/// Trunk page after trunk page, each of which lists all pages.
Hostile trunks(const Ground &ground)
{
    HostileDatabase hostile(ground.sound(512));
    const quint32 first = hostile.nextPage();
    hostile.fillUp(FileSize, [&] {
        DatabaseImage page;
        page.put32(0, hostile.nextPage() + 1).put32(4, 126);
        for (quint32 i = 0; i < 126; ++i) {
            page.put32(8 + 4 * int(i), 2 + (hostile.nextPage() * 126 + i) % first);
        }
        return page.bytes();
    });
    hostile.put32(32, first);
    return {hostile.bytes(), {}};
}

/// Writes `sql` into the schema, with %1 for the bytes that are left for each table.
Hostile withSchema(const Ground &ground, const QString &sql, int size)
{
    const int tables = rootPages(ground.sound(1024)).size();
    const QByteArray bytes = changeSchema(ground.path, sql.arg(size / tables));
    return {bytes, {}};
}

Hostile manyTables(const Ground &ground, int size)
{
    return withSchema(ground,
                      QStringLiteral("insert into sqlite_master with recursive n (i) as"
                                     " (select 1 union all select i + 1 from n where i < 9999)"
                                     " select type, name || i, tbl_name || i, rootpage,"
                                     " replace(sql, name, name || i) from sqlite_master t, n"
                                     " where type = 'table' and sql not null"
                                     " and i < %1 / (length(sql) + 40);"),
                      size);
}

Hostile manyTables(const Ground &ground)
{
    return manyTables(ground, FileSize * 9 / 10);
}

Hostile tinySchemaRows(const Ground &ground)
{
    return withSchema(ground,
                      QStringLiteral("insert into sqlite_master with recursive n (i) as"
                                     " (select 1 union all select i + 1 from n where i < 60000)"
                                     " select 'x', '', '', 0, '' from n where %1;"),
                      FileSize);
}

Hostile manyColumns(const Ground &ground)
{
    const Hostile columns =
        withSchema(ground,
                   QStringLiteral("update sqlite_master set sql = rtrim(sql, ') ')"
                                  " || replace(hex(zeroblob(%1)), '00', ',a') || ')'"
                                  " where type = 'table';"),
                   FileSize / 8);
    HostileDatabase hostile(columns.database);
    int byte = 0;
    hostile.fillUp(FileSize, [&] {
        const QByteArray page(1024, '\0');
        return ++byte % 2 ? page : QByteArray(1024, char(byte / 2));
    });
    return {hostile.bytes(), {}};
}

/// Each commit seems to change a schema of many tables.
Hostile schemaInALog(const Ground &ground)
{
    Hostile hostile = manyTables(ground, FileSize / 2);
    const quint32 pages = quint32(hostile.database.size() / 1024);
    WalBuilder log(1024);
    QByteArray page = hostile.database.left(1024);
    while (log.bytes().size() < FileSize / 2) {
        page[200] = char(page.at(200) + 1); // between the cell pointers and the cells
        log.frame(1, page, pages);
    }
    hostile.log = log.bytes();
    return hostile;
}

/// A tree of rows that differ in their last bytes.
quint32 addRows(HostileDatabase *hostile, const SampleRow &row, int size, qint64 firstRowid)
{
    QVector<Branch> leaves;
    qint64 rowid = firstRowid;
    for (int left = size; left > 0; left -= hostile->pageSize()) {
        QVector<QByteArray> cells;
        for (int space = hostile->pageSize() - 8; space >= row.record.size() + 8;) {
            QByteArray record = row.record;
            record.replace(record.size() - 4, 4, QByteArray::number(1000 + ++rowid).right(4));
            cells.append(leafCell(rowid, record));
            space -= cells.last().size() + 2;
        }
        leaves.append({hostile->addLeaf(cells), rowid});
    }
    return hostile->addTree(leaves);
}

/// Each commit gives the table with the longest rows another tree, of the two that `addTree` makes.
template<typename AddTree> Hostile exchangedTrees(const Ground &ground, AddTree addTree)
{
    constexpr int PageSize = 1024;
    const QByteArray sound = ground.sound(PageSize);
    const QVector<SampleRow> rows = firstRows(sound);
    const SampleRow &row =
        *std::max_element(rows.cbegin(), rows.cend(), [](const SampleRow &a, const SampleRow &b) {
            return a.record.size() < b.record.size() && b.record.size() < PageSize - 60;
        });
    HostileDatabase hostile(sound);
    QVector<QByteArray> roots;
    quint32 root = 0;
    for (int tree = 0; tree < 2; ++tree) {
        root = addTree(&hostile, row, tree * 100000);
        roots.append(hostile.bytes().mid(int(root - 1) * PageSize, PageSize));
    }
    writeFile(ground.path, hostile.bytes());
    const QByteArray bytes = changeSchema(ground.path, rootPageSql(root, row.table));
    WalBuilder log(PageSize);
    for (int i = 0; log.bytes().size() < FileSize / 2; ++i) {
        log.frame(root, roots.at(i % 2), quint32(bytes.size() / PageSize));
    }
    return {bytes, log.bytes()};
}

Hostile treesInALog(const Ground &ground)
{
    return exchangedTrees(ground, [](HostileDatabase *hostile, const SampleRow &row, qint64 rowid) {
        return addRows(hostile, row, FileSize / 4, rowid);
    });
}

/// Of many interior pages, and few rows.
Hostile interiorPagesInALog(const Ground &ground)
{
    return exchangedTrees(ground, [](HostileDatabase *hostile, const SampleRow &row, qint64 rowid) {
        quint32 root = addRows(hostile, row, hostile->pageSize(), rowid);
        for (int left = FileSize / 4; left > 0; left -= hostile->pageSize()) {
            root = hostile->addInterior({root});
        }
        return root;
    });
}

using Maker = Hostile (*)(const Ground &);

} // namespace

Q_DECLARE_METATYPE(Maker)

/// Scans of hostile files of 1 MiB, each in a process of its own.
class TestBounds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void scans_data();
    void scans();

private:
    QTemporaryDir m_dir{QStringLiteral("/dev/shm/boundsXXXXXX")};
};

void TestBounds::scans_data()
{
    QTest::addColumn<Maker>("make");
    QTest::newRow("texts that overlap") << Maker(overlappingTexts);
    QTest::newRow("bytes of headers") << Maker(headerNoise);
    QTest::newRow("every byte") << Maker(everyByte);
    QTest::newRow("deleted rows that share a chain") << Maker(sharedChainOfDeletedRows);
    QTest::newRow("rows that share a chain") << Maker(sharedChainOfLiveRows);
    QTest::newRow("rows in a log that share a chain") << Maker(sharedChainInALog);
    QTest::newRow("cell pointers to one cell") << Maker(pointersToOneCell);
    QTest::newRow("fan-out without a cycle") << Maker(fanOut);
    QTest::newRow("chain of interior pages") << Maker(deepChain);
    QTest::newRow("trunk pages that list all") << Maker(trunks);
    QTest::newRow("many tables") << Maker(manyTables);
    QTest::newRow("tiny rows in the schema") << Maker(tinySchemaRows);
    QTest::newRow("many columns") << Maker(manyColumns);
    QTest::newRow("log that changes the schema") << Maker(schemaInALog);
    QTest::newRow("log that changes trees") << Maker(treesInALog);
    QTest::newRow("log that changes interior pages") << Maker(interiorPagesInALog);
}

void TestBounds::scans()
{
    QFETCH(Maker, make);
    const QString path = m_dir.filePath(QStringLiteral("hostile.db"));
    const QString logPath = path + QStringLiteral("-wal");
    QStringList tooMuch;
    unsigned number = qHash(QByteArray(QTest::currentDataTag()));
    for (const KindSample &kind : kindSamples()) {
        if (++number % EveryKind != 0) {
            continue;
        }
        const Hostile hostile = make({&kind, path});
        QVERIFY2(!hostile.database.isEmpty(), kind.name);
        QVERIFY(writeFile(path, hostile.database) && writeFile(logPath, hostile.log));
        const qint64 size = hostile.database.size() + hostile.log.size();
        QStringList logs{QString()};
        if (!hostile.log.isEmpty() && isComparedInLogs(kind)) {
            logs.append(logPath);
        }
        for (const QString &log : qAsConst(logs)) {
            const ScanCost cost = measureScan(kind.type, path, log, size);
            const QString line = QStringLiteral("%1%2: %3 s, %4 MiB, results %5 MiB")
                                     .arg(QLatin1String(kind.name))
                                     .arg(log.isEmpty() ? QString() : QStringLiteral(", log"))
                                     .arg(cost.seconds, 0, 'f', 2)
                                     .arg(cost.peakMebibytes, 0, 'f', 1)
                                     .arg(cost.resultMebibytes, 0, 'f', 1);
            if (qEnvironmentVariableIsSet("BOUNDS_REPORT")) {
                qInfo("%s", qPrintable(line));
            }
            if (cost.seconds < 0 || cost.seconds > MostSeconds
                || (IsMemoryMeasured && cost.peakMebibytes > MostMebibytes)) {
                tooMuch.append(line);
            }
        }
    }
    QVERIFY2(tooMuch.isEmpty(), qPrintable(tooMuch.join(QLatin1Char('\n'))));
}

QTEST_APPLESS_MAIN(TestBounds)
#include "tst_bounds.moc"
