#pragma once

#include <cstdlib>
#include <new>

// Replaces operator new of the program, libraries included, by one that can be told to fail. For one source file of a
// test program. Memory that Qt takes itself is not affected.

/// How many more allocations succeed; negative: all.
inline int allocationsLeft = -1;

void *operator new(size_t size)
{
    void *const memory = allocationsLeft == 0 ? nullptr : std::malloc(size > 0 ? size : 1);
    if (!memory)
        throw std::bad_alloc();
    if (allocationsLeft > 0)
        --allocationsLeft;
    return memory;
}

void operator delete(void *memory) noexcept
{
    std::free(memory);
}

void operator delete(void *memory, size_t) noexcept
{
    std::free(memory);
}
