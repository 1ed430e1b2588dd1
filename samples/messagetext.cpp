#include "samples/messagetext.h"

#include "samples/samplerandom.h"

namespace {

const char *const words[] = {
    "the",      "you",   "and",   "tomorrow", "at",   "we",     "can",    "is",   "meet",  "dinner",
    "late",     "train", "home",  "not",      "sure", "thanks", "please", "call", "me",    "when",
    "are",      "there", "this",  "weekend",  "see",  "soon",   "coffee", "what", "about", "photos",
    "birthday", "ok",    "great", "sorry",    "on",   "my",     "way",    "I'll", "bring", "it"};

const char *const foreignTexts[] = {
    u8"Können wir uns um fünf vor der Straßenbahn treffen? Grüße aus Köln",
    u8"Je suis déjà arrivée à la gare, où êtes-vous ?",
    u8"Завтра в восемь у метро, не забудь билеты",
    u8"Καλημέρα, θα έρθω λίγο αργότερα",
    u8"明天下午三点在咖啡店见面好吗",
    u8"今日は少し遅れます。先に始めてください",
    u8"سأصل بعد نصف ساعة إن شاء الله",
    u8"คืนนี้กินข้าวที่บ้านไหม",
};

const char *const emoji[] = {u8"😀",       u8"👍", u8"❤️", u8"🎉", u8"😂", u8"👨‍👩‍👧",
                             u8"🙏🏽"};

const char *const shortTexts[] = {"Ok", "?", "No", "k", "Yes!", "1", "Lol", "On my way", "Call me"};

QString withEmoji(SampleRandom *random)
{
    QString text = plainSentence(random);
    for (int i = random->number(1, 4); i > 0; --i) {
        text += QLatin1Char(' ') + random->pick(emoji);
    }
    return text;
}

QString longText(SampleRandom *random)
{
    const int size = random->number(2100, 7000);
    QString text;
    while (text.size() < size) {
        text += plainSentence(random) + QLatin1Char('\n');
    }
    return text;
}

} // namespace

QString plainSentence(SampleRandom *random)
{
    const int count = random->chance(90) ? random->number(1, 25) : random->number(25, 140);
    QString text = random->pick(words);
    for (int i = 1; i < count; ++i) {
        text += QLatin1Char(' ') + random->pick(words);
    }
    return text + QLatin1Char('.');
}

QString messageText(SampleRandom *random)
{
    const int kind = random->number(0, 100);
    if (kind < 68) {
        return plainSentence(random);
    }
    if (kind < 78) {
        return withEmoji(random);
    }
    if (kind < 86) {
        return random->pick(foreignTexts);
    }
    if (kind < 93) {
        return random->pick(shortTexts);
    }
    if (kind < 95) {
        const QString first = random->pick(emoji);
        return first + random->pick(emoji);
    }
    if (kind < 97) {
        const QString page = random->firstName().toLower();
        return QStringLiteral("https://www.example.org/p/%1?id=%2").arg(page, random->digits(9));
    }
    return longText(random);
}

QByteArray attributedBody(const QString &text)
{
    static const QByteArray head =
        QByteArray::fromHex("040b") + "streamtyped" + QByteArray::fromHex("81e803840140848484")
        + "\x12" + "NSAttributedString" + QByteArray::fromHex("008484") + "\x08NSObject"
        + QByteArray::fromHex("0085928484") + "\x08NSString" + QByteArray::fromHex("0194840181");
    static const QByteArray tail = QByteArray::fromHex("8684026949010f9284848c") + "NSDictionary"
                                   + QByteArray::fromHex("009484016901928484") + "\x08NSNumber"
                                   + QByteArray::fromHex("008484") + "\x07NSValue"
                                   + QByteArray::fromHex("009484012a8484999900868686");
    const QByteArray utf8 = text.toUtf8();
    return head + char(utf8.size() & 0xff) + char(utf8.size() >> 8) + utf8 + tail;
}
