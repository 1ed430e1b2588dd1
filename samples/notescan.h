#pragma once

#include "api/sqliterecovery.h"
#include "samples/notelayout.h"

/// Returns the notes that the public interface finds in the file. Inline, so that the sample
/// library itself does not need the library under test.
inline QVector<NoteRecord> scanNotes(NoteLayout layout, const QString &path)
{
    SqliteRecovery recovery;
    QVector<NoteRecord> notes;
    if (!isNoteStore(layout)) {
        recovery.scanRecoveryForType(ScanTypeNotes, path, nullptr);
        for (unsigned i = 0; i < recovery.getNoteCount(); ++i) {
            notes << *recovery.getNote(i);
        }
        return notes;
    }
    recovery.scanRecoveryForType(ScanTypeIos9Notes, path, nullptr);
    for (unsigned i = 0; i < recovery.getIos9NoteCount(); ++i) {
        const NoteRecord *note = recovery.getIos9Note(i);
        notes << *note;
        delete note; // nobody else frees these
    }
    return notes;
}
