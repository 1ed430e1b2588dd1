#pragma once

#include <QCborMap>

struct BookmarkRecord;
struct CalendarRecord;
struct CallhistoryRecord;
struct MessageGroupRecord;
struct NoteRecord;
struct PersonRecord;
struct ReminderRecord;
struct WeiChatChat;
struct WhatsappChatRecord;

// One record as a map of its fields in their order, as stored. A CBOR map keeps that order and
// 64-bit integers exactly; a JSON object of Qt keeps neither. Behind every time stands the same as
// ISO 8601 text in UTC, in a field with the suffix "Utc"; null where the number is no sensible
// time.

QCborMap callMap(const CallhistoryRecord &call);
QCborMap noteMap(const NoteRecord &note);
QCborMap personMap(const PersonRecord &person);
QCborMap messageGroupMap(const MessageGroupRecord &group);
QCborMap calendarMap(const CalendarRecord &event);
QCborMap reminderMap(const ReminderRecord &reminder);
QCborMap bookmarkMap(const BookmarkRecord &bookmark);
/// The same type of record stands for an entry of the history, which has no folder.
QCborMap historyMap(const BookmarkRecord &entry);
QCborMap weChatMap(const WeiChatChat &chat);
QCborMap whatsappMap(const WhatsappChatRecord &chat);

/// The record as every output has it: the field "kind", then `fields`.
QCborMap recordOfKind(const char *kind, const QCborMap &fields);
