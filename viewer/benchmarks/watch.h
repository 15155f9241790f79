#pragma once

#include <QApplication>
#include <QEvent>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>
#include <thread>

namespace quenlofar {

using Clock = std::chrono::steady_clock;

inline double secondsSince(Clock::time_point begin)
{
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

/// The application, which notes how long the window's thread was busy with one event, in processor time: on a machine
/// with other work this tells what the program itself is responsible for.
class TimedApplication : public QApplication
{
public:
    using QApplication::QApplication;

    bool notify(QObject *receiver, QEvent *event) override
    {
        if (m_depth++ > 0) {
            const bool isTaken = QApplication::notify(receiver, event);
            --m_depth;
            return isTaken;
        }
        const double begin = threadSeconds();
        const bool isTaken = QApplication::notify(receiver, event);
        m_busiest = std::max(m_busiest, threadSeconds() - begin);
        --m_depth;
        return isTaken;
    }
    double busiest() const { return m_busiest; } ///< seconds of the longest event
    void reset() { m_busiest = 0; } ///< forgets it

private:
    static double threadSeconds()
    {
        timespec now{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
    }

    double m_busiest = 0;
    int m_depth = 0;
};

/// Sends the window's thread an event every millisecond and notes how long one had to wait, by the clock on the wall.
class Watch : public QObject
{
public:
    Watch() : m_thread([this] { beat(); }) { }
    ~Watch() override
    {
        m_isOver = true;
        m_thread.join();
    }
    double longest() const { return m_longest; } ///< seconds
    void reset() { m_longest = 0; } ///< forgets it

protected:
    void customEvent(QEvent *) override
    {
        m_longest = std::max(m_longest, secondsSince(m_sent));
        m_isAnswered = true;
    }

private:
    void beat()
    {
        while (!m_isOver) {
            if (m_isAnswered.exchange(false)) {
                m_sent = Clock::now();
                QCoreApplication::postEvent(this, new QEvent(QEvent::User));
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    double m_longest = 0;
    Clock::time_point m_sent; // written before the event, read by it
    std::atomic<bool> m_isAnswered{true};
    std::atomic<bool> m_isOver{false};
    std::thread m_thread;
};

} // namespace quenlofar
