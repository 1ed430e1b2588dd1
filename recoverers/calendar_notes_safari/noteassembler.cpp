#include "recoverers/calendar_notes_safari/noteassembler.h"

#include "recoverers/calendar_notes_safari/notehtml.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <iterator>
#include <tuple>

namespace {

/// A body as people read it.
struct PlainBody
{
    QString title;
    QString text;
    bool isCopy = false; ///< equals the body of a note that still exists
};

/// True when one of the texts, which are ascending, begins with `beginning`.
bool isBeginningOfOne(const QString &beginning, const QStringList &sorted)
{
    const auto next = std::lower_bound(sorted.cbegin(), sorted.cend(), beginning);
    return next != sorted.cend() && next->startsWith(beginning);
}

/// Knows the rows that are whole, to tell pieces and copies of them.
class WholeNotes
{
public:
    WholeNotes(const QVector<NoteRow> &live, const QVector<NoteRow> &carved)
    {
        for (const NoteRow &note : live) {
            m_live.append(Row(note.date, note.title, note.summary));
        }
        add(live);
        add(carved);
        std::sort(m_live.begin(), m_live.end());
        std::sort(m_rows.begin(), m_rows.end());
    }

    bool isLive(const NoteRow &note) const
    {
        return std::binary_search(m_live.cbegin(), m_live.cend(),
                                  Row(note.date, note.title, note.summary));
    }

    /// True when all that is left of the row also stands in a whole one.
    bool havePart(const NoteRow &note) const
    {
        const auto next = std::lower_bound(m_rows.cbegin(), m_rows.cend(),
                                           Row(note.date, note.title, note.summary));
        return next != m_rows.cend() && std::get<0>(*next) == note.date
               && std::get<1>(*next) == note.title && std::get<2>(*next).startsWith(note.summary);
    }

private:
    using Row = std::tuple<qint32, QString, QString>; ///< date, title, summary

    void add(const QVector<NoteRow> &notes)
    {
        for (const NoteRow &note : notes) {
            if (!note.isIncomplete) {
                m_rows.append(Row(note.date, note.title, note.summary));
                m_rows.append(Row(note.date, QString(), note.summary)); // for pieces without title
            }
        }
    }

    QVector<Row> m_live; ///< ascending
    QVector<Row> m_rows; ///< ascending
};

/// The carved rows, in their order, without what SQLite leaves where it moves a row: copies of rows
/// that still exist, which are not deleted, and pieces of rows that are known whole, which say
/// nothing new.
QVector<NoteRow> deletedNotes(const LiveNotes &live, const QVector<NoteRow> &carved)
{
    const WholeNotes whole(live.notes, carved);
    QVector<NoteRow> notes;
    std::copy_if(carved.cbegin(), carved.cend(), std::back_inserter(notes),
                 [&](const NoteRow &note) {
                     return !(note.isIncomplete ? whole.havePart(note) : whole.isLive(note));
                 });
    return notes;
}

/// Tells bodies that lost their end and say nothing new.
class BodyPieces
{
public:
    BodyPieces(const LiveNotes &live, const CarvedNotes &carved)
        : m_live(live.bodies)
        , m_whole(live.bodies)
    {
        for (const NoteBody &body : carved.bodies) {
            (body.isCut ? m_cut : m_whole).append(body.content);
        }
        for (const QVector<NoteRow> &notes : {live.notes, carved.notes}) {
            for (const NoteRow &note : notes) {
                m_titles.append(note.title);
            }
        }
        for (QStringList *list : {&m_live, &m_whole, &m_cut, &m_titles}) {
            std::sort(list->begin(), list->end());
        }
    }

    bool isLive(const NoteBody &body) const
    {
        return std::binary_search(m_live.cbegin(), m_live.cend(), body.content);
    }

    /// True when the body goes on in another one.
    bool isPiece(const NoteBody &body) const
    {
        const auto longer = std::upper_bound(m_cut.cbegin(), m_cut.cend(), body.content);
        return body.isCut
               && (isBeginningOfOne(body.content, m_whole)
                   || (longer != m_cut.cend() && longer->startsWith(body.content)));
    }

    /// True when the body tells no more than the title of some note.
    bool isPartOfTitle(const NoteBody &body, const PlainBody &plain) const
    {
        return body.isCut && plain.title == plain.text.trimmed()
               && isBeginningOfOne(plain.title, m_titles);
    }

private:
    QStringList m_live; ///< contents, ascending; so are the others
    QStringList m_whole;
    QStringList m_cut;
    QStringList m_titles;
};

QString titleOf(const QString &text)
{
    const QStringList lines = text.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    return lines.isEmpty() ? text : lines.first();
}

/// The bodies in their order, as far as there is time; those that are no copies first.
QVector<PlainBody> plainBodies(const LiveNotes &live, const CarvedNotes &carved,
                               const std::function<bool()> &mayGoOn)
{
    const BodyPieces pieces(live, carved);
    QVector<PlainBody> bodies;
    QVector<PlainBody> copies;
    for (const NoteBody &body : carved.bodies) {
        if (&body != &carved.bodies.first() && !mayGoOn()) {
            break;
        }
        if (!pieces.isPiece(body)) {
            PlainBody plain;
            plain.text = plainNoteText(body.content);
            plain.title = titleOf(plain.text);
            plain.isCopy = pieces.isLive(body);
            if (!pieces.isPartOfTitle(body, plain)) {
                (plain.isCopy ? copies : bodies).append(plain);
            }
        }
    }
    return bodies + copies;
}

/// Hands the bodies out by title, the first one first, each of them once.
class BodyPool
{
public:
    explicit BodyPool(QVector<PlainBody> bodies)
        : m_bodies(std::move(bodies))
        , m_isTaken(m_bodies.size(), false)
    {
        for (int i = m_bodies.size() - 1; i >= 0; --i) {
            m_byTitle[m_bodies[i].title].append(i); // the first one last
        }
    }

    /// Takes the first body with the note's title out of the pool; null when there is none. A copy
    /// of a live body must go on as the note does: two notes may have one title, seldom one text.
    const PlainBody *take(const NoteRow &note)
    {
        const auto found = m_byTitle.find(note.title);
        if (found == m_byTitle.end() || found->isEmpty()) {
            return nullptr;
        }
        const PlainBody &first = m_bodies.at(found->last());
        if (first.isCopy && !goesOnAs(first, note.summary)) {
            return nullptr;
        }
        const int index = found->takeLast();
        m_isTaken[index] = true;
        return &m_bodies.at(index);
    }

    /// The bodies that are still there, in their order, without copies.
    QVector<PlainBody> rest() const
    {
        QVector<PlainBody> bodies;
        for (int i = 0; i < m_bodies.size(); ++i) {
            if (!m_isTaken[i] && !m_bodies[i].isCopy) {
                bodies.append(m_bodies[i]);
            }
        }
        return bodies;
    }

private:
    /// True when the first line behind the title begins with the summary.
    static bool goesOnAs(const PlainBody &body, const QString &summary)
    {
        const QStringList lines = body.text.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        return summary.isEmpty() ? lines.size() <= 1 : lines.value(1).startsWith(summary);
    }

    const QVector<PlainBody> m_bodies;
    QVector<bool> m_isTaken;
    QHash<QString, QVector<int>> m_byTitle;
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

/// Pairs the notes with the bodies, and adds what that gives to the list. Returns false when it was
/// told to stop.
bool addNotes(const QVector<NoteRow> &notes, BodyPool *pool, NoteList *list,
              const std::function<bool()> &mayGoOn)
{
    for (const NoteRow &note : notes) {
        if (&note != &notes.first() && !mayGoOn()) {
            return false;
        }
        NoteRecord record{note.date, note.title,
                          note.summary.isEmpty() ? note.title : note.summary};
        // A title that is lost is no title: it must not take a body without text.
        const bool isTitleLost = note.isIncomplete && note.title.isEmpty();
        if (const PlainBody *body = isTitleLost ? nullptr : pool->take(note)) {
            record.content = body->text;
        }
        list->add(record);
    }
    return true;
}

} // namespace

QVector<NoteRecord> assembleNotes(const LiveNotes &live, const CarvedNotes &carved,
                                  const std::function<bool()> &mayGoOn)
{
    bool isStopped = false;
    const auto ask = [&] {
        // Told to stop while bodies are converted, it pairs what there is: the rows were found.
        isStopped = isStopped || !mayGoOn();
        return !isStopped;
    };
    BodyPool pool(plainBodies(live, carved, ask));
    const bool isAsked = !isStopped;
    NoteList list;
    const bool isWhole =
        addNotes(deletedNotes(live, carved.notes), &pool, &list, [&] { return !isAsked || ask(); });
    if (isWhole) {
        const QVector<PlainBody> rest = pool.rest();
        for (const PlainBody &body : rest) {
            list.add({0, body.title, body.text});
        }
    }
    return list.records;
}

QVector<NoteRecord> assembleIos9Notes(const LiveNotes &live, const CarvedNotes &carved)
{
    NoteList list;
    const QVector<NoteRow> notes = deletedNotes(live, carved.notes);
    for (const NoteRow &note : notes) {
        list.add({note.date, note.title, note.summary});
    }
    return list.records;
}
