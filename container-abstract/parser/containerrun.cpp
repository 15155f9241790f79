#include "containerrun.h"

#include "bytesource.h"
#include "containerabstract.h"
#include "containerabstract_p.h"
#include "throwntext_p.h"

#include <algorithm>
#include <chrono>
#include <exception>

namespace quenlofar {

using Stop = ContainerAbstractPrivate::Stop;
using Clock = std::chrono::steady_clock;

namespace {

/// The first status that is not zero is the document's.
void keepFirst(int status, int *first)
{
    if (*first == StatusOk)
        *first = status;
}

/// Why `sink` takes no more; never null.
QString failureOf(const ElementSink &sink)
{
    const QString text = sink.errorText();
    return text.isNull() ? QStringLiteral("no reason was given") : text;
}

void explainStop(const ContainerAbstractPrivate &host, RunResult *result)
{
    switch (host.stop) {
    case Stop::None:
        return;
    case Stop::Items:
        result->limit = RunLimit::Items;
        result->limitValue = host.itemLimit;
        break;
    case Stop::Depth:
        result->limit = RunLimit::Depth;
        result->limitValue = host.depthLimit;
        break;
    case Stop::Work:
        result->limit = RunLimit::Work;
        result->limitValue = host.totalWorkLimit;
        break;
    case Stop::Time:
        result->limit = RunLimit::Time;
        result->limitValue = host.secondsLimit;
        break;
    case Stop::Cancelled:
        result->cancelled = true;
        break;
    case Stop::SinkFailed:
        break;
    }
    result->stopPosition = host.stopPosition;
}

/// What an exception says of the run. Memory runs out wherever it will; anything else is the parser's own.
FileError errorOf(const std::exception_ptr &exception, qint64 offset)
{
    const ThrownText thrown = thrownText(exception);
    return {thrown.isForMemory ? FileError::Memory : FileError::Parser, offset, thrown.text};
}

/// When a run has to end that begins now.
Clock::time_point deadlineOf(const RunLimits &limits)
{
    constexpr quint64 longest = 1'000'000'000; // as good as never; the clock counts no further than some centuries
    if (limits.maxSeconds == 0)
        return Clock::time_point::max();
    return Clock::now() + std::chrono::seconds(std::min(limits.maxSeconds, longest));
}

/// Another parser may still take the file: keeps the first failure of one in `*failure`.
void setAside(FileError *error, FileError *failure)
{
    if (error->kind != FileError::Parser)
        return;
    if (failure->kind == FileError::None)
        *failure = *error;
    *error = {};
}

/// Memory that runs out in a sink is the run's trouble, anything else the sink's own.
void tellSinkException(const std::exception_ptr &exception, qint64 offset, RunResult *result)
{
    const ThrownText thrown = thrownText(exception);
    if (!thrown.isForMemory)
        result->sinkError = thrown.text;
    else if (result->error.kind != FileError::Memory)
        result->error = {FileError::Memory, offset, thrown.text};
}

void beginDocument(ElementSink &sink, const DocumentStart &start, RunResult *result)
{
    try {
        if (!sink.beginDocument(start))
            result->sinkError = failureOf(sink);
    } catch (...) {
        tellSinkException(std::current_exception(), -1, result);
    }
}

/// Ends the document of a sink, which may throw twice.
void endDocument(ElementSink &sink, RunResult *result)
{
    for (int tries = 0; tries < 2; ++tries) {
        try {
            if (!sink.endDocument(*result))
                result->sinkError = failureOf(sink);
            return;
        } catch (...) {
            tellSinkException(std::current_exception(), -1, result);
        }
    }
}

/// Null where the plug-in fails to make one; `*error` then says why.
std::unique_ptr<ContainerAbstract> makeParser(const ParserFactory &factory, FileError *error)
{
    try {
        if (std::unique_ptr<ContainerAbstract> parser = factory.create())
            return parser;
        *error = {FileError::Parser, -1,
                  QStringLiteral("the plug-in for %1 makes no parser").arg(factory.containerName)};
    } catch (...) {
        *error = errorOf(std::current_exception(), -1);
    }
    return nullptr;
}

} // namespace

quint64 RunLimits::itemsFor(qint64 fileSize) const
{
    constexpr quint64 itemsOfAnyFile = 1'000'000;
    return maxItems != defaultItems ? maxItems : std::max(itemsOfAnyFile, quint64(fileSize));
}

quint64 RunLimits::workFor(qint64 fileSize) const
{
    if (maxWork != 0)
        return maxWork;
    constexpr quint64 most = std::numeric_limits<quint64>::max();
    // A long double holds every number of bytes exactly.
    const long double bytes = static_cast<long double>(fileSize) * static_cast<long double>(maxWorkFactor);
    return bytes >= static_cast<long double>(most - workAllowance) ? most : quint64(bytes) + workAllowance;
}

/// One parser at work on one file: the host's half of the calling order.
class ParserRun
{
public:
    enum class Verdict { Recognised, NotRecognised, Ended };

    ParserRun(ContainerAbstract &parser, const QString &path, RunResult *result)
        : m_parser(parser), m_host(*parser.d), m_file(parser.m_file), m_path(path), m_result(*result)
    {
        m_host.recordsStreams = true;
    }

    void setOpener(const SourceOpener &opener) { m_host.opener = opener; }

    void setProgress(WalkProgress *progress)
    {
        m_host.progress = progress;
        m_file.setProgress(progress);
    }

    void setBounds(const RunLimits &limits, qint64 fileSize, std::chrono::steady_clock::time_point deadline,
                   const std::atomic<bool> *cancel)
    {
        m_host.secondsLimit = limits.maxSeconds;
        m_host.deadline = deadline;
        m_file.setDeadline(deadline);
        m_host.itemLimit = limits.itemsFor(fileSize);
        m_host.nextLook = m_host.firstLook();
        m_host.depthLimit = limits.maxDepth;
        m_host.totalWorkLimit = limits.workFor(fileSize);
        // The parsers that were asked before this one have used up their part.
        m_host.workLimit = m_host.totalWorkLimit - std::min(m_host.totalWorkLimit, m_result.bytesRead);
        m_host.cancel = cancel;
        m_file.setReadLimit(m_host.workLimit);
        m_file.setStopFlag(cancel);
    }

    /// Asks the parser whether it knows the format and, if so, opens the file for the walk.
    Verdict detect()
    {
        int status = StatusNotRecognised;
        guard([&] { status = m_parser.verifyContainerFormat(m_path); });
        m_host.protocol.detected(m_host.items, m_file.pos());
        m_host.dropEverything(m_parser);
        if (status == StatusOk && m_host.stop == Stop::None)
            status = m_parser.openFile(m_path);
        if (wasStopped() || m_result.error.kind == FileError::Memory)
            return Verdict::Ended;
        if (m_result.error.kind == FileError::Parser)
            return Verdict::NotRecognised;
        // To the parser a read error looks like the end of the file.
        if (status == StatusNotRecognised && m_file.hasReadError())
            status = StatusReadError;
        if (status == StatusOk)
            return Verdict::Recognised;
        if (status != StatusCannotOpen && status != StatusReadError)
            return Verdict::NotRecognised;
        keepFirst(status, &m_result.status);
        if (status == StatusCannotOpen)
            m_result.error = {FileError::Open, -1, m_file.errorText()};
        return Verdict::Ended;
    }

    /// Walks the whole file into `sink`. Afterwards every node is ended.
    void walk(const DocumentStart &start, ElementSink &sink)
    {
        m_host.sink = &sink;
        m_host.handOn([&start](ElementSink &first) { return first.beginDocument(start); });
        guard([this] { walkTopLevel(); });
        endNodes();
        m_host.finishNode(sizeFromEnd); // the top level's problems
        if (m_host.sinkFailed)
            m_result.sinkError = failureOf(sink);
        if (m_host.sinkException)
            tellSinkException(m_host.sinkException, m_file.pos(), &m_result);
        m_host.sink = nullptr; // a destructor of the parser's comes too late
    }

    /// Adds to the result what this parser's part of the run has shown.
    void collect()
    {
        if (m_file.hasReadError() && m_result.error.kind == FileError::None)
            m_result.error = {FileError::Read, m_file.readErrorOffset(), m_file.errorText()};
        if (m_result.error.kind == FileError::None)
            m_result.error = m_host.protocol.trouble();
        m_file.close();
        m_result.items += m_host.items;
        m_result.problems = m_host.problemCounts;
        for (const auto &[status, text] : m_host.statusNames) {
            if (status == m_result.status)
                m_result.ownStatusText = text;
        }
        m_result.bytesRead += m_file.bytesRead();
        for (const VideoStream &stream : std::as_const(m_host.streams))
            m_result.videoStreams.append(stream);
        explainStop(m_host, &m_result);
    }

private:
    /// Runs a part of the parser; what the framework throws, and whatever else, ends here.
    template <typename Part> void guard(Part part)
    {
        try {
            part();
        } catch (const RunStopped &) {
            // The reason stands in m_host.stop.
        } catch (...) {
            m_result.error = errorOf(std::current_exception(), m_file.pos());
        }
    }

    /// The run was stopped, or a read was cut short by the host: then statuses say nothing of the file.
    bool wasStopped()
    {
        return m_host.stop != Stop::None
            || (m_file.wasInterrupted() && m_host.noticeStop(m_file, quint64(m_file.pos())));
    }

    void walkTopLevel()
    {
        const quint64 end = quint64(m_file.size());
        m_parser.prepareParsing();
        qint64 begin = 0;
        keepFirst(m_parser.findBeginOfContainer(&begin), &m_result.status);
        endNodesOfCall();
        if (!m_host.protocol.takesBegin(begin, m_file.size()))
            begin = m_file.size();
        // Unless the parser itself has shown what stands there.
        if (begin > 0 && m_host.items == 0)
            addUnwalked(0, quint64(begin));
        m_parser.m_levelEnds.clear();
        m_parser.m_levelEnds.append(m_file.size()); // a list in braces takes its memory unchecked
        m_parser.m_position = quint64(begin);
        while (m_parser.m_position < end) {
            if (!walkElement(end))
                return;
        }
        m_parser.finalizeParsing();
        endNodesOfCall();
    }

    /// The leaf over bytes that the parser passed over.
    void addUnwalked(quint64 offset, quint64 size)
    {
        m_parser.addField(false, offset, 0, size, unparsedDataMarker.toString(), {}, {}, {}, -1);
    }

    void endNodes()
    {
        while (m_host.openNodes > 0)
            m_parser.endElement();
    }

    /// A parser's call ends the nodes that it begins: what comes next stands at the top level.
    void endNodesOfCall()
    {
        m_host.protocol.callReturned(m_host.openNodes, m_file.pos());
        endNodes();
    }

    /// Parses one top-level element and moves on behind it; false when the run was stopped inside.
    bool walkElement(quint64 end)
    {
        const quint64 position = m_parser.m_position;
        m_file.seek(qint64(position));
        quint64 size = 0;
        const int status = m_parser.parseElement(&size);
        if (wasStopped())
            return false;
        if (m_file.hasReadError())
            keepFirst(StatusReadError, &m_result.status);
        keepFirst(status, &m_result.status);
        endNodesOfCall();
        const quint64 rest = end - position;
        if (size == 0)
            addUnwalked(position, rest);
        // Wherever the parser has left its position: every step leads on.
        m_parser.m_position = position + (size == 0 ? rest : std::min(size, rest));
        return true;
    }

    ContainerAbstract &m_parser;
    ContainerAbstractPrivate &m_host;
    FileDevice &m_file;
    const QString &m_path;
    RunResult &m_result;
};

ContainerRun::ContainerRun(const RunLimits &limits) : m_limits(limits) { }

std::unique_ptr<ByteSource> ContainerRun::openSource(const QString &path, QString *error) const
{
    return m_opener ? m_opener(path, error) : openFileSource(path, error);
}

RunResult ContainerRun::run(const QString &path, const QVector<ParserFactory> &parsers, ElementSink &sink)
{
    using Verdict = ParserRun::Verdict;
    const Clock::time_point deadline = deadlineOf(m_limits);
    RunResult result;
    DocumentStart start{path, {}, -1};
    Verdict verdict = Verdict::NotRecognised;
    FileError failure; // of the first parser that failed; of interest where no other one takes the file

    QString openError;
    if (const std::unique_ptr<ByteSource> source = openSource(path, &openError)) {
        start.fileSize = source->size();
    } else {
        result.status = StatusCannotOpen;
        result.error = {FileError::Open, -1, openError};
        verdict = Verdict::Ended;
    }

    for (int ordinal = 0; ordinal < int(parsers.size()) && verdict == Verdict::NotRecognised; ++ordinal) {
        const ParserFactory &factory = parsers.at(ordinal);
        const std::unique_ptr<ContainerAbstract> parser = makeParser(factory, &result.error);
        if (!parser) {
            if (result.error.kind == FileError::Memory)
                verdict = Verdict::Ended;
            setAside(&result.error, &failure);
            continue;
        }
        ParserRun step(*parser, path, &result);
        step.setOpener(m_opener);
        step.setBounds(m_limits, start.fileSize, deadline, m_cancel);
        step.setProgress(m_progress);
        verdict = step.detect();
        if (verdict == Verdict::Recognised) {
            start.container = factory.containerName;
            start.parser = ordinal;
            start.parserName = factory.name.isNull() ? factory.containerName : factory.name;
            start.parserVersion = factory.version;
            step.walk(start, sink);
        }
        step.collect();
        if (verdict == Verdict::NotRecognised)
            setAside(&result.error, &failure);
    }

    if (verdict == Verdict::NotRecognised) {
        result.status = StatusNotRecognised;
        result.error = failure;
    }
    if (verdict != Verdict::Recognised)
        beginDocument(sink, start, &result);
    endDocument(sink, &result);
    return result;
}

} // namespace quenlofar
