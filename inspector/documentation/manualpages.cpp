#include "manualpages.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace quenlofar {

namespace {

/// `text` as mdoc shows it, character by character. It may stand anywhere in a line.
std::string escaped(const std::string &text)
{
    std::string result;
    for (const char character : text) {
        switch (character) {
        case '\\':
            result += "\\e";
            break;
        case '-':
            result += "\\-";
            break;
        case '\'':
            result += "\\(aq";
            break;
        case '"':
            result += "\\(dq";
            break;
        case '`':
            result += "\\(ga";
            break;
        case '^':
            result += "\\(ha";
            break;
        case '~':
            result += "\\(ti";
            break;
        default:
            result += character;
        }
    }
    return result;
}

/// A line of text that is not taken for a request.
std::string textLine(const std::string &text)
{
    return (text.rfind('.', 0) == 0 ? "\\&" : "") + escaped(text) + '\n';
}

std::string flag(const std::string &name)
{
    return "Fl " + escaped(name.substr(1));
}

/// "-o FILE, --output FILE": an item of the list of options.
std::string optionItem(const std::vector<std::string> &names, const std::string &argument)
{
    std::string item = ".It";
    for (const std::string &name : names) {
        item += (&name == &names.front() ? " " : " , ") + flag(name);
        if (!argument.empty())
            item += " Ar " + escaped(argument);
    }
    return item + '\n';
}

/// Each sentence on a line of its own, as mdoc requires.
std::string sentences(std::string text)
{
    std::string lines;
    for (size_t end = text.find(". "); end != std::string::npos; end = text.find(". ")) {
        lines += textLine(text.substr(0, end + 1));
        text.erase(0, end + 2);
    }
    return lines + textLine(text);
}

std::string sentence(const std::string &text)
{
    return textLine(text + '.');
}

std::string optionList(const CommandDefinition &command)
{
    std::string list = ".Bl -tag -width Ds\n";
    for (const OptionDefinition &position : command.positions)
        list += ".It Ar " + escaped(position.argument) + '\n' + sentence(position.description);
    for (const OptionDefinition &option : command.options) {
        list += optionItem(option.names, option.argument) + sentence(option.description);
        if (!option.opposites.empty())
            list += optionItem(option.opposites, {}) + ".No The opposite of\n." + flag(option.names.back()) + " .\n";
    }
    return list + ".El\n";
}

/// "November 21, 2026" for "2026-11-21".
std::string dateInWords(const std::string &date)
{
    static constexpr const char *months[] = {"January", "February", "March",     "April",   "May",      "June",
                                             "July",    "August",   "September", "October", "November", "December"};
    return std::string(months[std::stoul(date.substr(5, 2)) - 1]) + ' ' + std::to_string(std::stoul(date.substr(8, 2)))
        + ", " + date.substr(0, 4);
}

std::string head(const std::string &name, const std::string &description, const PageFrame &frame)
{
    std::string title = name;
    std::transform(title.begin(), title.end(), title.begin(), [](unsigned char c) { return char(std::toupper(c)); });
    // What stands in NAME begins in lower case and has no full stop.
    std::string subject = description.substr(0, description.find_last_not_of('.') + 1);
    subject[0] = char(std::tolower(static_cast<unsigned char>(subject[0])));
    return ".\\\" Made from the program's option definitions.\n.Dd " + dateInWords(frame.date) + "\n.Dt " + title
        + " 1\n.Os \"quenlofar " + frame.version + "\"\n.Sh NAME\n.Nm " + name + "\n.Nd " + escaped(subject)
        + "\n.Sh SYNOPSIS\n";
}

/// Takes section `title` out of `prose`; empty where there is none.
std::string takeSection(std::string *prose, const std::string &title)
{
    const std::string heading = ".Sh " + title + '\n';
    const size_t begin = prose->find(heading);
    if (begin == std::string::npos)
        return {};
    const size_t end = std::min(prose->find(".Sh ", begin + heading.size()), prose->size());
    std::string section = prose->substr(begin, end - begin);
    prose->erase(begin, end - begin);
    return section;
}

/// What the help says behind the options; exit statuses, up to the full stop at the end of a line, have a section of
/// their own.
std::string notes(const std::vector<std::string> &lines)
{
    std::string paragraph;
    bool isStatus = false;
    for (const std::string &line : lines) {
        isStatus = isStatus || line.rfind("Exit status:", 0) == 0;
        if (!isStatus)
            paragraph += sentences(line);
        else if (!line.empty() && line.back() == '.')
            isStatus = false;
    }
    return paragraph.empty() ? paragraph : ".Pp\n" + paragraph;
}

std::string examples(const std::vector<std::string> &lines)
{
    if (lines.empty())
        return {};
    std::string section = ".Sh EXAMPLES\n.Bd -literal -offset indent\n";
    for (const std::string &line : lines)
        section += textLine(line);
    return section + ".Ed\n";
}

} // namespace

std::string programPage(const ProgramDefinition &definition, const PageFrame &frame)
{
    std::string rest = frame.programProse;
    const std::string sections[] = {takeSection(&rest, "ENVIRONMENT"), takeSection(&rest, "FILES"),
                                    takeSection(&rest, "EXIT STATUS"), takeSection(&rest, "EXAMPLES"),
                                    takeSection(&rest, "DIAGNOSTICS")};
    const std::string security = takeSection(&rest, "SECURITY CONSIDERATIONS"); // comes last
    std::string page = head(definition.program.name, definition.program.description, frame)
        + ".Nm\n.Op Fl \\-plugin\\-dir Ar DIR\n.Ar COMMAND\n.Op Ar ARGUMENT ...\n"
          ".Nm\n.Ar FILE ...\n.Sh DESCRIPTION\n"
        + rest + ".Pp\nCommands:\n.Bl -tag -width Ds\n";
    std::string seeAlso = ".Sh SEE ALSO\n";
    std::vector<std::string> names;
    for (const CommandDefinition &command : definition.commands) {
        page += ".It Cm " + escaped(command.name) + '\n' + sentence(command.description);
        names.push_back("quenlofar-" + command.name);
    }
    std::sort(names.begin(), names.end());
    for (const std::string &name : names)
        seeAlso += ".Xr " + name + " 1" + (name == names.back() ? "" : " ,") + '\n';
    page += ".El\n.Pp\nOptions:\n" + optionList(definition.program);
    for (const std::string &section : sections)
        page += section;
    return page + seeAlso + security;
}

std::string commandPage(const CommandDefinition &command, const std::string &prose, const PageFrame &frame)
{
    std::string rest = prose;
    const std::string ownStatus = takeSection(&rest, "EXIT STATUS");
    std::string page = head("quenlofar-" + command.name, command.description, frame) + ".Nm quenlofar "
        + escaped(command.name) + "\n.Op Ar OPTION ...\n";
    for (const OptionDefinition &position : command.positions) {
        page += (position.required ? ".Ar " : ".Op Ar ") + escaped(position.argument)
            + (position.repeats ? " ...\n" : "\n");
    }
    page += ".Sh DESCRIPTION\n" + rest + ".Pp\nArguments and options:\n" + optionList(command) + notes(command.notes)
        + ".Pp\nThe options of\n.Xr quenlofar 1\nmay be given here too.\n";
    std::string programProse = frame.programProse;
    page += ownStatus.empty() ? takeSection(&programProse, "EXIT STATUS") : ownStatus;
    return page + examples(command.examples) + ".Sh SEE ALSO\n.Xr quenlofar 1\n";
}

} // namespace quenlofar
