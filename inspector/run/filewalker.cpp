#include "filewalker.h"

#include "deepstack.h"
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

std::optional<RunResult> FileWalker::walk(const QString &file, ElementSink &sink)
{
    RunResult result;
    const int error = callSideBySide(1, m_options.limits.maxDepth,
                                     [&] { result = m_run.run(file, m_plugins.parsersFor(file), sink); });
    if (error == 0)
        return result;
    printMessage(QStringLiteral("no thread can be started: %1").arg(systemErrorText(error)));
    return std::nullopt;
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
