#pragma once

#include <cstdio>
#include <cstdlib>

namespace quenlofar {

/// Called before the program ends for a broken promise, to name what was being looked at.
inline void (*describeInput)() = nullptr;

/// Ends the program when a promise is broken: fuzzers keep the input then. Unlike assert() it holds in every build.
inline void require(bool holds, const char *promise)
{
    if (holds)
        return;
    std::fprintf(stderr, "broken promise: %s\n", promise);
    if (describeInput)
        describeInput();
    std::abort();
}

} // namespace quenlofar
