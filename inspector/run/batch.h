#pragma once

#include "containerrun.h"
#include "report.h"

#include <QByteArray>
#include <QVector>

#include <functional>
#include <memory>

class QIODevice;

namespace quenlofar {

class ElementSink;
class PluginLoader;
class ProgramOutput;
struct Options;
struct WalkProgress;

/// What a command's sink is made for.
struct FileContext
{
    const QVector<ParserFactory> &parsers; ///< that are asked, in this order; outlive the sink
    bool isFirst; ///< of the files that were asked for
    bool isOneOfMany;
    WalkProgress *progress = nullptr; ///< is to be followed by whatever else reads the file
};

/// Makes the sink that prints one file to `output`; called by several threads.
using SinkMaker = std::function<std::unique_ptr<ElementSink>(QIODevice &output, const FileContext &context)>;

/// One of the files that were asked for, for the command that looks at it.
struct FileTask
{
    const QString &file; ///< as it was given
    const QVector<ParserFactory> &parsers; ///< to be asked, in this order
    QIODevice &output; ///< where it is printed
    bool isFirst; ///< of the files that were asked for
    bool isOneOfMany;
    ContainerRun &run; ///< has the limits, the cancel flag and the progress of the program
    WalkProgress *progress; ///< is to be followed by whatever else reads the file
    const ProgramOutput &programOutput; ///< may fail while the file is printed: reportOf asks for that
};

/// Looks at one file and prints it; called by several threads. Returns what there is to say about it on standard error.
using FileWork = std::function<FileReport(const FileTask &task)>;

/// What stands around the output of all files.
struct BatchFrame
{
    /// Takes those out of the files that were found that need not be looked at, or gives them other names.
    std::function<void(QVector<QString> *files)> choose = {};
    QByteArray head; ///< printed before the first file
    bool dropsFirstComma = false; ///< each file prints its values with a comma in front: the first one goes
    /// What is printed behind the last file; gets the reports of all files that were looked at, in their order.
    std::function<QByteArray(const QVector<FileReport> &reports)> tail = {};
    std::function<int()> exitStatus = {}; ///< that all files together call for; asked for behind the tail
};

/**
 * Looks at all files that `options` asks for, several side by side if it says so. What is printed comes out in the
 * order of the files, and so does what is said about them on standard error; `frame` is printed around it, also where a
 * signal ends the work. Returns the exit status.
 */
int lookAtFiles(const Options &options, const PluginLoader &plugins, ProgramOutput &output, const FileWork &work,
                const BatchFrame &frame = {});

/**
 * Walks all files that `options` asks for, several side by side if it says so, each into a sink of its own. What the
 * sinks print comes out in the order of the files, and so does what is said about them on standard error. Returns the
 * exit status.
 */
int walkFiles(const Options &options, const PluginLoader &plugins, ProgramOutput &output, const SinkMaker &makeSink);

} // namespace quenlofar
