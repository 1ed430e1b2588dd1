#pragma once

#include "samples/notesamples.h"

#include <QStringList>

/// What a scan of a sample database made of it.
struct NoteResult
{
    int deleted = 0;
    int refused = 0; ///< missed: no header test takes their rows, or no text is plausible
    int overwritten =
        0; ///< deleted notes that were missed and of which no row is whole in the file
    int missedWhole = 0; ///< the same although one is

    // What was found: each record is one of these.
    int recovered = 0;  ///< deleted notes
    int former = 0;     ///< versions of a note before it was changed
    int shortened = 0;  ///< deleted notes or former versions without their whole text
    int bodyOnly = 0;   ///< their text alone, or its beginning
    int otherText = 0;  ///< with the text of another version or note of the same title
    int liveCopies = 0; ///< notes that are not deleted at all, or parts of them
    int twice = 0;      ///< found a second time
    int invented = 0;   ///< all else

    QStringList details; ///< one line for each thing that is missed or wrong

    int found() const;
    void add(const NoteResult &other);
    /// The counts in one line.
    QString summary() const;
};

/// Compares what a scan found with the truth; `file` is the content of the database.
NoteResult compareNotes(const NoteSample &sample, const QByteArray &file,
                        const QVector<NoteRecord> &found);
