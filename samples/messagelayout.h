#pragma once

#include <QString>
#include <QVector>

struct SampleOptions;

/// The generations of sms.db. The first keeps text messages by groups (msg_group, group_member) and
/// iMessages in columns of their own (madrid_*); the others keep handles and chats.
enum class MessageLayout { Ios5, Ios6, Ios7, Ios12, Ios14, Ios17 };

QVector<MessageLayout> allMessageLayouts();
QString layoutName(MessageLayout layout);
/// True for the generation with groups.
bool hasGroups(MessageLayout layout);
/// How devices of the layout make their file: its pages and its auto-vacuum mode.
SampleOptions deviceOptions(MessageLayout layout);
/// The columns of the table "message", as its statement lists them.
QString messageColumnList(MessageLayout layout);
/// The statements that make all tables and indexes.
QString messageTables(MessageLayout layout);
/// The date as the layout stores it. `seconds` is since 1970; text messages of the generation with
/// groups keep that, all others count since 2001, from iOS 11 on in nanoseconds.
qint64 storedDate(MessageLayout layout, bool isTextMessage, qint64 seconds);
