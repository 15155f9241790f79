#pragma once

#include <QString>

#include <algorithm>
#include <string>
#include <vector>

namespace quenlofar {

/**
 * The arguments behind the program's name, in a form in which CLI11 takes a file for a file: whatever follows "--",
 * and what it would otherwise read as a list ("[a,b]") or as the end of a sub-command ("++"), goes through the parser
 * as a placeholder. A placeholder begins with a zero byte, which no argument can hold.
 */
class Arguments
{
public:
    Arguments(int argc, const char *const *argv) : m_given(argv + std::min(argc, 1), argv + argc) { }

    /// With `command` put in front of what follows the options of the program itself, unless one of `commands` or a
    /// question about the program stands there: a file alone is enough. Returns the command that stands there now,
    /// nothing where it is a question or nothing at all.
    std::string supplyCommand(const std::vector<std::string> &commands, const std::string &command);

    std::vector<std::string> masked() const;
    /// What was typed in the place of `masked`.
    const std::string &given(const std::string &masked) const;
    /// The argument as the text of a path, see pathFromBytes.
    QString text(const std::string &masked) const;

private:
    std::vector<std::string> m_given;
};

} // namespace quenlofar
