#include "recoverers/calendar_notes_safari/webaddress.h"

#include <cstring>

namespace {

bool startsAt(const QByteArray &region, qint64 pos, const char *text)
{
    const auto length = qint64(std::strlen(text));
    return pos >= 0 && pos + length <= region.size()
           && std::memcmp(region.constData() + pos, text, size_t(length)) == 0;
}

} // namespace

bool isWebAddressAt(const QByteArray &region, qint64 pos)
{
    return startsAt(region, pos, "https://") || startsAt(region, pos, "http://");
}
