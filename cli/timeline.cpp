#include "cli/timeline.h"

#include "cli/htmltext.h"

#include <QStringList>

#include <algorithm>

namespace {

// Nothing that the devices in question stored is older.
constexpr char FirstTime[] = "2001";

constexpr int FewestMonths = 12;
constexpr int Width = 960;
constexpr int Right = 930; // leaves room for the name of a last year
constexpr int Height = 260;
constexpr int Left = 56;
constexpr int Top = 12;
constexpr int Bottom = 230;
constexpr int MostYearLabels = 13;

int monthOf(const QString &time)
{
    return time.leftRef(4).toInt() * 12 + time.midRef(5, 2).toInt() - 1;
}

QString monthText(int month)
{
    return QStringLiteral("%1-%2").arg(month / 12).arg(month % 12 + 1, 2, 10, QLatin1Char('0'));
}

QByteArray number(double value)
{
    return QByteArray::number(value, 'f', 1);
}

/// The next number of the form 1, 2 or 5 with zeros that is not below `count`; the axis ends there.
qint64 roundedUp(qint64 count)
{
    for (qint64 power = 1;; power *= 10) {
        for (const qint64 step : {power, 2 * power, 5 * power}) {
            if (step >= count) {
                return step;
            }
        }
    }
}

QByteArray horizontalLine(double y, const char *name)
{
    return "<line class=\"" + QByteArray(name) + "\" x1=\"" + number(Left) + "\" x2=\""
           + number(Right) + "\" y1=\"" + number(y) + "\" y2=\"" + number(y) + "\"/>\n";
}

QByteArray label(double x, double y, const char *name, const QString &text)
{
    return "<text class=\"" + QByteArray(name) + "\" x=\"" + number(x) + "\" y=\"" + number(y)
           + "\">" + htmlText(text) + "</text>\n";
}

} // namespace

Timeline::Timeline(const QString &lastTime)
    : m_lastTime(lastTime)
{
}

void Timeline::add(const QString &time)
{
    if (time.isEmpty()) {
        ++m_without;
    } else if (time < QLatin1String(FirstTime)) {
        ++m_tooEarly;
    } else if (!m_lastTime.isEmpty() && time > m_lastTime) {
        ++m_tooLate;
    } else {
        ++m_counts[monthOf(time)];
    }
}

int Timeline::firstShown() const
{
    const int missing = FewestMonths - (m_counts.lastKey() - m_counts.firstKey() + 1);
    return m_counts.firstKey() - qMax(0, missing) / 2;
}

int Timeline::lastShown() const
{
    return qMax(m_counts.lastKey(), firstShown() + FewestMonths - 1);
}

QByteArray Timeline::bars() const
{
    const double step = double(Right - Left) / (lastShown() - firstShown() + 1);
    const double scale =
        double(Bottom - Top) / roundedUp(*std::max_element(m_counts.begin(), m_counts.end()));
    QByteArray svg;
    for (auto it = m_counts.begin(); it != m_counts.end(); ++it) {
        const double height = qMax(1.0, it.value() * scale); // one record among thousands is seen
        svg +=
            "<rect x=\"" + number(Left + (it.key() - firstShown()) * step + step * 0.1) + "\" y=\""
            + number(Bottom - height) + "\" width=\"" + number(step * 0.8) + "\" height=\""
            + number(height) + "\"><title>" + htmlText(monthText(it.key())) + ": "
            + htmlText(countText(it.value(), QStringLiteral("record"), QStringLiteral("records")))
            + "</title></rect>\n";
    }
    return svg;
}

QByteArray Timeline::countLines() const
{
    const qint64 most = roundedUp(*std::max_element(m_counts.begin(), m_counts.end()));
    QByteArray svg;
    for (const qint64 count : {most, most / 2}) {
        const double y = Bottom - double(Bottom - Top) * count / most;
        if (count > 0) {
            svg += horizontalLine(y, "grid") + label(Left - 8, y + 4, "count", numberText(count));
        }
    }
    return svg + horizontalLine(Bottom, "base")
           + label(Left - 8, Bottom + 4, "count", numberText(0));
}

QByteArray Timeline::yearLabels() const
{
    const int first = firstShown();
    const int months = lastShown() - first + 1;
    const double step = double(Right - Left) / months;
    const int everyYears = (months / 12 + MostYearLabels - 1) / MostYearLabels;
    QByteArray svg;
    for (int month = first; month < first + months; ++month) {
        const bool isYear = month % 12 == 0 && month / 12 % qMax(1, everyYears) == 0;
        // A year that began before the picture is named at its edge, unless the next one is near.
        const bool isEdge = month == first && month % 12 != 0 && month % 12 < 10 && months < 40;
        const double x = Left + (month - first) * step;
        if (isYear || isEdge) {
            svg += "<line class=\"tick\" x1=\"" + number(x) + "\" x2=\"" + number(x) + "\" y1=\""
                   + number(Bottom) + "\" y2=\"" + number(Bottom + 8) + "\"/>\n"
                   + label(x, Bottom + 24, "year",
                           isYear ? QString::number(month / 12) : monthText(month));
        }
    }
    return svg;
}

QByteArray Timeline::picture() const
{
    const QString about =
        QStringLiteral("Bars from %1 to %2, one for each month, at most %3 records high.")
            .arg(monthText(m_counts.firstKey()), monthText(m_counts.lastKey()),
                 numberText(*std::max_element(m_counts.begin(), m_counts.end())));
    return "<div class=\"scroll\">\n<svg viewBox=\"0 0 " + QByteArray::number(Width) + ' '
           + QByteArray::number(Height) + "\" role=\"img\" aria-label=\"" + htmlText(about)
           + "\">\n" + countLines() + bars() + yearLabels() + "</svg>\n</div>\n";
}

QByteArray Timeline::beside() const
{
    QStringList texts;
    const auto add = [&texts](qint64 count, const QString &text) {
        if (count > 0) {
            texts.append(QStringLiteral("%1 %2").arg(numberText(count), text));
        }
    };
    add(m_without, QStringLiteral("without a time"));
    add(m_tooEarly, QStringLiteral("before 2001"));
    add(m_tooLate, QStringLiteral("later than %1").arg(m_lastTime.left(10)));
    return texts.isEmpty() ? QByteArray()
                           : "<p class=\"beside\">Not in the picture: "
                                 + htmlText(texts.join(QStringLiteral(", "))) + ".</p>\n";
}

QByteArray Timeline::figure() const
{
    return "<figure class=\"timeline\">\n<figcaption>Recovered records by month</figcaption>\n"
           + (m_counts.isEmpty() ? QByteArray("<p>No record has a time that makes sense.</p>\n")
                                 : picture())
           + beside() + "</figure>\n";
}
