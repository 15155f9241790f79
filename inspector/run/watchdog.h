#pragma once

#include "walkrecord.h"

#include <QString>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace quenlofar {

struct Options;

/**
 * Looks after threads that walk files, from a thread of its own. Parsers come from other authors: one that neither
 * reads nor adds anything cannot be stopped. After a signal such a walk is not waited for, the program is ended with a
 * message; before, it is said after ten seconds where the parser is. Waiting for bytes of the file, or for a reader to
 * take the output, is no fault of a parser.
 */
class Watchdog
{
public:
    /// What is said goes through `say`, from another thread; `isWatched` says that it is seen while the work goes
    /// on. All that is given outlives the object.
    Watchdog(std::deque<WalkRecord> &records, const Options &options, bool isWatched,
             std::function<void(const QString &)> say);
    Watchdog(const Watchdog &) = delete;
    Watchdog &operator=(const Watchdog &) = delete;
    ~Watchdog();

private:
    using Clock = WalkRecord::Clock;

    struct View
    {
        quint64 walk = 0;
        std::pair<qint64, quint64> place;
        Clock::time_point since; ///< when the place was first seen
        bool wasTold = false;
        bool wasTooLong = false;
    };

    void work();
    void look(const WalkRecord &record, View *view);
    void tell(const WalkRecord::Names &names, const View &view);
    void tellIfTooLong(const WalkRecord::Names &names, View *view, Clock::time_point now);
    [[noreturn]] void giveUp(const WalkRecord::Names &names, const View &view);

    std::deque<WalkRecord> &m_records;
    const Options &m_options;
    const bool m_isWatched;
    const std::function<void(const QString &)> m_say;
    std::vector<View> m_views;
    Clock::time_point m_interruptedAt = Clock::time_point::max();

    std::mutex m_mutex;
    std::condition_variable m_wakeUp;
    bool m_isOver = false;
    std::thread m_thread; // may be missing, where the system gives none
};

} // namespace quenlofar
