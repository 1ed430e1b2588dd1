#include "recoverers/communication/spellings.h"

#include <QRegularExpression>
#include <QVector>

#include <algorithm>

namespace {

/// Every word is compared with every number; nobody has so many numbers that this matters, and a
/// hostile text is not taken apart.
constexpr int MaxWords = 500;
constexpr int FewestDigits = 7; ///< of a number that is dialled as it stands

QStringList wordsOf(const QString &text)
{
    static const QRegularExpression space(QStringLiteral("\\s+"));
    return text.split(space, Qt::SkipEmptyParts);
}

QString digitsOf(const QString &text)
{
    QString digits;
    std::copy_if(text.cbegin(), text.cend(), std::back_inserter(digits),
                 [](QChar c) { return c.isDigit(); });
    return digits;
}

/// The digits without the zeros that a national or an international prefix begins with.
QString significantDigits(const QString &text)
{
    const QString digits = digitsOf(text);
    int zeros = 0;
    while (zeros < digits.size() && digits.at(zeros) == QLatin1Char('0')) {
        ++zeros;
    }
    return digits.mid(zeros);
}

/// True for the beginning of a number that is written in groups: "+1", "(408)".
bool beginsGroups(const QString &word)
{
    static const QRegularExpression group(QStringLiteral("^(\\+\\d{1,3}|\\(\\+?\\d+\\))$"));
    return group.match(word).hasMatch();
}

/// The words, with the groups of one number put together again.
QStringList spellingsOf(const QStringList &words)
{
    QStringList spellings;
    bool isOpen = false;
    int digits = 0; // of the last spelling
    for (const QString &word : words) {
        const bool continues = isOpen && !word.startsWith(QLatin1Char('+'));
        digits = digitsOf(word).size() + (continues ? digits : 0);
        if (continues) {
            spellings.last() += QLatin1Char(' ') + word;
        } else {
            spellings.append(word);
        }
        isOpen = (isOpen || beginsGroups(word)) && digits < FewestDigits;
    }
    return spellings;
}

/// One number in all its spellings.
struct Number
{
    QString digits; ///< significant ones of the longest spelling
    QString best;
    int first; ///< place of the first spelling
};

bool isBetter(const QString &spelling, const QString &than)
{
    const bool international = spelling.startsWith(QLatin1Char('+'));
    if (international != than.startsWith(QLatin1Char('+'))) {
        return international && digitsOf(spelling).size() >= FewestDigits;
    }
    const int digits = digitsOf(spelling).size();
    const int otherDigits = digitsOf(than).size();
    return digits != otherDigits ? digits > otherDigits : spelling.size() < than.size();
}

void addSpelling(const QString &spelling, int place, QVector<Number> *numbers)
{
    const QString digits = significantDigits(spelling);
    if (digits.isEmpty()) {
        return;
    }
    const auto same = std::find_if(numbers->begin(), numbers->end(), [&digits](const Number &n) {
        return digits.size() < FewestDigits ? n.digits.contains(digits) : n.digits.endsWith(digits);
    });
    if (same == numbers->end()) {
        numbers->append({digits, spelling, place});
        return;
    }
    same->first = std::min(same->first, place);
    if (isBetter(spelling, same->best)) {
        same->best = spelling;
    }
}

/// The words without those that stand inside another one.
QStringList longestWords(const QStringList &words)
{
    QStringList longest;
    for (const QString &word : words) {
        const bool isPart = std::any_of(words.cbegin(), words.cend(), [&word](const QString &w) {
            return w.size() > word.size() && w.contains(word, Qt::CaseInsensitive);
        });
        if (!isPart && !longest.contains(word, Qt::CaseInsensitive)) {
            longest.append(word);
        }
    }
    return longest;
}

} // namespace

QStringList wholeText(const QString &text)
{
    const QString trimmed = text.trimmed();
    return trimmed.isEmpty() ? QStringList() : QStringList{trimmed};
}

QStringList telephoneNumbers(const QString &text)
{
    const QStringList words = wordsOf(text);
    if (words.size() > MaxWords) {
        return wholeText(text);
    }
    const QStringList spellings = spellingsOf(words);
    QVector<int> order(spellings.size());
    for (int i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    // The longest first, so that every shorter one meets the number that it belongs to.
    std::stable_sort(order.begin(), order.end(), [&spellings](int a, int b) {
        return significantDigits(spellings[a]).size() > significantDigits(spellings[b]).size();
    });
    QVector<Number> numbers;
    for (const int place : qAsConst(order)) {
        addSpelling(spellings[place], place, &numbers);
    }
    std::sort(numbers.begin(), numbers.end(),
              [](const Number &a, const Number &b) { return a.first < b.first; });
    QStringList best;
    for (const Number &number : qAsConst(numbers)) {
        best.append(number.best);
    }
    return best.isEmpty() ? wholeText(text) : best;
}

QStringList mailAddresses(const QString &text)
{
    const QStringList words = wordsOf(text);
    if (words.size() > MaxWords) {
        return wholeText(text);
    }
    QStringList addresses;
    std::copy_if(words.cbegin(), words.cend(), std::back_inserter(addresses), [](const QString &w) {
        const int at = w.indexOf(QLatin1Char('@'));
        return at > 0 && at < w.size() - 1;
    });
    return addresses.isEmpty() ? wholeText(text) : longestWords(addresses);
}

QStringList webAddresses(const QString &text)
{
    const QStringList words = wordsOf(text);
    if (words.size() > MaxWords) {
        return wholeText(text);
    }
    QStringList addresses = longestWords(words);
    addresses.erase(std::remove_if(addresses.begin(), addresses.end(),
                                   [](const QString &w) { return !w.contains(QLatin1Char('.')); }),
                    addresses.end());
    return addresses.isEmpty() ? wholeText(text) : addresses;
}
