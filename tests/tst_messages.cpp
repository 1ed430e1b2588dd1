#include "samples/messagescan.h"
#include "samples/messagetruth.h"
#include "samples/sampledatabase.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

namespace {

int countMessages(const QVector<MessageGroupRecord> &groups)
{
    int count = 0;
    for (const MessageGroupRecord &group : groups) {
        count += group.messages.size();
    }
    return count;
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

/// Messages as SQLite itself deletes them, in every layout, through the public interface.
class TestMessages : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void samplesHoldWhatTheySay_data();
    void samplesHoldWhatTheySay();
    void everyLayoutAndDeletion_data() { samplesHoldWhatTheySay_data(); }
    void everyLayoutAndDeletion();

private:
    QString path(const char *name) const { return m_dir.filePath(QString::fromLatin1(name)); }
    bool makeSample(const MessagePlan &plan, const QString &path, MessageSample *sample)
    {
        SampleDatabase db;
        const bool made = db.create(path, deviceOptions(plan.layout))
                          && makeMessageSample(&db, plan, sample) && db.close();
        if (!made) {
            qWarning() << db.errorText();
        }
        return made;
    }

    QTemporaryDir m_dir;
};

void TestMessages::samplesHoldWhatTheySay_data()
{
    QTest::addColumn<int>("layout");
    QTest::addColumn<int>("deletion");
    for (const MessageLayout layout : allMessageLayouts()) {
        for (const MessageDeletion deletion : allMessageDeletions()) {
            QTest::addRow("%s, %s", qPrintable(layoutName(layout)),
                          qPrintable(deletionName(deletion)))
                << int(layout) << int(deletion);
        }
    }
}

void TestMessages::samplesHoldWhatTheySay()
{
    QFETCH(int, layout);
    QFETCH(int, deletion);
    const MessagePlan plan{MessageLayout(layout), MessageDeletion(deletion), 400, 5};
    MessageSample sample;
    QVERIFY(makeSample(plan, path("sms.db"), &sample));
    SampleDatabase db;
    QVERIFY(db.open(path("sms.db")));
    QCOMPARE(db.scalar(QStringLiteral("PRAGMA integrity_check")).toString(), QStringLiteral("ok"));
    const QString count = QStringLiteral("SELECT count(*) FROM message");
    QCOMPARE(db.scalar(count).toInt(), countMessages(sample.live));
    QVERIFY(countMessages(sample.live) + countMessages(sample.deleted) >= plan.messages);
    QVERIFY(countMessages(sample.deleted) >= plan.messages / 7);
    for (const MessageGroupRecord &group : qAsConst(sample.live)) {
        for (const MessageItem &message : group.messages) {
            QCOMPARE(db.scalar(count + QStringLiteral(" WHERE date=? AND text IS ?"),
                               {message.date, message.text})
                         .toInt(),
                     1);
        }
    }
}

void TestMessages::everyLayoutAndDeletion()
{
    QFETCH(int, layout);
    QFETCH(int, deletion);
    const MessagePlan plan{MessageLayout(layout), MessageDeletion(deletion), 400, 11};
    MessageSample sample;
    QVERIFY(makeSample(plan, path("sms.db"), &sample));
    const MessageResult result =
        compareMessages(sample, contents(path("sms.db")), scanMessages(path("sms.db")));
    qInfo() << qPrintable(result.summary());
    QVERIFY2(result.isSound(), qPrintable(result.details.join(QLatin1Char('\n'))));
}

QTEST_APPLESS_MAIN(TestMessages)
#include "tst_messages.moc"
