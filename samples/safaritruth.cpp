#include "samples/safaritruth.h"

#include <QSet>

#include <algorithm>

namespace {

QString describe(const BookmarkRecord &record)
{
    return QStringLiteral("\"%1\" %2 (%3)").arg(record.title, record.url).arg(record.parent);
}

bool sameTexts(const BookmarkRecord &a, const BookmarkRecord &b)
{
    return a.title == b.title && a.url == b.url;
}

bool contains(const QVector<BookmarkRecord> &records, const BookmarkRecord &record)
{
    return std::any_of(records.begin(), records.end(),
                       [&record](const BookmarkRecord &other) { return sameTexts(record, other); });
}

bool containsWithParent(const QVector<BookmarkRecord> &records, const BookmarkRecord &record)
{
    return std::any_of(records.begin(), records.end(), [&record](const BookmarkRecord &other) {
        return sameTexts(record, other) && record.parent == other.parent;
    });
}

void note(SafariReport *report, const char *what, const BookmarkRecord &record)
{
    report->details << QLatin1String(what) + QStringLiteral(": ") + describe(record);
}

/// Counts what was found of bookmarks that were deleted.
void judgeDeleted(const BookmarkSample &sample, const QVector<BookmarkRecord> &found,
                  SafariReport *report)
{
    for (const SampleBookmark &bookmark : sample.deleted) {
        ++report->deleted;
        if (contains(found, bookmark.record)) {
            ++report->recovered;
        } else if (!canComeBack(bookmark) || contains(recordsOf(sample.live), bookmark.record)) {
            ++report->refused;
        } else {
            note(report, "missed", bookmark.record);
        }
    }
}

void judgeFound(const BookmarkSample &sample, const BookmarkRecord &record, SafariReport *report)
{
    const QVector<BookmarkRecord> deleted = recordsOf(sample.deleted);
    const QVector<BookmarkRecord> former = recordsOf(sample.formerVersions);
    if (contains(recordsOf(sample.live), record)) {
        ++report->copies;
        note(report, "copy", record);
    } else if (!contains(deleted, record) && !contains(former, record)) {
        ++report->invented;
        note(report, "invented", record);
    } else if (!containsWithParent(deleted + former, record)) {
        ++report->wrongParents;
        note(report, "wrong parent", record);
    } else if (!contains(deleted, record)) {
        ++report->formerVersions;
    }
}

const BookmarkRecord *findUrl(const QVector<BookmarkRecord> &records, const QString &url)
{
    const auto record =
        std::find_if(records.begin(), records.end(),
                     [&url](const BookmarkRecord &other) { return other.url == url; });
    return record == records.end() ? nullptr : &*record;
}

void judgeFound(const HistorySample &sample, const BookmarkRecord &record, SafariReport *report)
{
    const BookmarkRecord *deleted = findUrl(sample.deleted, record.url);
    if (!deleted && !findUrl(sample.live, record.url)) {
        ++report->invented;
        note(report, "invented", record);
    } else if (!record.title.isEmpty() && !sample.titles.value(record.url).contains(record.title)) {
        ++report->wrongTitles;
        note(report, "wrong title", record);
    } else if (!deleted) {
        ++report->formerVersions;
    } else {
        ++report->recovered;
        if (record.title.isEmpty() && !deleted->title.isEmpty()) {
            ++report->untitled;
            note(report, "untitled", *deleted);
        }
    }
}

} // namespace

void SafariReport::add(const SafariReport &other)
{
    deleted += other.deleted;
    refused += other.refused;
    recovered += other.recovered;
    untitled += other.untitled;
    formerVersions += other.formerVersions;
    copies += other.copies;
    repeated += other.repeated;
    wrongTitles += other.wrongTitles;
    wrongParents += other.wrongParents;
    invented += other.invented;
    details += other.details;
}

QString SafariReport::summary() const
{
    return QStringLiteral("deleted %1, refused %2, recovered %3 (untitled %4), missed %5; former "
                          "versions %6; copies %7, repeated %8, wrong titles %9, ")
               .arg(deleted)
               .arg(refused)
               .arg(recovered)
               .arg(untitled)
               .arg(missed())
               .arg(formerVersions)
               .arg(copies)
               .arg(repeated)
               .arg(wrongTitles)
           + QStringLiteral("wrong parents %1, invented %2").arg(wrongParents).arg(invented);
}

SafariReport compareBookmarks(const BookmarkSample &sample, const QVector<BookmarkRecord> &found)
{
    SafariReport report;
    judgeDeleted(sample, found, &report);
    QVector<BookmarkRecord> seen;
    for (const BookmarkRecord &record : found) {
        if (contains(seen, record)) {
            ++report.repeated;
        } else {
            judgeFound(sample, record, &report);
        }
        seen << record;
    }
    return report;
}

SafariReport compareHistory(const HistorySample &sample, const QVector<BookmarkRecord> &found)
{
    SafariReport report;
    report.deleted = sample.deleted.size();
    QSet<QString> seen;
    for (const BookmarkRecord &record : found) {
        if (seen.contains(record.url)) {
            ++report.repeated;
        } else {
            judgeFound(sample, record, &report);
        }
        seen.insert(record.url);
    }
    for (const BookmarkRecord &record : sample.deleted) {
        if (!seen.contains(record.url)) {
            note(&report, "missed", record);
        }
    }
    return report;
}
