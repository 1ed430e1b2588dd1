#include "cli/consoleprogress.h"

#include <QByteArray>

namespace {

constexpr double Span = 100;
constexpr qint64 QuietMilliseconds = 500;
constexpr qint64 RedrawMilliseconds = 100;
constexpr int BarCells = 40;
constexpr int LineCells = BarCells + 7; // brackets, a blank and "100%"

} // namespace

ConsoleProgress::ConsoleProgress(std::FILE *terminal, int searches)
    : m_terminal(terminal)
    , m_searches(searches)
    , m_nextDraw(QuietMilliseconds)
{
    m_timer.start();
}

double ConsoleProgress::progressValue()
{
    return Span / m_searches;
}

bool ConsoleProgress::reportProgress(double step)
{
    m_done += step;
    if (m_terminal != nullptr && m_timer.elapsed() >= m_nextDraw) {
        draw();
        m_nextDraw = m_timer.elapsed() + RedrawMilliseconds;
    }
    return true;
}

void ConsoleProgress::draw()
{
    // The steps of a scan add up to the span only about.
    const double share = qBound(0.0, m_done / Span, 1.0);
    const QByteArray filled(int(share * BarCells), '#');
    std::fprintf(m_terminal, "\r[%s] %3d%%", filled.leftJustified(BarCells, ' ').constData(),
                 int(share * 100));
    std::fflush(m_terminal);
    m_drawn = true;
}

void ConsoleProgress::scanDone()
{
    if (m_drawn) {
        std::fprintf(m_terminal, "\r%*s\r", LineCells, "");
        std::fflush(m_terminal);
        m_drawn = false;
    }
}
