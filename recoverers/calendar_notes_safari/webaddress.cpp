#include "recoverers/calendar_notes_safari/webaddress.h"

#include <algorithm>
#include <cstring>

namespace {

bool startsAt(const QByteArray &region, qint64 pos, const char *text)
{
    const auto length = qint64(std::strlen(text));
    return pos >= 0 && pos + length <= region.size()
           && std::memcmp(region.constData() + pos, text, size_t(length)) == 0;
}

bool isSchemeCharacter(QChar c)
{
    return c.isLetterOrNumber() || c == QLatin1Char('+') || c == QLatin1Char('-')
           || c == QLatin1Char('.');
}

} // namespace

bool isWebAddressAt(const QByteArray &region, qint64 pos)
{
    return startsAt(region, pos, "https://") || startsAt(region, pos, "http://");
}

bool hasScheme(const QString &url)
{
    const int colon = url.indexOf(QLatin1Char(':'));
    return colon > 0 && url[0].isLetter()
           && std::all_of(url.cbegin(), url.cbegin() + colon, isSchemeCharacter);
}
