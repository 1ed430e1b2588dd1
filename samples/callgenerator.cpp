#include "samples/callgenerator.h"

namespace {

const char *const firstNames[] = {"Anna",  "Ben",   "Clara", "David", "Emma",  "Felix", "Grace",
                                  "Henry", "Ida",   "Jonas", "Karin", "Louis", "Maria", "Noah",
                                  "Olga",  "Peter", "Rosa",  "Simon", "Tessa", "Viktor"};
const char *const lastNames[] = {"Adler", "Becker", "Castillo", "Dupont", "Evans",    "Fischer",
                                 "Grant", "Hansen", "Ivanova",  "Jensen", "Kowalski", "Lopez"};
const char *const mailHosts[] = {"example.com", "mail.example.org", "post.example.net"};
const char *const cities[] = {"Berlin", "Springfield, IL", "San Jose, CA", "Lyon", "Leeds"};

/// When devices of the layout were in use, in seconds since 1970.
qint64 firstDate(CallLayout layout)
{
    static const qint64 dates[] = {1233500000, 1304200000, 1359700000, 1388600000,
                                   1451700000, 1483300000, 1514800000, 1704100000};
    return dates[int(layout)];
}

template<int size> QString pick(const char *const (&words)[size], QRandomGenerator *random)
{
    return QString::fromLatin1(words[random->bounded(size)]);
}

} // namespace

CallGenerator::CallGenerator(CallLayout layout, quint32 seed, int maxGap)
    : m_layout(layout)
    , m_random(seed)
    , m_maxGap(maxGap)
    , m_date(firstDate(layout))
{
}

SampleCall CallGenerator::next()
{
    m_date += number(1, m_maxGap);
    SampleCall call;
    call.date = double(m_date);
    call.faceTime = m_layout >= CallLayout::Ios4 && chance(15);
    addParty(&call);
    addCourse(&call);
    addNetwork(&call);
    if (isStore(m_layout)) {
        // Seldom a whole number, which SQLite then stores as an integer.
        call.date += chance(95) ? number(1, 1000000) / 1e6 : 0;
        call.uniqueId = uniqueId();
    }
    return call;
}

QString CallGenerator::digits(int count)
{
    QString text;
    for (int i = 0; i < count; ++i) {
        text += QChar::fromLatin1(char('0' + number(0, 10)));
    }
    return text;
}

QString CallGenerator::telephoneNumber()
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

QString CallGenerator::mailAddress()
{
    const QString name = pick(firstNames, &m_random) + QLatin1Char('.') + pick(lastNames, &m_random)
                         + digits(number(0, 4));
    // A few are so long that their serial type takes two bytes.
    const QString tag = chance(10) ? QStringLiteral("+calls-from-") + digits(40) : QString();
    return name.toLower() + tag + QLatin1Char('@') + pick(mailHosts, &m_random);
}

QString CallGenerator::uniqueId()
{
    QString text = digits(36).replace(8, 1, QLatin1Char('-')).replace(13, 1, QLatin1Char('-'));
    text.replace(14, 1, QLatin1Char('4')).replace(18, 1, QLatin1Char('-'));
    text.replace(23, 1, QLatin1Char('-')).replace(5, 1, QLatin1Char('C'));
    return chance(3) ? text + digits(12) : text;
}

double CallGenerator::duration()
{
    const int kind = number(0, 100);
    const int seconds = kind < 60   ? number(3, 120)
                        : kind < 95 ? number(120, 3600)
                                    : number(3600, 20000);
    return isStore(m_layout) ? seconds + number(0, 1000) / 1e3 : seconds;
}

void CallGenerator::addParty(SampleCall *call)
{
    call->address = call->faceTime && chance(50) ? mailAddress() : telephoneNumber();
    if (chance(2)) {
        call->address = QStringLiteral(""); // the caller hid the number
    }
    if (chance(60)) {
        call->contactId = number(1, 400);
    }
    if (call->contactId > 0 && chance(60)) {
        call->name = pick(firstNames, &m_random) + QLatin1Char(' ') + pick(lastNames, &m_random);
    }
    if (chance(20)) {
        call->originalAddress = call->address;
    }
}

void CallGenerator::addCourse(SampleCall *call)
{
    call->outgoing = chance(50);
    call->answered = chance(75);
    call->read = call->answered || chance(70);
    call->duration = call->answered ? duration() : 0;
    if (chance(4)) {
        call->otherFlags |= 65536; // ended by the network
    }
    if (call->faceTime) {
        call->bytesMoved = call->answered ? number(20000, 90000000) : 0;
    }
}

void CallGenerator::addNetwork(SampleCall *call)
{
    static const char *const countries[] = {"310", "262", "208", "234"};
    static const char *const letters[] = {"us", "de", "fr", "gb"};
    const int country = number(0, 4);
    if (chance(85)) {
        call->countryCode = QString::fromLatin1(countries[country]);
        call->isoCountry = QString::fromLatin1(letters[country]);
        call->networkCode = digits(number(2, 4));
    }
    if (chance(40)) {
        call->location = pick(cities, &m_random);
    }
    if (call->faceTime && chance(50)) {
        call->participantId.fill(char(number(1, 256)), 16);
    }
}
