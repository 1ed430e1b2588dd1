#pragma once

#include <QtGlobal>

class SqliteRecovery;
class WalRecovery;

/// Ends the program unless everything that was found can be asked for, and is no more than `bytes`
/// bytes of input can hold.
void checkResults(SqliteRecovery &found, qint64 bytes);
void checkResults(WalRecovery &found, qint64 bytes);

/// Frees the notes that the facade leaves alive.
void releaseNotes(SqliteRecovery &found);
