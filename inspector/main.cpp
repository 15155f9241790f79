#include "commands.h"
#include "crashreport.h"
#include "exitstatus.h"
#include "filepath.h"
#include "interrupt.h"
#include "messages.h"
#include "options.h"
#include "pluginloader.h"
#include "pluginplaces.h"
#include "programoutput.h"
#include "targetguard.h"

#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <exception>
#include <new>

using namespace quenlofar;

namespace {

void loadPlugins(const QStringList &named, PluginLoader *plugins)
{
    if (!PluginPlaceTrust::ofProcess().inCaller && !named.isEmpty())
        printMessage(QStringLiteral("warning: --plugin-dir does not count where the program has more rights than you"));
    for (const QString &place : named) {
        // Places of ours may be missing; one that the user names should be there.
        struct stat found = {};
        if (stat(pathToBytes(place).constData(), &found) != 0 || !S_ISDIR(found.st_mode))
            printMessage(QStringLiteral("warning: --plugin-dir %1: there is no such directory").arg(place));
    }
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
    ProgramOutput output;
    if (!options.information.isNull())
        return output.print(options.information);

    if (options.command == Options::Command::CheckPlugin)
        return checkPlugin(options, output);
    PluginLoader plugins;
    loadPlugins(options.pluginDirectories, &plugins);
    if (plugins.plugins().isEmpty()) {
        printMessage(QStringLiteral("no usable parser plug-in in any of: ")
                     + pluginPlaces(options.pluginDirectories).join(QStringLiteral(", ")));
        return ExitFailure;
    }
    // Before there is a file that has to go when the program is ended.
    InterruptWatch::install();
    if (!output.choose(options.output))
        return InterruptWatch::wasInterrupted() ? InterruptWatch::exitStatus() : int(ExitFailure);
    if (!isTargetSafe(options, plugins, output))
        return ExitFailure;
    switch (options.command) {
    case Options::Command::Summary:
        return summarise(options, plugins, output);
    case Options::Command::Tree:
        return showTrees(options, plugins, output);
    case Options::Command::Streams:
        return listStreams(options, plugins, output);
    case Options::Command::Check:
        return quenlofar::checkFiles(options, plugins, output);
    case Options::Command::Repair:
        return repairFiles(options, plugins, output);
    case Options::Command::Catalogue:
        return catalogueFiles(options, plugins, output);
    case Options::Command::Packets:
        return quenlofar::listPackets(options, plugins, output);
    case Options::Command::Frames:
        return listFrames(options, plugins, output);
    case Options::Command::At:
        return showPlaces(options, plugins, output);
    case Options::Command::Bytes:
        return extractBytes(options, plugins, output);
    case Options::Command::Coverage:
        return accountForBytes(options, plugins, output);
    case Options::Command::Diff:
        return compareFiles(options, plugins, output);
    case Options::Command::Plugins:
        return listPlugins(plugins, output);
    default:
        return ExitFailure;
    }
}

} // namespace

int main(int argc, char **argv)
{
    occupyStandardDescriptors();
    CrashReport::install();
    // Patterns are matched character by character; numbers and messages stay the same in every locale.
    std::setlocale(LC_CTYPE, "C.UTF-8");
    // A reader that has gone, and a file that may not grow any more, show as errors of write().
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    try {
        return runCommand(parseOptions(argc, argv));
    } catch (const std::bad_alloc &) {
        printOutOfMemory();
        return ExitFailure;
    } catch (const std::exception &exception) {
        printMessage(QString::fromLocal8Bit(exception.what()));
        return ExitFailure;
    }
}
