#pragma once

#include "containerabstract_export.h"

#include <QString>
#include <QStringView>

#include <algorithm>
#include <array>
#include <string_view>

namespace quenlofar {

/// True for the control characters U+0000 to U+001F and U+007F to U+009F.
constexpr bool isControl(char16_t unit)
{
    return unit < 0x20 || (unit >= 0x7F && unit <= 0x9F);
}

/// How a character is written that must not stand in the output as it is.
enum class EscapeForm {
    Display, ///< for people: "\n", "\x1B", "\u202E", and "\\" for a backslash
    Json, ///< as JSON has it: "\n", "\u001B", "\u202E", "\\", and "\"" for a quote
};

/// True for what must reach no terminal and no reader as it is: control characters, line separators and marks that turn
/// the direction of writing; and for what `form` needs itself.
template <EscapeForm form = EscapeForm::Display> constexpr bool needsEscape(char16_t unit)
{
    if (unit < 0x7F)
        return unit < 0x20 || unit == u'\\' || (form == EscapeForm::Json && unit == u'"');
    return unit <= 0x9F || unit == 0x061C || unit == 0x200E || unit == 0x200F || (unit >= 0x2028 && unit <= 0x202E)
        || (unit >= 0x2066 && unit <= 0x2069);
}

/// Whether a text, such as the id of a chunk, is seen only where it stands in quotes.
inline bool isAllBlanks(QStringView text)
{
    return !text.isEmpty()
        && std::all_of(text.begin(), text.end(), [](QChar unit) { return unit == QLatin1Char(' '); });
}

/// A text that isAllBlanks in quotes, any other as it is.
inline QString quotedIfBlank(const QString &text)
{
    return isAllBlanks(text) ? QLatin1Char('"') + text + QLatin1Char('"') : text;
}

/// What stands in the place of one unit that needs it.
class CONTAINERABSTRACT_EXPORT CharacterEscape
{
public:
    /// Of a unit for which needsEscape is true.
    explicit CharacterEscape(char16_t unit, EscapeForm form = EscapeForm::Display);
    /// ASCII; valid as long as the object.
    std::string_view text() const { return {m_text.data(), m_size}; }

private:
    std::array<char, 6> m_text;
    size_t m_size;
};

/// `text`, which may come from a file, as it can be shown to people.
CONTAINERABSTRACT_EXPORT QString displayText(QStringView text);

} // namespace quenlofar
