#pragma once

#include "api/messagegrouprecord.h"
#include "recoverers/communication/messagerows.h"

/// Joins the carved rows of a messages database of iOS 6 and later into conversations.
///
/// - A message with a room name belongs to that room, every other one to the conversation of its
///   handle, looked up among the live handles, then among the carved ones. Handles of one address
///   share a conversation, whatever their service.
/// - The messages of a handle that is nowhere known have a conversation of their own, without
///   identifier and members.
/// - Copies of live messages are dropped, and no message is reported twice.
///
/// Returns the conversations by the date of their first message, then in the order found; the
/// messages of each by date, then in the order found.
QVector<MessageGroupRecord> assembleMessages(const LiveMessages &live,
                                             const CarvedMessages &carved);

/// The same for iOS 5 and earlier: SMS belong to their group, iMessages to their room or handle.
QVector<MessageGroupRecord> assembleOldMessages(const LiveMessages &live,
                                                const CarvedMessages &carved);

/// What a row of iOS 5 and earlier says of the message itself.
MessageItem messageItemOf(const CarvedOldMessage &message);
