#include "interrupt.h"

#include <csignal>

namespace {

std::atomic<bool> stopWanted{false};
std::atomic<bool> interrupted{false};

static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may not wait for a lock");

extern "C" void rememberInterrupt(int)
{
    interrupted = true;
    stopWanted = true;
}

} // namespace

InterruptWatch::InterruptWatch()
{
    struct sigaction inherited = {};
    sigaction(SIGINT, nullptr, &inherited);
    if (inherited.sa_handler == SIG_IGN)
        return;
    struct sigaction action = {};
    action.sa_handler = rememberInterrupt;
    action.sa_flags = int(SA_RESETHAND); // the second one is not caught
    sigaction(SIGINT, &action, nullptr);
}

std::atomic<bool> &InterruptWatch::flag() const
{
    return stopWanted;
}

bool InterruptWatch::wasInterrupted() const
{
    return interrupted;
}
