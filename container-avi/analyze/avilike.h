#pragma once

#include "avilayout.h"
#include "repairplanner.h"

#include <atomic>

namespace quenlofar {

/// Puts the headers of a healthy file in front of data whose own are lost. Empty where there is no RIFF list with data,
/// where `like` is no healthy AVI file, or where its streams are not those of the data: chunks of a stream that it does
/// not declare, or of another kind. `cancel` may be null.
FileLayout withHeadersOf(ByteSource &like, const AviLayout &layout, const std::atomic<bool> *cancel);

/// Rules whose findings, where they come with such headers, say that these are not those of the data.
QStringList rulesAgainstHeaders();

} // namespace quenlofar
