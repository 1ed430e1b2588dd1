#pragma once

#include "api/sqliterecovery.h"
#include "samples/whatsapptruth.h"

/// Returns the messages that the public interface finds in the file. Inline, so that the sample
/// library itself does not need the library under test.
inline QVector<FoundWhatsappMessage> scanWhatsapp(const QString &path)
{
    SqliteRecovery recovery;
    recovery.scanRecoveryForType(ScanTypeWhatsapp, path, nullptr);
    QVector<FoundWhatsappMessage> found;
    for (unsigned i = 0; i < recovery.getWhatsappCount(); ++i) {
        const WhatsappChatRecord *chat = recovery.getWhatsapp(i);
        for (const WhatsappMessageItem *message : chat->messages) {
            found << FoundWhatsappMessage{int(i), chat->chatName, chat->chatJids, *message};
        }
    }
    return found;
}
