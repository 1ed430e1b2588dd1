#include "cli/interrupt.h"

#include <csignal>

namespace {

volatile std::sig_atomic_t interrupted = 0;

extern "C" void rememberInterrupt(int /*signal*/)
{
    interrupted = 1;
}

} // namespace

void catchInterrupts()
{
    struct sigaction action = {};
    action.sa_handler = rememberInterrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool isInterrupted()
{
    return interrupted != 0;
}
