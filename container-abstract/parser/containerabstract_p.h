#pragma once

#include "containerabstract.h"
#include "containerrun.h"
#include "parserprotocol_p.h"

#include <atomic>
#include <chrono>
#include <deque>
#include <exception>
#include <limits>

namespace quenlofar {

/// What the framework throws through a parser to end a run. The reason stands in the parser's private state.
struct RunStopped
{
};

/**
 * The host's side of one parser: where its elements go, what they are bounded by, and why the run has to stop. Without
 * a run there is no sink and no bound: elements are counted and dropped.
 */
class CONTAINERABSTRACT_EXPORT ContainerAbstractPrivate
{
public:
    enum class Stop { None, Items, Depth, Work, Time, Cancelled, SinkFailed };

    static ContainerAbstractPrivate &of(ContainerAbstract &parser) { return *parser.d; }

    /// Counts one more node or leaf that starts at `offset`, or ends the run if it has to end here.
    void admitItem(const FileDevice &file, quint64 offset)
    {
        if (Q_UNLIKELY(items >= nextLook))
            look(file, offset);
        if (Q_UNLIKELY(mustStop(file)))
            stopRun(file, offset, Stop::None);
        ++items;
        if (progress)
            progress->position.store(qint64(offset), std::memory_order_relaxed);
    }
    /// The same for a node, which has to find room among the open ones too.
    void admitNode(const FileDevice &file, quint64 offset)
    {
        if (Q_UNLIKELY(openNodes >= depthLimit))
            stopRun(file, offset, Stop::Depth);
        admitItem(file, offset);
        ++openNodes;
    }
    /// The number of items at which the item limit, or the clock, is looked at for the first time.
    quint64 firstLook() const;
    /// True when the run has to end: for a reason noted before, for one from outside, or for `reason` if it is one.
    /// The first reason is kept, with `position` as the place.
    bool noticeStop(const FileDevice &file, quint64 position, Stop reason = Stop::None);
    void rememberSinkFailure();
    /// Makes a call of the sink, if there is one, and keeps what it throws for the run: the sink is asked no more.
    /// False when it threw.
    template <typename Call> bool handOn(Call call) noexcept
    {
        if (!sink)
            return true;
        try {
            if (Q_UNLIKELY(!call(*sink)))
                rememberSinkFailure();
            return true;
        } catch (...) {
            keepSinkException();
            return false;
        }
    }
    void keepSinkException() noexcept;
    /// Hands a leaf to the sink; what it announces is there afterwards. Throws where the sink did.
    void handOnField(ContainerAbstract &parser, const Field &field);
    bool announcesVideoStream(const Field &field) const;
    void addVideoStream(ContainerAbstract &parser);
    /// Drops what came before the walk: nobody was there to take it.
    void dropEverything(ContainerAbstract &parser);
    /// Adds the leaf of one row of a record that starts at `offset` of the file.
    void addFieldOf(ContainerAbstract &parser, quint64 offset, const RecordView &record, const FieldRow &row);

    ElementSink *sink = nullptr;
    const std::atomic<bool> *cancel = nullptr;
    WalkProgress *progress = nullptr;
    SourceOpener opener; // empty: files are opened by their path
    bool recordsStreams = false;

    quint64 items = 0;
    quint64 openNodes = 0;
    quint64 itemLimit = std::numeric_limits<quint64>::max();
    quint64 nextLook = std::numeric_limits<quint64>::max(); // items at which the limit or the clock may end the run
    quint64 depthLimit = std::numeric_limits<quint64>::max();
    quint64 workLimit = std::numeric_limits<quint64>::max(); // bytes that this parser may still read
    quint64 totalWorkLimit = std::numeric_limits<quint64>::max(); // of the whole run
    quint64 secondsLimit = 0;
    std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::time_point::max();
    Stop stop = Stop::None;
    bool sinkFailed = false; // also where the run was stopped for another reason before
    std::exception_ptr sinkException; // what the sink threw
    quint64 stopPosition = 0; // bytes from the start of the file
    ParserProtocol protocol;

    ByteOrder byteOrder = ByteOrder::LittleEndian; // of the parser's cursors

    std::deque<VideoStream> streams; // a deque: the parser holds pointers to the records

private:
    bool mustStop(const FileDevice &file) const
    {
        return stop != Stop::None || file.bytesRead() > workLimit
            || (cancel && cancel->load(std::memory_order_relaxed));
    }
    bool isLate() const;
    void look(const FileDevice &file, quint64 offset);
    [[noreturn]] void stopRun(const FileDevice &file, quint64 offset, Stop reason);
};

} // namespace quenlofar
