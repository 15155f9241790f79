#pragma once

#include "commandmodel.h"

#include <string>

namespace quenlofar {

// Scripts with which shells complete command lines of the program. Each stands alone: none needs a package of helpers.

std::string bashCompletion(const ProgramDefinition &definition);
std::string zshCompletion(const ProgramDefinition &definition);
std::string fishCompletion(const ProgramDefinition &definition);

/// The options that `command` has beyond those of the program, which may stand behind every command.
std::vector<OptionDefinition> ownOptions(const CommandDefinition &command, const CommandDefinition &program);
/// Appends `parts` to each other, with `separator` between them.
std::string joined(const std::vector<std::string> &parts, const std::string &separator);
/// `text` as one word of a shell's command line.
std::string shellWord(const std::string &text);

} // namespace quenlofar
