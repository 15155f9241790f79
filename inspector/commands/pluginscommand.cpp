#include "commands.h"

#include "displaytext.h"
#include "filepath.h"
#include "pluginloader.h"
#include "programoutput.h"

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
    return output.print(pathForDisplay(lines));
}
