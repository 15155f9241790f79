#include "commands.h"

#include "containerrun.h"
#include "deepstack.h"
#include "exitstatus.h"
#include "interrupt.h"
#include "jsonwriter.h"
#include "messages.h"
#include "options.h"
#include "pluginloader.h"
#include "report.h"
#include "standardoutput.h"
#include "textwriter.h"

#include <algorithm>
#include <memory>

namespace {

std::unique_ptr<ElementSink> makeSink(const Options &options, QIODevice &output)
{
    if (options.format == Options::Format::Text)
        return std::make_unique<TextWriter>(output);
    return std::make_unique<JsonWriter>(output,
                                        options.pretty ? JsonWriter::Layout::Indented : JsonWriter::Layout::Line);
}

int walkFiles(const Options &options, const PluginLoader &plugins)
{
    StandardOutput output;
    const std::unique_ptr<ElementSink> sink = makeSink(options, output);
    ContainerRun run(options.limits);
    const InterruptWatch watch(run);

    int status = ExitClean;
    for (const QString &file : options.files) {
        if (watch.wasInterrupted())
            break;
        const RunResult result = run.run(file, plugins.parsersFor(file), *sink);
        // What became of the output is said once, below.
        status = std::max(status, reportResult(file, result, output.hasFailed()));
        if (!result.sinkError.isNull())
            break;
    }

    const int outputStatus = output.finish();
    if (outputStatus != ExitClean)
        return outputStatus;
    return watch.wasInterrupted() ? ExitInterrupted : status;
}

} // namespace

int showTrees(const Options &options, const PluginLoader &plugins)
{
    int status = ExitFailure;
    const int error = callWithRoomFor(options.limits.maxDepth, [&] { status = walkFiles(options, plugins); });
    if (error != 0)
        printMessage(
            QStringLiteral("no stack for --max-depth %1: %2").arg(options.limits.maxDepth).arg(systemErrorText(error)));
    return status;
}
