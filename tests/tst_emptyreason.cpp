#include "api/databasecheck.h"
#include "samples/callsamples.h"
#include "tests/support/databaseimage.h"
#include "tests/support/kindsamples.h"
#include "tests/support/words.h"

#include <QHash>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <iterator>

namespace {

/// A table, and a column without which its rows cannot be told.
struct NeededColumn
{
    QString table;
    QString column;
};

/// By the names of samples, each as "table.column"; a conversation of WeChat has a table of its
/// own.
const QHash<QString, const char *> &allNeededColumns()
{
    static const QHash<QString, const char *> all{
        {QStringLiteral("contacts"),
         "ABPerson.CreationDate ABMultiValue.property ABMultiValueEntry.key"},
        {QStringLiteral("messages"), "message.guid handle.country"},
        {QStringLiteral("calls"), "call.address"},
        {QStringLiteral("calendar"), "CalendarItem.UUID Location.title"},
        {QStringLiteral("notes"), "ZNOTE.ZGUID ZNOTEBODY.ZCONTENT"},
        {QStringLiteral("bookmarks"), "bookmarks.external_uuid"},
        {QStringLiteral("whatsapp"), "ZWACHATSESSION.ZHIDDEN ZWAGROUPMEMBER.ZMEMBERJID "
                                     "ZWAMEDIAITEM.ZMESSAGE ZWAMESSAGE.ZSTANZAID"},
        {QStringLiteral("safari history"), "history_items.url history_visits.title"},
        {QStringLiteral("notes since iOS 9"), "ZICCLOUDSYNCINGOBJECT.ZIDENTIFIER"},
        {QStringLiteral("wechat"), ""},
    };
    return all;
}

QVector<NeededColumn> neededColumns(const KindSample &kind, SampleDatabase *db)
{
    QVector<NeededColumn> needed;
    for (const QString &column : words(allNeededColumns().value(QLatin1String(kind.name), ""))) {
        needed.append(
            {column.section(QLatin1Char('.'), 0, 0), column.section(QLatin1Char('.'), 1)});
    }
    const QString chats = db->scalar(QStringLiteral("select group_concat(name) from sqlite_master "
                                                    "where type = 'table' and name glob 'Chat_*'"))
                              .toString();
    for (const QString &table : chats.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        needed.append({table, QStringLiteral("CreateTime")});
    }
    return needed;
}

/// Runs the statement for every table, in place of whose name %1 and of whose column %2 stands.
bool forEachTable(const KindSample &kind, SampleDatabase *db, const char *statement)
{
    const QVector<NeededColumn> needed = neededColumns(kind, db);
    return !needed.isEmpty()
           && std::all_of(needed.cbegin(), needed.cend(), [&](const NeededColumn &of) {
                  return db->exec(QString::fromLatin1(statement).arg(of.table, of.column));
              });
}

/// What happens to the database of a kind before it is asked about.
struct History
{
    const char *name;
    bool (*happen)(const KindSample &kind, SampleDatabase *db);
    EmptyReason reason;
};

constexpr History Histories[] = {
    {"lived through", [](const KindSample &, SampleDatabase *) { return true; },
     EmptyReason::NothingLeft},
    {"vacuumed",
     [](const KindSample &, SampleDatabase *db) { return db->exec(QStringLiteral("vacuum")); },
     EmptyReason::NoFreeSpace},
    {"vacuumed, then rows erased",
     [](const KindSample &kind, SampleDatabase *db) {
         return db->exec(QStringLiteral("vacuum; pragma secure_delete = on; begin"))
                && forEachTable(kind, db, "delete from \"%1\" where rowid % 10 = 0 -- %2")
                && db->exec(QStringLiteral("commit"));
     },
     EmptyReason::FreeSpaceErased},
    {"other columns",
     [](const KindSample &kind, SampleDatabase *db) {
         return forEachTable(kind, db, "alter table \"%1\" rename column \"%2\" to former");
     },
     EmptyReason::ColumnsMissing},
    {"tables gone",
     [](const KindSample &kind, SampleDatabase *db) {
         return forEachTable(kind, db, "drop table \"%1\" -- %2");
     },
     EmptyReason::NoSuchTable},
};

} // namespace

Q_DECLARE_METATYPE(DatabaseImage)

class TestEmptyReason : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void ofEveryKind_data();
    void ofEveryKind();
    void spaceErasedRowByRow();
    void ofOtherFiles();
    void ofComposedPages_data();
    void ofComposedPages();
};

void TestEmptyReason::ofEveryKind_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("history");
    for (int kind = 0; kind < kindSamples().size(); ++kind) {
        const char *name = kindSamples().at(kind).name;
        const bool isKnown = allNeededColumns().contains(QLatin1String(name));
        for (int history = 0; isKnown && history < int(std::size(Histories)); ++history) {
            QTest::addRow("%s, %s", name, Histories[history].name) << kind << history;
        }
    }
}

void TestEmptyReason::ofEveryKind()
{
    QFETCH(int, kind);
    QFETCH(int, history);
    const KindSample &tested = kindSamples().at(kind);
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("sample.db"));
    SampleDatabase db;
    QVERIFY2(db.create(path, tested.options) && tested.live(&db)
                 && Histories[history].happen(tested, &db) && db.close(),
             qPrintable(db.errorText()));
    QCOMPARE(int(whyNothingFound(tested.type, path)), int(Histories[history].reason));
}

/// While rows come and go, lists of cells and of blocks leave their former ends in erased space.
void TestEmptyReason::spaceErasedRowByRow()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("call_history.db"));
    SampleDatabase db;
    CallSample sample;
    QVERIFY(db.create(path, kindSamples().at(0).options)
            && db.exec(QStringLiteral("pragma secure_delete = on"))
            && makeCallSample(&db, {CallLayout::Ios7, Deletion::ThenInserts}, &sample)
            && db.close());
    QVERIFY(whyNothingFound(ScanTypeCallHistory, path) == EmptyReason::FreeSpaceErased);
}

void TestEmptyReason::ofOtherFiles()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("sms.db"));
    SampleDatabase db;
    QVERIFY(db.create(path, kindSamples().at(0).options) && kindSamples().at(1).live(&db)
            && db.close());
    constexpr int unknownType = 9;
    QVERIFY(whyNothingFound(ScanTypeCallHistory, path) == EmptyReason::NoSuchTable);
    QVERIFY(whyNothingFound(unknownType, path) == EmptyReason::Unknown);
    QVERIFY(whyNothingFound(ScanTypeMessages, dir.path()) == EmptyReason::Unknown);
}

void TestEmptyReason::ofComposedPages_data()
{
    QTest::addColumn<DatabaseImage>("image");
    QTest::addColumn<int>("reason");
    const auto row = [](const char *name, const DatabaseImage &image, EmptyReason reason) {
        QTest::newRow(name) << image << int(reason);
    };
    DatabaseImage empty(512, 4);
    empty.schemaTable(QStringLiteral("call"), 2,
                      QStringLiteral("create table call (rowid integer primary key, address text, "
                                     "date integer, duration integer, flags integer)"));
    empty.leafPage(2, {});
    const int page = empty.pageStart(2);
    const auto withBlock = [&empty, page](int offset, int next, int size) {
        return DatabaseImage(empty)
            .put16(page + 1, offset)
            .put16(page + offset, next)
            .put16(page + offset + 2, size);
    };
    row("empty table", empty, EmptyReason::NoFreeSpace);
    row("text in front of the cells", DatabaseImage(empty).putBytes(page + 100, "5551234"),
        EmptyReason::NothingLeft);
    row("erased block", withBlock(400, 0, 50), EmptyReason::FreeSpaceErased);
    row("block of a header alone", withBlock(400, 0, 4), EmptyReason::NoFreeSpace);
    row("block that names itself", withBlock(400, 400, 50), EmptyReason::FreeSpaceErased);
    row("block beyond the page", withBlock(500, 65000, 65000), EmptyReason::FreeSpaceErased);
    row("tree that cannot be walked", DatabaseImage(empty).put8(page, 7), EmptyReason::Unknown);
    row("cells that cannot be there", DatabaseImage(empty).put16(page + 3, 60000),
        EmptyReason::Unknown);
    const DatabaseImage freePages = DatabaseImage(empty).put32(32, 3).trunkPage(3, 0, {4}, 1);
    row("erased free pages", freePages, EmptyReason::FreeSpaceErased);
    row("former end of their list", DatabaseImage(freePages).put32(empty.pageStart(3) + 12, 2),
        EmptyReason::FreeSpaceErased);
    row("text on a trunk page",
        DatabaseImage(freePages).putBytes(empty.pageStart(3) + 200, "5551234"),
        EmptyReason::NothingLeft);
    row("text on a free page", DatabaseImage(freePages).putBytes(empty.pageStart(4), "5551234"),
        EmptyReason::NothingLeft);
}

void TestEmptyReason::ofComposedPages()
{
    QFETCH(DatabaseImage, image);
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("call_history.db"));
    QVERIFY(image.save(path));
    QTEST(int(whyNothingFound(ScanTypeCallHistory, path)), "reason");
}

QTEST_APPLESS_MAIN(TestEmptyReason)
#include "tst_emptyreason.moc"
