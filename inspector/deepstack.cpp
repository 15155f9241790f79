#include "deepstack.h"

#include <pthread.h>

#include <exception>

namespace {

// What one level of nesting takes, with room to spare; sanitizers and missing optimisation enlarge the frames.
#if defined(__SANITIZE_ADDRESS__)
constexpr quint64 bytesPerLevel = 8192;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr quint64 bytesPerLevel = 8192;
#else
constexpr quint64 bytesPerLevel = 2048;
#endif
#else
constexpr quint64 bytesPerLevel = 2048;
#endif
constexpr quint64 bytesBesides = 1'048'576;
// The main thread usually has 8 MiB, some of which is taken.
constexpr quint64 levelsOfMainThread = 1000;

struct Call
{
    const std::function<void()> &work;
    std::exception_ptr exception;
};

void *callOnThread(void *argument)
{
    Call &call = *static_cast<Call *>(argument);
    try {
        call.work();
    } catch (...) {
        call.exception = std::current_exception();
    }
    return nullptr;
}

} // namespace

int callWithRoomFor(quint64 levels, const std::function<void()> &work)
{
    if (levels <= levelsOfMainThread) {
        work();
        return 0;
    }
    // Not std::thread: the size of its stack cannot be chosen. The memory is only reserved until it is used.
    pthread_attr_t attributes;
    int error = pthread_attr_init(&attributes);
    if (error != 0)
        return error;
    pthread_t thread;
    Call call{work, nullptr};
    error = pthread_attr_setstacksize(&attributes, size_t(levels * bytesPerLevel + bytesBesides));
    if (error == 0)
        error = pthread_create(&thread, &attributes, callOnThread, &call);
    pthread_attr_destroy(&attributes);
    if (error == 0)
        error = pthread_join(thread, nullptr);
    if (call.exception)
        std::rethrow_exception(call.exception);
    return error;
}
