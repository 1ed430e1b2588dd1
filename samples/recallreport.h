#pragma once

#include "samples/callevidence.h"
#include "samples/sampledatabase.h"

#include <QMap>
#include <QStringList>

#include <functional>

/// Returns the deleted calls that a scan of the database file finds.
using CallScan = std::function<QVector<CallhistoryRecord>(const QString &path)>;

/// The share in percent with one decimal, or "-" of nothing.
QString percentText(int part, int whole);

/// One sample database of the recall matrix.
struct RecallCase
{
    CallPlan plan;
    SampleOptions options;
};

/// What a scan of one sample database made of it.
struct RecallResult
{
    bool valid = false; ///< false when the sample could not be made or read
    int deleted = 0;
    int refused = 0;   ///< deleted rows that no header test takes, by their widths
    int recovered = 0; ///< deleted rows that were found
    int former = 0;    ///< former versions of rewritten rows that were found
    int invented = 0;  ///< all else that was found, copies of live rows included
    QMap<Mechanism, int> misses;
    QMap<Mechanism, int> inventions; ///< former versions included
    QStringList details;             ///< one line for each miss and each invention

    int missed() const { return deleted - recovered; }
    int unexplained() const;
    /// Copies of live rows that SQLite left where it moved them.
    int copies() const;
    void add(const RecallResult &other);
};

/// Realistic databases: every layout with every way of losing rows, in files of several page sizes,
/// auto-vacuum modes and encodings.
QVector<RecallCase> recallMatrix();
QString recallCaseName(const RecallCase &recallCase);

/// Makes the sample as a file in `folder`, scans it, and compares with the truth.
RecallResult runRecallCase(const RecallCase &recallCase, const QString &folder,
                           const CallScan &scan);

/// Sums results up by groups of cases, and prints them as a table.
class RecallReport
{
public:
    void add(const RecallCase &recallCase, const RecallResult &result);
    /// One line for each group, the totals, and how often each mechanism was at work.
    QString text() const;
    /// True when every sample could be made and every miss and invention has its mechanism.
    bool isSound() const;

private:
    QStringList m_groupNames;
    QVector<RecallResult> m_groups;
    RecallResult m_total;
    bool m_allValid = true;
};
