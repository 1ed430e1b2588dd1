#include "samples/weixintruth.h"

#include <QHash>

namespace {

/// So much of a row's body lies on its page, whatever follows on overflow pages.
constexpr int BytesOnThePage = 300;

QString keyOf(const WeiChatMessage &message)
{
    return QStringLiteral("%1|%2|%3")
        .arg(message.createTime)
        .arg(int(message.isFromMe))
        .arg(message.message);
}

QString describe(const char *what, const WeiChatMessage &message, const QString &chatId)
{
    return QStringLiteral("%1: %2 %3 type %4 %5 \"%6\"")
        .arg(QLatin1String(what), chatId.left(8))
        .arg(message.createTime)
        .arg(message.type)
        .arg(message.isFromMe ? QLatin1String("sent") : QLatin1String("received"),
             message.message.left(60).simplified());
}

bool isPartOf(const WeiChatMessage &part, const WeiChatMessage &whole)
{
    return part.createTime == whole.createTime && part.message.size() < whole.message.size()
           && whole.message.startsWith(part.message);
}

bool isWhole(const SampleWeixinMessage &sample, const QByteArray &file)
{
    return file.contains(sample.types + sample.body.left(BytesOnThePage));
}

class Comparison
{
public:
    Comparison(const WeixinSample &sample, const QByteArray &file)
        : m_sample(sample)
        , m_file(file)
        , m_isFound(sample.deleted.size(), false)
    {
        for (int i = 0; i < sample.deleted.size(); ++i) {
            m_deleted.insert(keyOf(sample.deleted[i].message), i);
        }
        for (const SampleWeixinMessage &live : sample.live) {
            m_live.insert(keyOf(live.message), 0);
        }
        m_result.deleted = sample.deleted.size();
    }

    void addFound(const FoundWeixinMessage &found);
    void addMissed();
    WeixinResult result() const { return m_result; }

private:
    void addRecovered(int index, const FoundWeixinMessage &found);
    void addDetail(const char *what, const FoundWeixinMessage &found)
    {
        m_result.details << describe(what, found.message, found.chatId);
    }

    const WeixinSample &m_sample;
    const QByteArray &m_file;
    QHash<QString, int> m_deleted;
    QHash<QString, int> m_live;
    QVector<bool> m_isFound;
    WeixinResult m_result;
};

void Comparison::addFound(const FoundWeixinMessage &found)
{
    const QString key = keyOf(found.message);
    const auto partOfAny = [&found](const QVector<SampleWeixinMessage> &samples) {
        for (int i = 0; i < samples.size(); ++i) {
            if (isPartOf(found.message, samples[i].message)) {
                return i;
            }
        }
        return -1;
    };
    if (m_deleted.contains(key)) {
        addRecovered(m_deleted[key], found);
    } else if (m_live.contains(key)) {
        ++m_result.liveCopies;
        addDetail("live", found);
    } else if (const int part = partOfAny(m_sample.deleted); part >= 0) {
        ++m_result.incomplete;
        m_isFound[part] = true;
    } else if (partOfAny(m_sample.live) >= 0) {
        ++m_result.liveCopies;
        addDetail("part of a live one", found);
    } else {
        ++m_result.invented;
        addDetail("invented", found);
    }
}

void Comparison::addRecovered(int index, const FoundWeixinMessage &found)
{
    const SampleWeixinMessage &deleted = m_sample.deleted[index];
    if (m_isFound[index]) {
        ++m_result.twice;
        addDetail("twice", found);
        return;
    }
    m_isFound[index] = true;
    if (found.message.type != deleted.message.type) {
        ++m_result.wrongFields;
        addDetail("wrong type", found);
    } else {
        ++m_result.recovered;
    }
    const QString &chatId = m_sample.chatIds[deleted.conversation];
    if (chatId.isEmpty()) {
        ++m_result.homeless;
    } else if (chatId != found.chatId) {
        ++m_result.wrongChats;
        addDetail("wrong conversation", found);
    }
}

void Comparison::addMissed()
{
    for (int i = 0; i < m_isFound.size(); ++i) {
        const SampleWeixinMessage &missed = m_sample.deleted[i];
        if (m_isFound[i]) {
            continue;
        }
        if (isWhole(missed, m_file)) {
            ++m_result.missedWhole;
            m_result.details << describe("missed", missed.message,
                                         m_sample.chatIds[missed.conversation]);
        } else {
            ++m_result.overwritten;
        }
    }
}

} // namespace

void WeixinResult::add(const WeixinResult &other)
{
    deleted += other.deleted;
    overwritten += other.overwritten;
    missedWhole += other.missedWhole;
    recovered += other.recovered;
    incomplete += other.incomplete;
    wrongFields += other.wrongFields;
    liveCopies += other.liveCopies;
    twice += other.twice;
    invented += other.invented;
    wrongChats += other.wrongChats;
    homeless += other.homeless;
    details += other.details;
}

QString WeixinResult::summary() const
{
    return QStringLiteral("deleted %1, recovered %2, incomplete %3, wrong type %4, overwritten %5, "
                          "missed whole %6; in another conversation %7, of one that is gone %8; "
                          "live copies %9, ")
               .arg(deleted)
               .arg(recovered)
               .arg(incomplete)
               .arg(wrongFields)
               .arg(overwritten)
               .arg(missedWhole)
               .arg(wrongChats)
               .arg(homeless)
               .arg(liveCopies)
           + QStringLiteral("twice %1, invented %2").arg(twice).arg(invented);
}

WeixinResult compareWeixin(const WeixinSample &sample, const QByteArray &file,
                           const QVector<FoundWeixinMessage> &found)
{
    Comparison comparison(sample, file);
    for (const FoundWeixinMessage &message : found) {
        comparison.addFound(message);
    }
    comparison.addMissed();
    return comparison.result();
}
