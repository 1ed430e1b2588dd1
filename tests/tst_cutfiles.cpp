// Files that are cut off, as those of damaged devices are: what comes out of the rest was in them.

#include "api/sqliterecovery.h"
#include "tests/support/foundrecords.h"
#include "tests/support/kindsamples.h"
#include "tests/support/testfiles.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <sqlite3.h>

namespace {

const QLatin1Char LineEnd('\n');

QVector<QCborMap> scan(ScanType type, const QString &path)
{
    SqliteRecovery recovery;
    recovery.scanRecoveryForType(type, path, nullptr);
    return recordsOf(type, recovery);
}

/// Every value that the statement gives, as text.
QStringList valuesOf(sqlite3 *db, const QString &sql)
{
    QStringList values;
    sqlite3_stmt *statement = nullptr;
    sqlite3_prepare_v2(db, sql.toUtf8().constData(), -1, &statement, nullptr);
    while (sqlite3_step(statement) == SQLITE_ROW) {
        for (int column = 0; column < sqlite3_column_count(statement); ++column) {
            const auto *text =
                reinterpret_cast<const char *>(sqlite3_column_text(statement, column));
            values.append(QString::fromUtf8(text, sqlite3_column_bytes(statement, column)));
        }
    }
    sqlite3_finalize(statement);
    return values;
}

/// Every value in every table that still exists.
QString liveTexts(const QString &path)
{
    sqlite3 *db = nullptr;
    sqlite3_open(QFile::encodeName(path).constData(), &db);
    QStringList texts;
    for (const QString &table :
         valuesOf(db, QStringLiteral("select name from sqlite_master where type = 'table'"))) {
        texts += valuesOf(db, QStringLiteral("select * from \"%1\"").arg(table));
    }
    sqlite3_close(db);
    return texts.join(LineEnd);
}

/// Everything that a scan may find in the file or in a part of it.
QByteArray knownBytes(ScanType type, const QString &path)
{
    const QString live = liveTexts(path);
    QString texts = live; // notes are stored as HTML, and come without it
    texts.replace(QRegularExpression(QStringLiteral("<[^>]*>")), QString(LineEnd));
    texts.replace(QLatin1String("&amp;"), QLatin1String("&"));
    texts += textsOf(scan(type, path)).values().join(LineEnd);
    texts += QStringLiteral("Unknown member"); // stands for the sender whom nothing names
    return (live + texts).toUtf8() + readFile(path);
}

} // namespace

class TestCutFiles : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void nothingIsInvented_data() { addKindRows(); }
    void nothingIsInvented();
};

void TestCutFiles::nothingIsInvented()
{
    QFETCH(int, kind);
    const KindSample &sample = kindSamples().at(kind);
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("cut.db"));
    QVERIFY(makeKindSample(sample, path));
    const int whole = scan(sample.type, path).size();
    const QByteArray known = knownBytes(sample.type, path);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    int most = 0;
    for (qint64 length = file.size() - 1; length >= 0; length -= 487) {
        QVERIFY(file.resize(length));
        const QVector<QCborMap> found = scan(sample.type, path);
        most = std::max(most, found.size());
        for (const QString &text : textsOf(found)) {
            for (const QString &line : text.split(LineEnd)) {
                QVERIFY2(known.contains(line.toUtf8()), qPrintable(line));
            }
        }
    }
    QVERIFY(most >= whole / 2);
}

QTEST_APPLESS_MAIN(TestCutFiles)
#include "tst_cutfiles.moc"
