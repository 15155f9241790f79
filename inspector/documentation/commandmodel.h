#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace quenlofar {

/// What a shell offers in the place of an argument.
enum class Completion { Nothing, Words, Files, Directories };

/// An option, or an argument by position, as manual pages and completions show it.
struct OptionDefinition
{
    std::vector<std::string> names; ///< as typed, short ones first; none for an argument by position
    std::vector<std::string> opposites; ///< names that undo it
    std::string argument; ///< what its value is called; empty for a flag
    Completion completion = Completion::Nothing;
    std::vector<std::string> words; ///< the values there are, for Completion::Words
    std::string description;
    bool required = false;
    bool repeats = false;
};

/// A command, or the program itself.
struct CommandDefinition
{
    std::string name;
    std::string description;
    std::vector<std::string> notes; ///< lines of prose behind the options
    std::vector<std::string> examples; ///< lines to be typed
    std::vector<OptionDefinition> options;
    std::vector<OptionDefinition> positions;

    bool takesFiles() const;
};

struct ProgramDefinition
{
    CommandDefinition program;
    std::vector<CommandDefinition> commands;
};

/// Throws std::runtime_error where an option takes a value of a kind that is not known here.
ProgramDefinition definitionOf(const CLI::App &app);

} // namespace quenlofar
