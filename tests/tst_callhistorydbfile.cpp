#include "api/sqliterecovery.h"
#include "recoverers/communication/callhistorymatchers.h"
#include "tests/support/databaseimage.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

constexpr int LeafPage = 2;

const QString OldTable = QStringLiteral(
    "CREATE TABLE call (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, address TEXT, date INTEGER,"
    " duration INTEGER, flags INTEGER, id INTEGER, name TEXT, country_code TEXT)");
const QString OldestTable = QStringLiteral(
    "CREATE TABLE call (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, address TEXT, date INTEGER,"
    " duration INTEGER, flags INTEGER, id INTEGER)");
const QString NewTable = QStringLiteral(
    "CREATE TABLE ZCALLRECORD ( Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER,"
    " ZANSWERED INTEGER, ZCALLTYPE INTEGER, ZFACE_TIME_DATA INTEGER, ZORIGINATED INTEGER,"
    " ZREAD INTEGER, ZDATE TIMESTAMP, ZDURATION FLOAT, ZISO_COUNTRY_CODE VARCHAR, ZNAME VARCHAR,"
    " ZUNIQUE_ID VARCHAR UNIQUE, ZADDRESS BLOB )");

/// A row of the old layout.
struct OldCall
{
    QVariant address = QStringLiteral("5551234");
    QVariant date = 1300000000;
    QVariant duration = 42;
    QVariant flags = 5;
    QVariant country = QStringLiteral("310");

    QByteArray cell() const
    {
        return leafCell(7, record({QVariant(), address, date, duration, flags, -1,
                                   QStringLiteral("Ada"), country}));
    }
};

/// A row of the new layout.
struct NewCall
{
    QVariant address = QStringLiteral("5551234");
    QVariant date = 400000000.75;
    QVariant duration = 42.9;
    QVariant originated = 1;
    QVariant faceTimeData;
    QVariant country = QStringLiteral("us");
    int uniqueIdSize = 36;

    QByteArray cell() const
    {
        return leafCell(
            7, record({QVariant(), 2, 3, 1, 1, faceTimeData, originated, 0, date, duration, country,
                       QVariant(), QString(uniqueIdSize, QLatin1Char('F')), address}));
    }
};

QString toText(const CallhistoryRecord &call)
{
    return QStringLiteral("%1 %2 %3 %4")
        .arg(call.address)
        .arg(call.date)
        .arg(call.duration)
        .arg(call.flags);
}

} // namespace

/// Calls in hand-made places, where every byte is known. Calls as SQLite deletes them are in
/// tst_recall.
class TestCallHistoryDbFile : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void oldLayout_data();
    void oldLayout();
    void newLayout_data();
    void newLayout();
    void layoutWithoutCountryCode();
    void equalCallsAreReportedOnceOldTableFirst();
    void digitsInFrontOfTheBodyBelongToTheAddress();
    void fieldsBehindTheNextLiveCellKeepTheirDefaults();
    void missingTablesAndColumns();
    void everyFreedCellUnderAFreeblockHeader();

private:
    /// Scans the image and returns the calls found, one text each.
    QStringList scan(const DatabaseImage &image)
    {
        const QString path = m_dir.filePath(QStringLiteral("calls.db"));
        if (!image.save(path)) {
            return {QStringLiteral("not saved")};
        }
        SqliteRecovery recovery;
        CallHistoryDbFile file;
        if (file.open(path)) {
            file.scanDeletedRecords(&recovery);
        }
        QStringList calls;
        for (unsigned i = 0; i < recovery.getCallhistoryCount(); ++i) {
            calls.append(toText(*recovery.getCallhistory(i)));
        }
        return calls;
    }
    DatabaseImage tableImage(const QString &name, const QString &sql)
    {
        DatabaseImage image(1024, 4);
        image.schemaTable(name, LeafPage, sql).leafPage(LeafPage, {});
        return image;
    }
    DatabaseImage oldImage() { return tableImage(QStringLiteral("call"), OldTable); }

    QTemporaryDir m_dir;
};

void TestCallHistoryDbFile::oldLayout_data()
{
    QTest::addColumn<QByteArray>("cell");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const OldCall &call, const char *expected) {
        QTest::newRow(name) << call.cell() << QString::fromLatin1(expected);
    };
    OldCall call;
    row("ordinary", call, "5551234 1300000000 42 5");
    call.country = QVariant();
    row("country NULL", call, "5551234 1300000000 42 5");
    call.country = QStringLiteral("us");
    row("country of two letters", call, "");
    call = OldCall();
    call.flags = 20;
    row("every bit of the flags is kept", call, "5551234 1300000000 42 20");
    call.duration = 0;
    row("constant 0", call, "5551234 1300000000 0 20");
    call.duration = 100000;
    row("long duration", call, "5551234 1300000000 100000 20");
    call = OldCall();
    call.address = QStringLiteral("");
    row("empty address", call, "");
    call.address = QVariant();
    row("address NULL", call, "");
    call.address = 5551234;
    row("address as a number", call, "");
    call = OldCall();
    call.date = QVariant();
    row("date NULL", call, "");
    call.date = 1;
    row("a date that is no four-byte integer has no anchor", call, "");
    call = OldCall();
    call.flags = 1.5;
    row("flags as a real", call, "");
    call = OldCall();
    call.address = QString(57, QLatin1Char('a')) + QStringLiteral("@example.com");
    row("address whose type takes two bytes", call,
        "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa@example.com 1300000000 42 5");
}

void TestCallHistoryDbFile::oldLayout()
{
    QFETCH(QByteArray, cell);
    QFETCH(QString, expected);
    const QStringList wanted = expected.isEmpty() ? QStringList() : QStringList(expected);
    QCOMPARE(scan(oldImage().putBytes(1024 + 300, cell)), wanted);
    QCOMPARE(scan(oldImage().putBytes(2048 + 300, cell)), wanted);
}

void TestCallHistoryDbFile::newLayout_data()
{
    QTest::addColumn<QByteArray>("cell");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const NewCall &call, const char *expected) {
        QTest::newRow(name) << call.cell() << QString::fromLatin1(expected);
    };
    NewCall call;
    row("ordinary", call, "5551234 1378307200 42 1");
    call.uniqueIdSize = 48;
    row("identifier of 48 characters", call, "5551234 1378307200 42 1");
    call.uniqueIdSize = 40;
    row("identifier of 40 characters", call, "");
    call = NewCall();
    call.date = 400000000;
    row("date as an integer", call, "5551234 1378307200 42 1");
    call.date = 0;
    row("date 0 stays 0", call, "5551234 0 42 1");
    call.date = QVariant();
    row("date NULL", call, "");
    call = NewCall();
    call.originated = 0;
    call.faceTimeData = 0;
    row("stored 0 bytes count as FaceTime", call, "5551234 1378307200 42 16");
    call.faceTimeData = 123456;
    row("FaceTime", call, "5551234 1378307200 42 16");
    call.faceTimeData = QStringLiteral("x");
    row("FaceTime data as a text", call, "");
    call = NewCall();
    call.originated = 300;
    row("direction of two bytes", call, "");
    call = NewCall();
    call.country = QVariant();
    row("country NULL", call, "5551234 1378307200 42 1");
    call.country = QStringLiteral("310");
    row("country of three characters", call, "");
    call = NewCall();
    call.address = QByteArray("ada@example.com");
    row("address as a blob", call, "ada@example.com 1378307200 42 1");
    call.address = QVariant();
    row("address NULL", call, "");
    call = NewCall();
    call.date = 1e300;
    row("absurd date does not overflow", call, "5551234 -9223372035876468608 42 1");
}

void TestCallHistoryDbFile::newLayout()
{
    QFETCH(QByteArray, cell);
    QFETCH(QString, expected);
    DatabaseImage image = tableImage(QStringLiteral("ZCALLRECORD"), NewTable);
    QCOMPARE(scan(image.putBytes(1024 + 300, cell)),
             expected.isEmpty() ? QStringList() : QStringList(expected));
}

void TestCallHistoryDbFile::layoutWithoutCountryCode()
{
    DatabaseImage image = tableImage(QStringLiteral("call"), OldestTable);
    const QByteArray cell =
        leafCell(7, record({QVariant(), QStringLiteral("5551234"), 1300000000, 42, 4, -1}));
    QCOMPARE(scan(image.putBytes(1024 + 300, cell)),
             QStringList{QStringLiteral("5551234 1300000000 42 4")});
}

void TestCallHistoryDbFile::equalCallsAreReportedOnceOldTableFirst()
{
    DatabaseImage image(4096, 4);
    const auto schemaRow = [](const QString &name, int root, const QString &sql) {
        return leafCell(root, record({QStringLiteral("table"), name, name, root, sql}));
    };
    image.leafPage(1, {schemaRow(QStringLiteral("ZCALLRECORD"), 2, NewTable),
                       schemaRow(QStringLiteral("call"), 3, OldTable)});
    NewCall newCall;
    newCall.date = 1300000000 - 978307200;
    newCall.duration = 42;
    OldCall oldCall;
    oldCall.flags = 1;
    OldCall another;
    another.duration = 9;
    image.leafPage(2, {}).putBytes(4096 + 300, newCall.cell());
    newCall.originated = 0;
    image.putBytes(4096 + 900, newCall.cell());
    image.leafPage(3, {}).putBytes(2 * 4096 + 300, oldCall.cell());
    image.putBytes(2 * 4096 + 900, another.cell()).putBytes(3 * 4096 + 99, oldCall.cell());
    QCOMPARE(scan(image), (QStringList{QStringLiteral("5551234 1300000000 42 1"),
                                       QStringLiteral("5551234 1300000000 9 5"),
                                       QStringLiteral("5551234 1300000000 42 0")}));
}

void TestCallHistoryDbFile::digitsInFrontOfTheBodyBelongToTheAddress()
{
    // The last type is 0x31, a text of 18 bytes and the digit "1": the reading begins with it, and
    // every field moves by one byte.
    OldCall call;
    call.country = QVariant();
    QByteArray cell =
        leafCell(7, record({QVariant(), QStringLiteral("5551234"), 1300000000, 42, 5, -1,
                            QVariant(), QVariant(), QString(18, QLatin1Char('n'))}));
    const QString sql = QString(OldTable).replace(QStringLiteral("country_code TEXT"),
                                                  QStringLiteral("country_code TEXT, last TEXT"));
    DatabaseImage image = tableImage(QStringLiteral("call"), sql);
    const QStringList calls = scan(image.putBytes(1024 + 300, cell));
    QCOMPARE(calls.size(), 1);
    QVERIFY2(calls[0].startsWith(QStringLiteral("1555123 ")), qPrintable(calls[0]));
}

void TestCallHistoryDbFile::fieldsBehindTheNextLiveCellKeepTheirDefaults()
{
    DatabaseImage image = oldImage();
    OldCall live;
    live.duration = 7;
    image.leafPage(LeafPage, {live.cell()});
    OldCall gone;
    gone.flags = 1; // stored in its type alone
    const QByteArray cell = gone.cell();
    const int body = cell.indexOf("5551234");
    const int liveStart = 1024 - live.cell().size();
    // The live cell begins where the deleted row's date would.
    image.putBytes(1024 + liveStart - body - 7, cell.left(body + 7));
    QCOMPARE(scan(image), QStringList{QStringLiteral("5551234 0 0 1")});
}

void TestCallHistoryDbFile::missingTablesAndColumns()
{
    QVERIFY(scan(tableImage(QStringLiteral("calls"), OldTable)).isEmpty());
    for (const char *column : {"flags", "ZDATE"}) {
        const bool isOld = column[0] == 'f';
        QString sql = isOld ? OldTable : NewTable;
        sql.replace(QLatin1String(column), QStringLiteral("other"));
        DatabaseImage image =
            tableImage(isOld ? QStringLiteral("call") : QStringLiteral("ZCALLRECORD"), sql);
        image.putBytes(1024 + 300, isOld ? OldCall().cell() : NewCall().cell());
        QVERIFY(scan(image).isEmpty());
    }
    const QString addressFirst =
        QStringLiteral("CREATE TABLE call (address, x, date, duration, flags)");
    DatabaseImage image = tableImage(QStringLiteral("call"), addressFirst);
    QVERIFY(scan(image.putBytes(1024 + 300, OldCall().cell())).isEmpty());
}

void TestCallHistoryDbFile::everyFreedCellUnderAFreeblockHeader()
{
    // The header of a freeblock (2 bytes next, 2 bytes size) covers payload size, rowid, header
    // size and NULL of a short cell; all that is needed behind them is left.
    const QByteArray cell = OldCall().cell();
    const QByteArray freed = QByteArray("\x00\x00\x00", 3) + char(cell.size()) + cell.mid(4);
    QCOMPARE(scan(oldImage().putBytes(1024 + 300, freed)),
             QStringList{QStringLiteral("5551234 1300000000 42 5")});
    // One byte more, and the type of the address is gone.
    const QByteArray eaten = QByteArray("\x00\x00\x00\x00\x28", 5) + cell.mid(5);
    QVERIFY(scan(oldImage().putBytes(1024 + 300, eaten)).isEmpty());
}

QTEST_APPLESS_MAIN(TestCallHistoryDbFile)
#include "tst_callhistorydbfile.moc"
