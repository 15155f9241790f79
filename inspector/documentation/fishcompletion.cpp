#include "completions.h"

namespace quenlofar {

namespace {

constexpr char head[] = R"(# Completion of quenlofar for fish. Made from the program's option definitions.

# Whether $argv[1] is the command on the line; '' where none stands there yet.
function __quenlofar_uses
    set -l words (commandline -opc)
    set -e words[1]
    while set -q words[1]
        switch $words[1]
)";

constexpr char tail[] = R"(            case '-*'
            case '*'
                test "$words[1]" = "$argv[1]"
                return
        end
        set -e words[1]
    end
    test -z "$argv[1]"
end

)";

/// Names with "-s" and "-l", as fish expects them.
std::string nameArguments(const std::vector<std::string> &names)
{
    std::string arguments;
    for (const std::string &name : names)
        arguments += name.rfind("--", 0) == 0 ? " -l " + name.substr(2) : " -s " + name.substr(1);
    return arguments;
}

std::string valueArguments(const OptionDefinition &option)
{
    if (option.argument.empty())
        return {};
    switch (option.completion) {
    case Completion::Words:
        return " -x -a " + shellWord(joined(option.words, " "));
    case Completion::Files:
        return " -r -F";
    case Completion::Directories:
        return " -x -a '(__fish_complete_directories)'";
    case Completion::Nothing:
        break;
    }
    return " -x";
}

std::string optionLines(const std::vector<OptionDefinition> &options, const std::string &condition)
{
    std::string lines;
    const auto add = [&](const std::string &arguments, const std::string &description) {
        lines += "complete -c quenlofar" + condition + arguments + " -d " + shellWord(description) + '\n';
    };
    for (const OptionDefinition &option : options) {
        add(nameArguments(option.names) + valueArguments(option), option.description);
        if (!option.opposites.empty())
            add(nameArguments(option.opposites), "The opposite of " + option.names.back());
    }
    return lines;
}

/// Steps over the values of the program's own options, which are no commands.
std::string skippedValues(const CommandDefinition &program)
{
    std::string cases;
    for (const OptionDefinition &option : program.options) {
        if (!option.argument.empty())
            cases += "            case " + joined(option.names, " ") + "\n                set -e words[1]\n";
    }
    return cases;
}

} // namespace

std::string fishCompletion(const ProgramDefinition &definition)
{
    std::string script = head + skippedValues(definition.program) + tail + optionLines(definition.program.options, {});
    for (const CommandDefinition &command : definition.commands) {
        const std::string condition = " -n " + shellWord("__quenlofar_uses " + command.name);
        script += "\ncomplete -c quenlofar -n \"__quenlofar_uses ''\" -a " + command.name + " -d "
            + shellWord(command.description) + '\n' + optionLines(ownOptions(command, definition.program), condition);
        if (!command.takesFiles())
            script += "complete -c quenlofar" + condition + " -f\n";
    }
    return script;
}

} // namespace quenlofar
