#include "samples/callscan.h"
#include "samples/recallreport.h"

#include <QTemporaryDir>
#include <QtTest>

/// Calls as SQLite itself deletes them, in every layout: what comes back, and why the rest does
/// not. The program "recall" measures the same on many more databases.
class TestRecall : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void everyMissAndInventionHasItsMechanism();
    void wholeTableComesBack_data();
    void wholeTableComesBack();

private:
    QTemporaryDir m_dir;
};

void TestRecall::everyMissAndInventionHasItsMechanism()
{
    const QVector<RecallCase> matrix = recallMatrix();
    RecallResult total;
    int cases = 0;
    for (int i = 0; i < matrix.size(); i += 19, ++cases) { // 19 walks through all combinations
        const RecallResult result = runRecallCase(matrix[i], m_dir.path(), scanCalls);
        QVERIFY2(result.valid, qPrintable(recallCaseName(matrix[i])));
        QVERIFY2(result.unexplained() == 0,
                 qPrintable(recallCaseName(matrix[i]) + result.details.join(QLatin1Char('\n'))));
        QVERIFY(result.recovered <= result.deleted);
        total.add(result);
    }
    QVERIFY(cases >= 30);
    QVERIFY(total.deleted > 1000);
    QVERIFY(total.recovered > total.deleted / 4);
}

void TestRecall::wholeTableComesBack_data()
{
    QTest::addColumn<int>("layout");
    QTest::addColumn<int>("pageSize");
    for (const CallLayout layout : allCallLayouts()) {
        for (const int pageSize : {1024, 4096, 32768}) {
            QTest::addRow("%s, pages of %d bytes", qPrintable(layoutName(layout)), pageSize)
                << int(layout) << pageSize;
        }
    }
}

void TestRecall::wholeTableComesBack()
{
    QFETCH(int, layout);
    QFETCH(int, pageSize);
    RecallCase recallCase;
    recallCase.plan.layout = CallLayout(layout);
    recallCase.plan.deletion = Deletion::WholeTable;
    recallCase.plan.seed = 7;
    recallCase.options.pageSize = pageSize;
    const RecallResult result = runRecallCase(recallCase, m_dir.path(), scanCalls);
    QVERIFY(result.valid);
    QVERIFY(result.deleted >= recallCase.plan.calls);
    QVERIFY2(result.missed() == result.refused, qPrintable(result.details.join(QLatin1Char('\n'))));
}

QTEST_APPLESS_MAIN(TestRecall)
#include "tst_recall.moc"
