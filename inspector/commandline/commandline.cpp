#include "commandline.h"

#include "limittext.h"
#include "optionhelpers.h"
#include "options.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace quenlofar {

namespace {

constexpr quint64 mostJobs = 256;

/// "one,two", also with a dot in front of each.
QStringList extensionsIn(const QString &list)
{
    QStringList extensions = list.split(QLatin1Char(','));
    for (QString &extension : extensions) {
        if (extension.startsWith(QLatin1Char('.')))
            extension.remove(0, 1);
    }
    return extensions;
}

/// "0.5", a multiple of a file's size, or "500MB", a number of bytes in one of the units in which sizes are shown.
void parseWork(const std::string &option, const std::string &text, RunLimits *limits)
{
    if (!setWorkLimit(QString::fromStdString(text), limits))
        throw CLI::ValidationError(option, workLimitHelp);
}

} // namespace

// In the order of the help.
const CommandLine::Command CommandLine::allCommands[] = {
    {"summary", Options::Command::Summary, "Say on one screen what each file is", &CommandLine::defineSummary},
    {"check", Options::Command::Check, "Judge files by the rules of their format, with reasons",
     &CommandLine::defineCheck},
    {"repair", Options::Command::Repair, "Plan how to mend files, and write mended copies; alone it writes nothing",
     &CommandLine::defineRepair},
    {"catalogue", Options::Command::Catalogue,
     "Remember in a database what is known of an archive, and tell what is new", &CommandLine::defineCatalogue},
    {"tree", Options::Command::Tree, "Print the element tree of files", &CommandLine::defineTree},
    {"streams", Options::Command::Streams, "List the streams of files", &CommandLine::defineStreams},
    {"packets", Options::Command::Packets, "List all packets of all streams, whether an index knows them or not",
     &CommandLine::definePackets},
    {"frames", Options::Command::Frames, "List the video frames that the index of files reports",
     &CommandLine::defineFrames},
    {"at", Options::Command::At, "Show what is at an offset of a file", &CommandLine::defineAt},
    {"bytes", Options::Command::Bytes, "Extract the bytes of an element or of a range", &CommandLine::defineBytes},
    {"coverage", Options::Command::Coverage, "Account for every byte of files", &CommandLine::defineCoverage},
    {"diff", Options::Command::Diff, "Compare the elements and fields of two files", &CommandLine::defineDiff},
    {"plugins", Options::Command::Plugins, "List the parser plug-ins: name, extensions, file, version",
     &CommandLine::definePlugins},
    {"check-plugin", Options::Command::CheckPlugin,
     "Try a parser plug-in on files, and on what is left of them when they are damaged",
     &CommandLine::defineCheckPlugin},
};

CommandLine::CommandLine(const Arguments &arguments, Options &options)
    : m_arguments(arguments), m_options(options),
      m_app("Show everything that is in media files: elements, fields and bytes.", "quenlofar")
{
    m_app.set_version_flag("--version", "quenlofar " QUENLOFAR_VERSION, "Print the version and exit");
    m_app
        .add_option_function<std::vector<std::string>>(
            "--plugin-dir",
            [this](const std::vector<std::string> &places) {
                m_options.pluginDirectories += textsOf(m_arguments, places);
            },
            "Look for parser plug-ins here first; several times: in this order")
        ->type_name("DIR")
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    m_app.require_subcommand(1);
    m_app.fallthrough();
    m_app.footer("FILE... alone is summary FILE...; quenlofar COMMAND --help says more, with examples.\n"
                 "Exit status: 0 nothing wrong with any file; 1 some file has a problem; 2 wrong usage, no plug-in,\n"
                 "a file that could not be read, or output that could not be written; 129, 130, 143\n"
                 "ended by a signal; 141 nobody reads the output any more.\n"
                 "QUENLOFAR_PLUGIN_PATH names more directories with plug-ins, separated by colons. Your own are in\n"
                 "$XDG_DATA_HOME/quenlofar/" QUENLOFAR_ABI "/plugins, as a rule below ~/.local/share.");
    for (const Command &each : allCommands) {
        CLI::App *const command = m_app.add_subcommand(each.name, each.description);
        command->parse_complete_callback([this, &each] { m_options.command = each.which; });
    }
}

std::vector<std::string> CommandLine::commands() const
{
    std::vector<std::string> names;
    for (const Command &each : allCommands)
        names.emplace_back(each.name);
    return names;
}

void CommandLine::define(const std::string &name)
{
    for (const Command &each : allCommands) {
        if (name.empty() || name == each.name)
            (this->*each.define)(*m_app.get_subcommand(each.name));
    }
}

void CommandLine::parse()
{
    try {
        std::vector<std::string> reversed = m_arguments.masked();
        std::reverse(reversed.begin(), reversed.end()); // the order that CLI11 expects
        m_app.parse(reversed);
    } catch (const CLI::RequiredError &) {
        // What was given by mistake says more than what is missing because of it.
        refuseUnexpected();
        throw;
    } catch (const CLI::ExtrasError &) {
        refuseUnexpected();
        throw;
    }
}

/// Throws if there were arguments that nothing takes: names them as they were typed, in that order.
void CommandLine::refuseUnexpected() const
{
    std::vector<std::string> left = m_app.remaining(true);
    std::vector<std::string> unexpected;
    for (const std::string &argument : m_arguments.masked()) {
        const auto found = std::find(left.begin(), left.end(), argument);
        if (found == left.end())
            continue;
        unexpected.push_back(m_arguments.given(argument));
        left.erase(found);
    }
    if (!unexpected.empty())
        throw CLI::ExtrasError({unexpected.rbegin(), unexpected.rend()}); // which it names from behind
}

void CommandLine::defineSummary(CLI::App &command)
{
    addManyFiles(command);
    addFormats(command, {"text", "json"});
    addNumbers(command);
    addLimits(command);
    addOutput(command);
    addProgress(command);
    command.footer("Examples:\n"
                   "  quenlofar film\n"
                   "  quenlofar summary --iec film other\n"
                   "  quenlofar summary --format json -j 2 -r archive");
}

void CommandLine::defineTree(CLI::App &command)
{
    addManyFiles(command);
    addFormats(command, {"text", "json"});
    TreeChoice &tree = m_options.tree;
    addNumber(command, "--depth", &tree.depth, 1, anyNumber, "N", "Show N levels of the tree");
    addTexts(command, m_arguments, "--only", &tree.only, "PATTERN",
             "Show elements and fields of this name with what is in them, and what they are in; shell wildcards, "
             "case is ignored; several times: any of them");
    addTexts(command, m_arguments, "--where", &tree.where, "CONDITION",
             "Show fields for which this holds: NAME=VALUE, also != < <= > >=; NAME and VALUE may have wildcards; "
             "several times: all of them");
    addSwitch(
        command, "--collapse", [this] { m_options.tree.collapse = When::Always; },
        "Show long runs of like items as the first, how many, the last [in text on a terminal]");
    addSwitch(
        command, "--no-collapse", [this] { m_options.tree.collapse = When::Never; }, "Show every item");
    command.add_flag("--hex", tree.bytes, "Show the bytes of each field, at most 16");
    command.add_flag("--paths", tree.paths, "Show each item's path, as the bytes command takes it");
    command.add_flag_callback(
        "--no-frames", [this] { m_options.tree.frames = false; }, "Leave out reported frames");
    addNumbers(command);
    addLimits(command);
    addOutput(command);
    addProgress(command);
    command.footer("Examples:\n"
                   "  quenlofar tree --depth 3 --offsets hex film\n"
                   "  quenlofar tree --only 'dw*' --hex film\n"
                   "  quenlofar tree --where 'size>=4096' --paths film\n"
                   "  quenlofar tree --format json --pretty film");
}

void CommandLine::defineStreams(CLI::App &command)
{
    addManyFiles(command);
    addFormats(command, {"text", "csv", "json"});
    addLimits(command);
    addOutput(command);
    addProgress(command);
    command.footer("Examples:\n"
                   "  quenlofar streams film\n"
                   "  quenlofar streams --format csv film other");
}

void CommandLine::defineFrames(CLI::App &command)
{
    addManyFiles(command);
    addFormats(command, {"text", "csv", "json"});
    FrameChoice &frames = m_options.frames;
    addNumber(command, "--stream", &frames.stream, 0, anyNumber - 1, "N", "Only of video stream N, from 0");
    command
        .add_option_function<std::string>(
            "--range", [&frames](const std::string &text) { parseRange("--range", text, &frames.first, &frames.last); },
            "Only frames with these numbers, A and B included; A.. and ..B work too")
        ->type_name("A..B");
    command.add_flag("--key-only", frames.keyOnly, "Only key frames");
    addNumbers(command);
    addLimits(command);
    addOutput(command);
    addProgress(command);
    command.footer(
        "What the legacy index of a file says. All frames of all streams, indexed or not: quenlofar packets.\n"
        "Examples:\n"
        "  quenlofar frames --key-only film\n"
        "  quenlofar frames --stream 0 --range 10..19 --format csv film");
}

void CommandLine::defineAt(CLI::App &command)
{
    addFile(command, "FILE");
    command
        .add_option_function<std::vector<std::string>>(
            "OFFSET",
            [this](const std::vector<std::string> &values) { m_options.places = textsOf(m_arguments, values); },
            "In bytes from the start: 1000, 0x3E8, or end-100")
        ->required()
        ->type_name("");
    addFormats(command, {"text", "json"});
    addLimits(command);
    addOutput(command);
    command.footer("Examples:\n"
                   "  quenlofar at film 0x20\n"
                   "  quenlofar at film 0 end-1");
}

void CommandLine::defineBytes(CLI::App &command)
{
    addFile(command, "FILE");
    command
        .add_option_function<std::string>(
            "PLACE", [this](const std::string &value) { m_options.places = textsOf(m_arguments, {value}); },
            "A path as tree --paths prints it, or OFFSET+LENGTH; hexadecimal with 0x, offsets from the end as end-100")
        ->required()
        ->type_name("");
    addLimits(command);
    addOutput(command);
    command.footer(
        "On a terminal the bytes are shown as a hex dump. Exit status: 1 if some of them are beyond the end of the\n"
        "file, 2 if there is no such element. An element whose name looks like a range is NAME[0].\n"
        "Examples:\n"
        "  quenlofar bytes film 0+12 -o start.bin\n"
        "  quenlofar bytes film 0x20+4 | od -A d -t u4");
}

void CommandLine::defineCoverage(CLI::App &command)
{
    addManyFiles(command);
    addFormats(command, {"text", "json"});
    addNumbers(command);
    addLimits(command);
    addOutput(command);
    addProgress(command);
    command.footer("Each byte counts once, in the first that holds it: interpreted by a field, data of an element,\n"
                   "unparsed, or in a gap that nothing covers. Overlaps are bytes that more than one field covers.\n"
                   "Examples:\n"
                   "  quenlofar coverage film\n"
                   "  quenlofar coverage --format json film");
}

void CommandLine::defineDiff(CLI::App &command)
{
    addFile(command, "A");
    addFile(command, "B");
    command.add_flag("--offsets,!--ignore-offsets", m_options.compareOffsets,
                     "Things at another place differ too [they do not]");
    addFormats(command, {"text", "json"});
    addLimits(command);
    addOutput(command);
    command.footer(
        "Prints - for what only A has, + for what only B has, ~ for what differs. The bytes of data and of what no\n"
        "parser interprets are not compared.\n"
        "Exit status: 0 the same, 1 different, 2 trouble: then nothing is compared.\n"
        "Examples:\n"
        "  quenlofar diff film other\n"
        "  quenlofar diff --offsets film other");
}

void CommandLine::definePlugins(CLI::App &command)
{
    command.footer("Example:\n"
                   "  quenlofar plugins");
}

void CommandLine::defineCheckPlugin(CLI::App &command)
{
    command
        .add_option_function<std::string>(
            "PLUGIN", [this](const std::string &value) { m_options.pluginFile = m_arguments.text(value); },
            "The plug-in's file; what it does not know is not asked of others")
        ->required()
        ->type_name("");
    command
        .add_option_function<std::vector<std::string>>(
            "FILE",
            [this](const std::vector<std::string> &values) {
                for (const std::string &value : values)
                    m_options.input.files.append(m_arguments.text(value));
            },
            "Files of the plug-in's format")
        ->required()
        ->type_name("");
    command.footer(
        "Each file is walked as it is, cut off at many places, and with bytes changed. An error is a crash, an\n"
        "exception, a walk without end, a broken rule of parsers, or a second walk that shows something else;\n"
        "of the file as it is also a byte in no field or in several. In damaged files those are warnings.\n"
        "Exit status: 0 no errors, 1 errors, 2 trouble.\n"
        "Example:\n"
        "  quenlofar check-plugin libquenlofar-container-avi.so film");
}

void CommandLine::addManyFiles(CLI::App &command)
{
    InputChoice &input = m_options.input;
    command
        .add_option_function<std::vector<std::string>>(
            "FILE",
            [this](const std::vector<std::string> &values) {
                for (const std::string &value : values)
                    m_options.input.files.append(m_arguments.text(value));
            },
            "Files to look at; what follows -- is a file even if it begins with -")
        ->type_name("");
    command
        .add_option_function<std::vector<std::string>>(
            "-r,--recursive",
            [this](const std::vector<std::string> &values) {
                for (const std::string &value : values)
                    m_options.input.directories.append(m_arguments.text(value));
            },
            "All files in this directory and below")
        ->type_name("DIR")
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    command
        .add_option_function<std::vector<std::string>>(
            "--ext",
            [this](const std::vector<std::string> &values) {
                for (const std::string &value : values)
                    m_options.input.extensions += extensionsIn(m_arguments.text(value));
            },
            "With -r: files with these extensions, separated by commas [those of the plug-ins]")
        ->type_name("EXT")
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    command
        .add_option_function<std::string>(
            "--files-from", [&input, this](const std::string &value) { input.list = m_arguments.text(value); },
            "Files that are listed in this file, one per line or separated by zero bytes; - is standard input")
        ->type_name("FILE");
    addNumber(command, "-j,--jobs", &m_options.jobs, 1, mostJobs, "N", "Look at N files side by side [1]");
    command.final_callback([&command, this] { requireFiles(command); });
}

void CommandLine::requireFiles(const CLI::App &command) const
{
    const InputChoice &given = m_options.input;
    if (m_options.check.isQuestion())
        return;
    if (given.files.isEmpty() && given.directories.isEmpty() && given.list.isNull())
        throw CLI::RequiredError(command.get_name() + ": FILE");
}

void CommandLine::addFile(CLI::App &command, const std::string &name)
{
    command
        .add_option_function<std::string>(
            name, [this](const std::string &value) { m_options.input.files.append(m_arguments.text(value)); },
            "File to look at")
        ->required()
        ->type_name("");
}

void CommandLine::addFormats(CLI::App &command, const std::vector<std::string> &formats)
{
    static constexpr std::pair<std::string_view, Options::Format> known[] = {
        {"text", Options::Format::Text},   {"json", Options::Format::Json},   {"csv", Options::Format::Csv},
        {"sarif", Options::Format::Sarif}, {"junit", Options::Format::Junit}, {"lines", Options::Format::Lines}};
    const auto choose = [this](const std::string &word) {
        const auto *const found =
            std::find_if(std::begin(known), std::end(known), [&word](const auto &row) { return row.first == word; });
        m_options.format = found->second;
    };
    const bool hasCsv = std::find(formats.begin(), formats.end(), "csv") != formats.end();
    addChoice(command, "--format", formats, choose,
              "Text for people; for programs one JSON document per line"
                  + std::string(hasCsv ? ", or comma-separated values" : "") + " [text]");
    command.add_flag("--pretty", m_options.pretty, "Indent JSON");
    if (hasCsv) {
        command.add_flag_callback(
            "--csv-raw", [this] { m_options.csvTexts = CsvTexts::Raw; },
            "Texts in comma-separated values as they are: control characters not escaped, no ' in front of formulas");
    }
}

void CommandLine::addLimits(CLI::App &command)
{
    RunLimits &limits = m_options.limits;
    addNumber(command, "--max-items", &limits.maxItems, 1, anyNumber, "N",
              "Elements and fields per file [one million, or the file's size in bytes if that is more]");
    addNumber(command, "--max-depth", &limits.maxDepth, 1, Options::deepestDepth, "N",
              "Levels of nested elements [80]");
    const auto storeWork = [&limits](const std::string &text) { parseWork("--max-work", text, &limits); };
    command
        .add_option_function<std::string>(
            "--max-work", storeWork,
            "Bytes read per file: as a multiple of its size, such as 64 or 0.5, in addition to 64 MiB; or a number of "
            "bytes with its unit, such as 4096B, 500MB or 1.5GiB [64]")
        ->type_name("FACTOR|SIZE");
    addNumber(command, "--max-seconds", &limits.maxSeconds, 1, longestRunSeconds, "N",
              "Seconds per file, where its parser lets itself be ended [no limit]");
}

void CommandLine::addOutput(CLI::App &command)
{
    command
        .add_option_function<std::string>(
            "-o,--output",
            [this](const std::string &value) {
                m_options.output.file = m_arguments.text(value);
                if (m_options.output.file.isEmpty())
                    throw CLI::ValidationError("--output", "has to name a file");
            },
            "Write to this file, which appears when it is complete")
        ->type_name("FILE");
    addStyle(command);
}

void CommandLine::addStyle(CLI::App &command)
{
    const auto choose = [this](const std::string &word) {
        m_options.output.color = word == "always" ? When::Always : word == "never" ? When::Never : When::Auto;
    };
    addChoice(command, "--color", {"auto", "always", "never"}, choose,
              "Colour in text [on a terminal, unless NO_COLOR is set]");
    command.add_flag("--pager", m_options.output.pager, "Show the output through $PAGER, if it goes to a terminal");
    command.add_flag("--quiet,-q", m_options.quiet, "Say on standard error only what kept a file from being read");
}

void CommandLine::addRules(CLI::App &command, const std::string &name, QStringList *rules,
                           const std::string &description)
{
    command
        .add_option_function<std::vector<std::string>>(
            name,
            [this, rules](const std::vector<std::string> &values) {
                for (const std::string &value : values)
                    *rules += m_arguments.text(value).split(QLatin1Char(','));
            },
            description)
        ->type_name("RULES")
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

void CommandLine::addNumbers(CLI::App &command)
{
    addChoice(
        command, "--offsets", {"dec", "hex"},
        [this](const std::string &word) { m_options.output.hexOffsets = word == "hex"; }, "Offsets in text [dec]");
    addSwitch(
        command, "--si", [this] { m_options.output.sizes = SizeUnits::Si; }, "Sizes in text in kB, MB, GB");
    addSwitch(
        command, "--iec", [this] { m_options.output.sizes = SizeUnits::Iec; }, "Sizes in text in KiB, MiB, GiB");
}

void CommandLine::addProgress(CLI::App &command)
{
    addSwitch(
        command, "--progress", [this] { m_options.progress = When::Always; },
        "Show progress on standard error [on a terminal, after half a second]");
    addSwitch(
        command, "--no-progress", [this] { m_options.progress = When::Never; }, "Show no progress");
}

} // namespace quenlofar
