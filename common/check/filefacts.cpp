#include "filefacts.h"

#include "judgedsummary.h"

#include <new>

namespace quenlofar {

namespace {

QString troubleOf(const RunResult &result, const FileCheck &check)
{
    if (result.error.kind != FileError::None)
        return result.error.message;
    if (result.limit != RunLimit::None)
        return QStringLiteral("a limit ended the reading");
    if (!result.sinkError.isNull())
        return result.sinkError;
    // Of a file with a verdict that is no trouble: a deeper level would look at more.
    const bool isJudged = check.verdict != Verdict::Unknown || check.notChecked.isEmpty();
    return isJudged ? QString() : check.notChecked.first();
}

class FactsSink : public JudgedSummary
{
public:
    using JudgedSummary::JudgedSummary;

    FileFacts facts;

protected:
    QString printJudged(FileSummary &summary, const StrictReading &reading) override
    {
        facts.container = summary.start.container;
        facts.size = summary.start.fileSize;
        facts.streams = int(summary.streams.size());
        facts.verdict = reading.check.verdict;
        facts.counts = reading.check.counts;
        return {};
    }
};

} // namespace

FileFacts readFileFacts(const QString &path, const QVector<ParserFactory> &parsers, const RunLimits &limits,
                        std::atomic<bool> &cancel)
{
    try {
        FactsSink sink(StrictReader{parsers, limits, &cancel, nullptr});
        ContainerRun run(limits);
        run.shareCancelFlag(cancel);
        const RunResult result = sink.outcome(run.run(path, parsers, sink));
        sink.facts.trouble = troubleOf(result, sink.check());
        return sink.facts;
    } catch (const std::bad_alloc &) {
        FileFacts facts;
        facts.trouble = QStringLiteral("not enough memory to read the file");
        return facts;
    }
}

} // namespace quenlofar
