#pragma once

#include <QStringList>
#include <QVector>

struct SampleOptions;

/// The generations of ChatStorage.sqlite: its main tables have been the same for years.
enum class WhatsappLayout { Ios15 };

QVector<WhatsappLayout> allWhatsappLayouts();
QString layoutName(WhatsappLayout layout);
/// How devices make their file: its pages and its auto-vacuum mode.
SampleOptions deviceOptions(WhatsappLayout layout);
/// The statements that make all tables and indexes.
QString whatsappTables();
/// The names of the columns of a table, in their order.
QStringList whatsappColumns(const QString &table);
