#include "allocationcount.h"

#include <atomic>
#include <cerrno>
#include <cstddef>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define HAS_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define HAS_SANITIZER
#endif
#endif

namespace {

std::atomic<uint64_t> allocations{0};

} // namespace

uint64_t quenlofar::allocationCount()
{
    return allocations.load(std::memory_order_relaxed);
}

#if defined(__GLIBC__) && !defined(HAS_SANITIZER)

bool quenlofar::countsAllocations()
{
    return true;
}

// The program's own malloc comes before glibc's for all libraries; the real one has these names too.
extern "C" {

void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *memory, size_t size);
void *__libc_memalign(size_t alignment, size_t size);

void *malloc(size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}

void *calloc(size_t count, size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_calloc(count, size);
}

void *realloc(void *memory, size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(memory, size);
}

void *aligned_alloc(size_t alignment, size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_memalign(alignment, size);
}

int posix_memalign(void **memory, size_t alignment, size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    *memory = __libc_memalign(alignment, size);
    return *memory ? 0 : ENOMEM;
}

} // extern "C"

#else

bool quenlofar::countsAllocations()
{
    return false;
}

#endif
