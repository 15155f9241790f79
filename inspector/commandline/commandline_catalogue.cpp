// The command that remembers what it found.
#include "commandline.h"
#include "optionhelpers.h"
#include "options.h"

#include <iterator>
#include <string>
#include <utility>

namespace quenlofar {

namespace {

/// "90d": a whole number of seconds, minutes, hours, days or weeks, in seconds.
qint64 parseAge(const std::string &option, const std::string &text)
{
    static constexpr std::pair<char, quint64> units[] = {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}, {'w', 604800}};
    constexpr quint64 most = quint64(1) << 32; // weeks and more than a century: in nanoseconds it still fits
    for (const auto &[letter, seconds] : units) {
        if (text.size() > 1 && text.back() == letter)
            return qint64(seconds * parseNumber(option, text.substr(0, text.size() - 1), 0, most / seconds));
    }
    throw CLI::ValidationError(option, "takes an age such as 12h, 90d or 4w; 0d is any");
}

} // namespace

void CommandLine::addDigest(CLI::App &command, DigestChoice *digest, const std::string &description)
{
    addChoice(
        command, "--digest", {"none", "fast", "sha256"},
        [digest](const std::string &word) {
            *digest = word == "fast" ? DigestChoice::Fast
                : word == "sha256"   ? DigestChoice::Sha256
                                     : DigestChoice::None;
        },
        description);
}

void CommandLine::defineCatalogue(CLI::App &command)
{
    CatalogueChoice &choice = m_options.catalogue;
    addManyFiles(command);
    command
        .add_option_function<std::string>(
            "--database", [&choice, this](const std::string &value) { choice.database = m_arguments.text(value); },
            "The catalogue, a database of SQLite; made where there is none")
        ->type_name("FILE")
        ->required();
    addChoice(
        command, "--level", {"quick", "default", "deep"},
        [&choice](const std::string &word) { levelFromText(QString::fromStdString(word), &choice.level); },
        "How much is read: headers and a sample of the index; every chunk and index entry; payload too [default]");
    addDigest(
        command, &choice.digest,
        "Keep a digest of each file's bytes: XXH3, which finds accidents but proves nothing against intent; or SHA-256 "
        "[none]");
    command
        .add_option_function<std::string>(
            "--recheck", [&choice](const std::string &value) { choice.recheckSeconds = parseAge("--recheck", value); },
            "Read files again whose last check is this old, such as 12h, 90d or 4w, although they seem unchanged")
        ->type_name("AGE");
    addChoice(
        command, "--report", {"text", "html", "csv", "json"},
        [&choice](const std::string &word) {
            choice.report = word == "html" ? CatalogueChoice::Report::Html
                : word == "csv"            ? CatalogueChoice::Report::Csv
                : word == "json"           ? CatalogueChoice::Report::Json
                                           : CatalogueChoice::Report::Text;
        },
        "Report on the whole archive [only what is new and wrong]");
    addTexts(
        command, m_arguments, "--import", &choice.imports, "FILE",
        "Take what check --format json --file-facts printed into this file, also on another machine; several times");
    addLimits(command);
    addOutput(command);
    addProgress(command);
    command.final_callback([&command, &choice, this] {
        if (choice.database.isEmpty())
            throw CLI::ValidationError("--database", "has to name a file");
        if (choice.report == CatalogueChoice::Report::None && choice.imports.isEmpty())
            requireFiles(command);
    });
    command.footer("Files that a run before has checked are passed over while size, time, inode and rules stay.\n"
                   "With --report and no file nothing is looked for: the report is made of what is known.\n"
                   "Exit status: 0 nothing new is wrong; 1 new damage, or files that are missing; 2 a file that could\n"
                   "not be read, a database that cannot be used, or wrong usage.\n"
                   "Examples:\n"
                   "  quenlofar catalogue --database archive.sqlite -r archive --report text\n"
                   "  quenlofar catalogue --database archive.sqlite --digest sha256 --recheck 90d -j 2 -q -r archive "
                   "--report html -o archive.html\n"
                   "  quenlofar catalogue --database archive.sqlite --report json");
}

} // namespace quenlofar
