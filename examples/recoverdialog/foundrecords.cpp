#include "foundrecords.h"

#include <sqliterecovery/sqliterecovery.h>
#include <sqliterecovery/walrecovery.h>

#include <QDateTime>
#include <QStringList>

namespace {

/// A recovered number can be anything: what lies outside these years is no time, nor is 0.
QString since1970(double seconds)
{
    constexpr double Year1900 = -2208988800;
    constexpr double Year2100 = 4102444800;
    const bool isSensible = seconds > Year1900 && seconds < Year2100 && seconds != 0;
    return isSensible
               ? QDateTime::fromSecsSinceEpoch(qint64(seconds), Qt::UTC).toString(Qt::ISODate)
               : QString();
}

QString since2001(double seconds)
{
    constexpr double SecondsFrom1970To2001 = 978307200;
    return seconds == 0 ? QString() : since1970(seconds + SecondsFrom1970To2001);
}

/// Messages have had three units: their size tells them apart.
QString timeOf(const MessageItem &message)
{
    constexpr double SmallestNanoseconds = 1e14;
    constexpr double SmallestSince1970 = 9e8; // since 2001 it would be 2029
    const double date = double(message.date);
    if (date >= SmallestNanoseconds) {
        return since2001(date / 1e9);
    }
    return date < SmallestSince1970 ? since2001(date) : since1970(date);
}

QString joined(QStringList texts)
{
    texts.removeAll(QString());
    return texts.join(QLatin1Char(' '));
}

/// Dates of persons are stored as numbers; other values can be read as they are.
QString textOf(const PersonValue &value)
{
    QStringList parts{personValueKind(value.property) == PersonValueKind::Date
                          ? since2001(value.value.toDouble())
                          : value.value};
    for (const PersonValueEntry &entry : value.entries) {
        parts.append(entry.value);
    }
    return joined({readableLabel(value.label), joined(parts)});
}

void add(const PersonRecord &person, QVector<FoundRecord> *found)
{
    QStringList values;
    for (const PersonValue &value : person.values) {
        values.append(textOf(value));
    }
    found->append({since2001(person.modificationDate),
                   joined({person.first, person.middle, person.last, person.organization}),
                   values.join(QStringLiteral(", "))});
}

void add(const MessageGroupRecord &group, QVector<FoundRecord> *found)
{
    for (const MessageItem &message : group.messages) {
        const QString who = message.isFromMe ? QStringLiteral("me") : message.address;
        found->append({timeOf(message), who, joined({message.subject, message.text})});
    }
}

void add(const CallhistoryRecord &call, QVector<FoundRecord> *found)
{
    constexpr qint32 Outgoing = 1;
    const QString direction = (call.flags & Outgoing) != 0 ? QStringLiteral("outgoing call, %1 s")
                                                           : QStringLiteral("incoming call, %1 s");
    found->append({since1970(double(call.date)), call.address, direction.arg(call.duration)});
}

void add(const CalendarRecord &event, QVector<FoundRecord> *found)
{
    found->append({since2001(event.startDate), event.location, joined({event.title, event.notes})});
}

void add(const ReminderRecord &reminder, QVector<FoundRecord> *found)
{
    found->append({since2001(reminder.startDate), reminder.calendar,
                   joined({reminder.title, reminder.notes})});
}

void add(const NoteRecord &note, QVector<FoundRecord> *found)
{
    found->append({since2001(note.date), QString(), joined({note.title, note.content})});
}

void add(const BookmarkRecord &bookmark, QVector<FoundRecord> *found)
{
    found->append({QString(), bookmark.title, bookmark.url});
}

void add(const WhatsappChatRecord &chat, QVector<FoundRecord> *found)
{
    for (const WhatsappMessageItem *message : chat.messages) {
        const QString other = message->senderName.isEmpty() ? chat.chatName : message->senderName;
        found->append({since2001(message->date), message->isFromMe ? QStringLiteral("me") : other,
                       message->text});
    }
}

void add(const WeiChatChat &chat, QVector<FoundRecord> *found)
{
    for (const WeiChatMessage *message : chat.messages) {
        found->append({since1970(message->createTime),
                       message->isFromMe ? QStringLiteral("me") : chat.chatId, message->message});
    }
}

/// Every kind of record is asked for in the same way.
template<typename Facade, typename Record>
void addAll(Facade &facade, unsigned (Facade::*count)(), const Record *(Facade::*record)(unsigned),
            QVector<FoundRecord> *found)
{
    for (unsigned i = 0; i < (facade.*count)(); ++i) {
        add(*(facade.*record)(i), found);
    }
}

/// The kinds that both roads find.
template<typename Facade> QVector<FoundRecord> commonRecords(Facade &facade)
{
    QVector<FoundRecord> found;
    addAll(facade, &Facade::getContactCount, &Facade::getContact, &found);
    addAll(facade, &Facade::getMessageGroupCount, &Facade::getMessageGroup, &found);
    addAll(facade, &Facade::getCalendarCount, &Facade::getCalendar, &found);
    addAll(facade, &Facade::getReminderCount, &Facade::getReminder, &found);
    addAll(facade, &Facade::getBookmarkCount, &Facade::getBookmark, &found);
    return found;
}

} // namespace

QVector<FoundRecord> recordsOf(SqliteRecovery &recovery)
{
    using Facade = SqliteRecovery;
    QVector<FoundRecord> found = commonRecords(recovery);
    addAll(recovery, &Facade::getHiddenContactCount, &Facade::getHiddenContact, &found);
    addAll(recovery, &Facade::getCallhistoryCount, &Facade::getCallhistory, &found);
    addAll(recovery, &Facade::getNoteCount, &Facade::getNote, &found);
    addAll(recovery, &Facade::getIos9NoteCount, &Facade::getIos9Note, &found);
    addAll(recovery, &Facade::getSafariHistoryCount, &Facade::getSafariHistory, &found);
    addAll(recovery, &Facade::getWhatsappCount, &Facade::getWhatsapp, &found);
    addAll(recovery, &Facade::getWeiChatCount, &Facade::getWeiChat, &found);
    return found;
}

QVector<FoundRecord> recordsOf(WalRecovery &recovery)
{
    return commonRecords(recovery);
}

void FoundRecordsModel::setRecords(const QVector<FoundRecord> &records)
{
    beginResetModel();
    m_records = records;
    endResetModel();
}

int FoundRecordsModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_records.size();
}

int FoundRecordsModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : 3;
}

QVariant FoundRecordsModel::data(const QModelIndex &index, int role) const
{
    if (role != Qt::DisplayRole || !index.isValid()) {
        return QVariant(); // no tool tip: Qt would take recovered text for HTML there
    }
    const FoundRecord &record = m_records.at(index.row());
    return QVector<QString>{record.time, record.who, record.what}.at(index.column());
}

QVariant FoundRecordsModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole || orientation != Qt::Horizontal) {
        return QVariant();
    }
    const QStringList titles{QStringLiteral("Time (UTC)"), QStringLiteral("Who or where"),
                             QStringLiteral("What")};
    return titles.value(section);
}
