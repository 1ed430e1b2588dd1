#include "engine/databaseheader.h"
#include "engine/rowmatcher.h"
#include "engine/spilledpayload.h"
#include "engine/sqlitedbfile.h"
#include "engine/varint.h"
#include "tests/support/databaseimage.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

/// Rows of a table (id integer primary key, date integer, name text, note text), found by a date of
/// four bytes.
class NoteMatcher : public RowMatcher
{
public:
    explicit NoteMatcher(SqliteDbFile *file, int usualRowidLength)
    {
        owner = file;
        rowidLength = usualRowidLength;
        signatures = {QByteArrayMatcher("\x04", 1)};
    }
    bool bindColumns(const TableSchema &) override { return true; }
    bool matchHeader(const TableSchema &, const QByteArray &region, int anchorPos) override
    {
        decodeAround(region, anchorPos, 0, 3);
        return serialTypes.size() == 3 && serialTypes[1] >= 13 && serialTypes[1] % 2 == 1
               && serialTypes[2] >= 13 && serialTypes[2] % 2 == 1;
    }

    QStringList rows;

protected:
    void readRow(const TableSchema &, const Row &row) override
    {
        RecordFields fields = fieldsOf(row);
        QStringList texts;
        while (fields.nextOfAll()) {
            texts.append(fields.index() == 0   ? QString::number(fields.uncoveredInteger())
                         : fields.index() == 1 ? fields.uncoveredText()
                                               : fields.textBeforeLimit());
        }
        rows.append(texts.join(QLatin1Char('|'))
                    + QLatin1String(fields.isCovered() ? " covered" : "")
                    + QLatin1String(fields.isCut() ? " cut" : "")
                    + QLatin1String(row.isRebuilt ? " rebuilt" : ""));
    }
};

class NoteFile : public SqliteDbFile
{
public:
    int scanDeletedRecords(SqliteRecovery *) override { return 0; }
};

constexpr qint32 Date = 400000000;

QByteArray noteRow(const QString &name, const QString &note)
{
    return leafCell(7, record({QVariant(), Date, name, note}));
}

QString letters(int count)
{
    QString text;
    for (int i = 0; i < count; ++i) {
        text += QLatin1Char(char('a' + i % 26));
    }
    return text;
}

} // namespace

/// Rows that others cover, and rows that go on elsewhere.
class TestRowMatcher : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void rowsSideBySideAreWhole();
    void laterRowCoversAnEarlierOne();
    void laterRowWithoutItsPrefixCoversAnEarlierOne();
    void liveRowCoversAnEarlierOne();
    void rowsOfOtherRegionsCoverNothing();
    void coveredFields();
    void spilledPayloads_data();
    void spilledPayloads();
    void brokenChains_data();
    void brokenChains();
    void nonsenseTypesSpillNowhere();
    void varintsOfKnownValues();

private:
    /// Searches a page that holds `bytes` from offset 200 on, and the page behind it.
    QString rowsOf(const QByteArray &bytes, int rowidLength = 1)
    {
        m_image.putBytes(m_image.pageStart(3) + 200, bytes);
        const QString path = m_dir.filePath(QStringLiteral("notes.db"));
        NoteFile file;
        if (!m_image.save(path) || !file.open(path)) {
            return QStringLiteral("cannot be opened");
        }
        NoteMatcher matcher(&file, rowidLength);
        file.carveTable(*file.table(QStringLiteral("note")), matcher, 0, false);
        matcher.finish();
        return matcher.rows.join(QStringLiteral("; "));
    }
    /// The cell of a row that spills, and its chain on the pages `chain`, which m_image gets.
    QByteArray spill(const QByteArray &payload, const QVector<quint32> &chain)
    {
        const int local = localPayloadSize(payload.size(), m_header) - OverflowPointerSize;
        int done = local;
        for (int i = 0; i < chain.size(); ++i) {
            const int start = m_image.pageStart(int(chain[i]));
            m_image.put32(start, i + 1 < chain.size() ? chain[i + 1] : 0);
            m_image.putBytes(start + 4, payload.mid(done, PageSize - 4));
            done += PageSize - 4;
        }
        return varint(quint64(payload.size())) + varint(7) + payload.left(local)
               + bigEndian(chain.first());
    }

    static constexpr int PageSize = 512;
    QTemporaryDir m_dir;
    DatabaseImage m_image;
    DatabaseHeader m_header;
};

void TestRowMatcher::init()
{
    m_header.pageSize = PageSize;
    m_image = DatabaseImage(PageSize, 12);
    m_image
        .schemaTable(QStringLiteral("note"), 2,
                     QStringLiteral("CREATE TABLE note (id INTEGER PRIMARY KEY, date, name, note)"))
        .leafPage(2, {});
}

void TestRowMatcher::rowsSideBySideAreWhole()
{
    const QByteArray rows = noteRow(QStringLiteral("Anna"), QStringLiteral("first"))
                            + noteRow(QStringLiteral("Ben"), QStringLiteral("second"));
    QCOMPARE(rowsOf(rows), QStringLiteral("400000000|Anna|first; 400000000|Ben|second"));
}

void TestRowMatcher::laterRowCoversAnEarlierOne()
{
    QByteArray rows = noteRow(QStringLiteral("Anna"), letters(60));
    rows.replace(30, 40, noteRow(QStringLiteral("Ben"), letters(22)).left(40));
    QCOMPARE(rowsOf(rows),
             QStringLiteral("400000000|Anna|abcdefghijklmn covered; 400000000|Ben|") + letters(22));
}

void TestRowMatcher::laterRowWithoutItsPrefixCoversAnEarlierOne()
{
    // Where payload size and rowid of the later row stood cannot be read any more.
    QByteArray rows = noteRow(QStringLiteral("Anna"), letters(60));
    const QByteArray later =
        leafCell(300, record({QVariant(), Date, QStringLiteral("Ben"), letters(22)}));
    rows.replace(30, 41, QByteArray("\x00\x00\x00\x40", 4) + later.mid(4, 37));
    constexpr int twoBytes = 2;
    QVERIFY(rowsOf(rows, twoBytes)
                .startsWith(QStringLiteral("400000000|Anna|abcdefghijklmn covered; ")));
}

void TestRowMatcher::liveRowCoversAnEarlierOne()
{
    // On a leaf page the place of a live cell is known from its pointer.
    const QByteArray old = noteRow(QStringLiteral("Anna"), letters(60));
    const QByteArray live = noteRow(QStringLiteral("Ben"), letters(22));
    m_image.leafPage(2, {live});
    const int start = m_image.pageStart(2) + PageSize - live.size() - 30;
    m_image.putBytes(start, old.left(30));
    QCOMPARE(rowsOf(QByteArray()), QStringLiteral("400000000|Anna|abcdefghijklmn covered"));
}

void TestRowMatcher::rowsOfOtherRegionsCoverNothing()
{
    m_image.putBytes(m_image.pageStart(4) + 20, noteRow(QStringLiteral("Ben"), letters(20)));
    QCOMPARE(rowsOf(noteRow(QStringLiteral("Anna"), letters(60))),
             QStringLiteral("400000000|Anna|%1; 400000000|Ben|%2").arg(letters(60), letters(20)));
}

void TestRowMatcher::coveredFields()
{
    const QByteArray payload("\x01\x02\x03\x04"
                             "Gr\xC3\xBC\xC3\x9F"
                             "e");
    const QVector<qint64> types{4, 27, 0, 9};
    const auto seen = [&](int limit) {
        RecordFields fields(payload, 0, types, limit, 1);
        QStringList values;
        while (fields.nextOfAll()) {
            values.append(fields.index() == 1 ? fields.textBeforeLimit()
                                              : QString::number(fields.uncoveredInteger()));
        }
        return values.join(QLatin1Char(' ')) + QLatin1String(fields.isCovered() ? " covered" : "");
    };
    QCOMPARE(seen(0), QStringLiteral("16909060 Grü\u00DFe 0 1"));
    QCOMPARE(seen(11), QStringLiteral("16909060 Grü\u00DFe 0 1"));
    QCOMPARE(seen(9), QStringLiteral("16909060 Grü 0 1 covered")); // in the middle of a letter
    QCOMPARE(seen(4), QStringLiteral("16909060  0 1 covered"));
    QCOMPARE(seen(3), QStringLiteral("0  0 1 covered"));
    QCOMPARE(seen(65000), QStringLiteral("16909060 Grü\u00DFe 0 1"));
    const QByteArray beginning(payload.left(6));
    RecordFields cut(beginning, 0, types, 65000, 1);
    QVERIFY(cut.nextOfAll() && cut.nextOfAll());
    QVERIFY(cut.isFieldLost());
    QCOMPARE(cut.textBeforeLimit(), QString());
}

void TestRowMatcher::spilledPayloads_data()
{
    QTest::addColumn<int>("noteSize");
    for (const int size : {400, 460, 466, 467, 468, 480, 500, 972, 973, 974, 1500}) {
        QTest::addRow("note of %d bytes", size) << size;
    }
}

void TestRowMatcher::spilledPayloads()
{
    QFETCH(int, noteSize);
    const QString note = letters(noteSize);
    const QByteArray payload = record({QVariant(), Date, QStringLiteral("Anna"), note});
    const bool isSpilled = localPayloadSize(payload.size(), m_header) < payload.size();
    const QByteArray cell = isSpilled ? spill(payload, {5, 9, 7, 6}) : leafCell(7, payload);
    // A chain ends where the payload ends.
    if (isSpilled) {
        const int local = localPayloadSize(payload.size(), m_header) - OverflowPointerSize;
        const int pages = (payload.size() - local + PageSize - 5) / (PageSize - 4);
        const QVector<quint32> chain{5, 9, 7, 6};
        m_image.put32(m_image.pageStart(int(chain[pages - 1])), 0);
    }
    m_image.putBytes(m_image.pageStart(3), QByteArray(PageSize, '\0'));
    const int start = m_image.pageStart(3) + PageSize - cell.size();
    m_image.putBytes(start, cell);
    QCOMPARE(rowsOf(QByteArray()),
             QStringLiteral("400000000|Anna|") + note + QLatin1String(isSpilled ? " rebuilt" : ""));
}

void TestRowMatcher::brokenChains_data()
{
    QTest::addColumn<quint32>("firstPage");
    QTest::addColumn<quint32>("nextOfLast");
    QTest::newRow("page 0") << 0u << 0u;
    QTest::newRow("page 1") << 1u << 0u;
    QTest::newRow("behind the file") << 13u << 0u;
    QTest::newRow("absurd") << 0xFFFFFFFFu << 0u;
    QTest::newRow("does not end where the payload ends") << 5u << 6u;
    QTest::newRow("leads to itself") << 5u << 5u;
}

void TestRowMatcher::brokenChains()
{
    QFETCH(quint32, firstPage);
    QFETCH(quint32, nextOfLast);
    const QByteArray payload = record({QVariant(), Date, QStringLiteral("Anna"), letters(700)});
    QByteArray cell = spill(payload, {5, 9});
    cell.replace(cell.size() - 4, 4, bigEndian(firstPage));
    m_image.put32(m_image.pageStart(5), nextOfLast);
    // What is left is the local part; the note is not whole and is not given.
    QCOMPARE(rowsOf(cell), QStringLiteral("400000000|Anna| cut rebuilt"));
}

void TestRowMatcher::nonsenseTypesSpillNowhere()
{
    const CandidatePayload invalid(100, 3, {4, 10, 13});
    QCOMPARE(invalid.size, 0);
    const CandidatePayload absurd(100, 12, {4, qint64(1) << 60, qint64(1) << 62});
    QCOMPARE(absurd.size, 0);
    QVERIFY(!spills(absurd, m_header));
    const CandidatePayload sound(100, 3, {4, 13, 15});
    QCOMPARE(sound.start, 95);
    QCOMPARE(sound.size, 10);
    // From 128 bytes on, the header's own size takes two bytes.
    QCOMPARE(CandidatePayload(1000, 125, {4}).start, 873);
    QCOMPARE(CandidatePayload(1000, 126, {4}).start, 871);
}

void TestRowMatcher::varintsOfKnownValues()
{
    for (const qint64 value : {qint64(0), qint64(1), qint64(127), qint64(128), qint64(16383),
                               qint64(16384), qint64(1) << 34, qint64(1) << 62}) {
        const QByteArray bytes = QByteArray("\xFF\x80") + varint(quint64(value));
        const auto *begin = reinterpret_cast<const uchar *>(bytes.constData());
        const uchar *end = begin + bytes.size();
        QCOMPARE(varintLength(value), bytes.size() - 2);
        QVERIFY(endsInVarint(begin, end, value));
        QVERIFY(!endsInVarint(begin, end, value + 1));
        QVERIFY(!endsInVarint(end - varintLength(value) + 1, end, value));
    }
}

QTEST_APPLESS_MAIN(TestRowMatcher)
#include "tst_rowmatcher.moc"
