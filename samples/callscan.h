#pragma once

#include "api/sqliterecovery.h"

/// Returns the deleted calls that the public interface finds in the file. Inline, so that the
/// sample library itself does not need the library under test.
inline QVector<CallhistoryRecord> scanCalls(const QString &path)
{
    SqliteRecovery recovery;
    recovery.scanRecoveryForType(ScanTypeCallHistory, path, nullptr);
    QVector<CallhistoryRecord> calls;
    for (unsigned i = 0; i < recovery.getCallhistoryCount(); ++i) {
        calls << *recovery.getCallhistory(i);
    }
    return calls;
}
