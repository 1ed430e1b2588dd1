#include "cli/consoleprogress.h"

#include "cli/interrupt.h"

#include <QByteArray>

namespace {

constexpr qint64 QuietMilliseconds = 500;
constexpr qint64 RedrawMilliseconds = 100;
constexpr int BarCells = 40;
constexpr int LineCells = BarCells + 7; // brackets, a blank and "100%"

} // namespace

ConsoleProgress::ConsoleProgress(std::FILE *terminal, double total)
    : m_terminal(terminal)
    , m_total(total)
    , m_nextDraw(QuietMilliseconds)
{
    m_timer.start();
}

ConsoleProgress::~ConsoleProgress()
{
    if (m_drawn) {
        std::fprintf(m_terminal, "\r%*s\r", LineCells, "");
        std::fflush(m_terminal);
    }
}

void ConsoleProgress::begin(double weight, int searches)
{
    m_weight = weight;
    m_searches = searches;
}

double ConsoleProgress::progressValue()
{
    return m_weight / m_searches;
}

bool ConsoleProgress::reportProgress(double step)
{
    // The steps of a scan add up to its weight only about.
    m_done = qMin(m_done + step, m_weight);
    if (m_terminal != nullptr && m_timer.elapsed() >= m_nextDraw) {
        draw();
        m_nextDraw = m_timer.elapsed() + RedrawMilliseconds;
    }
    return !isInterrupted();
}

void ConsoleProgress::draw()
{
    const double share = m_total > 0 ? qBound(0.0, (m_doneBefore + m_done) / m_total, 1.0) : 1.0;
    const QByteArray filled(int(share * BarCells), '#');
    std::fprintf(m_terminal, "\r[%s] %3d%%", filled.leftJustified(BarCells, ' ').constData(),
                 int(share * 100));
    std::fflush(m_terminal);
    m_drawn = true;
}

void ConsoleProgress::scanDone()
{
    m_doneBefore += m_weight;
    m_done = 0;
}
