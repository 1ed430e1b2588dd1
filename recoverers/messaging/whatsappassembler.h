#pragma once

#include "api/whatsappchatrecord.h"
#include "recoverers/messaging/whatsapprows.h"

#include <memory>
#include <vector>

/// Joins the carved messages with their chats, senders and media, of which each may still exist or
/// be carved as well. Chats come in the order of their keys, a chat's messages by date and then in
/// the order found.
///
/// - A reference to a key that no row can have had counts as none.
/// - Messages without a chat's key come first, in one chat for each partner.
/// - Copies of messages that still exist, second copies, and pieces of messages that were found
///   whole are dropped.
std::vector<std::unique_ptr<WhatsappChatRecord>>
assembleWhatsappChats(const LiveWhatsapp &live, const CarvedWhatsapp &carved);
