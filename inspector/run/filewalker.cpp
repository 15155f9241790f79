#include "filewalker.h"

#include "crashreport.h"
#include "exitstatus.h"
#include "interrupt.h"
#include "messages.h"
#include "options.h"
#include "pluginloader.h"
#include "programoutput.h"
#include "report.h"
#include "watchdog.h"

#include <unistd.h>

namespace quenlofar {

FileWalker::FileWalker(const Options &options, const PluginLoader &plugins)
    : m_options(options), m_plugins(plugins), m_run(options.limits)
{
    m_records.emplace_back();
    m_run.shareCancelFlag(InterruptWatch::flag());
    m_run.setProgress(m_records.front().progress());
}

RunResult FileWalker::walk(const QString &file, ElementSink &sink)
{
    WalkRecord &record = m_records.front();
    const Watchdog watchdog(m_records, m_options,
                            !m_options.quiet && !m_options.output.pager && ::isatty(STDERR_FILENO) == 1, printMessage);
    const CrashStack stack;
    const WalkNote note(record, file);
    return m_run.run(file, record.noted(m_plugins.parsersFor(file)), sink);
}

int FileWalker::tell(const FileReport &report) const
{
    if (!m_options.quiet || report.exitStatus >= ExitFailure) {
        for (const QString &message : report.messages)
            printMessage(message);
    }
    return report.exitStatus;
}

int FileWalker::finish(ProgramOutput &output, int exitStatus) const
{
    const int outputStatus = output.finish(!wasInterrupted() && exitStatus < ExitFailure);
    if (outputStatus != ExitClean)
        return outputStatus;
    return wasInterrupted() ? InterruptWatch::exitStatus() : exitStatus;
}

} // namespace quenlofar
