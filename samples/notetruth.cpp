#include "samples/notetruth.h"

#include <QSet>
#include <QtEndian>

#include <algorithm>

namespace {

constexpr int longestHeader = 260;
constexpr int guidSize = 36;

QString keyOf(const NoteRecord &note)
{
    return QStringLiteral("%1|%2|%3").arg(note.date).arg(note.title, note.content);
}

QString describe(const NoteRecord &note)
{
    return QStringLiteral("%1 \"%2\": \"%3\" (%4 characters)")
        .arg(note.date)
        .arg(note.title.left(40), note.content.left(60))
        .arg(note.content.size());
}

/// The bytes of a date as the row holds it.
QByteArray storedDate(double date)
{
    QByteArray bytes(8, '\0');
    if (date == double(qint32(date))) {
        bytes.resize(4);
        qToBigEndian(qint32(date), bytes.data());
    } else {
        quint64 bits = 0;
        memcpy(&bits, &date, sizeof bits);
        qToBigEndian(bits, bytes.data());
    }
    return bytes;
}

/// True when the file holds the row of this version: the end of its header, its date of change, its
/// identifier, beginning of the text and title. The row's own identifier makes up for the rest.
bool isWholeInFile(const SampleNote &note, const QByteArray &file)
{
    const QByteArray needle = storedDate(note.modified) + note.guid.toLatin1();
    const QByteArray texts = note.summary().toUtf8() + note.title.toUtf8();
    for (int at = file.indexOf(needle); at >= 0; at = file.indexOf(needle, at + 1)) {
        const int behind = at + needle.size();
        const QByteArray header = file.mid(std::max(0, at - longestHeader), longestHeader);
        // A server's identifier of a few digits may stand in between.
        const int start = file.mid(behind, texts.size() + 4).indexOf(texts);
        if (start >= 0 && header.contains(char(13 + 2 * guidSize))) {
            return true;
        }
    }
    return false;
}

/// What a version of a note has in common with a record.
enum class Match { None, Whole, Shortened, BodyOnly, OtherText };

Match match(const SampleNote &note, NoteLayout layout, const NoteRecord &found)
{
    const NoteRecord record = note.record(layout);
    if (keyOf(record) == keyOf(found)) {
        return Match::Whole;
    }
    // Half a text ends in a line, which may lose the spaces at its end.
    const bool isBeginning = record.content.startsWith(found.content.trimmed());
    if (found.date == 0) {
        return isBeginning && (found.content == record.content || found.content.size() > 10)
                   ? Match::BodyOnly
                   : Match::None;
    }
    if (found.date != record.date || !(found.title.isEmpty() || found.title == record.title)) {
        return Match::None;
    }
    const bool isSummary = found.content == note.title || note.summary().startsWith(found.content);
    if (isSummary || isBeginning) {
        return Match::Shortened;
    }
    const bool isOfSameTitle = found.content.startsWith(note.title);
    return isOfSameTitle ? Match::OtherText : Match::None;
}

Match bestMatch(const QVector<SampleNote> &notes, NoteLayout layout, const NoteRecord &found)
{
    Match best = Match::None;
    for (const SampleNote &note : notes) {
        const Match one = match(note, layout, found);
        best = best == Match::None || (one != Match::None && one < best) ? one : best;
    }
    return best;
}

class Comparison
{
public:
    Comparison(const NoteSample &sample, const QVector<NoteRecord> &found)
        : m_sample(sample)
    {
        for (const NoteRecord &note : found) {
            classify(note);
        }
    }

    NoteResult result;

private:
    void classify(const NoteRecord &note)
    {
        if (m_keys.contains(keyOf(note))) {
            count(&result.twice, "twice", note);
            return;
        }
        m_keys.insert(keyOf(note));
        const Match deleted = bestMatch(m_sample.deleted, m_sample.layout, note);
        const Match former = bestMatch(m_sample.formerVersions, m_sample.layout, note);
        const Match live = bestMatch(m_sample.live, m_sample.layout, note);
        if (deleted == Match::Whole || former == Match::Whole) {
            ++(deleted == Match::Whole ? result.recovered : result.former);
        } else if (live == Match::Whole) {
            count(&result.liveCopies, "live copy", note);
        } else if (deleted == Match::Shortened || former == Match::Shortened) {
            count(&result.shortened, "shortened", note);
        } else if (deleted == Match::BodyOnly || former == Match::BodyOnly) {
            count(&result.bodyOnly, "text alone", note);
        } else if (live == Match::Shortened || live == Match::BodyOnly) {
            count(&result.liveCopies, "part of a live copy", note);
        } else if (deleted != Match::None || former != Match::None || live != Match::None) {
            count(&result.otherText, "other text", note);
        } else {
            count(&result.invented, "invented", note);
        }
    }

    void count(int *counter, const char *what, const NoteRecord &note)
    {
        ++*counter;
        result.details << QLatin1String(what) + QStringLiteral(": ") + describe(note);
    }

    const NoteSample &m_sample;
    QSet<QString> m_keys;
};

bool isFound(const SampleNote &note, NoteLayout layout, const QVector<NoteRecord> &found)
{
    return std::any_of(found.cbegin(), found.cend(), [&](const NoteRecord &record) {
        return match(note, layout, record) != Match::None;
    });
}

/// Pictures and signs alone make no plausible title.
bool isRefused(const SampleNote &note, NoteLayout layout)
{
    const QString text = note.title + note.summary();
    const bool isReadable = std::any_of(
        text.cbegin(), text.cend(), [](QChar c) { return c.isLetterOrNumber() || c.isPunct(); });
    return !isTaken(layout) || (isNoteStore(layout) && !isReadable);
}

/// The counters in the order of their names.
constexpr int NoteResult::*counters[] = {
    &NoteResult::deleted,    &NoteResult::recovered,   &NoteResult::former,
    &NoteResult::shortened,  &NoteResult::bodyOnly,    &NoteResult::otherText,
    &NoteResult::liveCopies, &NoteResult::twice,       &NoteResult::invented,
    &NoteResult::refused,    &NoteResult::overwritten, &NoteResult::missedWhole};
constexpr const char *counterNames[] = {"deleted",   "recovered",  "former",      "shortened",
                                        "body only", "other text", "live copies", "twice",
                                        "invented",  "refused",    "overwritten", "missed whole"};

} // namespace

int NoteResult::found() const
{
    return recovered + former + shortened + bodyOnly + otherText + liveCopies + twice + invented;
}

void NoteResult::add(const NoteResult &other)
{
    for (const auto counter : counters) {
        this->*counter += other.*counter;
    }
    details << other.details;
}

QString NoteResult::summary() const
{
    QStringList parts;
    for (size_t i = 0; i < std::size(counters); ++i) {
        parts
            << QStringLiteral("%1 %2").arg(QLatin1String(counterNames[i])).arg(this->*counters[i]);
    }
    return parts.join(QStringLiteral(", "));
}

NoteResult compareNotes(const NoteSample &sample, const QByteArray &file,
                        const QVector<NoteRecord> &found)
{
    NoteResult result = Comparison(sample, found).result;
    result.deleted = sample.deleted.size();
    for (const SampleNote &note : sample.deleted) {
        if (!isFound(note, sample.layout, found)) {
            if (isRefused(note, sample.layout)) {
                ++result.refused;
                continue;
            }
            const bool isWhole = isWholeInFile(note, file);
            ++(isWhole ? result.missedWhole : result.overwritten);
            result.details << (isWhole ? QStringLiteral("missed although whole: ")
                                       : QStringLiteral("overwritten: "))
                                  + describe(note.record(sample.layout));
        }
    }
    return result;
}
