#pragma once

#include "api/sqliterecovery.h"
#include "samples/weixintruth.h"

/// Returns what the public interface finds in the file. Inline, so that the sample library itself
/// does not need the library under test.
inline QVector<FoundWeixinMessage> scanWeixin(const QString &path)
{
    SqliteRecovery recovery;
    recovery.scanRecoveryForType(ScanTypeWeChat, path, nullptr);
    QVector<FoundWeixinMessage> found;
    for (unsigned i = 0; i < recovery.getWeiChatCount(); ++i) {
        const WeiChatChat *chat = recovery.getWeiChat(i);
        for (const WeiChatMessage *message : chat->messages) {
            found.append({chat->chatId, *message});
        }
    }
    return found;
}
