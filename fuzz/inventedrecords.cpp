#include "fuzz/inventedrecords.h"

#include "api/calendarrecord.h"
#include "api/callhistoryrecord.h"
#include "api/messagegrouprecord.h"
#include "api/noterecord.h"
#include "api/personrecord.h"
#include "api/reminderrecord.h"
#include "api/sqliterecovery.h"
#include "api/weichatchat.h"
#include "api/whatsappchatrecord.h"
#include "cli/recordmaps.h"
#include "cli/report.h"

#include <QCborArray>
#include <QtEndian>

#include <algorithm>
#include <cstring>

namespace {

/// Turns bytes into values, one after the other.
class Inventor
{
public:
    Inventor(const QByteArray &bytes, bool isHarmless)
        : m_bytes(bytes)
        , m_isHarmless(isHarmless)
    {
    }

    bool atEnd() const { return m_pos >= m_bytes.size(); }

    int below(int end) { return int(byte()) % end; }

    qint64 number()
    {
        const int size = below(9);
        quint64 value = 0;
        for (int i = 0; i < size; ++i) {
            value = value << 8 | byte();
        }
        return qint64(value);
    }

    qint32 smallNumber() { return qint32(number()); }

    double real()
    {
        const qint64 bits = number();
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return below(2) ? value : double(bits);
    }

    /// UTF-8, or any units of UTF-16.
    QString text()
    {
        const int length = int(byte());
        const QByteArray bytes = m_bytes.mid(m_pos, length);
        m_pos += bytes.size();
        QString text;
        if (length % 2) {
            text = QString::fromUtf8(bytes);
        } else {
            for (int i = 0; i + 1 < bytes.size(); i += 2) {
                text += QChar(qFromBigEndian<quint16>(bytes.constData() + i));
            }
        }
        return m_isHarmless ? harmless(text) : text;
    }

    template<typename Value> QList<Value> list(Value (*make)(Inventor &))
    {
        QList<Value> values;
        for (int left = below(4); left > 0; --left) {
            values.append(make(*this));
        }
        return values;
    }

private:
    quint8 byte() { return atEnd() ? 0 : quint8(m_bytes.at(m_pos++)); }

    static QString harmless(QString text)
    {
        for (QChar &c : text) {
            c = QString::fromLatin1("<>&\"'").contains(c) ? QChar(QLatin1Char('x')) : c;
        }
        return text;
    }

    const QByteArray m_bytes;
    const bool m_isHarmless;
    int m_pos = 0;
};

QString textOf(Inventor &from)
{
    return from.text();
}

MessageParticipant participantOf(Inventor &from)
{
    return {from.text(), from.text(), from.text()};
}

MessageItem messageOf(Inventor &from)
{
    return {from.text(), from.number(), from.text(),        from.text(),
            from.text(), from.text(),   from.smallNumber(), from.smallNumber()};
}

PersonValueEntry entryOf(Inventor &from)
{
    return {from.text(), from.text()};
}

PersonValue valueOf(Inventor &from)
{
    return {from.number(), from.text(), from.text(), from.list(entryOf)};
}

WhatsappMessageItem *whatsappMessageOf(Inventor &from)
{
    return new WhatsappMessageItem{from.smallNumber(), from.smallNumber(), from.smallNumber(),
                                   from.smallNumber(), from.smallNumber(), from.smallNumber(),
                                   from.text(),        from.text(),        from.text(),
                                   from.text()};
}

WeiChatMessage *weChatMessageOf(Inventor &from)
{
    return new WeiChatMessage{from.text(), from.smallNumber(), from.smallNumber(),
                              from.below(2) == 1};
}

QCborMap inventCall(Inventor &from)
{
    return callMap({from.text(), from.number(), from.smallNumber(), from.smallNumber()});
}

QCborMap inventGroup(Inventor &from)
{
    return messageGroupMap(
        {from.text(), from.text(), from.text(), from.list(participantOf), from.list(messageOf)});
}

QCborMap inventNote(Inventor &from)
{
    return noteMap({from.smallNumber(), from.text(), from.text()});
}

QCborMap inventPerson(Inventor &from)
{
    PersonRecord person;
    person.rowId = from.number();
    for (QString PersonRecord::*field :
         {&PersonRecord::prefix, &PersonRecord::first, &PersonRecord::last, &PersonRecord::nickname,
          &PersonRecord::organization, &PersonRecord::birthday, &PersonRecord::note}) {
        person.*field = from.text();
    }
    person.modificationDate = from.smallNumber();
    person.values = from.list(valueOf);
    return personMap(person);
}

QCborMap inventReminder(Inventor &from)
{
    return reminderMap({from.text(), from.text(), from.text(), from.text(), from.real(),
                        from.real(), from.smallNumber()});
}

QCborMap inventEvent(Inventor &from)
{
    return calendarMap(
        {from.text(), from.text(), from.text(), from.real(), from.real(), from.smallNumber()});
}

QCborMap inventBookmark(Inventor &from)
{
    return bookmarkMap({from.text(), from.text(), from.number()});
}

QCborMap inventPage(Inventor &from)
{
    return historyMap({from.text(), from.text(), 0});
}

QCborMap inventWeChat(Inventor &from)
{
    WeiChatChat chat;
    chat.chatId = from.text();
    chat.messages = from.list(weChatMessageOf);
    return weChatMap(chat);
}

QCborMap inventWhatsapp(Inventor &from)
{
    WhatsappChatRecord chat;
    chat.chatName = from.text();
    chat.memberNames = from.list(textOf);
    chat.chatJids = from.list(textOf);
    chat.messages = from.list(whatsappMessageOf);
    return whatsappMap(chat);
}

struct Kind
{
    const char *name;
    QCborMap (*invent)(Inventor &from);
};

constexpr Kind Kinds[] = {
    {"call", inventCall},          {"messageGroup", inventGroup}, {"note", inventNote},
    {"ios9Note", inventNote},      {"contact", inventPerson},     {"hiddenContact", inventPerson},
    {"reminder", inventReminder},  {"calendar", inventEvent},     {"bookmark", inventBookmark},
    {"safariHistory", inventPage}, {"weChat", inventWeChat},      {"whatsapp", inventWhatsapp},
};

unsigned itemsIn(const QCborMap &record)
{
    const QCborValue messages = record.value(QLatin1String("messages"));
    return messages.isArray() ? unsigned(messages.toArray().size()) : 1;
}

/// Gives the kind some invented records.
void fill(RecordKind *kind, Inventor &from)
{
    const auto known = std::find_if(std::begin(Kinds), std::end(Kinds), [kind](const Kind &k) {
        return qstrcmp(k.name, kind->name) == 0;
    });
    QVector<QCborMap> records;
    for (int left = from.below(4); left > 0; --left) {
        records.append(known->invent(from));
    }
    kind->count = [records] { return unsigned(records.size()); };
    kind->items = [records] {
        unsigned items = 0;
        for (const QCborMap &record : records) {
            items += itemsIn(record);
        }
        return items;
    };
    kind->record = [records](unsigned index) { return records.at(int(index)); };
}

ScannedDatabase inventDatabase(Inventor &from)
{
    ScannedDatabase database;
    database.type = ScanType(from.below(ScanTypeWeChat + 1));
    database.typeName = QStringLiteral("messages");
    database.place = from.text();
    database.path = from.text();
    database.problem = from.text();
    // The program's own words, which are printed as they are.
    database.remark = from.below(2) ? QStringLiteral("the table is empty") : QString();
    database.sha256 = QByteArray(from.below(2) * 32, 'x');
    database.size = from.number();
    auto facade = std::make_shared<SqliteRecovery>();
    database.results = resultsOf(database.type, *facade);
    database.facade = facade;
    for (RecordKind &kind : database.results.kinds) {
        fill(&kind, from);
    }
    return database;
}

/// Times that the program itself writes into a report are sound, whatever the files say.
QString inventTime(Inventor &from)
{
    return QStringLiteral("20%1-11-21T10:00:00Z").arg(from.text().size() % 90 + 10);
}

} // namespace

Report inventReport(const QByteArray &bytes, bool isHarmless)
{
    Inventor from(bytes, isHarmless);
    Report report;
    report.isBackup = from.below(2) == 1;
    report.wasStopped = from.below(2) == 1;
    report.source = from.text();
    report.device = {from.text(), from.text(), from.text(), inventTime(from)};
    report.started = inventTime(from);
    while (!from.atEnd()) {
        report.databases.append(inventDatabase(from));
    }
    return report;
}
