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
#include "cli/htmlprinter.h"
#include "cli/recordmaps.h"

#include <QBuffer>
#include <QCborArray>
#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>

namespace {

struct SampleFile
{
    ScanType type;
    const char *typeName;
    const char *domain;
    const char *path;
};

constexpr SampleFile SampleFiles[] = {
    {ScanTypeContacts, "contacts", "HomeDomain", "Library/AddressBook/AddressBook.sqlitedb"},
    {ScanTypeMessages, "messages", "HomeDomain", "Library/SMS/sms.db"},
    {ScanTypeWhatsapp, "whatsapp", "AppDomain-net.whatsapp.WhatsApp",
     "Documents/ChatStorage.sqlite"},
    {ScanTypeWeChat, "wechat", "AppDomain-com.tencent.xin",
     "Documents/c4ca4238a0b923820dcc509a6f75849b/DB/message_1.sqlite"},
    {ScanTypeCallHistory, "call-history", "WirelessDomain", "Library/CallHistory/call_history.db"},
    {ScanTypeCallHistory, "call-history", "HomeDomain",
     "Library/CallHistoryDB/CallHistory.storedata"},
    {ScanTypeCalendar, "calendar", "HomeDomain", "Library/Calendar/Calendar.sqlitedb"},
    {ScanTypeNotes, "notes", "HomeDomain", "Library/Notes/notes.sqlite"},
    {ScanTypeIos9Notes, "ios9-notes", "AppDomainGroup-group.com.apple.notes", "NoteStore.sqlite"},
    {ScanTypeBookmarks, "bookmarks", "HomeDomain", "Library/Safari/Bookmarks.db"},
    {ScanTypeSafariHistory, "safari-history", "HomeDomain", "Library/Safari/History.db"},
};

// In a backup a file is called by the hash of its place.
QString nameInBackup(const SampleFile &file)
{
    const QByteArray place = QByteArray(file.domain) + '-' + file.path;
    return QString::fromLatin1(QCryptographicHash::hash(place, QCryptographicHash::Sha1).toHex());
}

bool runProgram(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    return process.waitForFinished(120000) && process.exitCode() == 0;
}

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

ReportFixture::~ReportFixture() = default;

ScannedDatabase &ReportFixture::database(ScanType type, const QString &place)
{
    for (ScannedDatabase &database : report.databases) {
        if (database.type == type && database.place == place) {
            return database;
        }
    }
    m_recoveries.push_back(std::make_unique<SqliteRecovery>());
    ScannedDatabase database;
    database.type = type;
    database.place = place;
    database.path = place;
    database.results = resultsOf(type, *m_recoveries.back());
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
    if (!runProgram(makesample, {QStringLiteral("backup"), folder})) {
        return false;
    }
    for (const SampleFile &file : SampleFiles) {
        const QString domain = QLatin1String(file.domain) + QLatin1Char('/');
        ScannedDatabase &scanned = database(file.type, domain + QLatin1String(file.path));
        scanned.path = folder + QStringLiteral("/backup/") + nameInBackup(file);
        scanned.typeName = QLatin1String(file.typeName);
        QFile bytes(scanned.path);
        if (!bytes.open(QIODevice::ReadOnly)) {
            return false;
        }
        scanned.size = bytes.size();
        scanned.sha256 = QCryptographicHash::hash(bytes.readAll(), QCryptographicHash::Sha256);
        QElapsedTimer timer;
        timer.start();
        m_recoveries.back()->scanRecoveryForType(file.type, scanned.path, nullptr);
        scanned.seconds = timer.elapsed() / 1000.0;
    }
    return true;
}

QByteArray htmlOf(const Report &report)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    return printHtml(report, buffer) ? buffer.data() : QByteArray();
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
