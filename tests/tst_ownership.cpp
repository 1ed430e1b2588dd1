// Whoever stops a scan, answers it oddly, repeats it, or copies what it found: the records of every
// kind stay sound, and are freed once.

#include "api/sqliterecovery.h"
#include "api/walrecovery.h"
#include "tests/support/foundrecords.h"
#include "tests/support/kindsamples.h"
#include "tests/support/scanprobe.h"

#include <QTemporaryDir>
#include <QtTest>

#include <limits>
#include <memory>
#include <vector>

#include <malloc.h>

namespace {

using Records = QVector<QCborMap>;

/// Has the same file scanned for another object in the middle of a scan.
class NestedScan : public ScanProbe
{
public:
    NestedScan(ScanType type, const QString &path)
        : m_type(type)
        , m_path(path)
    {
    }
    bool reportProgress(double step) override
    {
        if (reports == 3) {
            inner.scanRecoveryForType(m_type, m_path, nullptr);
        }
        return ScanProbe::reportProgress(step);
    }

    SqliteRecovery inner;

private:
    ScanType m_type;
    QString m_path;
};

template<typename Recovery, typename Record>
QList<const Record *> held(Recovery &recovery, unsigned (Recovery::*count)(),
                           const Record *(Recovery::*get)(unsigned))
{
    QList<const Record *> records;
    for (unsigned i = 0; i < (recovery.*count)(); ++i) {
        records.append((recovery.*get)(i));
    }
    return records;
}

/// The records that an object holds by pointer.
struct HeldRecords
{
    explicit HeldRecords(SqliteRecovery &recovery)
        : contacts(held(recovery, &SqliteRecovery::getContactCount, &SqliteRecovery::getContact)
                   + held(recovery, &SqliteRecovery::getHiddenContactCount,
                          &SqliteRecovery::getHiddenContact))
        , whatsapps(held(recovery, &SqliteRecovery::getWhatsappCount, &SqliteRecovery::getWhatsapp))
        , weiChats(held(recovery, &SqliteRecovery::getWeiChatCount, &SqliteRecovery::getWeiChat))
        , notes(held(recovery, &SqliteRecovery::getIos9NoteCount, &SqliteRecovery::getIos9Note))
    {
    }

    void freeAll()
    {
        qDeleteAll(contacts);
        qDeleteAll(whatsapps);
        qDeleteAll(weiChats);
        qDeleteAll(notes);
    }
    bool operator==(const HeldRecords &other) const
    {
        return contacts == other.contacts && whatsapps == other.whatsapps
               && weiChats == other.weiChats && notes == other.notes;
    }

    QList<const PersonRecord *> contacts;
    QList<const WhatsappChatRecord *> whatsapps;
    QList<const WeiChatChat *> weiChats;
    QList<const NoteRecord *> notes;
};

/// Returns a copy that is never destroyed: it would free what the original has freed.
template<typename Recovery> Recovery *keptCopy(const Recovery &original)
{
    static auto *copies = new std::vector<std::unique_ptr<Recovery>>;
    copies->push_back(std::make_unique<Recovery>(original));
    return copies->back().get();
}

/// The scans of a kind, with a log or without.
class Scanner
{
public:
    Scanner(const KindSample &kind, const QString &path)
        : m_kind(kind)
        , m_path(path)
    {
    }
    void scan(SqliteRecovery *recovery, ScanProgress *progress) const
    {
        recovery->scanRecoveryForType(m_kind.type, m_path, progress);
    }
    void scan(WalRecovery *recovery, ScanProgress *progress) const
    {
        recovery->scanRecoveryForType(m_kind.type, m_path, m_path + QStringLiteral("-wal"),
                                      progress);
    }
    template<typename Recovery> Records records(ScanProgress *progress = nullptr) const
    {
        Recovery recovery;
        scan(&recovery, progress);
        return recordsOf(m_kind.type, recovery);
    }

private:
    KindSample m_kind;
    QString m_path;
};

/// Stops after every number of reports. What is found is a part of the whole.
template<typename Recovery> void stopEverywhere(const Scanner &scanner)
{
    ScanProbe follower;
    const Records all = scanner.records<Recovery>(&follower);
    const QString texts = textsOf(all).values().join(QLatin1Char('\n'));
    int most = 0;
    for (int report = 1; report <= follower.reports; ++report) {
        ScanProbe probe;
        probe.stopAfter = report;
        const Records found = scanner.records<Recovery>(&probe);
        QCOMPARE(probe.reports, report);
        QCOMPARE(probe.doneCalls, 1);
        QVERIFY(found.size() <= all.size());
        for (const QString &text : textsOf(found)) {
            QVERIFY2(texts.contains(text), qPrintable(text));
        }
        most = std::max(most, found.size());
    }
    QVERIFY(follower.reports > 5 && most > all.size() / 2);
}

template<typename Recovery> void answerOddly(const Scanner &scanner)
{
    const Records all = scanner.records<Recovery>();
    using Limits = std::numeric_limits<double>;
    for (const double span : {Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity(), -1.0,
                              0.0, Limits::max(), Limits::denorm_min()}) {
        ScanProbe progress;
        progress.span = span;
        QCOMPARE(scanner.records<Recovery>(&progress), all);
        QCOMPARE(progress.doneCalls, 1);
    }
}

template<typename Recovery> void scanTwice(ScanType type, const Scanner &scanner)
{
    const Records once = scanner.records<Recovery>();
    Recovery recovery;
    scanner.scan(&recovery, nullptr);
    scanner.scan(&recovery, nullptr);
    Records first;
    Records second;
    for (const RecordKind &kind : resultsOf(type, recovery).kinds) {
        for (unsigned i = 0; i < kind.count(); ++i) {
            (i < kind.count() / 2 ? first : second).append(kind.record(i));
        }
    }
    QCOMPARE(first, once);
    QCOMPARE(second, once);
}

/// What a second scan finds joins the conversations of the first.
bool deliversAnew(const KindSample &kind)
{
    return kind.type != ScanTypeWeChat;
}

/// What a second scan of a log finds takes the place of the first.
bool isReplaced(const KindSample &kind)
{
    return kind.type == ScanTypeContacts || kind.type == ScanTypeMessages;
}

/// Bytes in use, where the C library tells.
qint64 memoryInUse()
{
    return qint64(mallinfo2().uordblks);
}

} // namespace

class TestOwnership : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void stopping_data() { addKindRows(); }
    void stopping();
    void oddAnswers_data() { addKindRows(); }
    void oddAnswers();
    void nestedScans_data() { addKindRows(); }
    void nestedScans();
    void scansAppend_data() { addKindRows(deliversAnew); }
    void scansAppend();
    void everythingIsFreed_data() { addKindRows(); }
    void everythingIsFreed();
    void copiesShareRecords_data() { addKindRows(); }
    void copiesShareRecords();
    void assignmentFreesNothing_data() { addKindRows(); }
    void assignmentFreesNothing();
    void copiesOfLogs_data() { addKindRows(isReplaced); }
    void copiesOfLogs();
    void secondScanReplaces_data() { addKindRows(isReplaced); }
    void secondScanReplaces();

private:
    Scanner make(const KindSample &kind);

    QTemporaryDir m_dir;
};

/// With a log where its versions can be compared; the database itself is scanned as well.
Scanner TestOwnership::make(const KindSample &kind)
{
    const QString path = m_dir.filePath(QStringLiteral("sample.db"));
    QFile::remove(path + QStringLiteral("-wal"));
    if (!(isComparedInLogs(kind) ? makeKindSampleWithLog : makeKindSample)(kind, path)) {
        qFatal("cannot make the sample");
    }
    return Scanner(kind, path);
}

void TestOwnership::stopping()
{
    QFETCH(int, kind);
    const KindSample &sample = kindSamples().at(kind);
    const Scanner scanner = make(sample);
    SqliteRecovery whole;
    ScanProbe follower;
    scanner.scan(&whole, &follower);
    // Page 1 is never searched, and few pages make a large share each.
    QVERIFY2(follower.total > 80 * sample.searches && follower.total < 101 * sample.searches,
             qPrintable(QString::number(follower.total)));
    ScanProbe stopping;
    stopping.stopAfter = follower.reports - 1;
    SqliteRecovery stopped;
    scanner.scan(&stopped, &stopping);
    QCOMPARE(stopped.getHiddenContactCount(), 0U); // the last that is read
    stopEverywhere<SqliteRecovery>(scanner);
    if (isComparedInLogs(sample)) {
        stopEverywhere<WalRecovery>(scanner);
    }
}

void TestOwnership::oddAnswers()
{
    QFETCH(int, kind);
    const KindSample &sample = kindSamples().at(kind);
    const Scanner scanner = make(sample);
    answerOddly<SqliteRecovery>(scanner);
    if (isComparedInLogs(sample)) {
        answerOddly<WalRecovery>(scanner);
    }
}

void TestOwnership::nestedScans()
{
    QFETCH(int, kind);
    const KindSample &sample = kindSamples().at(kind);
    const Scanner scanner = make(sample);
    const Records all = scanner.records<SqliteRecovery>();
    NestedScan nested(sample.type, m_dir.filePath(QStringLiteral("sample.db")));
    QCOMPARE(scanner.records<SqliteRecovery>(&nested), all);
    QCOMPARE(recordsOf(sample.type, nested.inner), all);
}

void TestOwnership::scansAppend()
{
    QFETCH(int, kind);
    const KindSample &sample = kindSamples().at(kind);
    const Scanner scanner = make(sample);
    scanTwice<SqliteRecovery>(sample.type, scanner);
    if (sample.type == ScanTypeCalendar || sample.type == ScanTypeBookmarks) {
        scanTwice<WalRecovery>(sample.type, scanner);
    }
}

/// The sanitizers say more, but this fails without them, too.
void TestOwnership::everythingIsFreed()
{
    QFETCH(int, kind);
    const KindSample &sample = kindSamples().at(kind);
    const Scanner scanner = make(sample);
    const auto scanAndForget = [&] {
        SqliteRecovery recovery;
        scanner.scan(&recovery, nullptr);
        scanner.scan(&recovery, nullptr);
        qDeleteAll(HeldRecords(recovery).notes); // nobody else frees these
        WalRecovery versions;
        scanner.scan(&versions, nullptr);
    };
    scanAndForget(); // what is made once for all stays
    const qint64 before = memoryInUse();
    constexpr int rounds = 10;
    for (int round = 0; round < rounds; ++round) {
        scanAndForget();
    }
    const qint64 lost = (memoryInUse() - before) / rounds;
    QVERIFY2(lost < 2000, qPrintable(QString::number(lost)));
}

void TestOwnership::copiesShareRecords()
{
    QFETCH(int, kind);
    const KindSample &sample = kindSamples().at(kind);
    const Scanner scanner = make(sample);
    SqliteRecovery *copy = nullptr;
    Records all;
    {
        SqliteRecovery original;
        scanner.scan(&original, nullptr);
        all = recordsOf(sample.type, original);
        copy = keptCopy(original);
        SqliteRecovery *assigned = keptCopy(SqliteRecovery());
        *assigned = original;
        for (SqliteRecovery *other : {copy, assigned}) {
            QVERIFY(HeldRecords(*other) == HeldRecords(original));
            QCOMPARE(recordsOf(sample.type, *other), all);
        }
    }
    const HeldRecords shared(*copy);
    if (shared.contacts.isEmpty() && shared.whatsapps.isEmpty() && shared.weiChats.isEmpty()) {
        QCOMPARE(recordsOf(sample.type, *copy), all); // also the notes that outlast the object
        qDeleteAll(shared.notes);
    }
}

void TestOwnership::assignmentFreesNothing()
{
    QFETCH(int, kind);
    const KindSample &sample = kindSamples().at(kind);
    SqliteRecovery recovery;
    make(sample).scan(&recovery, nullptr);
    HeldRecords former(recovery);
    const SqliteRecovery empty;
    recovery = empty;
    QCOMPARE(recordsOf(sample.type, recovery), Records());
    former.freeAll(); // AddressSanitizer would say if they were freed before
}

/// As above. Nothing else tells what an object holds by pointer.
void TestOwnership::copiesOfLogs()
{
    QFETCH(int, kind);
    WalRecovery recovery;
    make(kindSamples().at(kind)).scan(&recovery, nullptr);
    const PersonRecord *contact = recovery.getContact(0);
    const MessageGroupRecord *group = recovery.getMessageGroup(0);
    QVERIFY(contact || group);
    WalRecovery *copy = keptCopy(recovery);
    QVERIFY(copy->getContact(0) == contact && copy->getMessageGroup(0) == group);
}

/// Contacts and messages of a log: the object has forgotten what the first scan gave, which stays.
void TestOwnership::secondScanReplaces()
{
    QFETCH(int, kind);
    const KindSample &sample = kindSamples().at(kind);
    const Scanner scanner = make(sample);
    WalRecovery recovery;
    scanner.scan(&recovery, nullptr);
    const Records once = recordsOf(sample.type, recovery);
    const auto contacts = held(recovery, &WalRecovery::getContactCount, &WalRecovery::getContact);
    const auto groups =
        held(recovery, &WalRecovery::getMessageGroupCount, &WalRecovery::getMessageGroup);
    scanner.scan(&recovery, nullptr);
    QCOMPARE(recordsOf(sample.type, recovery), once);
    QVERIFY(!contacts.contains(recovery.getContact(0))
            && !groups.contains(recovery.getMessageGroup(0)));
    qDeleteAll(contacts);
    qDeleteAll(groups);
    // Nothing was read that could replace it.
    recovery.scanRecoveryForType(sample.type, QString(), QString(), nullptr);
    QCOMPARE(recordsOf(sample.type, recovery), once);
}

QTEST_APPLESS_MAIN(TestOwnership)
#include "tst_ownership.moc"
