#include "completions.h"

namespace quenlofar {

namespace {

// bash hands over "--format=json" as three words. A word that is neither an option nor a command before any command is
// a file, which the program takes for "summary FILE".
constexpr char head[] = R"(# Completion of quenlofar for bash. Made from the program's option definitions.

_quenlofar()
{
    local -r current=${COMP_WORDS[COMP_CWORD]}
    local word=$current option=${COMP_WORDS[COMP_CWORD - 1]} command='' values='' kind='' positions=files
    local -i i onlyfiles=0
    if [[ $current == '=' ]]; then
        word=''
    elif [[ $option == '=' && COMP_CWORD -ge 2 ]]; then
        option=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
            --) onlyfiles=1 ;;
)";

constexpr char middle[] = R"(            -*) ;;
            *) [[ $command ]] || command=${COMP_WORDS[i]} ;;
        esac
    done
    COMPREPLY=()
)";

constexpr char tail[] = R"(    if ((onlyfiles)); then
        kind=files
    elif [[ ! $kind && $word == -* ]]; then
        kind=words values=$options
    elif [[ ! $kind && ! $command ]]; then
        kind=words values=$commands
    fi
    kind=${kind:-$positions}
    if [[ $kind == words ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$values" -- "$word")
        # A file alone is enough, where no command begins like it.
        [[ ${#COMPREPLY[@]} -eq 0 && $values == "$commands" ]] && kind=files
    fi
    case $kind in
        directories) mapfile -t COMPREPLY < <(compgen -d -- "$word") ;;
        files) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
    esac
    if [[ $kind == @(files|directories) ]]; then
        compopt -o filenames 2>/dev/null
    fi
}

complete -F _quenlofar quenlofar
)";

std::string kindName(Completion completion)
{
    switch (completion) {
    case Completion::Words:
        return "words";
    case Completion::Files:
        return "files";
    case Completion::Directories:
        return "directories";
    case Completion::Nothing:
        break;
    }
    return "nothing";
}

std::string optionNames(const std::vector<OptionDefinition> &options)
{
    std::vector<std::string> names;
    for (const OptionDefinition &option : options) {
        names.insert(names.end(), option.names.begin(), option.names.end());
        names.insert(names.end(), option.opposites.begin(), option.opposites.end());
    }
    return joined(names, " ");
}

/// What the value behind each option may be.
std::string valueCases(const std::vector<OptionDefinition> &options, const std::string &indent)
{
    std::string cases;
    for (const OptionDefinition &option : options) {
        if (option.argument.empty())
            continue;
        cases += indent + "    " + joined(option.names, " | ") + ") kind=" + kindName(option.completion)
            + (option.words.empty() ? "" : " values='" + joined(option.words, " ") + "'") + " ;;\n";
    }
    return cases.empty() ? cases : indent + "case $option in\n" + cases + indent + "esac\n";
}

std::string commandCase(const CommandDefinition &command, const std::vector<OptionDefinition> &options)
{
    const std::string indent(12, ' ');
    return "        " + command.name + ")\n" + (command.takesFiles() ? "" : indent + "positions=nothing\n")
        + (options.empty() ? "" : indent + "options+=' " + optionNames(options) + "'\n") + valueCases(options, indent)
        + indent + ";;\n";
}

/// Steps over the values of the program's own options, which are no commands.
std::string skippedValues(const CommandDefinition &program)
{
    std::string cases;
    for (const OptionDefinition &option : program.options) {
        if (!option.argument.empty())
            cases += "            " + joined(option.names, " | ")
                + ") [[ ${COMP_WORDS[i + 1]} == '=' ]] && i+=2 || i+=1 ;;\n";
    }
    return cases;
}

} // namespace

std::string bashCompletion(const ProgramDefinition &definition)
{
    std::vector<std::string> names;
    std::string cases;
    for (const CommandDefinition &command : definition.commands) {
        names.push_back(command.name);
        cases += commandCase(command, ownOptions(command, definition.program));
    }
    return head + skippedValues(definition.program) + middle + "    local -r commands='" + joined(names, " ") + "'\n"
        + "    local options='" + optionNames(definition.program.options) + "'\n"
        + valueCases(definition.program.options, "    ") + "    case $command in\n" + cases + "    esac\n" + tail;
}

} // namespace quenlofar
