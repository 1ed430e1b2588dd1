#include "cli/htmltext.h"

#include "cli/displaytext.h"
#include "cli/jsonprinter.h"

#include <QCborValue>
#include <QLocale>

namespace {

bool isKept(QChar c)
{
    return c == QLatin1Char('\n') || c == QLatin1Char('\t');
}

} // namespace

QByteArray htmlText(const QString &text)
{
    return text.toHtmlEscaped().toUtf8();
}

QByteArray foreignHtml(const QString &text)
{
    return "<bdi>" + htmlText(printableLines(text)) + "</bdi>";
}

QString printableLines(const QString &text)
{
    const QString lines = QString(text).replace(QLatin1String("\r\n"), QLatin1String("\n"));
    QString result;
    int begin = 0;
    for (int i = 0; i < lines.size(); ++i) {
        if (isKept(lines.at(i))) {
            result += printable(lines.mid(begin, i - begin)) + lines.at(i);
            begin = i + 1;
        }
    }
    return result + printable(lines.mid(begin));
}

QByteArray scriptJson(const QCborValue &value)
{
    // These characters stand nowhere in JSON but inside strings.
    return toJson(value).replace('<', "\\u003c").replace('>', "\\u003e").replace('&', "\\u0026");
}

QString numberText(qint64 number)
{
    return QLocale(QLocale::English, QLocale::UnitedStates).toString(number);
}

QString countText(qint64 count, const QString &one, const QString &many)
{
    return QStringLiteral("%1 %2").arg(numberText(count), count == 1 ? one : many);
}
