// Preloaded into the program: from the byte that QUENLOFAR_FAIL_READ_AT names on, files fail to read with EIO, as a
// damaged disk does; and each read takes as many milliseconds as QUENLOFAR_SLOW_READ says, as it does over a network.
#include <dlfcn.h>
#include <sys/types.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>

namespace {

ssize_t readUntilFailure(const char *real, int descriptor, void *data, size_t size, off_t offset)
{
    const auto next = reinterpret_cast<ssize_t (*)(int, void *, size_t, off_t)>(dlsym(RTLD_NEXT, real));
    if (const char *const milliseconds = std::getenv("QUENLOFAR_SLOW_READ")) {
        const timespec pause{0, std::atol(milliseconds) * 1'000'000}; // less than a second
        nanosleep(&pause, nullptr);
    }
    if (const char *const limit = std::getenv("QUENLOFAR_FAIL_READ_AT")) {
        const off_t good = std::atoll(limit) - offset;
        if (good <= 0) {
            errno = EIO;
            return -1;
        }
        size = std::min(size, size_t(good));
    }
    return next(descriptor, data, size, offset);
}

} // namespace

extern "C" __attribute__((visibility("default"))) ssize_t pread(int descriptor, void *data, size_t size, off_t offset)
{
    return readUntilFailure("pread", descriptor, data, size, offset);
}

extern "C" __attribute__((visibility("default"))) ssize_t pread64(int descriptor, void *data, size_t size,
                                                                  off64_t offset)
{
    return readUntilFailure("pread64", descriptor, data, size, offset);
}
