#include "interrupt.h"

#include "exitstatus.h"

#include <csignal>

namespace {

constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP};

std::atomic<bool> stopWanted{false};
std::atomic<int> caught{0}; // the signal's number

static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free,
              "a signal handler may not wait for a lock");

extern "C" void rememberSignal(int number)
{
    caught = number;
    stopWanted = true;
    // A second one is not caught. That of the same number has been seen to already.
    for (const int other : endingSignals) {
        struct sigaction present = {};
        sigaction(other, nullptr, &present);
        if (present.sa_handler == rememberSignal)
            std::signal(other, SIG_DFL);
    }
}

} // namespace

InterruptWatch::InterruptWatch()
{
    struct sigaction action = {};
    action.sa_handler = rememberSignal;
    action.sa_flags = int(SA_RESETHAND);
    for (const int number : endingSignals)
        sigaddset(&action.sa_mask, number);
    for (const int number : endingSignals) {
        struct sigaction inherited = {};
        sigaction(number, nullptr, &inherited);
        if (inherited.sa_handler != SIG_IGN)
            sigaction(number, &action, nullptr);
    }
}

std::atomic<bool> &InterruptWatch::flag() const
{
    return stopWanted;
}

bool InterruptWatch::wasInterrupted() const
{
    return caught != 0;
}

int InterruptWatch::exitStatus() const
{
    return ExitBySignal + caught;
}
