#include "samples/recallreport.h"

#include <QDir>

#include <algorithm>

namespace {

constexpr int nameWidth = 42;

bool contains(const QVector<CallhistoryRecord> &records, const CallhistoryRecord &record)
{
    return std::any_of(records.begin(), records.end(), [&record](const CallhistoryRecord &other) {
        return sameCall(record, other);
    });
}

QString describe(const CallhistoryRecord &record)
{
    return QStringLiteral("\"%1\" date %2 duration %3 flags %4")
        .arg(record.address)
        .arg(record.date)
        .arg(record.duration)
        .arg(record.flags);
}

/// Compares what a scan found with the truth about one sample.
class Comparison
{
public:
    Comparison(const CallSample &sample, const CallEvidence &evidence, RecallResult *result)
        : m_sample(sample)
        , m_evidence(evidence)
        , m_result(result)
    {
    }

    void run(const QVector<CallhistoryRecord> &found)
    {
        for (const SampleCall &call : m_sample.deleted) {
            judgeDeleted(call, found);
        }
        const QVector<CallhistoryRecord> truth = expectedRecords(m_sample.layout, m_sample.deleted);
        for (const CallhistoryRecord &record : found) {
            if (!contains(truth, record)) {
                judgeInvented(record);
            }
        }
    }

private:
    void judgeDeleted(const SampleCall &call, const QVector<CallhistoryRecord> &found)
    {
        const CallhistoryRecord record = expectedRecord(m_sample.layout, call);
        ++m_result->deleted;
        if (contains(found, record)) {
            ++m_result->recovered;
            return;
        }
        const Explanation why = m_evidence.explainMiss(call);
        ++m_result->misses[why.mechanism];
        m_result->refused +=
            why.mechanism == Mechanism::EmptyAddress || why.mechanism == Mechanism::RefusedType;
        note(QStringLiteral("missed"), record, why);
    }

    void judgeInvented(const CallhistoryRecord &record)
    {
        const Explanation why = m_evidence.explainInvention(record);
        const bool isFormer = why.mechanism == Mechanism::FormerVersion;
        ++(isFormer ? m_result->former : m_result->invented);
        ++m_result->inventions[why.mechanism];
        note(QLatin1String(isFormer ? "former version" : "invented"), record, why);
    }

    void note(const QString &what, const CallhistoryRecord &record, const Explanation &why)
    {
        m_result->details << QStringLiteral("%1 %2: %3 (%4)")
                                 .arg(what, describe(record), mechanismName(why.mechanism),
                                      why.detail);
    }

    const CallSample &m_sample;
    const CallEvidence &m_evidence;
    RecallResult *m_result;
};

bool makeFile(const RecallCase &recallCase, const QString &path, CallSample *sample)
{
    SampleDatabase db;
    return db.create(path, recallCase.options) && makeCallSample(&db, recallCase.plan, sample)
           && db.close();
}

/// Full auto-vacuum cuts free pages off the file, so it is a group of its own.
QString fileKind(const SampleOptions &options)
{
    if (options.encoding != "UTF-8") {
        return QStringLiteral("UTF-16");
    }
    return options.autoVacuum == 1 ? QStringLiteral("UTF-8, full vacuum") : QStringLiteral("UTF-8");
}

QString groupName(const RecallCase &recallCase)
{
    return QStringLiteral("%1  %2  %3")
        .arg(layoutName(recallCase.plan.layout), -6)
        .arg(deletionName(recallCase.plan.deletion), -12)
        .arg(fileKind(recallCase.options));
}

QString tableLine(const QString &name, const RecallResult &result)
{
    const int found = result.recovered + result.former + result.invented;
    QString line = name.leftJustified(nameWidth);
    for (const int number : {result.deleted, result.refused, result.recovered, result.missed(),
                             result.former, result.copies(), result.invented - result.copies()}) {
        line += QString::number(number).rightJustified(10);
    }
    for (const QString &share : {percentText(result.recovered, result.deleted),
                                 percentText(result.recovered, result.deleted - result.refused),
                                 percentText(found - result.invented, found)}) {
        line += share.rightJustified(10);
    }
    return line + QLatin1Char('\n');
}

QString tableHead()
{
    QString line = QStringLiteral("layout, deletion, kind of file").leftJustified(nameWidth);
    for (const char *title : {"deleted", "refused", "recovered", "missed", "former", "copies",
                              "invented", "recall", "fitting", "precision"}) {
        line += QString::fromLatin1(title).rightJustified(10);
    }
    return line + QLatin1Char('\n');
}

QString mechanismLines(const QString &title, const QMap<Mechanism, int> &counts)
{
    QString lines = title;
    for (const Mechanism mechanism : allMechanisms()) {
        if (counts.contains(mechanism)) {
            lines += QStringLiteral("  %1  %2\n")
                         .arg(counts.value(mechanism), 6)
                         .arg(mechanismName(mechanism));
        }
    }
    return lines;
}

void addCounts(QMap<Mechanism, int> *sum, const QMap<Mechanism, int> &counts)
{
    for (auto it = counts.begin(); it != counts.end(); ++it) {
        (*sum)[it.key()] += it.value();
    }
}

} // namespace

QString percentText(int part, int whole)
{
    return whole == 0 ? QStringLiteral("-")
                      : QStringLiteral("%1%").arg(100.0 * part / whole, 0, 'f', 1);
}

int RecallResult::unexplained() const
{
    return misses.value(Mechanism::Unexplained) + inventions.value(Mechanism::Unexplained);
}

int RecallResult::copies() const
{
    return inventions.value(Mechanism::StaleCopy);
}

void RecallResult::add(const RecallResult &other)
{
    deleted += other.deleted;
    refused += other.refused;
    recovered += other.recovered;
    former += other.former;
    invented += other.invented;
    addCounts(&misses, other.misses);
    addCounts(&inventions, other.inventions);
}

QVector<RecallCase> recallMatrix()
{
    // Page sizes are crossed with the way rows get lost; the modes and encodings take turns.
    static const SampleOptions variants[] = {
        {1024, 0, "UTF-8"},    {4096, 0, "UTF-8"},    {8192, 2, "UTF-8"},    {65536, 0, "UTF-8"},
        {1024, 1, "UTF-8"},    {4096, 1, "UTF-8"},    {16384, 2, "UTF-8"},   {2048, 2, "UTF-8"},
        {1024, 0, "UTF-16le"}, {4096, 1, "UTF-16be"}, {4096, 2, "UTF-16le"}, {65536, 0, "UTF-16be"},
    };
    QVector<RecallCase> cases;
    for (const CallLayout layout : allCallLayouts()) {
        for (const Deletion deletion : allDeletions()) {
            for (const SampleOptions &options : variants) {
                const quint32 seed = quint32(cases.size()) + 1;
                cases << RecallCase{{layout, deletion, 240, seed}, options};
            }
        }
    }
    return cases;
}

QString recallCaseName(const RecallCase &recallCase)
{
    return QStringLiteral("%1, %2, page size %3, auto-vacuum %4, %5, seed %6")
        .arg(layoutName(recallCase.plan.layout), deletionName(recallCase.plan.deletion))
        .arg(recallCase.options.pageSize)
        .arg(recallCase.options.autoVacuum)
        .arg(QString::fromLatin1(recallCase.options.encoding))
        .arg(recallCase.plan.seed);
}

RecallResult runRecallCase(const RecallCase &recallCase, const QString &folder,
                           const CallScan &scan)
{
    RecallResult result;
    CallSample sample;
    DatabaseMap map;
    const QString path = QDir(folder).filePath(QStringLiteral("sample.db"));
    if (!makeFile(recallCase, path, &sample) || !map.load(path, sample.rootPage)) {
        return result;
    }
    const CallEvidence evidence(sample, recallCase.options.encoding, map);
    result.valid = evidence.encodesLiveRows();
    Comparison(sample, evidence, &result).run(scan(path));
    return result;
}

void RecallReport::add(const RecallCase &recallCase, const RecallResult &result)
{
    const QString name = groupName(recallCase);
    if (!m_groupNames.contains(name)) {
        m_groupNames << name;
        m_groups << RecallResult();
    }
    m_groups[m_groupNames.indexOf(name)].add(result);
    m_total.add(result);
    m_allValid &= result.valid;
}

QString RecallReport::text() const
{
    QString text = tableHead();
    for (int i = 0; i < m_groups.size(); ++i) {
        text += tableLine(m_groupNames.at(i), m_groups.at(i));
    }
    text += tableLine(QStringLiteral("all"), m_total);
    text += mechanismLines(QStringLiteral("\nwhy deleted calls were missed:\n"), m_total.misses);
    text += mechanismLines(QStringLiteral("what else was found:\n"), m_total.inventions);
    return text;
}

bool RecallReport::isSound() const
{
    return m_allValid && m_total.unexplained() == 0;
}
