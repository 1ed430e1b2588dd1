#include "samples/samplerandom.h"

#include <QUuid>

namespace {

const char *const firstNames[] = {"Anna",  "Ben",   "Clara", "David", "Emma",  "Felix", "Grace",
                                  "Henry", "Ida",   "Jonas", "Karin", "Louis", "Maria", "Noah",
                                  "Olga",  "Peter", "Rosa",  "Simon", "Tessa", "Viktor"};
const char *const lastNames[] = {"Adler", "Becker", "Castillo", "Dupont", "Evans",    "Fischer",
                                 "Grant", "Hansen", "Ivanova",  "Jensen", "Kowalski", "Lopez"};
const char *const mailHosts[] = {"example.com", "mail.example.org", "post.example.net"};
const char *const cities[] = {"Berlin", "Springfield, IL", "San Jose, CA", "Lyon", "Leeds"};

} // namespace

QString SampleRandom::digits(int count)
{
    QString text;
    for (int i = 0; i < count; ++i) {
        text += QChar::fromLatin1(char('0' + number(0, 10)));
    }
    return text;
}

QString SampleRandom::firstName()
{
    return pick(firstNames);
}

QString SampleRandom::lastName()
{
    return pick(lastNames);
}

QString SampleRandom::city()
{
    return pick(cities);
}

QString SampleRandom::telephoneNumber()
{
    switch (number(0, 10)) {
    case 0:
        return digits(number(3, 7)); // service numbers
    case 1:
    case 2:
    case 3:
        return QStringLiteral("555") + digits(7);
    case 4:
        return QStringLiteral("030") + digits(number(6, 9));
    default:
        return QStringLiteral("+%1").arg(number(1, 100)) + digits(10);
    }
}

QString SampleRandom::mailAddress()
{
    const QString name = firstName() + QLatin1Char('.') + lastName() + digits(number(0, 4));
    // A few are so long that their serial type takes two bytes.
    const QString tag = chance(10) ? QStringLiteral("+calls-from-") + digits(40) : QString();
    return name.toLower() + tag + QLatin1Char('@') + pick(mailHosts);
}

QString SampleRandom::guid()
{
    quint32 parts[4];
    m_random.fillRange(parts);
    QUuid guid;
    guid.data1 = parts[0];
    guid.data2 = ushort(parts[1]);
    guid.data3 = ushort((parts[1] >> 16 & 0xfff) | 0x4000);
    for (int i = 0; i < 8; ++i) {
        guid.data4[i] = uchar(parts[2 + i / 4] >> 8 * (i % 4));
    }
    return guid.toString(QUuid::WithoutBraces).toUpper();
}
