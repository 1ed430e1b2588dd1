#pragma once

#include "cli/texttable.h"

#include <QCborMap>

// A time takes two cells: as ISO 8601 text in UTC, and the number as stored.

/// One row: time, direction, duration, address.
TextRows callRows(const QCborMap &call);

/// The name as a row of one cell, then a row for each detail: what it is, and its text.
TextRows personRows(const QCborMap &person);

/// One row for each message: time, conversation, direction, text.
TextRows messageRows(const QCborMap &group);

/// One row: start, end, title, location.
TextRows calendarRows(const QCborMap &event);

/// One row: start, completion, list, title.
TextRows reminderRows(const QCborMap &reminder);

/// One row: time of the last change, title, and the text behind the title.
TextRows noteRows(const QCborMap &note);

/// One row: title, address. For bookmarks and entries of the history.
TextRows pageRows(const QCborMap &page);

/// One row for each message: time, conversation, direction, text.
TextRows weChatRows(const QCborMap &chat);

/// One message as a row of weChatRows().
QStringList weChatRow(const QCborMap &message, const QCborMap &chat);
/// One row for each message: time, chat and sender, direction, text.
TextRows whatsappRows(const QCborMap &chat);

/// One message as a row of whatsappRows().
QStringList whatsappRow(const QCborMap &message, const QCborMap &chat);

/// How people call the person: by name, organization or nickname.
QString personName(const QCborMap &person);

/// A row for one of the values of a person: what it is, and its text.
QStringList personValueRow(const QCborMap &value);

/// One message as a row of messageRows().
QStringList messageRow(const QCborMap &message, const QCborMap &group);
