#pragma once

#include "api/sqliterecovery.h"

/// Returns the conversations that the public interface finds in the file. Inline, so that the
/// sample library itself does not need the library under test.
inline QVector<MessageGroupRecord> scanMessages(const QString &path)
{
    SqliteRecovery recovery;
    recovery.scanRecoveryForType(ScanTypeMessages, path, nullptr);
    QVector<MessageGroupRecord> groups;
    for (unsigned i = 0; i < recovery.getMessageGroupCount(); ++i) {
        groups << *recovery.getMessageGroup(i);
    }
    return groups;
}
