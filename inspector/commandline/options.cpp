#include "options.h"

#include "commandline.h"

Options parseOptions(int argc, const char *const *argv)
{
    Options options;
    Arguments arguments(argc, argv);
    CommandLine commandLine(arguments, options);
    arguments.supplyCommand(commandLine.commands(), "summary");
    try {
        commandLine.parse();
    } catch (const CLI::CallForHelp &) {
        options.information = QByteArray::fromStdString(commandLine.help());
    } catch (const CLI::CallForVersion &version) {
        options.information = QByteArray(version.what()) + '\n';
    } catch (const CLI::ParseError &error) {
        options.usageError = arguments.text(error.what());
    }
    return options;
}
