#pragma once

#include "arguments.h"
#include "options.h"

#include <CLI/CLI.hpp>

namespace quenlofar {

/// The program's options and commands as CLI11 knows them. What is parsed goes to an Options.
class CommandLine
{
public:
    /// Both outlive the object.
    CommandLine(const Arguments &arguments, Options &options);

    /// The names of all commands.
    std::vector<std::string> commands() const;
    /// Adds the options of the command with this name, of all for an empty one: before parse(), and only once. The
    /// options of all commands take longer to make than a small file to show.
    void define(const std::string &name);
    /// Reads the arguments of a command that is defined; CLI11's exceptions say what else there is to do.
    void parse();
    /// The help of the command that was named, or of the program.
    std::string help() const { return m_app.help(); }
    /// For what is made from the options and commands that are defined: manual pages, completions.
    const CLI::App &definitions() const { return m_app; }

private:
    struct Command
    {
        const char *name;
        Options::Command which;
        const char *description;
        void (CommandLine::*define)(CLI::App &command);
    };
    static const Command allCommands[];

    void refuseUnexpected() const;
    void defineSummary(CLI::App &command);
    void defineCheck(CLI::App &command);
    void defineRepair(CLI::App &command);
    void defineCatalogue(CLI::App &command);
    void defineTree(CLI::App &command);
    void defineStreams(CLI::App &command);
    void definePackets(CLI::App &command);
    void defineFrames(CLI::App &command);
    void defineAt(CLI::App &command);
    void defineBytes(CLI::App &command);
    void defineCoverage(CLI::App &command);
    void defineDiff(CLI::App &command);
    void definePlugins(CLI::App &command);
    void defineCheckPlugin(CLI::App &command);

    void addManyFiles(CLI::App &command);
    void requireFiles(const CLI::App &command) const;
    void addFile(CLI::App &command, const std::string &name);
    void addFormats(CLI::App &command, const std::vector<std::string> &formats);
    void addLimits(CLI::App &command);
    void addOutput(CLI::App &command);
    void addStyle(CLI::App &command);
    void addRules(CLI::App &command, const std::string &name, QStringList *rules, const std::string &description);
    void addDigest(CLI::App &command, DigestChoice *digest, const std::string &description);
    void addNumbers(CLI::App &command);
    void addProgress(CLI::App &command);

    const Arguments &m_arguments;
    Options &m_options;
    CLI::App m_app;
};

} // namespace quenlofar
