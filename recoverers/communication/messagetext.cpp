#include "recoverers/communication/messagetext.h"

#include <QRegularExpression>

namespace {

constexpr int LongTextSize = 40; ///< in UTF-8; such a text is not mistaken for a piece of a guid
constexpr int ShortestText = 5;

QByteArray cutBefore(const QByteArray &text, const QByteArray &marker)
{
    const int at = text.indexOf(marker);
    return at < 0 ? text : text.left(at);
}

/// True for a text that is hardly more than a piece of a guid.
bool isGuidFragment(const QByteArray &text)
{
    static const QRegularExpression fragment(QStringLiteral("([0-9A-F]{4})*(-[0-9A-F]{4}){2,}"));
    const QString whole = QString::fromUtf8(text);
    if (text.size() >= LongTextSize || !fragment.match(whole).hasMatch()) {
        return false;
    }
    const QString rest = QString(whole).remove(fragment);
    return rest.toUtf8().size() < ShortestText && !rest.contains(QLatin1Char(' '));
}

} // namespace

QString cleanedMessageText(const QString &text)
{
    // An archive of an attributed text begins so.
    const QByteArray cut = cutBefore(cutBefore(text.toUtf8(), "\x04\x0Bstream"), "\x0Bstream");
    return isGuidFragment(cut) ? QString() : QString::fromUtf8(cut);
}

bool takeGuidOutOfText(QString *guid, QString *text)
{
    static const QRegularExpression pattern(
        QStringLiteral("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}"));
    const QRegularExpressionMatch match = pattern.match(*guid + *text);
    const int behind = match.capturedEnd() - guid->size();
    if (!match.hasMatch() || behind <= 0) {
        return false;
    }
    *guid = match.captured();
    *text = text->mid(behind);
    return true;
}
