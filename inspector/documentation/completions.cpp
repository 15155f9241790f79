#include "completions.h"

#include <algorithm>

namespace quenlofar {

std::vector<OptionDefinition> ownOptions(const CommandDefinition &command, const CommandDefinition &program)
{
    std::vector<OptionDefinition> options = command.options;
    const auto isShared = [&](const OptionDefinition &option) {
        return std::any_of(program.options.begin(), program.options.end(),
                           [&](const OptionDefinition &shared) { return shared.names == option.names; });
    };
    options.erase(std::remove_if(options.begin(), options.end(), isShared), options.end());
    return options;
}

std::string joined(const std::vector<std::string> &parts, const std::string &separator)
{
    std::string text;
    for (const std::string &part : parts)
        text += (text.empty() ? "" : separator) + part;
    return text;
}

std::string shellWord(const std::string &text)
{
    std::string word = "'";
    for (const char character : text)
        word += character == '\'' ? std::string("'\\''") : std::string(1, character);
    return word + '\'';
}

} // namespace quenlofar
