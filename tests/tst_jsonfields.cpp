#include "api/bookmarkrecord.h"
#include "api/calendarrecord.h"
#include "api/callhistoryrecord.h"
#include "api/messagegrouprecord.h"
#include "api/noterecord.h"
#include "api/personrecord.h"
#include "api/reminderrecord.h"
#include "api/weichatchat.h"
#include "api/whatsappchatrecord.h"
#include "cli/recordkind.h"
#include "cli/recordmaps.h"
#include "tests/support/testfiles.h"

#include <QCborArray>
#include <QMap>
#include <QRegularExpression>
#include <QtTest>

namespace {

/// Of an object, by its place in a record: its fields and their types.
using Fields = QMap<QString, QStringList>;

QString typeOf(const QString &field, const QCborValue &value)
{
    if (field.endsWith(QLatin1String("Utc"))) {
        return QStringLiteral("text or null");
    }
    static const QMap<QCborValue::Type, const char *> names{
        {QCborValue::String, "text"},   {QCborValue::Integer, "integer"},
        {QCborValue::Double, "number"}, {QCborValue::True, "boolean"},
        {QCborValue::False, "boolean"}, {QCborValue::Array, "list"}};
    return QLatin1String(names.value(value.type(), "unknown"));
}

void collect(const QString &place, const QCborMap &map, Fields *fields)
{
    for (const auto &entry : map) {
        const QString name = entry.first.toString();
        fields->operator[](place).append(name + QLatin1Char(' ') + typeOf(name, entry.second));
        const QCborArray list = entry.second.toArray();
        if (!list.isEmpty() && list.first().isMap()) {
            collect(place + QLatin1Char('.') + name, list.first().toMap(), fields);
        }
    }
}

/// What the program writes, from records of which every list has an element.
Fields writtenFields()
{
    PersonRecord person;
    person.values = {{3, {}, {}, {PersonValueEntry()}}};
    MessageGroupRecord group;
    group.participants = {MessageParticipant()};
    group.messages = {MessageItem()};
    WhatsappChatRecord whatsapp;
    whatsapp.messages = {new WhatsappMessageItem};
    WeiChatChat weChat;
    weChat.messages = {new WeiChatMessage};
    CalendarRecord event;
    event.startDate = event.endDate = 0.5; // whole numbers are integers to a map
    ReminderRecord reminder;
    reminder.startDate = reminder.completionDate = 0.5;
    Fields fields;
    collect(QStringLiteral("call"), callMap({}), &fields);
    collect(QStringLiteral("messageGroup"), messageGroupMap(group), &fields);
    collect(QStringLiteral("note"), noteMap({}), &fields);
    collect(QStringLiteral("ios9Note"), noteMap({}), &fields);
    collect(QStringLiteral("contact"), personMap(person), &fields);
    collect(QStringLiteral("reminder"), reminderMap(reminder), &fields);
    collect(QStringLiteral("calendar"), calendarMap(event), &fields);
    collect(QStringLiteral("bookmark"), bookmarkMap({}), &fields);
    collect(QStringLiteral("safariHistory"), historyMap({}), &fields);
    collect(QStringLiteral("weChat"), weChatMap(weChat), &fields);
    collect(QStringLiteral("whatsapp"), whatsappMap(whatsapp), &fields);
    return fields;
}

/// What the document says: headings name the places, rows of tables the fields.
Fields documentedFields(QStringList *headings)
{
    const QRegularExpression heading(QStringLiteral("^###? ([A-Za-z0-9.]+)$"));
    const QRegularExpression row(QStringLiteral("^\\| `(\\w+)` \\| ([a-z ]+) \\|"));
    const QString text =
        QString::fromUtf8(readFile(QStringLiteral(SQLITERECOVERY_SOURCE_DIR "/docs/json.md")));
    Fields fields;
    for (const QString &line : text.split(QLatin1Char('\n'))) {
        const QRegularExpressionMatch title = heading.match(line);
        const QRegularExpressionMatch field = row.match(line);
        if (title.hasMatch()) {
            headings->append(title.captured(1));
        } else if (field.hasMatch() && !headings->isEmpty()) {
            fields[headings->last()].append(field.captured(1) + QLatin1Char(' ')
                                            + field.captured(2));
        }
    }
    return fields;
}

} // namespace

/// Whether docs/json.md and the program have the same fields, of the same types in the same order.
class TestJsonFields : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void everyFieldIsDocumented();
    void everyKindIsDocumented();
};

void TestJsonFields::everyFieldIsDocumented()
{
    QStringList headings;
    const Fields documented = documentedFields(&headings);
    const Fields written = writtenFields();
    QCOMPARE(documented.keys(), written.keys());
    for (auto place = written.cbegin(); place != written.cend(); ++place) {
        QCOMPARE(documented.value(place.key()), place.value());
    }
}

void TestJsonFields::everyKindIsDocumented()
{
    QStringList kinds;
    documentedFields(&kinds);
    kinds = kinds.filter(QRegularExpression(QStringLiteral("^[^.]+$")));
    QStringList written = kindNames();
    kinds.sort();
    written.sort();
    QCOMPARE(kinds, written);
}

QTEST_APPLESS_MAIN(TestJsonFields)
#include "tst_jsonfields.moc"
