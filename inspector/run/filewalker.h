#pragma once

#include "containerrun.h"
#include "interrupt.h"
#include "walkrecord.h"

#include <QString>

#include <deque>

namespace quenlofar {

class ElementSink;
class PluginLoader;
class ProgramOutput;
struct FileReport;
struct Options;

/// For commands that look at one or two files: walks them one by one, says what is wrong with them, and ends the
/// program as it is to end. A signal ends the walk, see InterruptWatch.
class FileWalker
{
public:
    /// What is given outlives the object.
    FileWalker(const Options &options, const PluginLoader &plugins);

    /// Walks `file` into `sink`.
    RunResult walk(const QString &file, ElementSink &sink);
    /// Ends the current walk, and every later one, at the next element. May be called by the sink.
    void stop() { m_run.cancel(); }
    bool wasInterrupted() const { return InterruptWatch::wasInterrupted(); }

    /// Prints what `report` has to say, as far as it is wanted, and returns its exit status.
    int tell(const FileReport &report) const;
    /// Ends the output. What was written to a file stays if `exitStatus` is below ExitFailure. Returns how the program
    /// ends: `exitStatus`, if nothing else went wrong.
    int finish(ProgramOutput &output, int exitStatus) const;

private:
    const Options &m_options;
    const PluginLoader &m_plugins;
    ContainerRun m_run;
    std::deque<WalkRecord> m_records; // one: files are walked one by one
};

} // namespace quenlofar
