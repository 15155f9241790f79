#include "visitchunks.h"

#include <cinttypes>
#include <cstdio>

using namespace quenlofar;

/// The floor as a program of its own, for comparison with whole programs.
int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: chunk-floor FILE\n");
        return 2;
    }
    const ChunkFloor found = visitChunks(argv[1]);
    if (!found.error.empty()) {
        std::fprintf(stderr, "chunk-floor: %s: %s\n", argv[1], found.error.c_str());
        return 1;
    }
    std::printf("%" PRIu64 " chunks, %" PRIu64 " index entries\n", found.chunks, found.indexEntries);
    return 0;
}
