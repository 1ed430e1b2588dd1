#pragma once

#include "api/noterecord.h"
#include "samples/notelayout.h"

#include <QVector>

class SampleDatabase;

/// In which way notes get lost.
enum class NoteDeletion {
    Scattered,   ///< single ones here and there
    Contiguous,  ///< all that were written within some time
    WholeTable,  ///< all notes
    ThenInserts, ///< single ones, whose space new notes then partly take
    Edited,      ///< notes are rewritten, some of them several times, and some are deleted then
};

QVector<NoteDeletion> allNoteDeletions();
QString deletionName(NoteDeletion deletion);

/// What to put into a sample.
struct NotePlan
{
    NoteLayout layout = NoteLayout::Ios7;
    NoteDeletion deletion = NoteDeletion::Scattered;
    int notes = 120;
    quint32 seed = 1;
    int mostGap = 200000; ///< seconds from one note to the next, above 600
};

/// A note with everything that the databases store about it.
struct SampleNote
{
    qint64 key = 0;
    QString guid;
    QString title;
    QStringList lines; ///< behind the title; some are empty
    double created = 0;
    double modified = 0;
    int version = 1;

    /// The first line behind the title that is not empty; null when there is none.
    QString summary() const;
    QString text() const;
    QString html() const;
    /// The note as recovery is to return it at best.
    NoteRecord record(NoteLayout layout) const;
};

/// The truth about a sample database.
struct NoteSample
{
    NoteLayout layout = NoteLayout::Ios7;
    QVector<SampleNote> deleted;
    QVector<SampleNote> live;
    QVector<SampleNote> formerVersions; ///< of deleted and of live notes
};

/// Makes the tables in the empty database `db`, and lives the plan through in it, every step a
/// transaction of its own as on a device. Returns false when SQLite refuses a step.
bool makeNoteSample(SampleDatabase *db, const NotePlan &plan, NoteSample *sample);

/// The notes as recovery is to return them at best.
QVector<NoteRecord> expectedNotes(NoteLayout layout, const QVector<SampleNote> &notes);
