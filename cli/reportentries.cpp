#include "cli/reportentries.h"

#include "cli/htmltext.h"

#include <QCborArray>

namespace {

/// A field that the text table has no room for.
struct FurtherColumn
{
    const char *kind;
    const char *field;
    const char *heading;
};

constexpr FurtherColumn FurtherColumns[] = {
    {"reminder", "location", "Location"}, {"reminder", "notes", "Notes"},
    {"reminder", "priority", "Priority"}, {"calendar", "notes", "Notes"},
    {"bookmark", "parent", "Folder"},
};

QString textOf(const QCborMap &record, const char *field)
{
    return record.value(QLatin1String(field)).toString();
}

QCborArray listOf(const QCborMap &record, const char *field)
{
    return record.value(QLatin1String(field)).toArray();
}

QString shownText(const QCborValue &value)
{
    return value.isString() ? value.toString() : QString::number(value.toInteger());
}

QCborArray printableCells(const QStringList &texts)
{
    QCborArray cells;
    for (const QString &text : texts) {
        cells.append(printableLines(text));
    }
    return cells;
}

/// The cell of a row under a heading; empty where the kind has none of that name.
QString cellOf(const QStringList &row, const RecordKind &kind, const char *heading)
{
    return row.value(kind.columns.indexOf(QLatin1String(heading)));
}

QVector<QCborValue> tableEntries(const RecordKind &kind, const QCborMap &record, int source)
{
    QVector<QCborValue> entries;
    const TextRows rows = kind.rows(record);
    for (QStringList row : rows) {
        const int text = kind.columns.indexOf(QStringLiteral("Text"));
        if (text >= 0) {
            row[text] = textOf(record, "content"); // a table for terminals folds it to a line
        }
        for (const FurtherColumn &column : FurtherColumns) {
            if (qstrcmp(column.kind, kind.name) == 0) {
                row.append(shownText(record.value(QLatin1String(column.field))));
            }
        }
        QCborArray entry = printableCells(row);
        entry.prepend(source);
        entries.append(entry);
    }
    return entries;
}

QVector<QCborValue> cardEntries(const RecordKind &kind, const QCborMap &record, int source)
{
    const TextRows rows = kind.rows(record);
    QCborArray details;
    for (int i = 1; i < rows.size(); ++i) {
        details.append(printableCells({rows.at(i).first().trimmed(), rows.at(i).value(1)}));
    }
    return {QCborArray{source, printableLines(rows.first().first()), details}};
}

QStringList membersOf(const QCborMap &conversation)
{
    QStringList members;
    const QCborArray participants = listOf(conversation, "participants");
    for (const auto &participant : participants) {
        const QCborMap map = participant.toMap();
        QStringList about{textOf(map, "service"), textOf(map, "country")};
        about.removeAll(QString());
        members += about.isEmpty() ? textOf(map, "id")
                                   : QStringLiteral("%1 (%2)").arg(
                                       textOf(map, "id"), about.join(QStringLiteral(", ")));
    }
    for (const char *field : {"memberNames", "chatJids"}) {
        const QCborArray names = listOf(conversation, field);
        for (const auto &name : names) {
            members += name.toString();
        }
    }
    return members;
}

QString titleOf(const QCborMap &conversation, const QStringList &members)
{
    for (const char *field : {"roomName", "chatIdentifier", "chatName", "chatId"}) {
        const QString title = textOf(conversation, field);
        if (!title.isEmpty()) {
            return title;
        }
    }
    return members.isEmpty() ? QStringLiteral("(unknown)") : members.join(QStringLiteral(", "));
}

/// The text of a message with its line breaks, which some rows fold.
QString messageText(const QCborMap &message, const QString &rowText)
{
    const QString text = textOf(message, "text");
    return text.simplified() == rowText ? text.trimmed() : rowText;
}

/// What a message carries beside the text that is shown: a contact's card, or the description of
/// another thing.
QString attachmentOf(const QCborMap &message, const QString &rowText)
{
    const QString body = textOf(message, "message");
    return body == rowText || body.isEmpty() ? textOf(message, "vcardText") : body;
}

QCborArray messageEntry(const RecordKind &kind, const QCborMap &message, const QStringList &row)
{
    const QString text = cellOf(row, kind, "Text");
    const bool isSent = cellOf(row, kind, "Direction") == QLatin1String("sent");
    QCborArray entry = printableCells({cellOf(row, kind, "Date (UTC)"), cellOf(row, kind, "Stored"),
                                       textOf(message, "address") + textOf(message, "senderName"),
                                       messageText(message, text), attachmentOf(message, text)});
    entry.prepend(isSent);
    return entry;
}

QVector<QCborValue> conversationEntries(const RecordKind &kind, const QCborMap &record, int source)
{
    const QStringList members = membersOf(record);
    QVector<QCborValue> entries{
        QCborMap{{QStringLiteral("source"), source},
                 {QStringLiteral("title"), printableLines(titleOf(record, members))},
                 {QStringLiteral("members"), printableCells(members)}}};
    const QCborArray messages = listOf(record, "messages");
    const TextRows rows = kind.rows(record);
    for (int i = 0; i < rows.size(); ++i) {
        entries.append(messageEntry(kind, messages.at(i).toMap(), rows.at(i)));
    }
    return entries;
}

QString timeOf(const QCborMap &item)
{
    for (const char *field : {"dateUtc", "createTimeUtc", "startDateUtc", "completionDateUtc",
                              "endDateUtc", "modificationDateUtc"}) {
        const QString time = textOf(item, field);
        if (!time.isEmpty()) {
            return time;
        }
    }
    return QString();
}

} // namespace

ReportLayout layoutOf(const RecordKind &kind)
{
    if (kind.fields.contains(QStringLiteral("messages"))) {
        return ReportLayout::Conversations;
    }
    return kind.columns.isEmpty() ? ReportLayout::Cards : ReportLayout::Table;
}

QStringList reportColumns(const RecordKind &kind)
{
    QStringList columns = kind.columns;
    for (const FurtherColumn &column : FurtherColumns) {
        if (qstrcmp(column.kind, kind.name) == 0) {
            columns.append(QLatin1String(column.heading));
        }
    }
    return columns;
}

QStringList timesOf(const QCborMap &record)
{
    const QCborValue messages = record.value(QLatin1String("messages"));
    if (!messages.isArray()) {
        return {timeOf(record)};
    }
    QStringList times;
    const QCborArray items = messages.toArray();
    for (const auto &item : items) {
        times.append(timeOf(item.toMap()));
    }
    return times;
}

QVector<QCborValue> reportEntries(const RecordKind &kind, const QCborMap &record, int source)
{
    switch (layoutOf(kind)) {
    case ReportLayout::Table:
        return tableEntries(kind, record, source);
    case ReportLayout::Cards:
        return cardEntries(kind, record, source);
    case ReportLayout::Conversations:
        break;
    }
    return conversationEntries(kind, record, source);
}
