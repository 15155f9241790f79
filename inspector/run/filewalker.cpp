#include "filewalker.h"

#include "exitstatus.h"
#include "messages.h"
#include "options.h"
#include "pluginloader.h"
#include "programoutput.h"
#include "report.h"

FileWalker::FileWalker(const Options &options, const PluginLoader &plugins)
    : m_options(options), m_plugins(plugins), m_run(options.limits)
{
    m_run.shareCancelFlag(InterruptWatch::flag());
}

RunResult FileWalker::walk(const QString &file, ElementSink &sink)
{
    return m_run.run(file, m_plugins.parsersFor(file), sink);
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
