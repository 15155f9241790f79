#pragma once

#include <QTest>

#include <ctime>

namespace quenlofar {

// Bounds for machines that have other work and for sanitizers. A test asks whether something comes at all; how fast it
// comes is what the benchmark measures.

/// Milliseconds within which everything comes that a test waits for.
constexpr int patience = 60'000;

/// Milliseconds that nothing takes which must not wait for another thread. In tests of this the other thread is
/// blocked.
constexpr qint64 soon = 5'000;

/// True once `holds()` is.
template <typename Holds> bool waitUntil(Holds holds)
{
    return QTest::qWaitFor(holds, patience);
}

/// True once all of `window` is read, judged, searched and painted.
template <typename Window> bool waitUntilIdle(Window &window)
{
    return waitUntil([&window] {
        window.state(); // asks for the bytes that are in sight
        return window.isIdle();
    });
}

/// The processor's time that the thread took since start(). Unlike a clock it does not count what others do meanwhile.
class Effort
{
public:
    void start() { m_begin = now(); }
    qint64 milliseconds() const { return qint64((now() - m_begin) * 1e3); }

private:
    static double now()
    {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
    }

    double m_begin = now();
};

} // namespace quenlofar
