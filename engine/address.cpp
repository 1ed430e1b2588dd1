#include "engine/address.h"

#include <algorithm>

namespace {

bool groupsDigits(QChar c)
{
    static const QString grouping = QStringLiteral("-.()/\u2010\u2011\u2012\u2013");
    // Format characters: telephone numbers that were pasted carry marks of writing direction.
    return c.isSpace() || c.category() == QChar::Other_Format || grouping.contains(c);
}

bool isDialled(QChar c)
{
    return c.isDigit() || c == QLatin1Char('+') || c == QLatin1Char('*') || c == QLatin1Char('#');
}

QString normalizedMail(const QString &address, int at)
{
    const QString local = address.left(at).trimmed().toLower();
    return local + QLatin1Char('@') + address.mid(at + 1).trimmed().toLower();
}

} // namespace

QString normalizedAddress(const QString &address)
{
    const QString trimmed = address.trimmed();
    const int at = trimmed.lastIndexOf(QLatin1Char('@'));
    if (at >= 0) {
        return normalizedMail(trimmed, at);
    }
    QString number = trimmed;
    const auto end = std::remove_if(number.begin(), number.end(), groupsDigits);
    number.truncate(int(end - number.begin()));
    if (number.isEmpty() || !std::all_of(number.cbegin(), number.cend(), isDialled)) {
        return trimmed.toLower();
    }
    return number.startsWith(QLatin1String("00")) ? QLatin1Char('+') + number.mid(2) : number;
}
