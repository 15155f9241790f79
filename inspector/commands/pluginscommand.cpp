#include "commands.h"

#include "displaytext.h"
#include "filepath.h"
#include "messages.h"
#include "pluginloader.h"
#include "programoutput.h"

#include <algorithm>

namespace quenlofar {

namespace {

/// Files go to the first plug-in that recognises them: of two for one format the second may never get any.
void warnOfDoubles(const QVector<PluginInfo> &plugins)
{
    for (auto plugin = plugins.begin(); plugin != plugins.end(); ++plugin) {
        const auto first = std::find_if(plugins.begin(), plugin, [&](const PluginInfo &earlier) {
            return earlier.containerName == plugin->containerName;
        });
        if (first != plugin)
            printMessage(QStringLiteral("warning: two plug-ins are for %1: %2 is asked before %3")
                             .arg(plugin->containerName, first->file, plugin->file));
    }
}

} // namespace

int listPlugins(const PluginLoader &plugins, ProgramOutput &output)
{
    QString lines;
    const QVector<PluginInfo> all = plugins.plugins();
    for (const PluginInfo &plugin : all) {
        const QString version = plugin.version.isNull() ? QStringLiteral("unknown") : displayText(plugin.version);
        lines += QStringLiteral("%1\t%2\t%3\t%4\n")
                     .arg(displayText(plugin.containerName), displayText(plugin.extensions.join(QLatin1Char(','))),
                          displayText(plugin.file), version);
    }
    warnOfDoubles(all);
    return output.print(pathForDisplay(lines));
}

} // namespace quenlofar
