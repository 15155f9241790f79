#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace quenlofar {

/// What one piece of work has cost and brought. Plain data: it goes through a pipe.
struct Measurement
{
    double seconds = 0; ///< wall clock, per repetition
    double userSeconds = 0;
    double systemSeconds = 0;
    int64_t peakBytes = 0; ///< resident memory at its highest, less what was resident before the work
    int status = 0; ///< of the run
    uint64_t items = 0;
    uint64_t bytesRead = 0;
    uint64_t frames = 0;
    uint64_t outputBytes = 0;
    uint64_t allocations = 0; ///< in the steady state
    uint64_t steadyItems = 0; ///< how many items came in the steady state
};

/**
 * Does `work` in a child process of its own, again and again until `leastSeconds` have passed, and measures it. `work`
 * fills in what it knows; times and memory are added. The process ends when the child fails.
 */
Measurement measureInChild(const std::function<void(Measurement *)> &work, double leastSeconds);

/// The middle of `values`, of which there is at least one.
double median(std::vector<double> values);
/// Half the distance between the quartiles of `values`, as a part of their median.
double relativeSpread(std::vector<double> values);

} // namespace quenlofar
