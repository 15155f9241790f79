#include "documentwork.h"
#include "filepath.h"
#include "hexaccessible.h"
#include "limittext.h"
#include "mainwindow.h"
#include "placeaccessible.h"
#include "pluginloader.h"
#include "pluginplaces.h"
#include "windowcommands.h"

#include <QApplication>
#include <QCommandLineParser>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string_view>
#include <thread>

using namespace quenlofar;

namespace {

/// The bounds of reading, as the program `quenlofar` calls them.
struct LimitOptions
{
    QCommandLineOption items{QStringLiteral("max-items"),
                             QCoreApplication::translate("main", "Elements and fields per file."), QStringLiteral("N")};
    QCommandLineOption depth{QStringLiteral("max-depth"),
                             QCoreApplication::translate("main", "Levels of nested elements, at most 1000."),
                             QStringLiteral("N")};
    QCommandLineOption work{
        QStringLiteral("max-work"),
        QCoreApplication::translate("main", "Bytes read per file: a multiple of its size, or a size."),
        QStringLiteral("FACTOR|SIZE")};
    QCommandLineOption seconds{QStringLiteral("max-seconds"),
                               QCoreApplication::translate("main", "Seconds of reading per file."),
                               QStringLiteral("N")};

    /// What was given; ends the program where something of it makes no sense.
    RunLimits limitsOf(const QCommandLineParser &parser) const
    {
        constexpr quint64 deepest = 1000;
        RunLimits limits;
        setNumber(parser, items, ~quint64(0), &limits.maxItems);
        setNumber(parser, depth, deepest, &limits.maxDepth);
        setNumber(parser, seconds, longestRunSeconds, &limits.maxSeconds);
        if (parser.isSet(work) && !setWorkLimit(parser.value(work), &limits))
            fail(work, QString::fromLatin1(workLimitHelp));
        return limits;
    }

private:
    [[noreturn]] static void fail(const QCommandLineOption &option, const QString &what)
    {
        std::fprintf(stderr, "quenlofar-viewer: --%s %s\n", option.names().constFirst().toUtf8().constData(),
                     what.toUtf8().constData());
        std::exit(1); // NOLINT(concurrency-mt-unsafe): no other thread was started
    }
    static void setNumber(const QCommandLineParser &parser, const QCommandLineOption &option, quint64 most,
                          quint64 *number)
    {
        if (!parser.isSet(option))
            return;
        bool isNumber = false;
        const quint64 value = parser.value(option).toULongLong(&isNumber);
        if (!isNumber || value < 1 || value > most)
            fail(option, QCoreApplication::translate("main", "has to be a number from 1 to %1").arg(most));
        *number = value;
    }
};

DocumentOptions optionsOf(const QStringList &pluginDirectories, const RunLimits &limits)
{
    auto plugins = std::make_shared<PluginLoader>();
    const QStringList places = pluginPlaces(pluginDirectories);
    for (const QString &place : places)
        plugins->addDirectory(place);
    const QStringList warnings = plugins->warnings();
    for (const QString &warning : warnings)
        std::fprintf(stderr, "quenlofar-viewer: warning: %s\n", pathForDisplay(warning).constData());
    DocumentOptions options;
    options.plugins = plugins;
    options.limits = limits;
    return options;
}

/// Ends the process. A thread may hang in a read for ever; nobody waits for it longer than people notice.
[[noreturn]] void end(int status)
{
    constexpr std::chrono::milliseconds longest{50};
    constexpr std::chrono::milliseconds step{1};
    for (auto waited = step; DocumentWork::runningThreads() > 0 && waited < longest; waited += step)
        std::this_thread::sleep_for(step);
    if (DocumentWork::runningThreads() == 0)
        std::exit(status); // NOLINT(concurrency-mt-unsafe): no other thread is left
    std::fflush(nullptr);
    std::_Exit(status);
}

/// The options and arguments of the program, as QCommandLineParser reads them.
struct Arguments
{
    QCommandLineParser parser;
    const QCommandLineOption dump{QStringLiteral("dump-state"),
                                  QCoreApplication::translate("main", "Print what is shown as JSON, then end.")};
    const QCommandLineOption shot{QStringLiteral("screenshot"),
                                  QCoreApplication::translate("main", "Save a picture of the window, then end."),
                                  QStringLiteral("OUT.png")};
    const QCommandLineOption action{
        QStringLiteral("do"),
        QCoreApplication::translate("main", "Do an action once all work is done; several times, in order. Then end."),
        QStringLiteral("ACTION[=VALUE]")};
    const QCommandLineOption places{QStringLiteral("plugin-dir"),
                                    QCoreApplication::translate("main", "Look for parser plug-ins here first."),
                                    QStringLiteral("DIR")};
    const QCommandLineOption noSession{
        QStringLiteral("no-session"),
        QCoreApplication::translate("main", "Neither open what was open last nor keep what is open at the end.")};
    const LimitOptions limits;

    /// Reads them; ends the program where they ask for help or make no sense.
    explicit Arguments(const QCoreApplication &application);
};

Arguments::Arguments(const QCoreApplication &application)
{
    parser.setApplicationDescription(
        QCoreApplication::translate("main", "Shows the structure and the bytes of media files, linked."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions({dump, shot, action, places, noSession, limits.items, limits.depth, limits.work, limits.seconds});
    parser.addPositionalArgument(
        QStringLiteral("FILE[@OFFSET]"),
        QCoreApplication::translate("main", "Files and folders to open, and where to go in them."),
        QStringLiteral("[FILE[@OFFSET]...]"));
    parser.process(application);
}

/// Help and version can be read where there is no screen.
bool asksForText(int argc, char **argv)
{
    constexpr std::string_view options[] = {"-h", "--help", "--help-all", "-v", "--version"};
    return std::any_of(argv + 1, argv + argc, [&options](const char *argument) {
        return std::find(std::begin(options), std::end(options), argument) != std::end(options);
    });
}

int run(QApplication &application)
{
    const Arguments arguments(application);
    const QCommandLineParser &parser = arguments.parser;
    WindowCommands commands;
    commands.dumpsState = parser.isSet(arguments.dump);
    commands.screenshot = parser.value(arguments.shot);
    const QStringList actions = parser.values(arguments.action);
    for (const QString &each : actions)
        commands.actions.push_back(WindowCommands::Action::parse(each));

    HexAccessible::install();
    PlaceAccessible::install();
    MainWindow window(optionsOf(parser.values(arguments.places), arguments.limits.limitsOf(parser)));
    const QStringList files = parser.positionalArguments();
    // What scripts do is nobody's session.
    if (!commands.areAny())
        window.rememberFiles();
    if (!commands.areAny() && files.isEmpty() && !parser.isSet(arguments.noSession))
        window.restoreSession();
    window.show();
    for (const QString &argument : files) {
        const FileArgument file = FileArgument::parse(argument);
        window.open(file.file, file.place);
    }
    CommandRunner runner(window, commands);
    if (commands.areAny())
        runner.start();
    return QApplication::exec();
}

} // namespace

int main(int argc, char **argv)
{
    int status = 0;
    if (argc > 1 && asksForText(argc, argv)) {
        const QCoreApplication application(argc, argv);
        QCoreApplication::setApplicationVersion(QStringLiteral(QUENLOFAR_VERSION));
        const Arguments arguments(application); // ends the program
        return status;
    }
    {
        QApplication application(argc, argv);
        QCoreApplication::setApplicationName(QStringLiteral("quenlofar-viewer"));
        QCoreApplication::setApplicationVersion(QStringLiteral(QUENLOFAR_VERSION));
        status = run(application);
    }
    end(status);
}
