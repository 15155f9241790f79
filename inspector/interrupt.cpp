#include "interrupt.h"

#include "containerrun.h"

#include <atomic>
#include <csignal>

namespace {

std::atomic<ContainerRun *> watchedRun{nullptr};
std::atomic<bool> interrupted{false};

static_assert(std::atomic<ContainerRun *>::is_always_lock_free && std::atomic<bool>::is_always_lock_free,
              "a signal handler may not wait for a lock");

extern "C" void cancelWatchedRun(int)
{
    interrupted = true;
    if (ContainerRun *const run = watchedRun)
        run->cancel();
}

} // namespace

InterruptWatch::InterruptWatch(ContainerRun &run)
{
    watchedRun = &run;
    struct sigaction inherited = {};
    sigaction(SIGINT, nullptr, &inherited);
    if (inherited.sa_handler == SIG_IGN)
        return;
    struct sigaction action = {};
    action.sa_handler = cancelWatchedRun;
    action.sa_flags = int(SA_RESETHAND); // the second one is not caught
    sigaction(SIGINT, &action, nullptr);
}

InterruptWatch::~InterruptWatch()
{
    watchedRun = nullptr;
}

bool InterruptWatch::wasInterrupted() const
{
    return interrupted;
}
