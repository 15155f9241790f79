#pragma once

#include "sizetext.h"

#include <QString>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

namespace quenlofar {

class WalkRecord;

/**
 * Shows on standard error how far the work is, in one line that is written over and leaves no trace. Nothing is shown
 * in the first half second.
 */
class ProgressMeter
{
public:
    /// `totalBytes` in `files` files are worked on by threads whose records, which outlive the object, are `workers`.
    ProgressMeter(const std::deque<WalkRecord> &workers, quint64 totalBytes, quint64 files, SizeUnits units);
    /// Takes the line away.
    ~ProgressMeter();
    ProgressMeter(const ProgressMeter &) = delete;
    ProgressMeter &operator=(const ProgressMeter &) = delete;

    /// A worker has finished a file of `size` bytes.
    void fileDone(quint64 size);

    /// Takes the line away so that something else can be written where it stands.
    void hide();
    /// The other thing is written; the line may come back if a line of the terminal was ended by it.
    void mayShow(bool isLineEnded);

private:
    void work();
    void show();
    void erase();
    QString line();

    const std::deque<WalkRecord> &m_workers;
    const quint64 m_totalBytes;
    const quint64 m_files;
    const SizeUnits m_units;
    std::chrono::steady_clock::time_point m_begin; // of the latest pass over the files
    quint64 m_beginBytes = 0; // that were done then
    quint64 m_latestBytes = 0;
    std::atomic<quint64> m_doneBytes{0};
    std::atomic<quint64> m_doneFiles{0};

    std::mutex m_mutex;
    std::condition_variable m_wakeUp;
    bool m_isOver = false;
    bool m_isHeld = false; // something else is being written, or an unfinished line stands there
    bool m_isShown = false;
    std::thread m_thread;
};

} // namespace quenlofar
