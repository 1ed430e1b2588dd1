#include "cli/consoleprogress.h"

#include <QByteArray>

namespace {

constexpr double span = 100;
constexpr qint64 quietMilliseconds = 500;
constexpr qint64 redrawMilliseconds = 100;
constexpr int barCells = 40;
constexpr int lineCells = barCells + 7; // brackets, a blank and "100%"

} // namespace

ConsoleProgress::ConsoleProgress(std::FILE *terminal)
    : m_terminal(terminal)
    , m_nextDraw(quietMilliseconds)
{
    m_timer.start();
}

double ConsoleProgress::progressValue()
{
    return span;
}

bool ConsoleProgress::reportProgress(double step)
{
    m_done += step;
    if (m_terminal != nullptr && m_timer.elapsed() >= m_nextDraw) {
        draw();
        m_nextDraw = m_timer.elapsed() + redrawMilliseconds;
    }
    return true;
}

void ConsoleProgress::draw()
{
    // The steps of a scan add up to the span only about.
    const double share = qBound(0.0, m_done / span, 1.0);
    const QByteArray filled(int(share * barCells), '#');
    std::fprintf(m_terminal, "\r[%s] %3d%%", filled.leftJustified(barCells, ' ').constData(),
                 int(share * 100));
    std::fflush(m_terminal);
    m_drawn = true;
}

void ConsoleProgress::scanDone()
{
    if (m_drawn) {
        std::fprintf(m_terminal, "\r%*s\r", lineCells, "");
        std::fflush(m_terminal);
        m_drawn = false;
    }
}
