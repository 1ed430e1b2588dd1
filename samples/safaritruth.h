#pragma once

#include "samples/safarisamples.h"

/// What a scan made of a sample database of bookmarks or of a history.
struct SafariReport
{
    int deleted = 0;
    int refused = 0;        ///< of these: such that no test takes
    int recovered = 0;      ///< with the right address and title, whatever the title was before
    int untitled = 0;       ///< of the recovered: without the title that they had
    int formerVersions = 0; ///< former rows of what still exists, or of what was deleted later
    int copies = 0;         ///< rows of bookmarks that still exist as they are
    int repeated = 0;       ///< found before
    int wrongTitles = 0;    ///< addresses with the title of another one
    int wrongParents = 0;   ///< bookmarks under another folder than they ever were
    int invented = 0;       ///< addresses that never were
    QStringList details;    ///< one line for each miss and for each fault

    int missed() const { return deleted - refused - recovered; }
    /// What must not happen, ever.
    int faults() const { return copies + repeated + wrongTitles + wrongParents + invented; }
    void add(const SafariReport &other);
    /// The numbers in one line.
    QString summary() const;
};

/// Compare what a scan found with the truth.
SafariReport compareBookmarks(const BookmarkSample &sample, const QVector<BookmarkRecord> &found);
SafariReport compareHistory(const HistorySample &sample, const QVector<BookmarkRecord> &found);
