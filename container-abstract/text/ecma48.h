#pragma once

#include <QString>

#include <string_view>

namespace quenlofar {

/// What is written to a terminal between texts: the sequences of ECMA-48 that the program uses.
namespace ecma48 {

inline constexpr std::string_view plain = "\033[0m"; ///< ends all that follows
inline constexpr std::string_view bold = "\033[1m";
inline constexpr std::string_view faint = "\033[2m";
inline constexpr std::string_view red = "\033[31m";
inline constexpr std::string_view green = "\033[32m";
inline constexpr std::string_view yellow = "\033[33m";
inline constexpr std::string_view cyan = "\033[36m";
inline constexpr std::string_view eraseLine = "\r\033[K"; ///< the cursor goes to its beginning

/// `text` in `style`, one of the above.
inline QString styled(const QString &text, std::string_view style)
{
    return QLatin1String(style.data(), int(style.size())) + text + QLatin1String(plain.data(), int(plain.size()));
}

} // namespace ecma48

} // namespace quenlofar
