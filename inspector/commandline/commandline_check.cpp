// The commands that read files strictly, by their sizes.
#include "commandline.h"
#include "optionhelpers.h"
#include "options.h"

namespace quenlofar {

void CommandLine::definePackets(CLI::App &command)
{
    addManyFiles(command);
    addFormats(command, {"text", "csv", "json"});
    PacketChoice &packets = m_options.packets;
    addNumber(command, "--stream", &packets.stream, 0, anyNumber - 1, "N", "Only of stream N of all streams, from 0");
    const std::vector<std::string> kinds = {"video", "audio", "subtitles", "midi", "mixed", "other"};
    addChoice(
        command, "--type", kinds,
        [&packets](const std::string &word) { packets.kinds.append(QString::fromStdString(word)); },
        "Only of streams of this kind; several times: of any of them")
        ->trigger_on_parse()
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false);
    command.add_flag("--keys", packets.keyOnly, "Only those that an index says are key frames");
    command
        .add_option_function<std::string>(
            "--range",
            [&packets](const std::string &text) {
                parseRange("--range", text, &packets.firstNumber, &packets.lastNumber);
            },
            "Only packets with these numbers within their streams, A and B included; A.. and ..B work too")
        ->type_name("A..B");
    command
        .add_option_function<std::string>(
            "--time-range",
            [&packets](const std::string &text) {
                parseTimeRange("--time-range", text, &packets.firstSecond, &packets.lastSecond);
            },
            "Only packets that begin at these times, in seconds")
        ->type_name("A..B");
    command
        .add_option_function<std::string>(
            "--offset-range",
            [&packets](const std::string &text) {
                parseOffsetRange("--offset-range", text, &packets.firstOffset, &packets.lastOffset);
            },
            "Only packets whose data begins at these offsets; hexadecimal with 0x")
        ->type_name("A..B");
    addNumbers(command);
    addLimits(command);
    addOutput(command);
    addProgress(command);
    command.footer("Packets are found by following the sizes in the file. A key of ? is not known: no index says it.\n"
                   "Examples:\n"
                   "  quenlofar packets --stream 0 --keys film\n"
                   "  quenlofar packets --type audio --time-range 0..0.5 --format csv film");
}

void CommandLine::defineCheck(CLI::App &command)
{
    addManyFiles(command);
    CheckChoice &check = m_options.check;
    addChoice(
        command, "--level", {"quick", "default", "deep"},
        [&check](const std::string &word) { levelFromText(QString::fromStdString(word), &check.level); },
        "How much is read: headers and a sample of the index; every chunk and index entry; payload too [default]");
    addFormats(command, {"text", "json", "csv", "sarif", "junit", "lines"});
    addChoice(
        command, "--fail-on", {"error", "warning", "note", "never"},
        [&check](const std::string &word) {
            check.failOn = word == "note" ? CheckChoice::FailOn::Note
                : word == "warning"       ? CheckChoice::FailOn::Warning
                : word == "never"         ? CheckChoice::FailOn::Never
                                          : CheckChoice::FailOn::Error;
        },
        "The severity from which on a finding makes the exit status 1 [error]");
    addRules(command, "--only", &check.only, "Only these rules, by their names, separated by commas");
    addRules(command, "--except", &check.except, "All but these rules");
    command
        .add_option_function<std::string>(
            "--policy", [&check, this](const std::string &value) { check.policy = m_arguments.text(value); },
            "A file that changes severities, switches rules off and sets thresholds, each with a reason")
        ->type_name("FILE");
    command
        .add_option_function<std::string>(
            "--baseline", [&check, this](const std::string &value) { check.baseline = m_arguments.text(value); },
            "An earlier output of --format json: what it has already does not count")
        ->type_name("FILE");
    command.add_flag("--file-facts", check.fileFacts,
                     "With --format json: add what catalogue --import takes: path, size, time, inode, streams, writer");
    addDigest(command, &check.digest, "With --file-facts: a digest of each file's bytes, as catalogue keeps it [none]");
    command.add_flag("--list-rules", check.listsRules, "List the rules of all containers; needs no file");
    command
        .add_option_function<std::string>(
            "--explain", [&check, this](const std::string &value) { check.explained = m_arguments.text(value); },
            "Explain a rule: what is wrong, who notices, what to do; needs no file")
        ->type_name("RULE");
    addNumbers(command);
    addLimits(command);
    addOutput(command);
    addProgress(command);
    command.final_callback([&command, &check, this] {
        const bool isWhole = check.only.isEmpty() && check.except.isEmpty() && check.policy.isNull()
            && check.baseline.isNull() && m_options.format == Options::Format::Json;
        if (check.fileFacts && !isWhole)
            throw CLI::ValidationError("--file-facts", "goes with --format json, and with all rules as they are");
        if (check.digest != DigestChoice::None && !check.fileFacts)
            throw CLI::ValidationError("--digest", "goes with --file-facts");
        requireFiles(command);
    });
    command.footer(
        "For programs there are also csv, with a row for each finding; sarif and junit, one document for all files;\n"
        "lines, one line for each file.\n"
        "Exit status: 0 nothing as severe as --fail-on; 1 something, or no rules for a file; 2 a file that could not "
        "be\n"
        "read, or wrong usage.\n"
        "Examples:\n"
        "  quenlofar check film\n"
        "  quenlofar check --level deep --format json film\n"
        "  quenlofar check --format lines -r archive\n"
        "  quenlofar check --explain index-missing");
}

} // namespace quenlofar
