#include "watchdog.h"

#include "interrupt.h"
#include "options.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <new>

namespace quenlofar {

using namespace std::chrono_literals;

namespace {

constexpr auto lookInterval = 100ms;
constexpr auto patienceAfterSignal = 600ms; // with the interval less than a second
constexpr auto parserPatience = 10s;

/// Keeps signals for the threads that were there before: their calls are to be interrupted by them.
std::thread threadWithoutSignals(const std::function<void()> &work)
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread thread;
    try {
        thread = std::thread(work);
    } catch (const std::exception &) {
        // No thread, or no memory for it, is to be had: files are walked all the same.
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}

void takeSignals()
{
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

QString workOf(const QString &plugin)
{
    return plugin.isNull() ? QStringLiteral("the program") : plugin;
}

} // namespace

Watchdog::Watchdog(std::deque<WalkRecord> &records, const Options &options, bool isWatched,
                   std::function<void(const QString &)> say)
    : m_records(records), m_options(options), m_isWatched(isWatched), m_say(std::move(say)), m_views(records.size())
{
    m_thread = threadWithoutSignals([this] { work(); });
}

Watchdog::~Watchdog()
{
    {
        const std::lock_guard lock(m_mutex);
        m_isOver = true;
    }
    m_wakeUp.notify_all();
    if (m_thread.joinable())
        m_thread.join();
}

void Watchdog::work()
{
    std::unique_lock lock(m_mutex);
    while (!m_wakeUp.wait_for(lock, lookInterval, [this] { return m_isOver; })) {
        if (InterruptWatch::wasInterrupted() && m_interruptedAt == Clock::time_point::max())
            m_interruptedAt = Clock::now();
        try {
            for (size_t i = 0; i < m_views.size(); ++i)
                look(m_records[i], &m_views[i]);
        } catch (const std::bad_alloc &) {
            continue; // without memory there is no text to put together; the next time there may be
        }
    }
}

void Watchdog::look(const WalkRecord &record, View *view)
{
    const WalkRecord::Names names = record.names();
    const Clock::time_point now = Clock::now();
    const auto place = record.place();
    if (names.walk != view->walk)
        *view = {names.walk, place, now};
    const bool mayTakeLong = names.walk == 0 || record.isReading() || record.isWriting();
    if (place != view->place || names.walk == 0 || record.isWriting()) {
        view->place = place;
        view->since = now;
    }
    if (!mayTakeLong && m_interruptedAt != Clock::time_point::max()
        && now - std::max(m_interruptedAt, view->since) >= patienceAfterSignal)
        giveUp(names, *view);
    if (names.walk == 0)
        return;
    if (m_isWatched && !view->wasTold && now - view->since >= parserPatience) {
        view->wasTold = true;
        tell(names, *view);
    }
    if (!mayTakeLong)
        tellIfTooLong(names, view, now);
}

void Watchdog::tell(const WalkRecord::Names &names, const View &view)
{
    m_say(QStringLiteral("%1: no progress for %2 s: %3, at byte %4")
              .arg(names.file)
              .arg(std::chrono::seconds(parserPatience).count())
              .arg(workOf(names.plugin))
              .arg(view.place.first));
}

/// Where --max-seconds should have ended the file, but its parser does not let itself be ended.
void Watchdog::tellIfTooLong(const WalkRecord::Names &names, View *view, Clock::time_point now)
{
    if (view->wasTooLong || m_options.limits.maxSeconds == 0 || now - view->since < 1s)
        return;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now - names.begin).count();
    if (quint64(seconds) <= m_options.limits.maxSeconds)
        return;
    view->wasTooLong = true;
    m_say(QStringLiteral("%1: --max-seconds cannot end it: %2 neither reads nor adds anything, at byte %3")
              .arg(names.file, workOf(names.plugin))
              .arg(view->place.first));
}

void Watchdog::giveUp(const WalkRecord::Names &names, const View &view)
{
    QString message = QStringLiteral("%1: ended although it is not complete: %2 neither reads nor adds anything, at "
                                     "byte %3")
                          .arg(names.file, workOf(names.plugin))
                          .arg(view.place.first);
    if (!m_options.output.file.isNull())
        message += QStringLiteral("; %1 is not written").arg(m_options.output.file);
    m_say(message);
    takeSignals();
    InterruptWatch::end();
    std::_Exit(InterruptWatch::exitStatus()); // where the signal does not end the program by itself
}

} // namespace quenlofar
