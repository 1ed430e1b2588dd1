#include "samples/calendartruth.h"

#include <QSet>

#include <algorithm>

namespace {

/// So much of a row's body lies on its page, whatever follows on overflow pages.
constexpr int BytesOnThePage = 300;

QString joined(const QStringList &fields)
{
    return fields.join(QLatin1Char('|'));
}

QString number(double value)
{
    return QString::number(value, 'f', 0);
}

/// All fields as a text.
QString toText(const CalendarRecord &event)
{
    return joined({QStringLiteral("event"), event.title, event.location, event.notes,
                   number(event.startDate), number(event.endDate), QString::number(event.allDay)});
}

QString toText(const ReminderRecord &reminder)
{
    return joined({QStringLiteral("reminder"), reminder.title, reminder.location, reminder.calendar,
                   reminder.notes, number(reminder.startDate), number(reminder.completionDate),
                   QString::number(reminder.priority)});
}

QString toText(const SampleCalendarRow &row)
{
    return row.kind == SampleCalendarRow::Reminder ? toText(row.reminder) : toText(row.event);
}

/// What two kinds of records have in common.
struct Contents
{
    SampleCalendarRow::Kind kind;
    QString title;
    QString notes;
    double startDate;
};

Contents contentsOf(const CalendarRecord &event)
{
    return {SampleCalendarRow::Event, event.title, event.notes, event.startDate};
}

Contents contentsOf(const ReminderRecord &reminder)
{
    return {SampleCalendarRow::Reminder, reminder.title, reminder.notes, reminder.startDate};
}

Contents contentsOf(const SampleCalendarRow &row)
{
    return row.kind == SampleCalendarRow::Reminder ? contentsOf(row.reminder)
                                                   : contentsOf(row.event);
}

/// True when all that there is of `part` is right: texts may break off, a date may be missing.
bool isPartOf(const Contents &part, const Contents &whole)
{
    return part.kind == whole.kind && !part.title.isEmpty() && whole.title.startsWith(part.title)
           && whole.notes.startsWith(part.notes)
           && (part.startDate == 0 || part.startDate == whole.startDate);
}

bool isLocation(const CalendarRecord &event)
{
    return event.title.isEmpty() && event.startDate == 0 && !event.location.isEmpty();
}

bool isLocation(const ReminderRecord &)
{
    return false;
}

/// True when the part of a long text that lies on the row's own page is right, and the text is not.
bool isMixedWith(const Contents &found, const Contents &row)
{
    return found.kind == row.kind && found.title == row.title
           && row.notes.toUtf8().size() > BytesOnThePage && found.notes != row.notes
           && found.notes.left(BytesOnThePage / 3) == row.notes.left(BytesOnThePage / 3);
}

class Comparison
{
public:
    Comparison(const CalendarSample &sample, const QByteArray &file)
        : m_file(file)
    {
        collect(sample.deleted, &m_deleted);
        collect(sample.former, &m_former);
        collect(sample.live, &m_live);
    }

    template<typename Record> void addFound(const QVector<Record> &records)
    {
        for (const Record &record : records) {
            CalendarTally &tally = isLocation(record) ? m_result.locations : m_result.items;
            classify(toText(record), contentsOf(record), &tally);
        }
    }

    void addMissed(const QVector<SampleCalendarRow> &deleted);
    CalendarResult result() const { return m_result; }

private:
    struct Rows
    {
        QSet<QString> texts;
        QVector<Contents> contents;

        using Relation = bool (*)(const Contents &found, const Contents &row);

        bool haveAny(const Contents &found, Relation relation) const
        {
            return std::any_of(
                contents.cbegin(), contents.cend(),
                [&found, relation](const Contents &row) { return relation(found, row); });
        }
    };

    static void collect(const QVector<SampleCalendarRow> &rows, Rows *collected)
    {
        for (const SampleCalendarRow &row : rows) {
            collected->texts.insert(toText(row));
            collected->contents.append(contentsOf(row));
        }
    }

    void classify(const QString &text, const Contents &contents, CalendarTally *tally);
    void note(const char *what, const QString &text)
    {
        m_result.details.append(QLatin1String(what) + QLatin1String(": ")
                                + text.left(160).simplified());
    }

    const QByteArray &m_file;
    Rows m_deleted;
    Rows m_former;
    Rows m_live;
    QSet<QString> m_foundTexts;
    QVector<Contents> m_found;
    CalendarResult m_result;
};

void Comparison::classify(const QString &text, const Contents &contents, CalendarTally *tally)
{
    const bool isAgain = m_foundTexts.contains(text);
    m_foundTexts.insert(text);
    m_found.append(contents);
    if (!isAgain && m_deleted.texts.contains(text)) {
        ++tally->recovered;
    } else if (!isAgain && m_former.texts.contains(text)) {
        ++tally->former;
    } else if (m_live.texts.contains(text)) {
        ++tally->liveCopies;
        note("live copy", text);
    } else if (!isAgain
               && (m_deleted.haveAny(contents, isPartOf) || m_former.haveAny(contents, isPartOf))) {
        ++tally->incomplete;
        note("incomplete", text);
    } else if (m_live.haveAny(contents, isPartOf)) {
        ++tally->liveCopies;
        note("part of a live row", text);
    } else if (m_deleted.haveAny(contents, isMixedWith)
               || m_former.haveAny(contents, isMixedWith)) {
        ++tally->mixed;
        note("mixed", text);
    } else {
        ++tally->invented;
        note("invented", text);
    }
}

/// Rows that are equal in all that a record says are one record.
void Comparison::addMissed(const QVector<SampleCalendarRow> &deleted)
{
    QSet<QString> seen;
    for (const SampleCalendarRow &row : deleted) {
        const QString text = toText(row);
        if (seen.contains(text)) {
            continue;
        }
        seen.insert(text);
        const bool isPlace = row.kind == SampleCalendarRow::Location;
        CalendarTally &tally = isPlace ? m_result.locations : m_result.items;
        ++tally.deleted;
        if (row.isRefused) {
            ++tally.refused;
        } else if (!m_foundTexts.contains(text)
                   && std::none_of(m_found.cbegin(), m_found.cend(), [&row](const Contents &part) {
                          return isPartOf(part, contentsOf(row));
                      })) {
            const bool isWhole = m_file.contains(row.types + row.body.left(BytesOnThePage));
            ++(isWhole ? tally.missedWhole : tally.overwritten);
            note(isWhole ? "missed" : "overwritten", text);
        }
    }
}

QString tallyText(const CalendarTally &tally)
{
    return QStringLiteral("deleted %1, refused %2, overwritten %3, missed %4, recovered %5, former "
                          "%6, incomplete %7, live copies %8, mixed %9, invented %10")
        .arg(tally.deleted)
        .arg(tally.refused)
        .arg(tally.overwritten)
        .arg(tally.missedWhole)
        .arg(tally.recovered)
        .arg(tally.former)
        .arg(tally.incomplete)
        .arg(tally.liveCopies)
        .arg(tally.mixed)
        .arg(tally.invented);
}

} // namespace

void CalendarTally::add(const CalendarTally &other)
{
    deleted += other.deleted;
    refused += other.refused;
    overwritten += other.overwritten;
    missedWhole += other.missedWhole;
    recovered += other.recovered;
    former += other.former;
    incomplete += other.incomplete;
    liveCopies += other.liveCopies;
    mixed += other.mixed;
    invented += other.invented;
}

void CalendarResult::add(const CalendarResult &other)
{
    items.add(other.items);
    locations.add(other.locations);
    details += other.details;
}

QString CalendarResult::summary() const
{
    return tallyText(items) + QStringLiteral("; locations: ") + tallyText(locations);
}

CalendarResult compareCalendars(const CalendarSample &sample, const QByteArray &file,
                                const FoundCalendars &found)
{
    Comparison comparison(sample, file);
    comparison.addFound(found.reminders);
    comparison.addFound(found.events);
    comparison.addMissed(sample.deleted);
    return comparison.result();
}
