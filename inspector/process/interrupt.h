#pragma once

#include <atomic>
#include <chrono>

namespace quenlofar {

/**
 * The signals that end the program. The first of them sets a flag, at which all work comes to its end in good order:
 * documents are completed, the temporary file goes. SIGQUIT, or a second signal, ends the program at once; the
 * temporary file goes then, too. A second one that belongs to the same request is none: a signal other than SIGINT may
 * come again for a second, any other within 150 ms.
 */
class InterruptWatch
{
public:
    /// From now on signals are caught, but for what was ignored when the program was started: it stays ignored.
    static void install();

    /// Set by a signal, or by code that ends the work.
    static std::atomic<bool> &flag();
    static bool wasInterrupted(); ///< a signal came
    /// That of a program that the signal has ended, as shells report it; only after a signal.
    static int exitStatus();
    /// Ends the program as the signal would have done at once; only after a signal. Safe in a signal handler.
    static void end();
};

/**
 * Stands around system calls that another process may block without limit: writes to a pipe, reads from one. Once
 * a signal has come, such a call returns with EINTR within a twentieth of a second, and again and again: no signal is
 * lost between a look at the flag and the call, whichever thread the signal went to.
 */
class BlockingCall
{
public:
    BlockingCall();
    BlockingCall(const BlockingCall &) = delete;
    BlockingCall &operator=(const BlockingCall &) = delete;
    ~BlockingCall();

    /// The other side took or gave something: it is not asleep.
    void progressed();
    /// True when a signal has come and the other side has not moved for most of a second: give up. Asked after EINTR.
    bool isHopeless() const;

private:
    const std::chrono::nanoseconds m_begin; // of the monotonic clock
    std::atomic<int> *m_place; // null when too many threads wait at once: then this call is not interrupted
};

} // namespace quenlofar
