#include "batch.h"

#include "crashreport.h"
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
#include "walkrecord.h"
#include "watchdog.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <exception>
#include <new>
#include <optional>
#include <thread>
#include <vector>

namespace quenlofar {

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

/// Whether messages are seen while the work goes on.
bool mayInform(const Options &options, const ProgramOutput &output)
{
    return options.progress == When::Always || (!options.quiet && !output.hasPager() && ::isatty(STDERR_FILENO) == 1);
}

/// Hands on what is written, but for a comma in front of everything.
class CommaDropper : public QIODevice
{
public:
    CommaDropper(QIODevice &next, bool drops) : m_next(next), m_drops(drops)
    {
        open(QIODevice::WriteOnly | QIODevice::Unbuffered);
    }
    bool isSequential() const override { return true; }

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *data, qint64 size) override
    {
        const qint64 dropped = m_drops && size > 0 && *data == ',' ? 1 : 0;
        m_drops = m_drops && size == 0;
        if (size == dropped || m_next.write(data + dropped, size - dropped) == size - dropped)
            return size;
        setErrorString(m_next.errorString());
        return -1;
    }

private:
    QIODevice &m_next;
    bool m_drops;
};

class Batch
{
public:
    Batch(const Options &options, const PluginLoader &plugins, ProgramOutput &output, const FileWork &work,
          const BatchFrame &frame)
        : m_options(options), m_plugins(plugins), m_output(output), m_work(work), m_frame(frame),
          m_framed(output, frame.dropsFirstComma),
          m_order(m_framed, [this](quint64, const FileReport &report) { tell(report); })
    {
    }

    int run();

private:
    void findFiles();
    void startMeter();
    void workSideBySide(quint64 jobs);
    void work() noexcept;
    FileReport lookAt(quint64 ordinal, ContainerRun &run, WalkRecord &record);
    void printTail() noexcept;
    void tell(const FileReport &report) noexcept;
    void tellAsFarAsWanted(const FileReport &report);
    void say(const QString &message);

    const Options &m_options;
    const PluginLoader &m_plugins;
    ProgramOutput &m_output;
    const FileWork &m_work;
    const BatchFrame &m_frame;
    CommaDropper m_framed;
    OrderedOutput m_order;
    std::deque<WalkRecord> m_records; // of the workers
    std::optional<ProgressMeter> m_meter;
    std::optional<Watchdog> m_watchdog;

    QVector<QString> m_files;
    std::atomic<quint64> m_next{0};
    std::atomic<quint64> m_workers{0};
    int m_exitStatus = ExitClean;
    QStringList m_troubles;
    QVector<FileReport> m_reports; // only where the frame asks for them
    // Made beforehand, of a file for which there was no memory: a copy takes none.
    const FileReport m_outOfMemory{
        ExitFailure, {QStringLiteral("not enough memory to look at a file")}, QStringLiteral("memory ran out")};
    bool m_outputEnded = false;
};

int Batch::run()
{
    findFiles();
    if (!m_output.spares(m_files))
        return ExitFailure;
    if (m_frame.choose && !InterruptWatch::wasInterrupted())
        m_frame.choose(&m_files);
    const quint64 jobs = std::clamp<quint64>(quint64(m_files.size()), 1, m_options.jobs);
    for (quint64 worker = 0; worker < jobs; ++worker)
        m_records.emplace_back();
    if (wantsProgress(m_options, m_output))
        startMeter();
    if (!m_frame.head.isEmpty())
        m_output.write(m_frame.head);
    m_watchdog.emplace(m_records, m_options, mayInform(m_options, m_output),
                       [this](const QString &message) { say(message); });
    workSideBySide(jobs);
    m_watchdog.reset();
    printTail();
    if (m_frame.exitStatus)
        m_exitStatus = std::max(m_exitStatus, m_frame.exitStatus());
    m_output.setGuard({});
    m_meter.reset();
    const bool sawAll = !InterruptWatch::flag();
    if (m_files.size() > 1 && !m_troubles.isEmpty() && sawAll && !m_options.quiet)
        printMessage(troubleSummary(int(m_files.size()), m_troubles));

    const int outputStatus = m_output.finish(!InterruptWatch::wasInterrupted());
    if (outputStatus != ExitClean)
        return outputStatus;
    return InterruptWatch::wasInterrupted() ? InterruptWatch::exitStatus() : m_exitStatus;
}

/// This thread works too: where the system gives no others, it does everything.
void Batch::workSideBySide(quint64 jobs)
{
    std::vector<std::thread> others;
    others.reserve(jobs - 1);
    try {
        while (others.size() < jobs - 1)
            others.emplace_back([this] { work(); });
    } catch (const std::exception &) {
        // The threads that there are do the work.
    }
    work();
    for (std::thread &other : others)
        other.join();
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
    const bool isEmpty = m_files.isEmpty() && !m_frame.choose; // whoever chooses files makes something of none as well
    if (isEmpty && found.problems.isEmpty())
        printMessage(QStringLiteral("no file was found"));
    if (isEmpty || !found.problems.isEmpty())
        m_exitStatus = ExitFailure;
}

void Batch::startMeter()
{
    quint64 bytes = 0;
    for (const QString &file : std::as_const(m_files))
        bytes += sizeOfFile(file);
    m_meter.emplace(m_records, bytes, quint64(m_files.size()), m_options.output.sizes);
    if (m_output.isTerminal()) {
        m_output.setGuard({[this] { m_meter->hide(); }, [this](bool isLineEnded) { m_meter->mayShow(isLineEnded); }});
    }
}

/// What each thread does: the next file, until there is none.
void Batch::work() noexcept
{
    const quint64 worker = m_workers++;
    ContainerRun run(m_options.limits);
    WalkRecord &record = m_records[worker];
    const CrashStack stack;
    run.shareCancelFlag(InterruptWatch::flag());
    run.setProgress(record.progress());
    // The thread that takes a file also finishes it: the files behind it wait for their turn.
    while (!InterruptWatch::flag()) {
        const quint64 ordinal = m_next++;
        if (ordinal >= quint64(m_files.size()))
            return;
        FileReport report = m_outOfMemory;
        try {
            report = lookAt(ordinal, run, record);
        } catch (const std::exception &) {
            // The file has no document, or a whole one; the others go on.
        }
        m_order.finish(ordinal, report);
        if (m_meter)
            m_meter->fileDone(sizeOfFile(m_files.at(int(ordinal))));
    }
}

FileReport Batch::lookAt(quint64 ordinal, ContainerRun &run, WalkRecord &record)
{
    const std::unique_ptr<QIODevice> place = m_order.place(ordinal);
    WatchedOutput output(*place, record);
    const QString &file = m_files.at(int(ordinal)); // several threads do this: operator[] could detach
    const WalkNote note(record, file);
    const QVector<ParserFactory> parsers = record.noted(m_plugins.parsersFor(file));
    FileReport report =
        m_work({file, parsers, output, ordinal == 0, m_files.size() > 1, run, record.progress(), m_output});
    // What became of the output is said once, at the end.
    if (m_output.hasFailed())
        InterruptWatch::flag() = true;
    return report;
}

/// Behind the last file that was looked at, whatever ended the work.
void Batch::printTail() noexcept
{
    if (!m_frame.tail)
        return;
    try {
        m_output.write(m_frame.tail(m_reports));
    } catch (const std::bad_alloc &) {
        m_exitStatus = ExitFailure;
        printOutOfMemory();
    }
}

/// Called for one file at a time.
void Batch::tell(const FileReport &report) noexcept
{
    // Nothing is said of files that stand behind the end of the output; how far they were walked is chance.
    if (m_outputEnded)
        return;
    m_outputEnded = m_output.hasFailed();
    m_exitStatus = std::max(m_exitStatus, report.exitStatus);
    try {
        tellAsFarAsWanted(report);
    } catch (const std::bad_alloc &) {
        m_exitStatus = ExitFailure;
        printOutOfMemory();
    }
}

void Batch::tellAsFarAsWanted(const FileReport &report)
{
    if (m_frame.tail)
        m_reports.append(report);
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

int lookAtFiles(const Options &options, const PluginLoader &plugins, ProgramOutput &output, const FileWork &work,
                const BatchFrame &frame)
{
    return Batch(options, plugins, output, work, frame).run();
}

int walkFiles(const Options &options, const PluginLoader &plugins, ProgramOutput &output, const SinkMaker &makeSink)
{
    return lookAtFiles(options, plugins, output, [&makeSink](const FileTask &task) {
        const std::unique_ptr<ElementSink> sink =
            makeSink(task.output, {task.parsers, task.isFirst, task.isOneOfMany, task.progress});
        const RunResult result = task.run.run(task.file, task.parsers, *sink);
        return reportOf(task.file, result, task.programOutput.hasFailed());
    });
}

} // namespace quenlofar
