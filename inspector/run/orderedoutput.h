#pragma once

#include "report.h"

#include <QIODevice>

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

namespace quenlofar {

/**
 * Makes files that are printed side by side come out one after the other. What the first unfinished one prints goes
 * straight on; what the others print is kept until it is their turn. A file that prints more than there is room, or
 * memory, for waits for its turn.
 */
class OrderedOutput
{
public:
    /// Called for each file in its order, after what it printed. Does not throw.
    using Reporter = std::function<void(quint64 ordinal, const FileReport &report)>;

    /// `output` is written to by one thread at a time, and outlives the object.
    OrderedOutput(QIODevice &output, Reporter reporter);

    /// Where file `ordinal` is printed; at most one for each file. It goes before the object does. May throw
    /// std::bad_alloc.
    std::unique_ptr<QIODevice> place(quint64 ordinal);
    /// File `ordinal` is printed; `report` is what there is to say about it. Every file from 0 on is finished once,
    /// also where place() has thrown: that one waits for its turn here.
    void finish(quint64 ordinal, const FileReport &report) noexcept;

private:
    class Place;

    struct Waiting
    {
        QByteArray bytes;
        bool isFinished = false;
        FileReport report;
    };

    bool write(quint64 ordinal, const char *data, qint64 size);
    bool keep(quint64 ordinal, const char *data, qint64 size) noexcept;
    void flush(Waiting *waiting) noexcept;

    QIODevice &m_output;
    const Reporter m_reporter;
    std::mutex m_mutex;
    std::condition_variable m_turnChanged;
    quint64 m_turn = 0;
    qint64 m_room = qint64(64) * 1024 * 1024; // bytes kept for all files together
    qint64 m_kept = 0;
    bool m_failed = false;
    std::map<quint64, Waiting> m_waiting; // the files that have a place, and are not done with
};

} // namespace quenlofar
