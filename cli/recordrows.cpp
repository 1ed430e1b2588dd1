#include "cli/recordrows.h"

#include "api/personrecord.h"
#include "cli/displaydate.h"

#include <QCborArray>
#include <QLocale>

#include <algorithm>

namespace {

constexpr char Indent[] = "    ";

QString textOf(const QCborMap &record, const char *field)
{
    return record.value(QLatin1String(field)).toString();
}

qint64 numberOf(const QCborMap &record, const char *field)
{
    return record.value(QLatin1String(field)).toInteger();
}

QCborArray listOf(const QCborMap &record, const char *field)
{
    return record.value(QLatin1String(field)).toArray();
}

/// A time of the record as text, and the number that it was stored as.
struct Time
{
    QString utc;
    QString stored;
};

Time timeOf(const QCborMap &record, const char *field)
{
    const QString name = QLatin1String(field);
    const QCborValue stored = record.value(name);
    return {record.value(name + QLatin1String("Utc")).toString(),
            stored.isInteger()
                ? QString::number(stored.toInteger())
                : QString::number(stored.toDouble(), 'f', QLocale::FloatingPointShortest)};
}

/// Whole days begin and end at midnight wherever one is; what was stored as the midnight of some
/// place can only be told as it is.
QString dayOf(const QString &utc)
{
    const QStringRef time = utc.midRef(10);
    const bool isDay = time == QLatin1String("T00:00:00Z") || time == QLatin1String("T23:59:59Z");
    return isDay ? utc.left(10) : utc;
}

/// A time of the calendar, where 0 stands for none.
Time calendarTime(const QCborMap &record, const char *field, bool isWholeDay)
{
    if (record.value(QLatin1String(field)).toDouble() == 0) {
        return {};
    }
    const Time time = timeOf(record, field);
    return {isWholeDay ? dayOf(time.utc) : time.utc, time.stored};
}

/// The texts that are not empty, with `separator` between two of them.
QString joined(QStringList texts, const QString &separator)
{
    texts.removeAll(QString());
    return texts.join(separator);
}

QString callText(qint64 flags)
{
    const QString direction =
        (flags & 1) != 0 ? QStringLiteral("outgoing") : QStringLiteral("incoming");
    return (flags & 16) != 0 ? direction + QStringLiteral(" FaceTime") : direction;
}

QString valueKindText(qint64 property)
{
    switch (personValueKind(property)) {
    case PersonValueKind::Phone:
        return QStringLiteral("Phone");
    case PersonValueKind::Email:
        return QStringLiteral("E-mail");
    case PersonValueKind::Address:
        return QStringLiteral("Address");
    case PersonValueKind::Date:
        return QStringLiteral("Date");
    case PersonValueKind::InstantMessage:
        return QStringLiteral("Instant message");
    case PersonValueKind::Url:
        return QStringLiteral("URL");
    case PersonValueKind::RelatedName:
        return QStringLiteral("Related name");
    case PersonValueKind::SocialProfile:
        return QStringLiteral("Social profile");
    case PersonValueKind::Unknown:
        break;
    }
    return QStringLiteral("Value %1").arg(property);
}

/// The place of a part among the parts of a postal address, or of an account.
int rankOf(const QString &key)
{
    static const QStringList keys = {
        QStringLiteral("Street"),   QStringLiteral("ZIP"),         QStringLiteral("City"),
        QStringLiteral("State"),    QStringLiteral("Country"),     QStringLiteral("service"),
        QStringLiteral("username"), QStringLiteral("displayname"), QStringLiteral("url"),
    };
    const int rank = keys.indexOf(key);
    return rank < 0 ? keys.size() : rank;
}

struct Part
{
    QString key;
    QString text;
};

QVector<Part> sortedParts(const QCborArray &entries)
{
    QVector<Part> parts;
    for (const auto &entry : entries) {
        const QCborMap part = entry.toMap();
        parts.append({textOf(part, "key"), textOf(part, "value").trimmed()});
    }
    std::stable_sort(parts.begin(), parts.end(),
                     [](const Part &a, const Part &b) { return rankOf(a.key) < rankOf(b.key); });
    return parts;
}

QString partsText(const QCborArray &entries)
{
    QStringList texts;
    bool hasCountry = false;
    const QVector<Part> parts = sortedParts(entries);
    for (const Part &part : parts) {
        hasCountry = hasCountry || (part.key == QLatin1String("Country") && !part.text.isEmpty());
        if (!hasCountry || part.key != QLatin1String("CountryCode")) {
            // A street may take several lines.
            texts.append(QString(part.text).replace(QLatin1Char('\n'), QStringLiteral(", ")));
        }
    }
    return joined(texts, QStringLiteral(", "));
}

/// A day, and the number behind it.
QString dayText(const QString &stored)
{
    const QString day = utcOfDay(stored);
    return day.isNull() ? stored : QStringLiteral("%1 (%2)").arg(day, stored);
}

QString valueText(const QCborMap &value)
{
    const QString text = textOf(value, "value");
    const bool isDate = personValueKind(numberOf(value, "property")) == PersonValueKind::Date;
    return joined({isDate ? dayText(text) : text, partsText(listOf(value, "entries"))},
                  QStringLiteral(", "));
}

struct Detail
{
    const char *field;
    const char *heading;
    QString (*textOf)(const QString &stored);
};

QString asStored(const QString &stored)
{
    return stored;
}

/// The single details of a person, but for what the name already shows.
TextRows detailRows(const QCborMap &person, const QString &name)
{
    static constexpr Detail details[] = {
        {"firstPhonetic", "Phonetic first name", asStored},
        {"middlePhonetic", "Phonetic middle name", asStored},
        {"lastPhonetic", "Phonetic last name", asStored},
        {"nickname", "Nickname", asStored},
        {"organization", "Organization", asStored},
        {"department", "Department", asStored},
        {"jobTitle", "Job title", asStored},
        {"birthday", "Birthday", dayText},
        {"alternateBirthday", "Other birthday", asStored},
        {"note", "Note", asStored},
    };
    TextRows rows;
    for (const Detail &detail : details) {
        const QString text = textOf(person, detail.field);
        if (!text.isEmpty() && text != name) {
            rows.append({QLatin1String(detail.heading), detail.textOf(text)});
        }
    }
    return rows;
}

QString conversationText(const QCborMap &message, const QCborMap &group)
{
    const QString address = textOf(message, "address");
    for (const char *field : {"roomName", "chatIdentifier"}) {
        const QString text = textOf(group, field);
        if (!text.isEmpty()) {
            // In a room it matters who wrote it.
            return address.isEmpty() || address == text
                       ? text
                       : QStringLiteral("%1 (%2)").arg(text, address);
        }
    }
    return address.isEmpty() ? QStringLiteral("(unknown)") : address;
}

/// What a WeChat message other than a text is; its text is then XML for the program.
QString weChatKindText(qint64 type)
{
    switch (type) {
    case 3:
        return QStringLiteral("(picture)");
    case 34:
        return QStringLiteral("(voice)");
    case 42:
        return QStringLiteral("(contact)");
    case 43:
    case 62:
        return QStringLiteral("(video)");
    case 47:
        return QStringLiteral("(sticker)");
    case 48:
        return QStringLiteral("(place)");
    case 49:
        return QStringLiteral("(link)");
    case 50:
        return QStringLiteral("(call)");
    default:
        return QString();
    }
}

/// Stands for the text of a message that has none.
QString messageKindText(qint64 type)
{
    switch (type) {
    case 0:
        return QString();
    case 1:
        return QStringLiteral("(picture)");
    case 2:
        return QStringLiteral("(video)");
    case 3:
        return QStringLiteral("(voice)");
    case 4:
        return QStringLiteral("(contact)");
    case 5:
        return QStringLiteral("(place)");
    case 6:
        return QStringLiteral("(change of the group)");
    case 7:
        return QStringLiteral("(link)");
    case 8:
        return QStringLiteral("(document)");
    case 14:
        return QStringLiteral("(revoked)");
    case 15:
        return QStringLiteral("(sticker)");
    default:
        return QStringLiteral("(message of type %1)").arg(type);
    }
}

/// One row for each message of a conversation.
template<typename RowOf> TextRows rowsOfMessages(const QCborMap &conversation, RowOf rowOf)
{
    TextRows rows;
    const QCborArray messages = listOf(conversation, "messages");
    for (const auto &message : messages) {
        rows.append(rowOf(message.toMap(), conversation));
    }
    return rows;
}

} // namespace

TextRows callRows(const QCborMap &call)
{
    const Time time = timeOf(call, "date");
    return {{time.utc, time.stored, callText(numberOf(call, "flags")),
             durationText(numberOf(call, "duration")), textOf(call, "address")}};
}

TextRows noteRows(const QCborMap &note)
{
    const QString title = textOf(note, "title");
    QString text = textOf(note, "content");
    // A whole text begins with its title.
    if (!title.isEmpty() && text.startsWith(title)) {
        text.remove(0, title.size());
    }
    text = text.trimmed().replace(QLatin1Char('\n'), QLatin1Char(' '));
    const Time time = timeOf(note, "date");
    return {{time.utc, time.stored, title, text}};
}

QString personName(const QCborMap &person)
{
    const QString name =
        joined({textOf(person, "prefix"), textOf(person, "first"), textOf(person, "middle"),
                textOf(person, "last"), textOf(person, "suffix")},
               QStringLiteral(" "));
    for (const QString &text : {name, textOf(person, "organization"), textOf(person, "nickname")}) {
        if (!text.isEmpty()) {
            return text;
        }
    }
    return QStringLiteral("(no name)");
}

QStringList personValueRow(const QCborMap &value)
{
    return {
        joined({valueKindText(numberOf(value, "property")), readableLabel(textOf(value, "label"))},
               QStringLiteral(" ")),
        valueText(value)};
}

TextRows personRows(const QCborMap &person)
{
    const QString name = personName(person);
    TextRows rows;
    const QCborArray values = listOf(person, "values");
    for (const auto &value : values) {
        rows.append(personValueRow(value.toMap()));
    }
    rows += detailRows(person, name);
    for (QStringList &row : rows) {
        row.first().prepend(QLatin1String(Indent));
    }
    rows.prepend({name});
    return rows;
}

QStringList messageRow(const QCborMap &message, const QCborMap &group)
{
    const bool isSent = numberOf(message, "isFromMe") != 0;
    const Time time = timeOf(message, "date");
    return {time.utc, time.stored, conversationText(message, group),
            isSent ? QStringLiteral("sent") : QStringLiteral("received"),
            joined({textOf(message, "subject"), textOf(message, "text")}, QStringLiteral(": "))};
}

TextRows messageRows(const QCborMap &group)
{
    return rowsOfMessages(group, messageRow);
}

TextRows calendarRows(const QCborMap &event)
{
    const bool isWholeDay = numberOf(event, "allDay") != 0;
    const Time start = calendarTime(event, "startDate", isWholeDay);
    const Time end = calendarTime(event, "endDate", isWholeDay);
    return {{start.utc, start.stored, end.utc, end.stored, textOf(event, "title"),
             textOf(event, "location")}};
}

TextRows reminderRows(const QCborMap &reminder)
{
    const Time start = calendarTime(reminder, "startDate", false);
    const Time completion = calendarTime(reminder, "completionDate", false);
    return {{start.utc, start.stored, completion.utc, completion.stored,
             textOf(reminder, "calendar"), textOf(reminder, "title")}};
}

TextRows pageRows(const QCborMap &page)
{
    return {{textOf(page, "title"), textOf(page, "url")}};
}

QStringList weChatRow(const QCborMap &message, const QCborMap &chat)
{
    const QString kind = weChatKindText(numberOf(message, "type"));
    const bool isSent = message.value(QLatin1String("isFromMe")).toBool();
    const Time time = timeOf(message, "createTime");
    return {time.utc, time.stored, textOf(chat, "chatId"),
            isSent ? QStringLiteral("sent") : QStringLiteral("received"),
            kind.isEmpty() ? textOf(message, "message") : kind};
}

TextRows weChatRows(const QCborMap &chat)
{
    return rowsOfMessages(chat, weChatRow);
}

QStringList whatsappRow(const QCborMap &message, const QCborMap &chat)
{
    const QString name = textOf(chat, "chatName");
    const QString sender = textOf(message, "senderName");
    const QString shown = name.isEmpty() ? QStringLiteral("(unknown)") : name;
    const bool isSent = numberOf(message, "isFromMe") != 0;
    // A title without a text ends in empty lines.
    const QString text = textOf(message, "text").simplified();
    const Time time = timeOf(message, "date");
    return {time.utc, time.stored,
            sender.isEmpty() ? shown : QStringLiteral("%1 (%2)").arg(shown, sender),
            isSent ? QStringLiteral("sent") : QStringLiteral("received"),
            text.isEmpty() ? messageKindText(numberOf(message, "messageType")) : text};
}

TextRows whatsappRows(const QCborMap &chat)
{
    return rowsOfMessages(chat, whatsappRow);
}
