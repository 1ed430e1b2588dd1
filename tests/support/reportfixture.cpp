#include "tests/support/reportfixture.h"

#include "api/bookmarkrecord.h"
#include "api/calendarrecord.h"
#include "api/callhistoryrecord.h"
#include "api/messagegrouprecord.h"
#include "api/noterecord.h"
#include "api/personrecord.h"
#include "api/reminderrecord.h"
#include "api/sqliterecovery.h"
#include "api/weichatchat.h"
#include "api/whatsappchatrecord.h"
#include "cli/backupfolder.h"
#include "cli/commandparts.h"
#include "cli/consoleprogress.h"
#include "cli/databasescan.h"
#include "cli/htmlprinter.h"
#include "cli/recordmaps.h"
#include "tests/support/words.h"

#include <QBuffer>
#include <QCborArray>
#include <QFileInfo>
#include <QProcess>

namespace {

/// Gives out texts that begin alike and differ.
class Texts
{
public:
    explicit Texts(const QString &text)
        : m_text(text)
    {
    }
    QString operator()() { return m_text + QString::number(++m_count); }

private:
    QString m_text;
    int m_count = 0;
};

PersonRecord personOf(Texts &text)
{
    PersonRecord person;
    for (QString PersonRecord::*field :
         {&PersonRecord::prefix, &PersonRecord::first, &PersonRecord::middle, &PersonRecord::last,
          &PersonRecord::suffix, &PersonRecord::firstPhonetic, &PersonRecord::middlePhonetic,
          &PersonRecord::lastPhonetic, &PersonRecord::nickname, &PersonRecord::organization,
          &PersonRecord::department, &PersonRecord::jobTitle, &PersonRecord::birthday,
          &PersonRecord::alternateBirthday, &PersonRecord::note}) {
        person.*field = text();
    }
    for (const qint64 property : {3, 4, 5, 12, 13, 22, 23, 46, 99}) {
        person.values.append({property, text(), text(), {{text(), text()}}});
    }
    return person;
}

MessageGroupRecord groupOf(Texts &text, const QString &room)
{
    MessageGroupRecord group;
    group.roomName = room;
    group.chatIdentifier = text();
    group.service = text();
    group.participants.append({text(), text(), text()});
    for (const qint32 isFromMe : {0, 1}) {
        MessageItem message;
        message.date = 568883121;
        message.isFromMe = isFromMe;
        for (QString MessageItem::*field :
             {&MessageItem::guid, &MessageItem::text, &MessageItem::subject, &MessageItem::address,
              &MessageItem::service}) {
            message.*field = text();
        }
        group.messages.append(message);
    }
    return group;
}

QCborMap whatsappOf(Texts &text)
{
    WhatsappChatRecord chat;
    chat.chatName = text();
    chat.memberNames << text();
    chat.chatJids << text();
    for (const qint32 isFromMe : {0, 1}) {
        auto *message = new WhatsappMessageItem;
        message->isFromMe = isFromMe;
        message->date = 568883121;
        message->text = text();
        message->senderName = text();
        message->vcardText = text();
        message->toJid = text();
        chat.messages.append(message);
    }
    return whatsappMap(chat);
}

QCborMap weChatOf(Texts &text)
{
    WeiChatChat chat;
    chat.chatId = text();
    for (const int type : {1, 49}) {
        auto *message = new WeiChatMessage;
        message->message = text();
        message->createTime = 1546300800;
        message->type = type;
        chat.messages.append(message);
    }
    return weChatMap(chat);
}

QVector<QCborMap> notesOf(Texts &text)
{
    NoteRecord note;
    note.date = 568883121;
    note.title = text();
    note.content = text();
    return {noteMap(note)};
}

} // namespace

ReportFixture::ReportFixture()
{
    report.source = QStringLiteral("/evidence/backup");
    report.isBackup = true;
    report.device = {QStringLiteral("Ida's telephone"), QStringLiteral("iPhone 8"),
                     QStringLiteral("iOS 15.7"), QStringLiteral("2022-10-03T08:15:00Z")};
    report.programVersion = QStringLiteral("0.1.0");
    report.started = QStringLiteral("2024-02-12T09:30:00Z");
}

ScannedDatabase &ReportFixture::database(ScanType type, const QString &place)
{
    for (ScannedDatabase &database : report.databases) {
        if (database.type == type && database.place == place) {
            return database;
        }
    }
    const auto recovery = std::make_shared<SqliteRecovery>();
    ScannedDatabase database;
    database.type = type;
    database.place = place;
    database.path = place;
    database.facade = recovery;
    database.results = resultsOf(type, *recovery);
    report.databases.append(database);
    return report.databases.last();
}

void ReportFixture::add(ScanType type, const QString &place, const char *kind, unsigned count,
                        const std::function<QCborMap(unsigned)> &record)
{
    unsigned items = 0;
    for (unsigned i = 0; i < count; ++i) {
        const QCborValue messages = record(i).value(QLatin1String("messages"));
        items += messages.isArray() ? unsigned(messages.toArray().size()) : 1;
    }
    for (RecordKind &known : database(type, place).results.kinds) {
        if (qstrcmp(known.name, kind) == 0) {
            known.count = [count] { return count; };
            known.items = [items] { return items; };
            known.record = record;
        }
    }
}

void ReportFixture::add(ScanType type, const QString &place, const char *kind,
                        const QVector<QCborMap> &records)
{
    add(type, place, kind, unsigned(records.size()),
        [records](unsigned index) { return records.at(int(index)); });
}

bool ReportFixture::scanSampleBackup(const QString &makesample, const QString &folder)
{
    if (QProcess::execute(makesample, words("backup @", folder)) != 0) {
        return false;
    }
    ConsoleProgress progress(nullptr, 1);
    for (const BackupDatabase &found : readBackup(folder + QStringLiteral("/backup")).databases) {
        ScannedDatabase scanned;
        scanned.type = found.type;
        scanned.typeName = QLatin1String(typeName(found.type).name);
        scanned.place = found.place;
        scanned.path = found.path;
        scanned.size = QFileInfo(found.path).size();
        scanned.sha256 = hashOf(found.path);
        scanDatabase(&scanned, &progress);
        report.databases.append(scanned);
    }
    return true;
}

QByteArray printed(const Report &report, bool (*print)(const Report &, QIODevice &))
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    return print(report, buffer) ? buffer.data() : QByteArray();
}

QByteArray htmlOf(const Report &report)
{
    return printed(report, printHtml);
}

void addEveryKind(ReportFixture *fixture, const QString &begin)
{
    Texts text(begin);
    const QString place = text();
    const PersonRecord person = personOf(text);
    PersonRecord nameless;
    nameless.nickname = text();
    fixture->add(ScanTypeContacts, place, "contact", {personMap(person), personMap(nameless)});
    fixture->add(ScanTypeContacts, place, "hiddenContact", {personMap(personOf(text))});
    fixture->add(
        ScanTypeMessages, place, "messageGroup",
        {messageGroupMap(groupOf(text, QString())), messageGroupMap(groupOf(text, text()))});
    fixture->add(ScanTypeWhatsapp, place, "whatsapp", {whatsappOf(text)});
    fixture->add(ScanTypeWeChat, place, "weChat", {weChatOf(text)});
    fixture->add(ScanTypeCallHistory, place, "call", {callMap({text(), 1389212483, 86, 4})});
    fixture->add(ScanTypeNotes, place, "note", notesOf(text));
    fixture->add(ScanTypeIos9Notes, text(), "ios9Note", notesOf(text));
    fixture->add(ScanTypeCalendar, place, "calendar",
                 {calendarMap({text(), text(), text(), 526084000, 526090300, 0})});
    fixture->add(ScanTypeCalendar, place, "reminder",
                 {reminderMap({text(), text(), text(), text(), 520952200, 0, 5})});
    fixture->add(ScanTypeBookmarks, place, "bookmark", {bookmarkMap({text(), text(), 1})});
    fixture->add(ScanTypeSafariHistory, place, "safariHistory", {historyMap({text(), text(), 0})});
}
