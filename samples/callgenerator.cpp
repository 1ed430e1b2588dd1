#include "samples/callgenerator.h"

namespace {

/// When devices of the layout were in use, in seconds since 1970.
qint64 firstDate(CallLayout layout)
{
    static const qint64 dates[] = {1233500000, 1304200000, 1359700000, 1388600000,
                                   1451700000, 1483300000, 1514800000, 1704100000};
    return dates[int(layout)];
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
    m_date += m_random.number(1, m_maxGap);
    SampleCall call;
    call.date = double(m_date);
    call.faceTime = m_layout >= CallLayout::Ios4 && m_random.chance(15);
    addParty(&call);
    addCourse(&call);
    addNetwork(&call);
    if (isStore(m_layout)) {
        // Seldom a whole number, which SQLite then stores as an integer.
        call.date += m_random.chance(95) ? m_random.number(1, 1000000) / 1e6 : 0;
        call.uniqueId = uniqueId();
    }
    return call;
}

QString CallGenerator::uniqueId()
{
    QString text =
        m_random.digits(36).replace(8, 1, QLatin1Char('-')).replace(13, 1, QLatin1Char('-'));
    text.replace(14, 1, QLatin1Char('4')).replace(18, 1, QLatin1Char('-'));
    text.replace(23, 1, QLatin1Char('-')).replace(5, 1, QLatin1Char('C'));
    return m_random.chance(3) ? text + m_random.digits(12) : text;
}

double CallGenerator::duration()
{
    const int kind = m_random.number(0, 100);
    const int seconds = kind < 60   ? m_random.number(3, 120)
                        : kind < 95 ? m_random.number(120, 3600)
                                    : m_random.number(3600, 20000);
    return isStore(m_layout) ? seconds + m_random.number(0, 1000) / 1e3 : seconds;
}

void CallGenerator::addParty(SampleCall *call)
{
    call->address =
        call->faceTime && m_random.chance(50) ? m_random.mailAddress() : m_random.telephoneNumber();
    if (m_random.chance(2)) {
        call->address = QStringLiteral(""); // the caller hid the number
    }
    if (m_random.chance(60)) {
        call->contactId = m_random.number(1, 400);
    }
    if (call->contactId > 0 && m_random.chance(60)) {
        call->name = m_random.firstName() + QLatin1Char(' ') + m_random.lastName();
    }
    if (m_random.chance(20)) {
        call->originalAddress = call->address;
    }
}

void CallGenerator::addCourse(SampleCall *call)
{
    call->outgoing = m_random.chance(50);
    call->answered = m_random.chance(75);
    call->read = call->answered || m_random.chance(70);
    call->duration = call->answered ? duration() : 0;
    if (m_random.chance(4)) {
        call->otherFlags |= 65536; // ended by the network
    }
    if (call->faceTime) {
        call->bytesMoved = call->answered ? m_random.number(20000, 90000000) : 0;
    }
}

void CallGenerator::addNetwork(SampleCall *call)
{
    static const char *const countries[] = {"310", "262", "208", "234"};
    static const char *const letters[] = {"us", "de", "fr", "gb"};
    const int country = m_random.number(0, 4);
    if (m_random.chance(85)) {
        call->countryCode = QString::fromLatin1(countries[country]);
        call->isoCountry = QString::fromLatin1(letters[country]);
        call->networkCode = m_random.digits(m_random.number(2, 4));
    }
    if (m_random.chance(40)) {
        call->location = m_random.city();
    }
    if (call->faceTime && m_random.chance(50)) {
        call->participantId.fill(char(m_random.number(1, 256)), 16);
    }
}
