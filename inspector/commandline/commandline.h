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
    /// Reads the arguments; CLI11's exceptions say what else there is to do.
    void parse();
    /// The help of the command that was named, or of the program.
    std::string help() const { return m_app.help(); }
    /// For what is made from the options and commands: manual pages, completions.
    const CLI::App &definitions() const { return m_app; }

private:
    void refuseUnexpected() const;
    CLI::App &addCommand(const std::string &name, Options::Command which, const std::string &description);
    void addSummary();
    void addTree();
    void addCheck();
    void addRepair();
    void addCatalogue();
    void addStreams();
    void addPackets();
    void addFrames();
    void addAt();
    void addBytes();
    void addCoverage();
    void addDiff();
    void addPlugins();
    void addCheckPlugin();

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
