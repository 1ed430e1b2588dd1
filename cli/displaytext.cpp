#include "cli/displaytext.h"

#include <QVector>

#include <algorithm>
#include <iterator>

namespace {

struct CodeRange
{
    uint first;
    uint last;
};

// The blocks that terminals draw two columns wide: East Asian scripts, their punctuation and
// full-width forms, and pictographs.
constexpr CodeRange WideRanges[] = {
    {0x1100, 0x115F},   {0x231A, 0x231B},   {0x23E9, 0x23EC},   {0x2E80, 0x303E},
    {0x3041, 0x4DBF},   {0x4E00, 0xA4CF},   {0xA960, 0xA97F},   {0xAC00, 0xD7A3},
    {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},
    {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF}, {0x1F900, 0x1FAFF}, {0x20000, 0x3FFFD},
};

bool isWide(uint character)
{
    const auto range = std::lower_bound(std::begin(WideRanges), std::end(WideRanges), character,
                                        [](const CodeRange &r, uint c) { return r.last < c; });
    return range != std::end(WideRanges) && character >= range->first;
}

int columnsOf(uint character)
{
    switch (QChar::category(character)) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_Enclosing:
    case QChar::Other_Format:
        return 0;
    default:
        return isWide(character) ? 2 : 1;
    }
}

} // namespace

bool isUnprintable(uint character)
{
    // They make one picture of several, and words of some scripts; they turn and hide nothing.
    constexpr uint NonJoiner = 0x200C;
    constexpr uint Joiner = 0x200D;
    if (character == NonJoiner || character == Joiner) {
        return false;
    }
    switch (QChar::category(character)) {
    case QChar::Other_Control:
    case QChar::Other_Format: // holds the bidirectional controls
    case QChar::Other_Surrogate:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return false;
    }
}

QString printable(const QString &text)
{
    const QVector<uint> characters = text.toUcs4();
    if (std::none_of(characters.cbegin(), characters.cend(), isUnprintable)) {
        return QString::fromUcs4(characters.constData(), characters.size());
    }
    QString result;
    for (const uint character : characters) {
        if (isUnprintable(character)) {
            result += QStringLiteral("\\u{%1}").arg(QString::number(character, 16).toUpper());
        } else {
            result += QString::fromUcs4(&character, 1);
        }
    }
    return result;
}

int displayWidth(const QString &text)
{
    int columns = 0;
    const QVector<uint> characters = text.toUcs4();
    for (const uint character : characters) {
        columns += columnsOf(character);
    }
    return columns;
}

QString padded(const QString &text, int width)
{
    return text + QString(qMax(0, width - displayWidth(text)), QLatin1Char(' '));
}
