#include "samples/weixinsamples.h"

#include "samples/messagetext.h"
#include "samples/recordencoder.h"
#include "samples/samplerandom.h"

#include <QCryptographicHash>

#include <algorithm>
#include <functional>

namespace {

constexpr qint32 FirstTime = 1430000000;

struct Kind
{
    int type;
    int percent;
};

// Text, picture, voice, sticker, place, link, video, system.
constexpr Kind kinds[] = {{1, 70}, {3, 8}, {34, 6}, {47, 5}, {48, 1}, {49, 5}, {62, 2}, {10000, 3}};

QString chatIdFor(int conversation)
{
    const QByteArray user = "wxid_" + QByteArray::number(conversation * 7919 + 13);
    return QString::fromLatin1(QCryptographicHash::hash(user, QCryptographicHash::Md5).toHex());
}

QString tableFor(int conversation)
{
    return QLatin1String("Chat_") + chatIdFor(conversation);
}

/// Makes up messages. Equal seeds give equal ones.
class Generator
{
public:
    explicit Generator(quint32 seed)
        : m_random(seed)
    {
    }

    /// The next message of the conversation; every third one is a group's.
    SampleWeixinMessage next(int conversation, int mostGap)
    {
        SampleWeixinMessage sample;
        sample.conversation = conversation;
        m_time += m_random.number(1, mostGap);
        sample.message.createTime = m_time;
        sample.message.type = kind();
        sample.message.isFromMe = m_random.chance(45);
        sample.message.message = text(sample.message.type);
        const bool isGroup = conversation % 3 == 2;
        if (isGroup && !sample.message.isFromMe && sample.message.type != 10000) {
            sample.message.message.prepend(
                QStringLiteral("wxid_%1:\n").arg(m_random.number(100, 110)));
        }
        return sample;
    }

    SampleRandom &random() { return m_random; }

private:
    int kind()
    {
        int left = m_random.number(0, 100);
        for (const Kind &candidate : kinds) {
            left -= candidate.percent;
            if (left < 0) {
                return candidate.type;
            }
        }
        return 1;
    }

    QString text(int type);

    SampleRandom m_random;
    qint32 m_time = FirstTime;
};

/// All but plain texts are XML that the program wrote.
QString Generator::text(int type)
{
    switch (type) {
    case 1:
        return messageText(&m_random);
    case 10000:
        return QStringLiteral("You recalled a message");
    case 34:
        return QStringLiteral("<msg><voicemsg endflag=\"1\" length=\"%1\" voicelength=\"%2\" "
                              "clientmsgid=\"%3\" fromusername=\"wxid_7\" /></msg>")
            .arg(m_random.number(1000, 60000))
            .arg(m_random.number(900, 60000))
            .arg(m_random.guid());
    case 49: {
        QString description = plainSentence(&m_random);
        for (int left = m_random.number(0, 40); left > 0; --left) {
            description += QLatin1Char(' ') + plainSentence(&m_random);
        }
        return QStringLiteral("<msg><appmsg appid=\"\" sdkver=\"0\"><title>%1</title><des>%2</des>"
                              "<type>5</type><url>https://www.example.com/s/%3</url></appmsg>"
                              "</msg>")
            .arg(plainSentence(&m_random), description, m_random.guid());
    }
    default:
        return QStringLiteral("<?xml version=\"1.0\"?>\n<msg>\n\t<img aeskey=\"%1\" "
                              "cdnmidimgurl=\"%2\" length=\"%3\" md5=\"%4\"></img>\n</msg>\n")
            .arg(m_random.digits(32), m_random.digits(90))
            .arg(m_random.number(1000, 900000))
            .arg(m_random.digits(32));
    }
}

QString columnsOf(WeixinLayout layout)
{
    return layout == WeixinLayout::Old
               ? QStringLiteral("TableVer INTEGER DEFAULT 1, MesLocalID INTEGER PRIMARY KEY "
                                "AUTOINCREMENT, MesSvrID BIGINT DEFAULT 0, CreateTime INTEGER "
                                "DEFAULT 0, Message TEXT, Status INTEGER DEFAULT 0, ImgStatus "
                                "INTEGER DEFAULT 0, Type INTEGER, Des INTEGER")
               : QStringLiteral("CreateTime INTEGER DEFAULT 0, Des INTEGER, ImgStatus INTEGER "
                                "DEFAULT 0, MesLocalID INTEGER PRIMARY KEY AUTOINCREMENT, Message "
                                "TEXT, MesSvrID INTEGER DEFAULT 0, Status INTEGER DEFAULT 0, "
                                "TableVer INTEGER DEFAULT 1, Type INTEGER");
}

/// Writes messages into the database as the program does.
class Store
{
public:
    Store(SampleDatabase *db, WeixinLayout layout)
        : m_db(db)
        , m_layout(layout)
    {
    }

    bool createTables(int conversations);
    bool insert(SampleWeixinMessage *sample, SampleRandom *random);
    bool remove(const SampleWeixinMessage &sample)
    {
        return m_db->run(
            QStringLiteral("DELETE FROM %1 WHERE MesLocalID=?").arg(tableFor(sample.conversation)),
            {sample.rowid});
    }

private:
    SampleDatabase *m_db;
    WeixinLayout m_layout;
};

bool Store::createTables(int conversations)
{
    bool ok = true;
    for (int i = 0; i < conversations && ok; ++i) {
        const QString table = tableFor(i);
        ok = m_db->exec(QStringLiteral("CREATE TABLE %1(%2);"
                                       "CREATE INDEX %1_Index ON %1(MesSvrID);"
                                       "CREATE INDEX %1_Index2 ON %1(CreateTime);"
                                       "CREATE TABLE ChatExt2_%3(MesLocalID INTEGER PRIMARY KEY, "
                                       "ConStrRes1 TEXT);")
                            .arg(table, columnsOf(m_layout), chatIdFor(i)));
    }
    return ok;
}

bool Store::insert(SampleWeixinMessage *sample, SampleRandom *random)
{
    const WeiChatMessage &message = sample->message;
    const qint64 server =
        qint64(random->number(100000000, 2000000000)) * 4294967 + random->number(0, 100000);
    const int status = message.isFromMe ? 2 : 4;
    const int image = message.type == 3 ? 2 : 1;
    const int des = message.isFromMe ? 0 : 1;
    const bool ok =
        m_db->run(QStringLiteral("INSERT INTO %1 (TableVer, MesSvrID, CreateTime, Message, Status, "
                                 "ImgStatus, Type, Des) VALUES (1,?,?,?,?,?,?,?)")
                      .arg(tableFor(sample->conversation)),
                  {server, message.createTime, message.message, status, image, message.type, des});
    sample->rowid = m_db->lastRowid();
    const QVariantList row =
        m_layout == WeixinLayout::Old
            ? QVariantList{1,     QVariant(),   server, message.createTime, message.message, status,
                           image, message.type, des}
            : QVariantList{message.createTime, des,    image,  QVariant(),
                           message.message,    server, status, 1,
                           message.type};
    const EncodedRow encoded = encodeValues(row, QByteArrayLiteral("UTF-8"));
    sample->types = encoded.types;
    sample->body = encoded.body;
    return ok;
}

/// Lives one plan through in the database, keeping the truth up to date.
class PlanRunner
{
public:
    PlanRunner(SampleDatabase *db, const WeixinPlan &plan, WeixinSample *sample)
        : m_db(db)
        , m_plan(plan)
        , m_generator(plan.seed)
        , m_store(db, plan.layout)
        , m_sample(sample)
    {
        *sample = WeixinSample();
        for (int i = 0; i < plan.conversations; ++i) {
            sample->chatIds << chatIdFor(i);
        }
    }

    bool run()
    {
        return m_store.createTables(m_plan.conversations) && insert(m_plan.messages) && live();
    }

private:
    bool live();
    bool insert(int count);
    bool removeScattered(int percent);
    bool removeSpans();
    bool lose(const QString &statement);
    bool removeWhere(const std::function<bool(const SampleWeixinMessage &)> &isLost);

    SampleDatabase *m_db;
    WeixinPlan m_plan;
    Generator m_generator;
    Store m_store;
    WeixinSample *m_sample;
};

bool PlanRunner::live()
{
    switch (m_plan.deletion) {
    case WeixinDeletion::Scattered:
        return removeScattered(30);
    case WeixinDeletion::Contiguous:
        return removeSpans();
    case WeixinDeletion::Cleared:
        return lose(QStringLiteral("DELETE FROM %1"));
    case WeixinDeletion::Dropped:
        return lose(QStringLiteral("DROP TABLE %1"));
    case WeixinDeletion::ThenInserts:
        return removeScattered(30) && insert(m_plan.messages / 10);
    case WeixinDeletion::ClearedThenInserts:
        return lose(QStringLiteral("DELETE FROM %1")) && insert(m_plan.messages / 10);
    }
    return false;
}

/// Some conversations are busier than others.
bool PlanRunner::insert(int count)
{
    SampleRandom &random = m_generator.random();
    bool ok = true;
    for (int i = 0; i < count && ok; ++i) {
        const int most =
            random.chance(50) ? std::max(m_plan.conversations / 5, 1) : m_plan.conversations;
        SampleWeixinMessage sample = m_generator.next(random.number(0, most), 9000);
        ok = m_store.insert(&sample, &random);
        m_sample->live << sample;
    }
    return ok;
}

bool PlanRunner::removeWhere(const std::function<bool(const SampleWeixinMessage &)> &isLost)
{
    QVector<SampleWeixinMessage> left;
    for (const SampleWeixinMessage &sample : qAsConst(m_sample->live)) {
        if (!isLost(sample)) {
            left << sample;
            continue;
        }
        m_sample->deleted << sample;
        if (!m_store.remove(sample)) {
            return false;
        }
    }
    m_sample->live = left;
    return true;
}

bool PlanRunner::removeScattered(int percent)
{
    return removeWhere(
        [&](const SampleWeixinMessage &) { return m_generator.random().chance(percent); });
}

/// Every fourth conversation loses what was written in some time of its own.
bool PlanRunner::removeSpans()
{
    const qint32 begin = m_sample->live.first().message.createTime;
    const qint32 whole = m_sample->live.last().message.createTime - begin;
    return removeWhere([&](const SampleWeixinMessage &sample) {
        const int part = sample.conversation % 3;
        const qint32 first = begin + whole / 5 * (part + 1);
        return sample.conversation % 4 == 1 && sample.message.createTime >= first
               && sample.message.createTime <= first + whole / 4;
    });
}

/// Every fourth conversation loses all.
bool PlanRunner::lose(const QString &statement)
{
    bool ok = true;
    for (int i = 1; i < m_plan.conversations && ok; i += 4) {
        ok = m_db->exec(statement.arg(tableFor(i)));
        const bool isGone = statement.startsWith(QLatin1String("DROP"));
        if (isGone) { // such a conversation gets no further messages
            m_sample->chatIds[i].clear();
        }
    }
    QVector<SampleWeixinMessage> left;
    for (const SampleWeixinMessage &sample : qAsConst(m_sample->live)) {
        (sample.conversation % 4 == 1 ? m_sample->deleted : left) << sample;
    }
    m_sample->live = left;
    return ok;
}

} // namespace

QVector<WeixinLayout> allWeixinLayouts()
{
    return {WeixinLayout::Old, WeixinLayout::Wcdb};
}

QVector<WeixinDeletion> allWeixinDeletions()
{
    return {WeixinDeletion::Scattered,   WeixinDeletion::Contiguous,
            WeixinDeletion::Cleared,     WeixinDeletion::Dropped,
            WeixinDeletion::ThenInserts, WeixinDeletion::ClearedThenInserts};
}

QString layoutName(WeixinLayout layout)
{
    return layout == WeixinLayout::Old ? QStringLiteral("until 2017")
                                       : QStringLiteral("since 2017");
}

QString deletionName(WeixinDeletion deletion)
{
    static const char *const names[] = {"scattered", "contiguous",   "cleared",
                                        "dropped",   "then inserts", "cleared, then inserts"};
    return QString::fromLatin1(names[int(deletion)]);
}

SampleOptions deviceOptions(WeixinLayout)
{
    return SampleOptions();
}

bool makeWeixinSample(SampleDatabase *db, const WeixinPlan &plan, WeixinSample *sample)
{
    return PlanRunner(db, plan, sample).run();
}

qint64 fillWeixinFile(SampleDatabase *db, qint64 bytes, int conversations, const WeixinTaker &take)
{
    constexpr int RowsBetweenLooks = 1000;
    constexpr int MostGap = 60; // keeps the times of millions of messages in four bytes
    const auto isCleared = [](int conversation) { return conversation % 5 == 4; };
    Generator generator(3);
    Store store(db, WeixinLayout::Wcdb);
    qint64 deleted = 0;
    bool ok = store.createTables(conversations) && db->exec(QStringLiteral("BEGIN"));
    while (ok && db->size() < bytes) {
        for (int i = 0; i < RowsBetweenLooks && ok; ++i) {
            const int conversation = generator.random().number(0, conversations);
            SampleWeixinMessage sample = generator.next(conversation, MostGap);
            ok = store.insert(&sample, &generator.random());
            const bool isDeleted = isCleared(conversation) || sample.rowid % 20 == 7;
            deleted += isDeleted ? 1 : 0;
            if (take) {
                take(sample, isDeleted);
            }
        }
    }
    ok = ok && db->exec(QStringLiteral("COMMIT"));
    for (int i = 0; i < conversations && ok; ++i) {
        const QString condition =
            isCleared(i) ? QStringLiteral("1") : QStringLiteral("MesLocalID % 20 = 7");
        ok = db->exec(QStringLiteral("DELETE FROM %1 WHERE %2").arg(tableFor(i), condition));
    }
    return ok ? deleted : -1;
}
