#pragma once

#include <cstdint>

namespace quenlofar {

/// How often this process has asked for memory: malloc and what stands on it, operator new included. Counts all
/// threads and all libraries; 0 where allocations cannot be counted (sanitizers bring their own malloc).
uint64_t allocationCount();
/// False where allocationCount() always is 0.
bool countsAllocations();

} // namespace quenlofar
