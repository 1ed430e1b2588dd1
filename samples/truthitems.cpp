#include "samples/truthitems.h"

#include "cli/jsonprinter.h"
#include "cli/recordrows.h"

#include <QCborArray>

#include <algorithm>

namespace {

constexpr int MaxCellSize = 44;

QString textOf(const QCborMap &record, const char *field)
{
    return record.value(QLatin1String(field)).toString();
}

QByteArray keyOf(const QCborMap &record, std::initializer_list<const char *> fields)
{
    QByteArray key;
    for (const char *field : fields) {
        key += toJson(record.value(QLatin1String(field))) + ',';
    }
    return key;
}

/// A text of strangers, or a mixture of bytes, in few characters.
QString shortened(QString text)
{
    for (QChar &c : text) {
        c = c.isPrint() || c.isSurrogate() ? c : QChar(QChar::ReplacementCharacter);
    }
    if (text.size() > MaxCellSize) {
        text = text.left(MaxCellSize - 3) + QStringLiteral("...");
    }
    return text.isEmpty() ? QStringLiteral("(none)") : text;
}

QStringList shortened(QStringList cells)
{
    std::transform(cells.begin(), cells.end(), cells.begin(),
                   [](const QString &cell) { return shortened(cell); });
    return cells;
}

/// Parts in an order of their own: a scan does not know the one that they were stored in.
QByteArray partsKey(const QCborMap &value)
{
    QByteArrayList parts;
    const QCborArray entries = value.value(QLatin1String("entries")).toArray();
    for (const auto &entry : entries) {
        parts.append(keyOf(entry.toMap(), {"key", "value"}));
    }
    std::sort(parts.begin(), parts.end());
    return parts.join();
}

TruthItem callItem(const QCborMap &call)
{
    const QByteArray key = "call" + keyOf(call, {"address", "date", "duration", "flags"});
    return {key, key, shortened(callRows(call).first())};
}

TruthItem personItem(const QCborMap &person, const QString &kind)
{
    // The row identifier is left out: nobody misses it, and a freed row has lost it.
    const QByteArray names = kind.toUtf8() + keyOf(person, {"first", "last", "organization"});
    const QByteArray identity =
        keyOf(person, {"prefix", "middle", "suffix", "firstPhonetic", "middlePhonetic",
                       "lastPhonetic", "nickname", "department", "jobTitle", "birthday",
                       "alternateBirthday", "note", "modificationDate"});
    const QString what = kind == QLatin1String("contact") ? QStringLiteral("Person")
                                                          : QStringLiteral("In the index");
    return {names + identity, names, shortened({personName(person), what})};
}

TruthItem valueItem(const QCborMap &value, const QString &owner)
{
    const QByteArray core = "value" + keyOf(value, {"property", "value"}) + partsKey(value);
    return {core + keyOf(value, {"label"}) + owner.toUtf8(), core,
            shortened(QStringList(owner) + personValueRow(value))};
}

/// A page is known by its address: its title may be lost.
TruthItem pageItem(const QCborMap &page, const QString &kind)
{
    const QByteArray core = kind.toUtf8() + keyOf(page, {"url"});
    return {core + keyOf(page, {"title", "parent"}), core, shortened(pageRows(page).first())};
}

/// Somebody who stands for a lost owner of values is nobody to be found.
bool isNobody(const QCborMap &person)
{
    for (const auto &field : person) {
        const bool isText = field.first.toString() != QLatin1String("kind");
        if (isText && !field.second.toString().isEmpty()) {
            return false;
        }
    }
    return true;
}

QVector<TruthItem> personItems(const QCborMap &person)
{
    QVector<TruthItem> items;
    const QCborArray values = person.value(QLatin1String("values")).toArray();
    if (values.isEmpty() || !isNobody(person)) {
        items.append(personItem(person, textOf(person, "kind")));
    }
    for (const auto &value : values) {
        items.append(valueItem(value.toMap(), personName(person)));
    }
    return items;
}

TruthItem messageItem(const QCborMap &message, const QCborMap &group)
{
    const bool isNamed = !textOf(message, "guid").isEmpty();
    const QByteArray core =
        "message" + (isNamed ? keyOf(message, {"guid"}) : keyOf(message, {"date", "text"}));
    const QByteArray identity =
        keyOf(message, {"date", "text", "subject", "address", "service", "isFromMe", "isSent"})
        + keyOf(group, {"chatIdentifier", "roomName"});
    return {core + identity, core, shortened(messageRow(message, group))};
}

TruthItem whatsappItem(const QCborMap &message, const QCborMap &chat)
{
    const QByteArray core = "whatsapp" + keyOf(message, {"date", "isFromMe", "messageType"});
    const QByteArray identity =
        keyOf(message, {"text", "vcardText", "senderName", "hasParent", "toJid"})
        + keyOf(chat, {"chatName"});
    return {core + identity, core, shortened(whatsappRow(message, chat))};
}

TruthItem weChatItem(const QCborMap &message, const QCborMap &chat)
{
    const QByteArray core = "weChat" + keyOf(message, {"createTime", "isFromMe"});
    const QByteArray identity = keyOf(message, {"message", "type"}) + keyOf(chat, {"chatId"});
    return {core + identity, core, shortened(weChatRow(message, chat))};
}

/// An event or a reminder; a location that was found alone is one as well.
TruthItem calendarItem(const QCborMap &record, const QString &kind)
{
    const bool isEvent = kind == QLatin1String("calendar");
    const bool isPlace = textOf(record, "title").isEmpty();
    const QByteArray core =
        kind.toUtf8() + keyOf(record, {isPlace ? "location" : "title", "startDate"});
    const QByteArray identity = keyOf(record, {"location", "notes", "endDate", "allDay", "calendar",
                                               "completionDate", "priority"});
    return {core + identity, core,
            shortened((isEvent ? calendarRows(record) : reminderRows(record)).first())};
}

/// Of a note whose row is lost the text remains.
TruthItem noteItem(const QCborMap &note)
{
    const QByteArray core = "note" + keyOf(note, {"title"});
    return {core + keyOf(note, {"date", "content"}), core, shortened(noteRows(note).first())};
}

QVector<TruthItem> itemsOf(const QCborMap &record)
{
    const QString kind = textOf(record, "kind");
    if (kind == QLatin1String("call")) {
        return {callItem(record)};
    }
    if (kind == QLatin1String("calendar") || kind == QLatin1String("reminder")) {
        return {calendarItem(record, kind)};
    }
    if (kind == QLatin1String("note") || kind == QLatin1String("ios9Note")) {
        return {noteItem(record)};
    }
    if (kind == QLatin1String("bookmark") || kind == QLatin1String("safariHistory")) {
        return {pageItem(record, kind)};
    }
    const auto itemOf = kind == QLatin1String("whatsapp")       ? whatsappItem
                        : kind == QLatin1String("weChat")       ? weChatItem
                        : kind == QLatin1String("messageGroup") ? messageItem
                                                                : nullptr;
    if (!itemOf) {
        return personItems(record);
    }
    QVector<TruthItem> items;
    const QCborArray messages = record.value(QLatin1String("messages")).toArray();
    for (const auto &message : messages) {
        items.append(itemOf(message.toMap(), record));
    }
    return items;
}

} // namespace

QVector<TruthItem> truthItems(const QVector<QCborMap> &records)
{
    QVector<TruthItem> items;
    for (const QCborMap &record : records) {
        items += itemsOf(record);
    }
    return items;
}
