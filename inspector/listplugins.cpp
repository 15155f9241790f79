#include "commands.h"

#include "filepath.h"
#include "pluginloader.h"
#include "standardoutput.h"

int listPlugins(const PluginLoader &plugins)
{
    QString lines;
    const QVector<PluginInfo> all = plugins.plugins();
    for (const PluginInfo &plugin : all) {
        lines += QStringLiteral("%1\t%2\t%3\n")
                     .arg(plugin.containerName, plugin.extensions.join(QLatin1Char(',')), plugin.file);
    }
    return StandardOutput().print(pathForDisplay(lines));
}
