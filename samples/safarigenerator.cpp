#include "samples/safarigenerator.h"

#include <QStringList>

namespace {

const char *const hosts[] = {"www.example.com",  "news.example.org",    "example.net",
                             "shop.example.com", "www.daily-post.test", "wiki.example.org",
                             "m.video.test",     "forum.example.net",   "maps.example.com"};
const char *const pathWords[] = {"news",   "2016",   "sport", "article", "item", "watch",
                                 "search", "recipe", "view",  "topic",   "en",   "index.html"};
const char *const titleWords[] = {"Weather",  "in",     "Leeds", "How",      "to",      "bake",
                                  "bread",    "Latest", "News",  "Cheap",    "Flights", "Forum",
                                  "Question", "about",  "Maps",  "Holidays", "Recipe",  "of"};
const char *const foreignTitles[] = {
    "Новости дня: погода в Москве", "今日のニュース一覧", "Wetter für Köln – heute",
    "Actualités à la une",          "شريط الأخبار",       "Fußball 🏆 Ergebnisse"};

} // namespace

QString SafariGenerator::path()
{
    QString text;
    for (int left = m_random.number(0, 4); left > 0; --left) {
        text += m_random.pick(pathWords) + QLatin1Char('/');
    }
    return text;
}

QString SafariGenerator::url()
{
    QString text = m_random.chance(30) ? QStringLiteral("http://") : QStringLiteral("https://");
    text += m_random.pick(hosts) + QLatin1Char('/') + path();
    if (m_random.chance(35)) {
        text += QStringLiteral("?q=") + m_random.pick(titleWords) + QStringLiteral("%20")
                + m_random.guid().toLower();
    }
    if (m_random.chance(4)) {
        text += QStringLiteral("&data=") + m_random.digits(m_random.number(300, 2500));
    }
    return text + QLatin1Char('#') + QString::number(++m_count);
}

QString SafariGenerator::title()
{
    if (m_random.chance(4)) {
        return QStringLiteral("");
    }
    if (m_random.chance(15)) {
        return m_random.pick(foreignTitles);
    }
    QStringList words;
    for (int left = m_random.number(1, 9); left > 0; --left) {
        words << m_random.pick(titleWords);
    }
    return words.join(QLatin1Char(' ')) + QStringLiteral(" - ") + m_random.digits(2);
}

QString SafariGenerator::domainOf(const QString &url)
{
    const QStringList labels = url.section(QLatin1Char('/'), 2, 2).split(QLatin1Char('.'));
    return labels.size() < 2 ? QString() : labels.at(labels.size() - 2);
}

QByteArray SafariGenerator::blob(int from, int to)
{
    QByteArray bytes("bplist00\xd4\x01\x02\x03");
    const int size = m_random.number(from, to);
    while (bytes.size() < size) {
        bytes.append(char(m_random.number(0, 256)));
    }
    return bytes;
}
