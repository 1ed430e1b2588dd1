#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

struct SampleOptions;

/// The generations of Calendar.sqlitedb. The first keeps events in a table of their own, the others
/// events and, as long as the device does, reminders in one.
enum class CalendarLayout { Ios5, Ios6, Ios7, Ios9, Ios10, Ios11, Ios14, Ios26 };

QVector<CalendarLayout> allCalendarLayouts();
QString layoutName(CalendarLayout layout);
/// Reminders came with iOS 5, into this database with iOS 6, and left it with iOS 13.
bool hasReminders(CalendarLayout layout);
SampleOptions deviceOptions(CalendarLayout layout);

/// The table of the items, and its columns in their order.
QString itemTable(CalendarLayout layout);
QString itemColumnList(CalendarLayout layout);
QString locationColumnList(CalendarLayout layout);
/// The names in a column list, without the row identifier.
QStringList columnNames(const QString &columnList);

/// The statements that make all tables and indexes.
QString calendarTables(CalendarLayout layout);
