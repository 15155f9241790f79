#pragma once

#include <cstddef>
#include <cstdint>

/// What every fuzz target is: tries one input; ends the program when something is wrong with what came of it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);
