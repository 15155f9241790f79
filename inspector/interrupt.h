#pragma once

#include <atomic>

/**
 * Once there is one, the first SIGINT sets a flag and a second one ends the program at once. A SIGINT that was ignored
 * when the program was started stays ignored. One object at a time.
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
    bool wasInterrupted() const;
};
