#include "commands.h"
#include "exitstatus.h"
#include "filepath.h"
#include "messages.h"
#include "options.h"
#include "pluginloader.h"
#include "pluginplaces.h"
#include "standardoutput.h"

#include <sys/stat.h>

#include <csignal>
#include <exception>

namespace {

void loadPlugins(const QString &named, PluginLoader *plugins)
{
    // Places of ours may be missing; one that the user names should be there.
    struct stat found = {};
    if (!named.isNull() && (stat(pathToBytes(named).constData(), &found) != 0 || !S_ISDIR(found.st_mode)))
        printMessage(QStringLiteral("warning: --plugin-dir %1: there is no such directory").arg(named));
    const QStringList places = pluginPlaces(named);
    for (const QString &place : places)
        plugins->addDirectory(place);
    const QStringList warnings = plugins->warnings();
    for (const QString &warning : warnings)
        printMessage(QStringLiteral("warning: ") + warning);
}

int runCommand(const Options &options)
{
    if (!options.usageError.isNull()) {
        printMessage(options.usageError);
        printMessage(QStringLiteral("try: quenlofar --help"));
        return ExitFailure;
    }
    if (!options.information.isNull())
        return StandardOutput().print(options.information);

    PluginLoader plugins;
    loadPlugins(options.pluginDirectory, &plugins);
    if (plugins.plugins().isEmpty()) {
        printMessage(QStringLiteral("no usable parser plug-in in any of: ")
                     + pluginPlaces(options.pluginDirectory).join(QStringLiteral(", ")));
        return ExitFailure;
    }
    return options.command == Options::Command::Tree ? showTrees(options, plugins) : listPlugins(plugins);
}

} // namespace

int main(int argc, char **argv)
{
    occupyStandardDescriptors();
    // A reader that has gone shows as an error of write().
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return runCommand(parseOptions(argc, argv));
    } catch (const std::exception &exception) {
        printMessage(QString::fromLocal8Bit(exception.what()));
        return ExitFailure;
    }
}
