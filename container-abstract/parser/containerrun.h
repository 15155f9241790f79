#pragma once

#include "containerabstract_export.h"
#include "elementsink.h"
#include "runresult.h"

#include <QString>
#include <QStringList>
#include <QVector>

#include <atomic>
#include <functional>
#include <memory>

class ContainerAbstract;

namespace quenlofar {

class ByteSource;
class ContainerAnalyzer;
class ContainerDescriber;
struct WalkProgress;

/// How to get a parser of one container format.
struct ParserFactory
{
    QString containerName; ///< "AVI"
    QStringList extensions; ///< without a dot; a hint, never a reason to leave a parser out
    QString file; ///< the plug-in's file, for messages
    /// Makes a parser, which has to be gone before its plug-in; null when memory runs out.
    std::function<std::unique_ptr<ContainerAbstract>()> create;
    /// Empty where the plug-in has no describer; may return null like `create`.
    std::function<std::unique_ptr<ContainerDescriber>()> createDescriber = {};
    QString name = {}; ///< what documents call the parser: "quenlofar-container-avi"; null: as the container
    QString version = {}; ///< of the plug-in; null where it is not known
    /// Empty where the plug-in has no analyzer; may return null like `create`.
    std::function<std::unique_ptr<ContainerAnalyzer>()> createAnalyzer = {};
};

/// Opens what stands behind a path; on failure null, with the reason in `*error`. See openFileSource.
using SourceOpener = std::function<std::unique_ptr<ByteSource>(const QString &path, QString *error)>;

/// The bounds of one run. No honest file reaches them; a file made to exhaust the host does.
struct CONTAINERABSTRACT_EXPORT RunLimits
{
    static constexpr quint64 defaultItems = 0; ///< stands for max(1 000 000, file size in bytes)

    quint64 maxItems = defaultItems; ///< nodes and leaves
    quint64 maxDepth = 1000; ///< nodes that are open at the same time
    double maxWorkFactor = 64; ///< bytes read: this many times the file size, and workAllowance more; not negative
    quint64 maxWork = 0; ///< bytes read; 0 leaves it to maxWorkFactor
    quint64 maxSeconds = 0; ///< from the begin of the run, by the clock on the wall; 0: no bound

    /// Bytes that may be read of every file, however small.
    static constexpr quint64 workAllowance = quint64(64) * 1024 * 1024;

    /// The item bound for a file of `fileSize` bytes.
    quint64 itemsFor(qint64 fileSize) const;
    /// The bound on bytes handed to parsers for a file of `fileSize` bytes; saturates.
    quint64 workFor(qint64 fileSize) const;
};

/**
 * Walks one file with the first parser that recognises it, and hands what the parser finds to a sink.
 *
 * A run ends by itself, whatever the file's bytes say: at the end of the file, where the parser makes no progress (the
 * rest then becomes one unparsed leaf at the top level), or at a bound. After it, every node that was begun in the
 * sink has been ended. No exception leaves it.
 */
class CONTAINERABSTRACT_EXPORT ContainerRun
{
public:
    /// Every file that is walked has these bounds.
    explicit ContainerRun(const RunLimits &limits = {});
    ContainerRun(const ContainerRun &) = delete;
    ContainerRun &operator=(const ContainerRun &) = delete;

    /// Reads files through `opener` instead of from the disk: tests and viewers walk memory this way.
    void setOpener(SourceOpener opener) { m_opener = std::move(opener); }

    /// Detects the format of `path` with `parsers`, in their order, and walks it into `sink`.
    RunResult run(const QString &path, const QVector<ParserFactory> &parsers, ElementSink &sink);

    /// Ends the current run, and every later one, at the next element. Callable from any thread and signal handler.
    void cancel() noexcept { m_cancel->store(true, std::memory_order_relaxed); }
    /// From now on `flag` is what cancels: several runs that share one are cancelled together. It outlives the runs.
    void shareCancelFlag(std::atomic<bool> &flag) noexcept { m_cancel = &flag; }
    /// While a file is walked, `*progress` follows where it is read and where elements and fields are found; forwards
    /// as a rule, with jumps. Null, the default: progress is not followed. It outlives the runs.
    void setProgress(WalkProgress *progress) noexcept { m_progress = progress; }

private:
    std::unique_ptr<ByteSource> openSource(const QString &path, QString *error) const;

    RunLimits m_limits;
    SourceOpener m_opener;
    std::atomic<bool> m_ownCancel{false};
    std::atomic<bool> *m_cancel = &m_ownCancel;
    WalkProgress *m_progress = nullptr;
};

} // namespace quenlofar
