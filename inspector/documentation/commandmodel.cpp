#include "commandmodel.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace quenlofar {

namespace {

struct ValueKind
{
    std::string_view name;
    Completion completion;
};

/// What users are to type for each kind of value. A new kind has to be entered here: whether it is a file is no guess.
constexpr ValueKind valueKinds[] = {
    {"FILE", Completion::Files},      {"A", Completion::Files},         {"B", Completion::Files},
    {"DIR", Completion::Directories}, {"N", Completion::Nothing},       {"FACTOR", Completion::Nothing},
    {"EXT", Completion::Nothing},     {"PATTERN", Completion::Nothing}, {"CONDITION", Completion::Nothing},
    {"A..B", Completion::Nothing},    {"OFFSET", Completion::Nothing},  {"PLACE", Completion::Nothing},
    {"RULE", Completion::Nothing},    {"RULES", Completion::Nothing},   {"PLUGIN", Completion::Files},
    {"AGE", Completion::Nothing},
};

std::vector<std::string> split(const std::string &text, char separator)
{
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);)
        parts.push_back(part);
    return parts;
}

void setValue(OptionDefinition *option, const std::string &kind)
{
    option->argument = kind;
    if (kind.find('|') != std::string::npos) {
        option->completion = Completion::Words;
        option->words = split(kind, '|');
        return;
    }
    const auto known = std::find_if(std::begin(valueKinds), std::end(valueKinds),
                                    [&](const ValueKind &one) { return one.name == kind; });
    if (known == std::end(valueKinds))
        throw std::runtime_error("valueKinds in commandmodel.cpp does not know the kind of value " + kind);
    option->completion = known->completion;
}

OptionDefinition definitionOf(const CLI::Option &given)
{
    OptionDefinition option;
    option.description = given.get_description();
    option.required = given.get_required();
    option.repeats =
        given.get_items_expected_max() > 1 || given.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
    if (given.get_positional()) {
        setValue(&option, given.get_name(true));
        return option;
    }
    for (const std::string &name : given.get_snames())
        option.names.push_back("-" + name);
    for (const std::string &name : given.get_lnames()) {
        const std::vector<std::string> &opposites = given.get_fnames();
        const bool undoes = std::find(opposites.begin(), opposites.end(), name) != opposites.end();
        (undoes ? option.opposites : option.names).push_back("--" + name);
    }
    if (given.get_items_expected_max() > 0)
        setValue(&option, given.get_type_name());
    return option;
}

/// Lines behind "Examples:" are examples while they are indented; all others are notes.
void readFooter(const std::string &footer, CommandDefinition *command)
{
    bool inExamples = false;
    for (const std::string &line : split(footer, '\n')) {
        if (line == "Examples:" || line == "Example:")
            inExamples = true;
        else if (inExamples && line.rfind("  ", 0) == 0)
            command->examples.push_back(line.substr(2));
        else
            command->notes.push_back(line);
    }
}

CommandDefinition commandOf(const CLI::App &app)
{
    CommandDefinition command;
    command.name = app.get_name();
    command.description = app.get_description();
    readFooter(app.get_footer(), &command);
    for (const CLI::Option *const option : app.get_options())
        (option->get_positional() ? command.positions : command.options).push_back(definitionOf(*option));
    return command;
}

} // namespace

bool CommandDefinition::takesFiles() const
{
    return std::any_of(positions.begin(), positions.end(),
                       [](const OptionDefinition &one) { return one.completion == Completion::Files; });
}

ProgramDefinition definitionOf(const CLI::App &app)
{
    ProgramDefinition definition;
    definition.program = commandOf(app);
    for (const CLI::App *const command : app.get_subcommands([](const CLI::App *) { return true; }))
        definition.commands.push_back(commandOf(*command));
    return definition;
}

} // namespace quenlofar
