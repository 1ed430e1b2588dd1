#include "engine/databasereader.h"
#include "engine/varint.h"
#include "samples/sampledatabase.h"
#include "tests/support/databaseimage.h"
#include "tests/support/testfiles.h"

#include <QTemporaryDir>
#include <QtTest>

class TestDatabaseReader : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void header_data();
    void header();
    void headerFields();
    void bitsForAnyNumberOfPages();
    void magicIsComparedByteByByte();
    void varintForward_data();
    void varintForward();
    void varintsBackward();
    void invalidVarintPutsTheDeviceBack();
    void leafPagesRightMostFirst();
    void hostileTrees_data();
    void hostileTrees();
    void deepTreeNeedsNoStack();
    void payloadsAroundTheSpillLimit_data();
    void payloadsAroundTheSpillLimit();
    void payloadOfUsableSizeMinus35CountsAsSpilling();
    void pagesWithoutUsableBytesHaveLocalPayloads();
    void brokenOverflowChains_data();
    void brokenOverflowChains();
    void recordHeaderThatSpills();
    void freelist();
    void hostileFreelists();
    void schemaOfRealDatabase();
    void schemaFailures_data();
    void schemaFailures();
    void columnLists_data();
    void columnLists();

private:
    QTemporaryDir m_dir;
};

namespace {

/// A reader of an image, of which it has read the header.
struct ImageReader
{
    explicit ImageReader(const QByteArray &bytes)
        : device(bytes)
        , reader(&device)
        , isRead(reader.readHeader())
    {
    }
    explicit ImageReader(const DatabaseImage &image)
        : ImageReader(image.bytes())
    {
    }
    DatabaseReader *operator->() { return &reader; }

    ImageDevice device;
    DatabaseReader reader;
    bool isRead;
};

/// The rows of the table, once the database is opened.
QVector<RowRef> rowsOf(DatabaseReader *reader, const char *table)
{
    QVector<RowRef> rows;
    const TableSchema *schema = reader->table(QLatin1String(table));
    return schema && reader->readLeafRows(reader->collectLeafPages(quint32(schema->rootPage)), rows)
               ? rows
               : QVector<RowRef>();
}

} // namespace

void TestDatabaseReader::header_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("accepted");
    const auto image = [](int pages, int encoding) {
        return DatabaseImage(512, pages).put32(56, quint32(encoding)).bytes();
    };
    QTest::newRow("one page") << image(1, 1) << true;
    QTest::newRow("empty database") << image(1, 0) << true;
    QTest::newRow("one page, any encoding") << image(1, 99) << true;
    QTest::newRow("two pages without encoding") << image(2, 0) << false;
    QTest::newRow("two pages, UTF-16be") << image(2, 3) << true;
    QTest::newRow("two pages, unknown encoding") << image(2, 4) << false;
    QTest::newRow("shorter than a page") << image(1, 1).left(511) << false;
    QTest::newRow("page size 0") << DatabaseImage().put16(16, 0).bytes() << false;
    QTest::newRow("page size 65536") << DatabaseImage(65536).bytes() << true;
    QTest::newRow("page size 65536, cut") << DatabaseImage(65536).bytes().left(65535) << false;
    QTest::newRow("no power of two") << DatabaseImage(1000, 2).bytes() << true;
    QTest::newRow("nothing") << QByteArray() << false;
}

void TestDatabaseReader::header()
{
    QFETCH(QByteArray, bytes);
    QTEST(ImageReader(bytes).isRead, "accepted");
}

void TestDatabaseReader::headerFields()
{
    DatabaseImage image(1024, 3);
    image.put8(19, 2).put8(20, 32).put32(28, 77).put32(32, 3).put32(52, 1).put32(56, 2);
    ImageReader reader(image.bytes() + QByteArray(1000, 'x'));
    QVERIFY(reader.isRead);
    const DatabaseHeader &header = reader->headerInfo();
    QVERIFY(header.walMode && header.autoVacuum);
    QCOMPARE(header.pageSize, 1024);
    QCOMPARE(header.pageCount, 3u); // by the file's size, not by the 77 in its header
    QCOMPARE(header.usableSize(), 992);
    QCOMPARE(header.firstFreelistTrunk, 3u);
    QCOMPARE(header.textEncoding, 2);
}

/// A bit array of the largest size that an int can tell cannot be made.
void TestDatabaseReader::bitsForAnyNumberOfPages()
{
    DatabaseHeader header;
    header.pageCount = 7;
    QCOMPARE(header.pageBits(), 8);
    header.pageCount = 0xFFFFFFFF;
    const int mostBytes = INT_MAX / 8;
    QVERIFY(header.pageBits() > 0 && header.pageBits() + 1 <= 8 * mostBytes);
}

void TestDatabaseReader::magicIsComparedByteByByte()
{
    for (int i = 0; i < 16; ++i) {
        QByteArray bytes = DatabaseImage().bytes();
        bytes[i] = char(bytes[i] ^ 1);
        QVERIFY2(!ImageReader(bytes).isRead, qPrintable(QString::number(i)));
    }
}

void TestDatabaseReader::varintForward_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("consumed");
    QTest::addColumn<qint64>("value");
    QTest::newRow("one byte") << QByteArray("\x7F") << 1 << qint64(127);
    QTest::newRow("two bytes") << QByteArray("\x81\x00", 2) << 2 << qint64(128);
    QTest::newRow("nine bytes, 7 bits each")
        << QByteArray("\x81\x80\x80\x80\x80\x80\x80\x80\x01") << 9 << ((qint64(1) << 56) | 1);
    QTest::newRow("ninth byte with high bit") << QByteArray(9, '\xFF') << 0 << qint64(0);
    QTest::newRow("cut") << QByteArray("\x81\x80") << 0 << qint64(0);
    QTest::newRow("nothing") << QByteArray() << 0 << qint64(0);
}

void TestDatabaseReader::varintForward()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, consumed);
    ImageDevice device(bytes);
    QVector<qint64> values{42};
    QCOMPARE(readVarints(device, 1, values, false, true), consumed);
    QCOMPARE(device.pos(), qint64(consumed));
    if (consumed == 0) {
        QVERIFY(values.isEmpty());
    } else {
        QFETCH(qint64, value);
        QCOMPARE(values, (QVector<qint64>{42, value}));
    }
}

void TestDatabaseReader::varintsBackward()
{
    ImageDevice device(QByteArray("\x05\x81\x82\x03\x07\x99", 6));
    QVector<qint64> values{42};
    device.seek(5);
    QCOMPARE(readVarints(device, 2, values, false, false), 4);
    QCOMPARE(values, (QVector<qint64>{(1 << 14) | (2 << 7) | 3, 7, 42}));
    QCOMPARE(device.pos(), 1);
    // Ends at the start of the data, then runs out.
    QCOMPARE(readVarints(device, 1, values, true, false), 1);
    QCOMPARE(values.size(), 3);
    QCOMPARE(readVarints(device, 1, values, false, false), 0);
    QVERIFY(values.isEmpty());
    // The last byte of a varint never has its high bit set.
    device.seek(6);
    QCOMPARE(readVarints(device, 1, values, false, false), 0);
    QCOMPARE(device.pos(), 6);
    ImageDevice tooLong(QByteArray(9, '\x80') + '\x01');
    tooLong.seek(10);
    QCOMPARE(readVarints(tooLong, 1, values, false, false), 0);
}

void TestDatabaseReader::invalidVarintPutsTheDeviceBack()
{
    // More varints than one read of the device takes, the last one invalid.
    ImageDevice device("x" + QByteArray(300, '\x01') + QByteArray(9, '\xFF'));
    QVector<qint64> values;
    device.seek(1);
    QCOMPARE(readVarints(device, 300, values, true, true), 300);
    QVERIFY(values.isEmpty());
    device.seek(1);
    QCOMPARE(readVarints(device, 300, values, false, true), 300);
    QCOMPARE(values, QVector<qint64>(300, 1));
    device.seek(1);
    QCOMPARE(readVarints(device, 301, values, false, true), 0);
    QCOMPARE(device.pos(), 1);
    QVERIFY(values.isEmpty());
}

void TestDatabaseReader::leafPagesRightMostFirst()
{
    DatabaseImage image(512, 8);
    image.interiorPage(2, {3, 4}, 5).interiorPage(5, {6}, 7);
    for (const int leaf : {3, 4, 6, 7}) {
        image.leafPage(leaf, {});
    }
    ImageReader reader(image);
    QCOMPARE(reader->collectLeafPages(2), (QVector<quint32>{7, 6, 3, 4}));
    QCOMPARE(reader->collectLeafPages(6), (QVector<quint32>{6}));
    QCOMPARE(reader->collectLeafPages(8), QVector<quint32>()); // no b-tree page
}

void TestDatabaseReader::hostileTrees_data()
{
    QTest::addColumn<QByteArray>("bytes");
    DatabaseImage base(512, 14);
    base.leafPage(3, {});
    const auto row = [](const char *name, const DatabaseImage &image) {
        QTest::newRow(name) << image.bytes();
    };
    const auto treeOver = [&base](const QVector<quint32> &children) {
        return DatabaseImage(base).interiorPage(2, children, 3);
    };
    row("page lists itself", treeOver({2}));
    row("cycle of two", treeOver({4}).interiorPage(4, {}, 2));
    row("leaf listed twice", treeOver({3}));
    row("page 0", treeOver({0}));
    row("page beyond the file", treeOver({99}));
    row("huge page number", treeOver({0xFFFFFFFF}));
    row("index page", treeOver({4}).put8(3 * 512, 10));
    row("cell pointer beyond the page", treeOver({3}).put16(512 + 12, 600));
    row("cell count beyond the page", treeOver({3}).put16(512 + 3, 0xFFFF));
    DatabaseImage fanOut(2048, 14);
    for (int page = 2; page < 12; ++page) {
        fanOut.interiorPage(page, QVector<quint32>(200, quint32(page) + 1), quint32(page) + 1);
    }
    row("fan-out without a cycle", fanOut.leafPage(12, {}));
}

void TestDatabaseReader::hostileTrees()
{
    QFETCH(QByteArray, bytes);
    ImageReader reader(bytes);
    QVERIFY(reader.isRead);
    QCOMPARE(reader->collectLeafPages(2), QVector<quint32>());
}

void TestDatabaseReader::deepTreeNeedsNoStack()
{
    constexpr int Depth = 30000;
    DatabaseImage image(512, Depth + 2);
    for (int page = 2; page < Depth + 2; ++page) {
        image.interiorPage(page, {}, quint32(page) + 1);
    }
    image.leafPage(Depth + 2, {});
    ImageReader reader(image);
    QCOMPARE(reader->collectLeafPages(2), (QVector<quint32>{Depth + 2}));
}

void TestDatabaseReader::payloadsAroundTheSpillLimit_data()
{
    QTest::addColumn<int>("pageSize");
    for (const int pageSize : {512, 1024, 4096, 65536}) {
        QTest::newRow(QByteArray::number(pageSize).constData()) << pageSize;
    }
}

void TestDatabaseReader::payloadsAroundTheSpillLimit()
{
    QFETCH(int, pageSize);
    const QString path = m_dir.filePath(QStringLiteral("payloads%1.db").arg(pageSize));
    SampleOptions options;
    options.pageSize = pageSize;
    SampleDatabase db;
    QVERIFY(db.create(path, options) && db.exec(QStringLiteral("create table t (a, b, c)")));
    QVector<QByteArray> blobs;
    for (int size = pageSize - 60; size < pageSize + 8; ++size) {
        blobs.append(QByteArray(size, char('a' + size % 26)));
    }
    blobs.append(QByteArray(3 * pageSize + 5, 'z'));
    for (const QByteArray &blob : qAsConst(blobs)) {
        QVERIFY(db.run(QStringLiteral("insert into t values (?, ?, 'end')"), {QVariant(), blob}));
    }
    QVERIFY(db.close());

    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
    DatabaseReader reader(&file);
    QVERIFY(reader.open());
    QVector<RowRef> rows = rowsOf(&reader, "T");
    QCOMPARE(rows.size(), blobs.size());
    for (RowRef &row : rows) {
        const QByteArray expected = blobs[int(row.rowid) - 1];
        QByteArray payload;
        QByteArray bytes;
        QVERIFY(reader.readRowPayload(row, payload));
        QCOMPARE(payload.size(), row.payloadSize);
        QVERIFY(reader.buildRecordLayout(row));
        QCOMPARE(row.fields.size(), 3);
        QVERIFY(reader.readField(row, 0, bytes) && bytes.isEmpty());
        QVERIFY(reader.readField(row, 1, bytes));
        QCOMPARE(bytes, expected);
        QVERIFY(reader.readField(row, 2, bytes));
        QCOMPARE(bytes, QByteArray("end"));
        QVERIFY(!reader.readField(row, 3, bytes));
        QVERIFY(payload.endsWith(expected + "end"));
    }
}

void TestDatabaseReader::payloadOfUsableSizeMinus35CountsAsSpilling()
{
    DatabaseImage image(512, 2);
    image.put8(20, 12); // usable size 500
    const QByteArray payload = record({QByteArray(500 - 35 - 3, 'b')});
    image.leafPage(2, {leafCell(7, payload)});
    ImageReader reader(image);
    QCOMPARE(reader->localPayloadSize(464), 464);
    QCOMPARE(reader->localPayloadSize(465), 465 + 4);
    QVERIFY(reader->localPayloadSize(466) < 465);
    QVector<RowRef> rows;
    QVERIFY(reader->readLeafRows({2}, rows));
    QCOMPARE(rows.size(), 1);
    PageHeader header;
    QVector<quint16> pointers;
    QVERIFY(reader->readPageHeader(512, header) && reader->readCellPointers(1, pointers));
    QCOMPARE(pointers, QVector<quint16>{header.contentStart});
    QVERIFY(!reader->readCellPointers(9999, pointers));
    QCOMPARE(rows[0].payloadSize, 465);
    QCOMPARE(rows[0].localSize, 469);
    QByteArray read;
    QVERIFY(reader->readRowPayload(rows[0], read));
    QCOMPARE(read, payload);
}

void TestDatabaseReader::pagesWithoutUsableBytesHaveLocalPayloads()
{
    for (const int reserved : {252, 254, 255}) {
        DatabaseImage image(256, 4);
        image.put8(20, reserved).leafPage(2, {leafCell(1, record({QByteArray(99, 'x')}))});
        ImageReader reader(image);
        QVector<RowRef> rows;
        QVERIFY(reader->readLeafRows({2}, rows));
        QByteArray payload;
        QCOMPARE(reader->readRowPayload(rows[0], payload), reserved >= 252);
        QCOMPARE(payload.size(), rows[0].payloadSize);
    }
}

void TestDatabaseReader::brokenOverflowChains_data()
{
    QTest::addColumn<quint32>("first");
    QTest::addColumn<quint32>("second");
    QTest::addColumn<bool>("whole");
    QTest::newRow("sound") << 3u << 4u << true;
    QTest::newRow("ends early") << 3u << 0u << false;
    QTest::newRow("never begins") << 0u << 4u << false;
    QTest::newRow("cycle") << 3u << 3u << false;
    QTest::newRow("beyond the file") << 3u << 9u << false;
    QTest::newRow("far beyond the file") << 0xFFFFFFFFu << 4u << false;
}

void TestDatabaseReader::brokenOverflowChains()
{
    QFETCH(quint32, first);
    QFETCH(quint32, second);
    DatabaseImage image(512, 4);
    const QByteArray payload = record({QString(1200, QLatin1Char('t')), 5});
    const int local = ImageReader(image)->localPayloadSize(payload.size()) - 4;
    const QByteArray pointer("\0\0\0\0", 4);
    const QByteArray cell =
        varint(quint64(payload.size())) + varint(1) + payload.left(local) + pointer;
    image.leafPage(2, {cell}).put32(2 * 512 - 4, first);
    image.put32(2 * 512, second).putBytes(2 * 512 + 4, payload.mid(local, 508));
    image.putBytes(3 * 512 + 4, payload.mid(local + 508));
    ImageReader reader(image);
    QVector<RowRef> rows;
    QVERIFY(reader->readLeafRows({2}, rows));
    QByteArray read;
    QTEST(reader->readRowPayload(rows[0], read), "whole");
    QTEST(reader->buildRecordLayout(rows[0]), "whole");
    QTEST(read == payload, "whole");
    QTEST(!rows[0].fields.isEmpty(), "whole");
}

void TestDatabaseReader::recordHeaderThatSpills()
{
    const QString path = m_dir.filePath(QStringLiteral("header.db"));
    SampleOptions options;
    options.pageSize = 512;
    SampleDatabase db;
    QStringList columns;
    QStringList values;
    for (int i = 0; i < 700; ++i) {
        columns.append(QStringLiteral("c%1 integer").arg(i));
        values.append(QString::number(i));
    }
    QVERIFY(db.create(path, options));
    QVERIFY(db.exec(QStringLiteral("create table wide (%1)").arg(columns.join(QLatin1Char(',')))));
    QVERIFY(
        db.exec(QStringLiteral("insert into wide values (%1)").arg(values.join(QLatin1Char(',')))));
    QVERIFY(db.close());
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    DatabaseReader reader(&file);
    QVERIFY(reader.open()); // the statement spills as well
    const TableSchema *table = reader.table(QStringLiteral("wide"));
    QVERIFY(table);
    QCOMPARE(table->columns.size(), 700);
    QVector<RowRef> rows = rowsOf(&reader, "wide");
    QCOMPARE(rows.size(), 1);
    QVERIFY(reader.buildRecordLayout(rows[0]));
    QCOMPARE(rows[0].fields.size(), 700);
    QByteArray last;
    QVERIFY(reader.readField(rows[0], 699, last));
    QCOMPARE(last, QByteArray("\x02\xBB"));
}

void TestDatabaseReader::freelist()
{
    DatabaseImage image(512, 8);
    image.put32(32, 3).trunkPage(3, 6, {4, 5}, 2).trunkPage(6, 0, {8}, 1);
    ImageReader reader(image);
    const QVector<FreeRegion> regions = reader->freeRegions();
    const QVector<QVector<quint32>> expected{
        {3, 16, 496}, {4, 0, 512}, {5, 0, 512}, {6, 12, 500}, {8, 0, 512}};
    QCOMPARE(regions.size(), expected.size());
    for (int i = 0; i < regions.size(); ++i) {
        QCOMPARE((QVector<quint32>{regions[i].pageNo, regions[i].offset, regions[i].length}),
                 expected[i]);
    }
}

void TestDatabaseReader::hostileFreelists()
{
    const auto regionsOf = [](const DatabaseImage &image) {
        return ImageReader(image)->freeRegions().size();
    };
    DatabaseImage base(512, 6);
    base.put32(32, 3);
    QCOMPARE(regionsOf(DatabaseImage(base).trunkPage(3, 3, {4}, 1)), 2);
    QCOMPARE(regionsOf(DatabaseImage(base).trunkPage(3, 4, {}, 0).trunkPage(4, 3, {}, 0)), 2);
    QCOMPARE(regionsOf(DatabaseImage(base).trunkPage(3, 99, {0, 1, 4, 4, 77}, 5)), 2);
    // A trunk page that another one lists as a leaf still leads to its own leaves.
    QCOMPARE(regionsOf(DatabaseImage(base).trunkPage(3, 4, {4}, 1).trunkPage(4, 0, {5}, 1)), 4);
    QCOMPARE(regionsOf(DatabaseImage(base).trunkPage(3, 0, {4, 5}, 0xFFFFFFFF)), 3);
    QCOMPARE(regionsOf(DatabaseImage(base).put32(32, 0xFFFFFFFF)), 0);
}

void TestDatabaseReader::schemaOfRealDatabase()
{
    for (const char *encoding : {"UTF-8", "UTF-16le", "UTF-16be"}) {
        const QString path = m_dir.filePath(QStringLiteral("schema.db"));
        SampleOptions options;
        options.pageSize = 1024;
        options.encoding = encoding;
        SampleDatabase db;
        QVERIFY(db.create(path, options));
        QVERIFY(db.exec(QStringLiteral(
            "create table Accounts (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, name VARCHAR(255),"
            " kind TEXT DEFAULT ('none'), UNIQUE(name));"
            "create table chat_a (id integer primary key);"
            "create view v as select 1; create virtual table words using fts4(body);"
            "create trigger t after insert on Accounts begin select 1; end;")));
        QVERIFY(db.close());

        ImageDevice device(readFile(path));
        DatabaseReader reader(&device);
        QVERIFY2(reader.open(), encoding);
        const TableSchema *accounts = reader.table(QStringLiteral("ACCOUNTS"));
        QVERIFY(accounts);
        QCOMPARE(accounts->columns.size(), 3);
        QCOMPARE(accounts->columns[0].definition,
                 QStringLiteral("rowid integer primary key autoincrement"));
        QCOMPARE(accounts->columnIndex(QLatin1String("name")), 1);
        QCOMPARE(accounts->columnIndex(QLatin1String("kind")), 2);
        QCOMPARE(accounts->columnIndex(QLatin1String("id")), -1);
        QVERIFY(accounts->rootPage > 1);
        QCOMPARE(reader.tablesWithPrefix(QStringLiteral("CHAT_")).size(), 1);
        QCOMPARE(reader.table(QStringLiteral("words"))->rootPage, 0);
        QVERIFY(!reader.table(QStringLiteral("v")) && !reader.table(QStringLiteral("word")));
    }
}

void TestDatabaseReader::schemaFailures_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("opens");
    const auto schema = [](const QVariantList &values) {
        return DatabaseImage(512, 2).leafPage(1, {leafCell(1, record(values))}).bytes();
    };
    const QString table = QStringLiteral("table");
    const QString t = QStringLiteral("t");
    const auto row = [](const char *name, const QByteArray &bytes, bool opens) {
        QTest::newRow(name) << bytes << opens;
    };
    const auto tableOf = [&](const char *sql) {
        return schema({table, t, t, 2, QString::fromLatin1(sql)});
    };
    row("empty schema", DatabaseImage(512, 2).bytes(), true);
    row("sound table", tableOf("CREATE TABLE t (a)"), true);
    row("automatic index without statement", schema({QStringLiteral("index"), t, t, 2, {}}), true);
    row("root page of absurd type",
        schema({table, t, t, QStringLiteral("x"), QStringLiteral("t (a)")}), true);
    row("table without parentheses", tableOf("CREATE TABLE t"), false);
    row("parentheses the wrong way round", tableOf("CREATE ) TABLE ("), false);
    row("table without statement", schema({table, t, t, 2, {}}), false);
    row("row with too few fields", schema({table, t, t, 2}), false);
    row("cell beyond the page",
        DatabaseImage(512, 2).leafPage(1, {leafCell(1, record({1}))}).put16(108, 512).bytes(),
        false);
    // More payload than the file has bytes: four cell pointers lead to one cell of 300 bytes.
    const QByteArray longCell = leafCell(
        1, record({table, t, t, 2, QStringLiteral("t (a)") + QString(280, QLatin1Char(' '))}));
    DatabaseImage shared = DatabaseImage(512, 2).leafPage(1, {longCell});
    for (int i = 1; i < 4; ++i) {
        shared.put16(108 + 2 * i, 512 - longCell.size());
    }
    row("cells that share a payload, as many as fit", shared.put16(103, 3).bytes(), true);
    row("cells that share a payload", shared.put16(103, 4).bytes(), false);
    row("page 1 is an index page", DatabaseImage(512, 2).put8(100, 10).bytes(), false);
}

void TestDatabaseReader::schemaFailures()
{
    QFETCH(QByteArray, bytes);
    ImageDevice device(bytes);
    QTEST(DatabaseReader(&device).open(), "opens");
}

void TestDatabaseReader::columnLists_data()
{
    QTest::addColumn<QString>("sql");
    QTest::addColumn<QString>("columns");
    const auto row = [](const char *sql, const char *columns) {
        QTest::newRow(sql) << QString::fromLatin1(sql) << QString::fromLatin1(columns);
    };
    row("CREATE TABLE t (a INTEGER PRIMARY KEY, b TEXT, UNIQUE(b))", "a b");
    row("CREATE TABLE t (a VARCHAR(255), b)", "a b");
    row("CREATE TABLE t (a, b, PRIMARY KEY (a, b))", "a b");
    row("CREATE TABLE t (a, CONSTRAINT c UNIQUE (a))", "a constraint");
    row("CREATE TABLE t (a, b, FOREIGN KEY(a) REFERENCES u(x))", "a b foreign");
    row("CREATE TABLE t (\"A b\" text, [c] int)", "\"a [c]");
    row("CREATE TABLE t (a CHECK (a > max(1, 2)), b)", "a b");
    row("CREATE TABLE t (a\n\tTEXT,\n b REAL)", "a b");
    row("CREATE TABLE t (a DEFAULT (), b)", "a b");
}

void TestDatabaseReader::columnLists()
{
    QFETCH(QString, sql);
    QVector<ColumnDef> columns;
    QVERIFY(parseCreateTable(sql, columns));
    QStringList names;
    for (const ColumnDef &column : qAsConst(columns)) {
        names.append(column.name);
    }
    QTEST(names.join(QLatin1Char(' ')), "columns");
}

QTEST_APPLESS_MAIN(TestDatabaseReader)
#include "tst_databasereader.moc"
