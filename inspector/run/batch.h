#pragma once

#include "containerrun.h"

#include <QVector>

#include <functional>
#include <memory>

class QIODevice;

namespace quenlofar {

class ElementSink;
class PluginLoader;
class ProgramOutput;
struct Options;

/// What a command's sink is made for.
struct FileContext
{
    const QVector<ParserFactory> &parsers; ///< that are asked, in this order; outlive the sink
    bool isFirst; ///< of the files that were asked for
    bool isOneOfMany;
};

/// Makes the sink that prints one file to `output`; called by several threads.
using SinkMaker = std::function<std::unique_ptr<ElementSink>(QIODevice &output, const FileContext &context)>;

/**
 * Walks all files that `options` asks for, several side by side if it says so, each into a sink of its own. What the
 * sinks print comes out in the order of the files, and so does what is said about them on standard error. Returns the
 * exit status.
 */
int walkFiles(const Options &options, const PluginLoader &plugins, ProgramOutput &output, const SinkMaker &makeSink);

} // namespace quenlofar
