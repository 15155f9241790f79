#include "completions.h"

#include <algorithm>

namespace quenlofar {

namespace {

/// An explanation in a pair of brackets that has none inside; colons separate the parts of what follows.
std::string explanation(std::string text)
{
    std::replace(text.begin(), text.end(), '[', '(');
    std::replace(text.begin(), text.end(), ']', ')');
    std::replace(text.begin(), text.end(), ':', ';');
    return text;
}

std::string action(const OptionDefinition &option)
{
    switch (option.completion) {
    case Completion::Words:
        return "(" + joined(option.words, " ") + ")";
    case Completion::Files:
        return "_files";
    case Completion::Directories:
        return "_files -/";
    case Completion::Nothing:
        break;
    }
    return " ";
}

/// What _arguments is told of an option, once per name.
std::string optionLines(const CommandDefinition &command, const std::string &indent)
{
    std::string lines;
    for (const OptionDefinition &option : command.options) {
        std::vector<std::string> names = option.names;
        names.insert(names.end(), option.opposites.begin(), option.opposites.end());
        for (const std::string &name : names) {
            // Other names of an option that was given are not offered any more.
            std::string line = option.repeats ? "*" : "(" + joined(names, " ") + ")";
            line += name;
            if (!option.argument.empty())
                line += name.rfind("--", 0) == 0 ? "=" : "+";
            line += '[' + explanation(option.description) + ']';
            if (!option.argument.empty())
                line += ':' + explanation(option.argument) + ':' + action(option);
            lines += indent + shellWord(line) + " \\\n";
        }
    }
    return lines;
}

std::string positionLines(const CommandDefinition &command, const std::string &indent)
{
    std::string lines;
    int ordinal = 0;
    for (const OptionDefinition &position : command.positions) {
        const std::string place = position.repeats ? "*" : std::to_string(++ordinal);
        std::string line = place;
        line.append(1, ':').append(position.argument).append(1, ':').append(action(position));
        lines.append(indent).append(shellWord(line)).append(" \\\n");
    }
    return lines;
}

} // namespace

std::string zshCompletion(const ProgramDefinition &definition)
{
    const std::string indent(16, ' ');
    std::string commands;
    std::string cases;
    for (const CommandDefinition &command : definition.commands) {
        commands += "        " + shellWord(command.name + ':' + command.description) + '\n';
        cases += "        " + command.name + ")\n            _arguments -s -S $common \\\n"
            + optionLines(command, indent) + positionLines(command, indent) + indent + "&& ret=0\n            ;;\n";
    }
    CommandDefinition common = definition.program;
    common.options.erase(std::remove_if(common.options.begin(), common.options.end(),
                                        [](const OptionDefinition &option) { return option.argument.empty(); }),
                         common.options.end());
    return "#compdef quenlofar\n# Completion of quenlofar for zsh. Made from the program's option definitions.\n\n"
           "_quenlofar()\n{\n    local curcontext=$curcontext state line ret=1\n    typeset -A opt_args\n"
           "    local -a commands common\n    commands=(\n"
        + commands + "    )\n    common=(\n" + optionLines(common, "        ") + "    )\n"
        + "    _arguments -C -s -S \\\n" + optionLines(definition.program, "        ")
        + "        '1: :->command' \\\n        '*:: :->rest' && return\n"
          "    if [[ $state == command ]]; then\n"
          "        # A file alone is enough, where no command begins like it.\n"
          "        _describe -t commands command commands || _files\n        return\n    fi\n"
          "    case $words[1] in\n"
        + cases + "        *) _files && ret=0 ;;\n    esac\n    return ret\n}\n\n_quenlofar \"$@\"\n";
}

} // namespace quenlofar
