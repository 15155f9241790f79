#include "options.h"

#include "deepstack.h"
#include "filepath.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <string>
#include <vector>

namespace {

QString textOf(const std::string &bytes)
{
    return pathFromBytes(QByteArray(bytes.data(), int(bytes.size())));
}

/**
 * The arguments behind the program's name, in a form in which CLI11 takes a file for a file: whatever follows "--",
 * and what it would otherwise read as a list ("[a,b]") or as the end of a sub-command ("++"), goes through the parser
 * as a placeholder. A placeholder begins with a zero byte, which no argument can hold.
 */
class Arguments
{
public:
    Arguments(int argc, const char *const *argv) : m_given(argv + std::min(argc, 1), argv + argc) { }

    std::vector<std::string> masked() const
    {
        std::vector<std::string> result;
        bool onlyFiles = false;
        for (size_t i = 0; i < m_given.size(); ++i) {
            const std::string &argument = m_given[i];
            const bool isList = argument.size() > 1 && argument.front() == '[' && argument.back() == ']';
            if (onlyFiles || isList || argument == "++")
                result.push_back(std::string(1, '\0') + std::to_string(i));
            else if (argument == "--")
                onlyFiles = true;
            else
                result.push_back(argument);
        }
        return result;
    }

    const std::string &given(const std::string &masked) const
    {
        const bool isPlaceholder = !masked.empty() && masked.front() == '\0';
        return isPlaceholder ? m_given[std::stoul(masked.substr(1))] : masked;
    }

private:
    std::vector<std::string> m_given;
};

/// A whole decimal number from 1 to `most`, or a usage error.
quint64 parseLimit(const std::string &option, const std::string &text, quint64 most)
{
    quint64 number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < 1 || number > most)
        throw CLI::ValidationError(option, "has to be a number from 1 to " + std::to_string(most));
    return number;
}

void addLimit(CLI::App &command, const std::string &option, quint64 *limit, quint64 most, const char *type,
              const char *description)
{
    command
        .add_option_function<std::string>(
            option, [=](const std::string &text) { *limit = parseLimit(option, text, most); }, description)
        ->type_name(type);
}

/// Reads the arguments into `options`; CLI11's exceptions say what else there is to do.
void parse(const Arguments &arguments, Options *options)
{
    constexpr quint64 any = std::numeric_limits<quint64>::max();
    std::string pluginDirectory;
    std::string format = "text";
    std::vector<std::string> files;

    CLI::App app("Shows everything that stands in media files: elements, fields and bytes.", "quenlofar");
    app.set_version_flag("--version", "quenlofar " QUENLOFAR_VERSION, "Print the version and exit");
    app.add_option("--plugin-dir", pluginDirectory, "Look for parser plug-ins here first")->type_name("DIR");
    app.require_subcommand(1);
    app.fallthrough();
    app.footer("Exit status: 0 nothing wrong with any file; 1 some file has a problem; 2 wrong usage, no plug-in,\n"
               "a file that could not be read, or output that could not be written.\n"
               "QUENLOFAR_PLUGIN_PATH names more directories with plug-ins, separated by colons.");

    CLI::App *const tree = app.add_subcommand("tree", "Print the element tree of files");
    tree->add_option("FILE", files, "Files to show; what follows -- is a file even if it begins with -")
        ->required()
        ->type_name("");
    tree->add_option("--format", format, "Text for people, or one JSON document per line for programs [text]")
        ->check(CLI::IsMember({"text", "json"}).description({}))
        ->type_name("text|json");
    tree->add_flag("--pretty", options->pretty, "Indent JSON");
    addLimit(*tree, "--max-items", &options->limits.maxItems, any, "N",
             "Elements and fields per file [one million, or the file's size in bytes if that is more]");
    addLimit(*tree, "--max-depth", &options->limits.maxDepth, deepestNesting, "N", "Elements inside each other [1000]");
    addLimit(*tree, "--max-work", &options->limits.maxWorkFactor, any, "FACTOR",
             "Bytes read per file, as a multiple of its size, beside 64 MiB [64]");
    tree->footer("Also accepted: --plugin-dir DIR, --version.");

    CLI::App *const plugins = app.add_subcommand("plugins", "List the parser plug-ins: name, extensions, file");
    plugins->footer("Also accepted: --plugin-dir DIR, --version.");

    try {
        std::vector<std::string> reversed = arguments.masked();
        std::reverse(reversed.begin(), reversed.end()); // as CLI11 wants them
        app.parse(reversed);
    } catch (const CLI::CallForHelp &) {
        options->information = QByteArray::fromStdString(app.help());
        return;
    } catch (const CLI::RequiredError &) {
        // What was given by mistake says more than what is missing because of it.
        const std::vector<std::string> unexpected = app.remaining(true);
        if (unexpected.empty())
            throw;
        throw CLI::ExtrasError({arguments.given(unexpected.front())});
    }

    options->command = *tree ? Options::Command::Tree : Options::Command::Plugins;
    options->format = format == "json" ? Options::Format::Json : Options::Format::Text;
    if (!pluginDirectory.empty())
        options->pluginDirectory = textOf(arguments.given(pluginDirectory));
    for (const std::string &file : files)
        options->files.append(textOf(arguments.given(file)));
}

} // namespace

Options parseOptions(int argc, const char *const *argv)
{
    Options options;
    try {
        parse(Arguments(argc, argv), &options);
    } catch (const CLI::CallForVersion &version) {
        options.information = QByteArray(version.what()) + '\n';
    } catch (const CLI::ParseError &error) {
        options.usageError = textOf(error.what());
    }
    return options;
}
