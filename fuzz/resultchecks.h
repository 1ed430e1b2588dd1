#pragma once

#include "api/sqliterecovery.h"

class WalRecovery;

/// Ends the program unless everything that was found can be asked for, and is no more than `bytes`
/// bytes of input can hold. Returns how much it is, in characters and records.
qint64 checkResults(SqliteRecovery &found, qint64 bytes);
qint64 checkResults(WalRecovery &found, qint64 bytes);

/// Frees the notes that the facade leaves alive.
inline void releaseNotes(SqliteRecovery &found)
{
    for (unsigned i = 0; i < found.getIos9NoteCount(); ++i) {
        delete found.getIos9Note(i);
    }
}
