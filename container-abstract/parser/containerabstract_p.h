#pragma once

#include "containerabstract.h"
#include "containerrun.h"
#include "parserprotocol_p.h"

#include <atomic>
#include <chrono>
#include <deque>
#include <exception>
#include <limits>
#include <utility>
#include <vector>

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

    /// Ends the run if it has to end here.
    void admitProblem(const FileDevice &file, quint64 offset)
    {
        if (Q_UNLIKELY(mustStop(file)))
            stopRun(file, offset, Stop::None);
    }
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
    /// Admits a node, which has to find room among the open ones too.
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
    void handOnField(ContainerAbstract &parser, const Field &field)
    {
        noteExtent(field.offset, field.size);
        if (!handOn([&field](ElementSink &first) { return first.addField(field); }))
            throw RunStopped();
        if (Q_UNLIKELY(!field.meaning.isEmpty()) && recordsStreams && announcesVideoStream(field))
            addVideoStream(parser);
    }
    /// Hands on a leaf whose place makes no sense. `position` is where the parser was reading.
    void handOnPutRight(ContainerAbstract &parser, const Field &field, qint64 position);
    /// A node or leaf is there: it counts for the extent of a node without a size around it.
    void noteExtent(quint64 offset, quint64 size)
    {
        if (Q_UNLIKELY(!openSizes.empty()))
            widen(offset, size);
    }
    /// Opens a node whose size comes at its end.
    void beginWithoutSize(const FileDevice &file, quint64 offset, QStringView title, qint64 index);
    /// Ends the innermost open node; `size` counts where it began without one.
    void endNode(const FileDevice &file, quint64 size) noexcept
    {
        if (Q_UNLIKELY(openNodes == 0)) {
            protocol.nodeEndedUnbegun(file.pos());
            return;
        }
        if (Q_UNLIKELY(!waitingProblems.empty() || !openSizes.empty()))
            finishNode(size);
        --openNodes;
        handOn([](ElementSink &first) { return first.endElement(); });
    }
    /// Hands the problems of the innermost open node to the sink, and the size that a node without one has.
    void finishNode(quint64 size) noexcept;
    void keepProblem(const FileDevice &file, const quenlofar::ReportedProblem &problem);
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
    quenlofar::ProblemCounts problemCounts;
    std::vector<std::pair<int, QString>> statusNames; // of the parser's own

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
    /// An open node whose size is not known yet.
    struct OpenSize
    {
        quint64 depth; // open nodes, itself included
        quint64 offset;
        quint64 end; // of what is in it so far
    };
    /// A problem that waits for the end of its node.
    struct WaitingProblem
    {
        quint64 depth; // open nodes when it was reported
        quenlofar::KeptProblem problem;
    };
    static constexpr quint64 mostProblems = 10'000; // that sinks are given

    void widen(quint64 offset, quint64 size) noexcept;
    bool mustStop(const FileDevice &file) const
    {
        return stop != Stop::None || file.bytesRead() > workLimit
            || (cancel && cancel->load(std::memory_order_relaxed));
    }
    bool isLate() const;
    void look(const FileDevice &file, quint64 offset);
    [[noreturn]] void stopRun(const FileDevice &file, quint64 offset, Stop reason);

    std::vector<OpenSize> openSizes; // the innermost last
    std::vector<WaitingProblem> waitingProblems; // problems of inner nodes last
};

} // namespace quenlofar
