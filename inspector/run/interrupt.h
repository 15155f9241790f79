#pragma once

#include <atomic>

/**
 * Once there is one, the first SIGINT, SIGTERM or SIGHUP sets a flag and a second one, of whichever of them, ends the
 * program at once. Those that were ignored when the program was started stay ignored. One object at a time.
 */
class InterruptWatch
{
public:
    InterruptWatch();
    InterruptWatch(const InterruptWatch &) = delete;
    InterruptWatch &operator=(const InterruptWatch &) = delete;
    ~InterruptWatch() = default;

    /// Set by the signal, or by who else wants everything to end.
    std::atomic<bool> &flag() const;
    bool wasInterrupted() const; ///< a signal came
    /// That of a program that the signal has ended, as shells report it; only after a signal.
    int exitStatus() const;
};
