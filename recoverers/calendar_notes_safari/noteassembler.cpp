#include "recoverers/calendar_notes_safari/noteassembler.h"

#include "recoverers/calendar_notes_safari/notehtml.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <iterator>

namespace {

/// A body as people read it.
struct PlainBody
{
    QString title;
    QString text;
    bool isCopy = false; ///< equals the body of a note that still exists
};

/// True when all that is left of the row also stands in the other one.
bool isPartOf(const NoteRow &row, const NoteRow &other)
{
    return row.date == other.date && (row.title.isEmpty() || row.title == other.title)
           && other.summary.startsWith(row.summary);
}

bool isEqual(const NoteRow &row, const NoteRow &other)
{
    return row.date == other.date && row.title == other.title && row.summary == other.summary;
}

/// The notes that are known whole, by date.
using KnownNotes = QMultiHash<qint32, const NoteRow *>;

KnownNotes knownNotes(const QVector<NoteRow> &notes)
{
    KnownNotes known;
    for (const NoteRow &note : notes) {
        if (!note.isIncomplete) {
            known.insert(note.date, &note);
        }
    }
    return known;
}

bool isKnown(const NoteRow &note, const KnownNotes &known,
             bool (*isSame)(const NoteRow &, const NoteRow &))
{
    const auto sameDate = known.equal_range(note.date);
    return std::any_of(sameDate.first, sameDate.second,
                       [&](const NoteRow *other) { return isSame(note, *other); });
}

/// The rows of notes that are no copies of others: SQLite leaves such copies where it moves a row.
QVector<NoteRow> deletedNotes(const LiveNotes &live, const QVector<NoteRow> &carved)
{
    const KnownNotes liveNotes = knownNotes(live.notes);
    const KnownNotes carvedNotes = knownNotes(carved);
    QVector<NoteRow> deleted;
    deleted.reserve(carved.size()); // so that the pointers to its rows stay valid
    KnownNotes kept;
    for (const NoteRow &note : carved) {
        const auto isSame = note.isIncomplete ? isPartOf : isEqual;
        const KnownNotes &others = note.isIncomplete ? carvedNotes : kept;
        if (!isKnown(note, liveNotes, isSame) && !isKnown(note, others, isSame)) {
            deleted.append(note);
            kept.insert(note.date, &deleted.last());
        }
    }
    return deleted;
}

/// Ascending.
QStringList contentsOf(const QVector<NoteBody> &bodies)
{
    QStringList contents;
    for (const NoteBody &body : bodies) {
        contents.append(body.content);
    }
    std::sort(contents.begin(), contents.end());
    return contents;
}

/// True when one of the contents begins with the body's and goes on.
bool isBeginningOfOne(const NoteBody &body, const QStringList &sorted)
{
    const auto next = std::upper_bound(sorted.cbegin(), sorted.cend(), body.content);
    return next != sorted.cend() && next->startsWith(body.content);
}

bool isAmong(const NoteBody &body, const QStringList &sorted)
{
    return std::binary_search(sorted.cbegin(), sorted.cend(), body.content)
           || (body.isCut && isBeginningOfOne(body, sorted));
}

QString titleOf(const QString &text)
{
    const QStringList lines = text.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    return lines.isEmpty() ? text : lines.first();
}

/// True when a body that lost its end tells no more than the title of some note.
bool isPartOfTitle(const PlainBody &body, const QVector<NoteRow> &notes)
{
    return body.title == body.text.trimmed()
           && std::any_of(notes.cbegin(), notes.cend(), [&body](const NoteRow &note) {
                  return note.title.startsWith(body.title);
              });
}

/// The bodies in their order, those that are no copies first: a note takes a copy only when nothing
/// else has its title.
QVector<PlainBody> plainBodies(const LiveNotes &live, const CarvedNotes &carved,
                               const std::function<bool()> &mayGoOn)
{
    const QStringList contents = contentsOf(carved.bodies);
    QVector<PlainBody> bodies;
    QVector<PlainBody> copies;
    for (const NoteBody &body : carved.bodies) {
        if (!mayGoOn()) {
            break;
        }
        if (body.isCut && isBeginningOfOne(body, contents)) {
            continue;
        }
        PlainBody plain;
        plain.text = plainNoteText(body.content);
        plain.title = titleOf(plain.text);
        plain.isCopy = isAmong(body, live.bodies);
        if (!body.isCut
            || !(isPartOfTitle(plain, carved.notes) || isPartOfTitle(plain, live.notes))) {
            (plain.isCopy ? copies : bodies).append(plain);
        }
    }
    return bodies + copies;
}

/// Hands the bodies out by title.
class BodyPool
{
public:
    explicit BodyPool(QVector<PlainBody> bodies)
        : m_bodies(std::move(bodies))
    {
        for (int i = m_bodies.size() - 1; i >= 0; --i) {
            m_byTitle[m_bodies[i].title].append(i); // the first one last
        }
    }

    /// Takes the first body with the note's title out of the pool; null when there is none. Where
    /// several have the title, one that goes on as the note's summary does comes before the first.
    const PlainBody *take(const NoteRow &note)
    {
        const auto found = m_byTitle.find(note.title);
        if (found == m_byTitle.end() || found->isEmpty()) {
            return nullptr;
        }
        const auto fits = std::find_if(found->crbegin(), found->crend(), [&](int place) {
            return goesOnAs(m_bodies[place], note.summary);
        });
        const int index = int(std::distance(fits, found->crend())) - 1;
        PlainBody &body = m_bodies[found->takeAt(index < 0 ? found->size() - 1 : index)];
        m_takenTexts.insert(body.text);
        return &body;
    }

    /// The bodies that are still there, without copies of those that were taken.
    QVector<PlainBody> rest() const
    {
        QVector<PlainBody> bodies;
        std::copy_if(m_bodies.cbegin(), m_bodies.cend(), std::back_inserter(bodies),
                     [this](const PlainBody &body) { return !m_takenTexts.contains(body.text); });
        return bodies;
    }

private:
    /// True when the first line behind the title begins with the summary.
    static bool goesOnAs(const PlainBody &body, const QString &summary)
    {
        const QStringList lines = body.text.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        return summary.isEmpty() ? lines.size() <= 1 : lines.value(1).startsWith(summary);
    }

    QVector<PlainBody> m_bodies;
    QHash<QString, QVector<int>> m_byTitle;
    QSet<QString> m_takenTexts;
};

/// Collects notes, each one once.
class NoteList
{
public:
    void add(const NoteRecord &note)
    {
        const QString key = note.title + QLatin1Char('|') + note.content + QLatin1Char('|')
                            + QString::number(note.date);
        if (!m_keys.contains(key)) {
            m_keys.insert(key);
            records.append(note);
        }
    }

    QVector<NoteRecord> records;

private:
    QSet<QString> m_keys;
};

} // namespace

QVector<NoteRecord> assembleNotes(const LiveNotes &live, const CarvedNotes &carved,
                                  const std::function<bool()> &mayGoOn)
{
    BodyPool pool(plainBodies(live, carved, mayGoOn));
    NoteList list;
    const QVector<NoteRow> notes = deletedNotes(live, carved.notes);
    for (const NoteRow &note : notes) {
        if (!mayGoOn()) {
            return list.records;
        }
        NoteRecord record{note.date, note.title,
                          note.summary.isEmpty() ? note.title : note.summary};
        // A title that is lost is no title: it must not take a body without text.
        const bool isTitleLost = note.isIncomplete && note.title.isEmpty();
        if (const PlainBody *body = isTitleLost ? nullptr : pool.take(note)) {
            record.content = body->text;
        }
        list.add(record);
    }
    const QVector<PlainBody> rest = pool.rest();
    for (const PlainBody &body : rest) {
        if (!body.isCopy) {
            list.add({0, body.title, body.text});
        }
    }
    return list.records;
}

QVector<NoteRecord> assembleIos9Notes(const LiveNotes &live, const CarvedNotes &carved,
                                      const std::function<bool()> &mayGoOn)
{
    NoteList list;
    const QVector<NoteRow> notes = deletedNotes(live, carved.notes);
    for (const NoteRow &note : notes) {
        if (!mayGoOn()) {
            break;
        }
        list.add({note.date, note.title, note.summary});
    }
    return list.records;
}
