#pragma once

#include "containerabstract_export.h"

#include <QString>
#include <QStringView>

#include <array>
#include <string_view>

/// True for what must not reach a terminal or would mislead a reader: control characters, line separators and marks
/// that turn the direction of writing. The backslash begins their replacements.
inline bool needsEscape(char16_t unit)
{
    if (unit < 0x7F)
        return unit < 0x20 || unit == u'\\';
    return unit <= 0x9F || unit == 0x061C || unit == 0x200E || unit == 0x200F || (unit >= 0x2028 && unit <= 0x202E)
        || (unit >= 0x2066 && unit <= 0x2069);
}

/// What is shown in the place of one unit that needs it: "\n", "\x1B", "\u202E".
class CONTAINERABSTRACT_EXPORT CharacterEscape
{
public:
    /// Of a unit for which needsEscape is true.
    explicit CharacterEscape(char16_t unit);
    /// ASCII; valid as long as the object.
    std::string_view text() const { return {m_text.data(), m_size}; }

private:
    std::array<char, 6> m_text;
    size_t m_size;
};

/// `text`, which may come from a file, as it can be shown to people.
CONTAINERABSTRACT_EXPORT QString displayText(QStringView text);
