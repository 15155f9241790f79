#include "optionhelpers.h"

#include <charconv>

namespace quenlofar {

quint64 parseNumber(const std::string &option, const std::string &text, quint64 least, quint64 most)
{
    quint64 number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < least || number > most) {
        throw CLI::ValidationError(option,
                                   "has to be a number from " + std::to_string(least) + " to " + std::to_string(most));
    }
    return number;
}

void addNumber(CLI::App &command, const std::string &names, quint64 *number, quint64 least, quint64 most,
               const std::string &type, const std::string &description)
{
    const std::string name = names.substr(names.rfind(',') + 1);
    const auto store = [=](const std::string &text) { *number = parseNumber(name, text, least, most); };
    command.add_option_function<std::string>(names, store, description)->type_name(type);
}

void addSwitch(CLI::App &command, const std::string &name, const std::function<void()> &choose,
               const std::string &description)
{
    command.add_flag_callback(name, choose, description)->trigger_on_parse();
}

CLI::Option *addChoice(CLI::App &command, const std::string &name, const std::vector<std::string> &words,
                       const std::function<void(const std::string &)> &choose, const std::string &description)
{
    std::string type;
    for (const std::string &word : words)
        type += (type.empty() ? "" : "|") + word;
    return command.add_option_function<std::string>(name, choose, description)
        ->check(CLI::IsMember(words).description({}))
        ->type_name(type);
}

QStringList textsOf(const Arguments &arguments, const std::vector<std::string> &values)
{
    QStringList texts;
    for (const std::string &value : values)
        texts.append(arguments.text(value));
    return texts;
}

void addTexts(CLI::App &command, const Arguments &arguments, const std::string &name, QStringList *texts,
              const std::string &type, const std::string &description)
{
    command
        .add_option_function<std::vector<std::string>>(
            name, [&arguments, texts](const std::vector<std::string> &values) { *texts += textsOf(arguments, values); },
            description)
        ->type_name(type)
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

namespace {

/// Divides "A..B" into its ends, which may be empty, and reads them with `read`.
template <typename Number, typename Read> void parseEnds(const std::string &option, const std::string &text,
                                                         const std::string &example, Number *first, Number *last,
                                                         const Read &read)
{
    const size_t dots = text.find("..");
    if (dots == std::string::npos || text.size() == 2)
        throw CLI::ValidationError(option, "has to be a range such as " + example);
    const std::string begin = text.substr(0, dots);
    const std::string end = text.substr(dots + 2);
    if (!begin.empty())
        *first = read(begin);
    if (!end.empty())
        *last = read(end);
    if (*first > *last)
        throw CLI::ValidationError(option, "ends before it begins");
}

} // namespace

void parseRange(const std::string &option, const std::string &text, quint64 *first, quint64 *last)
{
    parseEnds(option, text, "100..199, 100.. or ..199", first, last,
              [&option](const std::string &end) { return parseNumber(option, end, 0, anyNumber); });
}

void parseOffsetRange(const std::string &option, const std::string &text, quint64 *first, quint64 *last)
{
    parseEnds(option, text, "4096..8191, 0x1000.. or ..0x1FFF", first, last, [&option](const std::string &end) {
        const bool isHex = end.compare(0, 2, "0x") == 0 || end.compare(0, 2, "0X") == 0;
        if (!isHex)
            return parseNumber(option, end, 0, anyNumber);
        quint64 offset = 0;
        const auto [stop, error] = std::from_chars(end.data() + 2, end.data() + end.size(), offset, 16);
        if (error != std::errc() || stop != end.data() + end.size())
            throw CLI::ValidationError(option, "has to be a range such as 4096..8191, 0x1000.. or ..0x1FFF");
        return offset;
    });
}

void parseTimeRange(const std::string &option, const std::string &text, double *first, double *last)
{
    const std::string example = "10..20.5, 10.. or ..20.5, in seconds";
    parseEnds(option, text, example, first, last, [&](const std::string &end) {
        double seconds = 0;
        const auto [stop, error] =
            std::from_chars(end.data(), end.data() + end.size(), seconds, std::chars_format::fixed);
        if (error != std::errc() || stop != end.data() + end.size())
            throw CLI::ValidationError(option, "has to be a range such as " + example);
        return seconds;
    });
}

} // namespace quenlofar
