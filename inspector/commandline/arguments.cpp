#include "arguments.h"

#include "filepath.h"

#include <QByteArray>

namespace quenlofar {

namespace {

std::string placeholder(size_t ordinal)
{
    std::string text = std::to_string(ordinal);
    text.insert(text.begin(), '\0');
    return text;
}

} // namespace

std::string Arguments::supplyCommand(const std::vector<std::string> &commands, const std::string &command)
{
    const std::string valueOption = "--plugin-dir";
    size_t at = 0;
    while (at < m_given.size() && m_given[at].compare(0, valueOption.size(), valueOption) == 0)
        at += m_given[at] == valueOption ? size_t(2) : size_t(1);
    if (at >= m_given.size())
        return {};
    const std::string &argument = m_given[at];
    if (argument == "--help" || argument == "-h" || argument == "--version")
        return {};
    if (std::find(commands.begin(), commands.end(), argument) == commands.end())
        m_given.insert(m_given.begin() + std::ptrdiff_t(at), command);
    return m_given[at];
}

std::vector<std::string> Arguments::masked() const
{
    std::vector<std::string> result;
    bool onlyFiles = false;
    for (size_t i = 0; i < m_given.size(); ++i) {
        const std::string &argument = m_given[i];
        const bool isList = argument.size() > 1 && argument.front() == '[' && argument.back() == ']';
        if (onlyFiles || isList || argument == "++")
            result.push_back(placeholder(i));
        else if (argument == "--")
            onlyFiles = true;
        else
            result.push_back(argument);
    }
    return result;
}

const std::string &Arguments::given(const std::string &masked) const
{
    const bool isPlaceholder = !masked.empty() && masked.front() == '\0';
    return isPlaceholder ? m_given[std::stoul(masked.substr(1))] : masked;
}

QString Arguments::text(const std::string &masked) const
{
    const std::string &bytes = given(masked);
    return pathFromBytes(QByteArray(bytes.data(), int(bytes.size())));
}

} // namespace quenlofar
