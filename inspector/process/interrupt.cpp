#include "interrupt.h"

#include "exitstatus.h"
#include "temporaryfile.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <ctime>

namespace quenlofar {

using namespace std::chrono_literals;

namespace {

// One request may come as several signals: `timeout` sends it to the program and to its group, a service manager sends
// SIGTERM and SIGHUP. What comes within this time of the first signal is the same request.
constexpr std::chrono::nanoseconds oneRequest = 150ms;

struct EndingSignal
{
    int number;
    bool endsAtOnce; ///< also when it is the first one: no work is brought to its end
    std::chrono::nanoseconds grace; ///< if it comes again within this time, it means what it meant at first
};
constexpr std::array<EndingSignal, 8> endingSignals{{
    {SIGINT, false, oneRequest}, // a user that presses Ctrl+C twice means it
    {SIGTERM, false, 1s},
    {SIGHUP, false, 1s},
    {SIGXCPU, false, 1s}, // the soft limit of processor time; the hard one comes later, and leaves no choice
    {SIGALRM, false, 1s},
    {SIGUSR1, false, 1s}, // batch systems announce the end of a job by these two
    {SIGUSR2, false, 1s},
    {SIGQUIT, true, 0s}, // a user asks for a core dump
}};

constexpr std::chrono::nanoseconds patience =
    700ms; // for a reader that does not take the output: on a busy machine it may be late
constexpr long tick = 50'000'000; // nanoseconds

std::atomic<bool> stopWanted{false};
std::atomic<int> caught{0}; // the first signal's number
std::atomic<std::int64_t> caughtAt{0}; // nanoseconds of the monotonic clock; 0 before a signal
std::atomic<std::int64_t> movedAt{0}; // likewise: when a blocking call has last come forward
std::atomic<bool> hasGivenUp{false}; // some call was hopeless: the next one need not wait as long

// Threads in a blocking call, by the system's number; 0 is a free place. Output is written by one thread at a time; a
// second one may show progress, a third one read a list.
std::array<std::atomic<int>, 8> blockedThreads;

timer_t ticks;
bool hasTicks = false;

static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free
                  && std::atomic<std::int64_t>::is_always_lock_free,
              "a signal handler may not wait for a lock");

std::chrono::nanoseconds now()
{
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

const EndingSignal &rowOf(int number)
{
    return *std::find_if(endingSignals.begin(), endingSignals.end(),
                         [number](const EndingSignal &signal) { return signal.number == number; });
}

void startTicks()
{
    if (!hasTicks)
        return;
    const itimerspec interval{{0, tick}, {0, tick}};
    timer_settime(ticks, 0, &interval, nullptr);
}

/// Ends the program as the signal does where it is not caught.
void endAtOnce(int number)
{
    TemporaryFile::removeInHandler();
    std::signal(number, SIG_DFL);
    std::raise(number); // in its handler it is blocked, and strikes at the end of that
}

// Handlers call what is safe there alone: atomics, clock_gettime, timer_settime, unlink, signal, raise, tgkill.

extern "C" void handleEndingSignal(int number)
{
    const int savedErrno = errno;
    const EndingSignal &signal = rowOf(number);
    const std::int64_t time = now().count();
    std::int64_t first = 0;
    const bool isFirst = caughtAt.compare_exchange_strong(first, time);
    const bool isSameRequest = isFirst || time - first <= (number == caught ? signal.grace : oneRequest).count();
    if (signal.endsAtOnce || !isSameRequest) {
        endAtOnce(number);
    } else if (isFirst) {
        caught = number;
        stopWanted = true;
        startTicks();
    }
    errno = savedErrno;
}

/// A tick of the timer comes to any thread, and goes on to those in a blocking call, whose call it interrupts.
extern "C" void handleTick(int number, siginfo_t *information, void *)
{
    if (information->si_code != SI_TIMER)
        return; // passed on by the lines below
    const int savedErrno = errno;
    const int self = gettid();
    for (const std::atomic<int> &place : blockedThreads) {
        const int thread = place;
        if (thread != 0 && thread != self)
            tgkill(getpid(), thread, number);
    }
    errno = savedErrno;
}

void installTicks()
{
    struct sigaction action = {};
    action.sa_sigaction = handleTick;
    action.sa_flags = SA_SIGINFO; // no SA_RESTART: calls are to be interrupted
    if (sigaction(SIGRTMIN, &action, nullptr) != 0)
        return;
    sigevent event = {};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGRTMIN;
    hasTicks = timer_create(CLOCK_MONOTONIC, &event, &ticks) == 0;
}

} // namespace

void InterruptWatch::install()
{
    installTicks();
    struct sigaction action = {};
    action.sa_handler = handleEndingSignal;
    for (const EndingSignal &signal : endingSignals)
        sigaddset(&action.sa_mask, signal.number);
    for (const EndingSignal &signal : endingSignals) {
        struct sigaction inherited = {};
        sigaction(signal.number, nullptr, &inherited);
        if (inherited.sa_handler == SIG_DFL)
            sigaction(signal.number, &action, nullptr);
    }
}

std::atomic<bool> &InterruptWatch::flag()
{
    return stopWanted;
}

bool InterruptWatch::wasInterrupted()
{
    return caught != 0;
}

int InterruptWatch::exitStatus()
{
    return ExitBySignal + caught;
}

void InterruptWatch::end()
{
    endAtOnce(caught);
}

BlockingCall::BlockingCall() : m_begin(now()), m_place(nullptr)
{
    for (std::atomic<int> &place : blockedThreads) {
        int none = 0;
        if (place.compare_exchange_strong(none, gettid())) {
            m_place = &place;
            return;
        }
    }
}

BlockingCall::~BlockingCall()
{
    if (m_place)
        *m_place = 0;
}

void BlockingCall::progressed()
{
    if (caughtAt != 0)
        movedAt = now().count();
}

bool BlockingCall::isHopeless() const
{
    if (caughtAt == 0)
        return false;
    const std::int64_t since = std::max({caughtAt.load(), movedAt.load(), std::int64_t(m_begin.count())});
    if (!hasGivenUp && now().count() - since < patience.count())
        return false;
    hasGivenUp = true;
    return true;
}

} // namespace quenlofar
