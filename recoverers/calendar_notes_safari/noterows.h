#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

class LiveQuery;

/// What a row of a note holds beside its text: carved, or of a note that still exists.
struct NoteRow
{
    QString title;
    QString summary; ///< the beginning of the text
    qint32 date = 0;
    /// The title or a part of the summary is lost: something else covers the row.
    bool isIncomplete = false;
};

/// A note's text as HTML.
struct NoteBody
{
    QString content;
    bool isCut = false; ///< the end is lost
};

/// Rows in the order in which they were found.
struct CarvedNotes
{
    QVector<NoteRow> notes;
    QVector<NoteBody> bodies;
};

/// The notes that still exist, to tell copies and pieces of their rows.
struct LiveNotes
{
    QVector<NoteRow> notes;
    QStringList bodies;
};

/// Reads the live rows of the tables "znote" and "znotebody".
LiveNotes readNotes(LiveQuery &query);

/// Reads the notes among the live rows of the table "ziccloudsyncingobject".
LiveNotes readIos9Notes(LiveQuery &query);

/// Keeps of a text what stands in front of the first character that nobody writes. Returns true
/// when there is one.
bool cutAtDamage(QString *text);
