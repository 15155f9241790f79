#include "batch.h"

#include "deepstack.h"
#include "elementsink.h"
#include "exitstatus.h"
#include "filepath.h"
#include "inputfiles.h"
#include "interrupt.h"
#include "messages.h"
#include "options.h"
#include "orderedoutput.h"
#include "pluginloader.h"
#include "programoutput.h"
#include "progress.h"
#include "report.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <optional>

namespace {

quint64 sizeOfFile(const QString &path)
{
    struct stat found = {};
    return ::stat(pathToBytes(path).constData(), &found) == 0 && S_ISREG(found.st_mode) ? quint64(found.st_size) : 0;
}

bool wantsProgress(const Options &options, const ProgramOutput &output)
{
    if (options.progress != When::Auto)
        return options.progress == When::Always;
    return !options.quiet && !output.hasPager() && ::isatty(STDERR_FILENO) == 1;
}

class Batch
{
public:
    Batch(const Options &options, const PluginLoader &plugins, ProgramOutput &output, const SinkMaker &makeSink)
        : m_options(options), m_plugins(plugins), m_output(output), m_makeSink(makeSink),
          m_order(output, [this](quint64, const FileReport &report) { tell(report); })
    {
    }

    int run();

private:
    void findFiles();
    void startMeter();
    void work();
    FileReport walk(quint64 ordinal, ContainerRun &run, QIODevice &place);
    void tell(const FileReport &report);
    void say(const QString &message);

    const Options &m_options;
    const PluginLoader &m_plugins;
    ProgramOutput &m_output;
    const SinkMaker &m_makeSink;
    OrderedOutput m_order;
    std::optional<ProgressMeter> m_meter;

    QVector<QString> m_files;
    std::atomic<quint64> m_next{0};
    std::atomic<quint64> m_workers{0};
    int m_exitStatus = ExitClean;
    QStringList m_troubles;
    bool m_outputEnded = false;
};

int Batch::run()
{
    findFiles();
    if (!m_output.spares(m_files))
        return ExitFailure;
    const quint64 jobs = std::clamp<quint64>(quint64(m_files.size()), 1, m_options.jobs);
    if (wantsProgress(m_options, m_output))
        startMeter();
    const int error = callSideBySide(jobs, m_options.limits.maxDepth, [this] { work(); });
    m_output.setGuard({});
    m_meter.reset();
    if (error != 0) {
        printMessage(QStringLiteral("no thread can be started: %1").arg(systemErrorText(error)));
        return ExitFailure;
    }
    const bool sawAll = !InterruptWatch::flag();
    if (m_files.size() > 1 && !m_troubles.isEmpty() && sawAll && !m_options.quiet)
        printMessage(troubleSummary(int(m_files.size()), m_troubles));

    const int outputStatus = m_output.finish(!InterruptWatch::wasInterrupted());
    if (outputStatus != ExitClean)
        return outputStatus;
    return InterruptWatch::wasInterrupted() ? InterruptWatch::exitStatus() : m_exitStatus;
}

void Batch::findFiles()
{
    QStringList extensions = m_options.input.extensions;
    if (extensions.isEmpty()) {
        const QVector<PluginInfo> plugins = m_plugins.plugins();
        for (const PluginInfo &plugin : plugins)
            extensions += plugin.extensions;
    }
    const InputFiles found = findInputFiles(m_options.input, extensions);
    if (InterruptWatch::wasInterrupted())
        return; // the list may have been cut off
    m_files = found.files;
    for (const QString &problem : found.problems)
        printMessage(problem);
    if (m_files.isEmpty() && found.problems.isEmpty())
        printMessage(QStringLiteral("no file was found"));
    if (m_files.isEmpty() || !found.problems.isEmpty())
        m_exitStatus = ExitFailure;
}

void Batch::startMeter()
{
    quint64 bytes = 0;
    for (const QString &file : std::as_const(m_files))
        bytes += sizeOfFile(file);
    m_meter.emplace(m_options.jobs, bytes, quint64(m_files.size()), m_options.output.sizes);
    if (m_output.isTerminal()) {
        m_output.setGuard({[this] { m_meter->hide(); }, [this](bool isLineEnded) { m_meter->mayShow(isLineEnded); }});
    }
}

/// What each thread does: the next file, until there is none.
void Batch::work()
{
    const quint64 worker = m_workers++;
    ContainerRun run(m_options.limits);
    run.shareCancelFlag(InterruptWatch::flag());
    if (m_meter)
        run.setProgress(m_meter->position(worker));
    // Who takes a file also finishes it: those behind it wait for their turn.
    while (!InterruptWatch::flag()) {
        const quint64 ordinal = m_next++;
        if (ordinal >= quint64(m_files.size()))
            return;
        try {
            const FileReport report = walk(ordinal, run, *m_order.place(ordinal));
            m_order.finish(ordinal, report);
        } catch (...) {
            // Memory ended: what comes behind this file would wait for it forever.
            InterruptWatch::flag() = true;
            m_order.abandon();
            throw;
        }
        if (m_meter)
            m_meter->fileDone(worker, sizeOfFile(m_files.at(int(ordinal))));
    }
}

FileReport Batch::walk(quint64 ordinal, ContainerRun &run, QIODevice &place)
{
    const QString &file = m_files.at(int(ordinal)); // several threads do this: operator[] could detach
    const QVector<ParserFactory> parsers = m_plugins.parsersFor(file);
    const std::unique_ptr<ElementSink> sink = m_makeSink(place, {parsers, ordinal == 0, m_files.size() > 1});
    const RunResult result = run.run(file, parsers, *sink);
    // What became of the output is said once, at the end.
    const bool outputFailed = m_output.hasFailed();
    if (outputFailed)
        InterruptWatch::flag() = true;
    return reportOf(file, result, outputFailed);
}

/// Called for one file at a time.
void Batch::tell(const FileReport &report)
{
    // Nothing is said of files that stand behind the end of the output; how far they were walked is chance.
    if (m_outputEnded)
        return;
    m_outputEnded = m_output.hasFailed();
    m_exitStatus = std::max(m_exitStatus, report.exitStatus);
    if (!report.trouble.isNull())
        m_troubles.append(report.trouble);
    if (m_options.quiet && report.exitStatus < ExitFailure)
        return;
    if (m_output.isReaderGone())
        return;
    for (const QString &message : report.messages)
        say(message);
}

void Batch::say(const QString &message)
{
    if (m_meter)
        m_meter->hide();
    printMessage(message);
    if (m_meter)
        m_meter->mayShow(true);
}

} // namespace

int walkFiles(const Options &options, const PluginLoader &plugins, ProgramOutput &output, const SinkMaker &makeSink)
{
    return Batch(options, plugins, output, makeSink).run();
}
