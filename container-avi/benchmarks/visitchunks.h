#pragma once

#include <cstdint>
#include <string>

namespace quenlofar {

/// What visiting every chunk header of an AVI file has shown.
struct ChunkFloor
{
    uint64_t chunks = 0; ///< lists and their children
    uint64_t indexEntries = 0; ///< of idx1
    std::string error; ///< empty when the whole file was visited
};

/**
 * The least that a walk has to do: one pread of 12 bytes per chunk, descending into lists, and idx1 in pieces of
 * 64 KiB. Builds nothing. The file has to be in order: nothing is looked for where a chunk is not what it says.
 */
ChunkFloor visitChunks(const char *path);

} // namespace quenlofar
