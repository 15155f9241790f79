#pragma once

#include "containerrun.h"

#include <QStringView>

namespace quenlofar {

/// Sets the bound on bytes that are read from what people type: "0.5", a multiple of a file's size, or "500MB", a
/// number of bytes in one of the units in which sizes are shown. False for any other text.
bool setWorkLimit(QStringView text, RunLimits *limits);

/// What people are told of a text that setWorkLimit does not take.
inline constexpr char workLimitHelp[] =
    "has to be a multiple of the file's size, such as 64 or 0.5, or a number of bytes "
    "with its unit, such as 4096B, 500MB or 1.5GiB";

/// The longest time that a run may be bounded to, in seconds.
inline constexpr quint64 longestRunSeconds = 1'000'000'000;

} // namespace quenlofar
