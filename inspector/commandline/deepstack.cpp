#include "deepstack.h"

#include <pthread.h>

#include <exception>
#include <vector>

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
    const std::function<void()> *work;
    pthread_t thread;
    std::exception_ptr exception;
};

void *callOnThread(void *argument)
{
    Call &call = *static_cast<Call *>(argument);
    try {
        (*call.work)();
    } catch (...) {
        call.exception = std::current_exception();
    }
    return nullptr;
}

} // namespace

int callSideBySide(quint64 count, quint64 levels, const std::function<void()> &work)
{
    if (count == 1 && levels <= levelsOfMainThread) {
        work();
        return 0;
    }
    // Not std::thread: the size of its stack cannot be chosen. The memory is only reserved until it is used.
    pthread_attr_t attributes;
    int error = pthread_attr_init(&attributes);
    if (error != 0)
        return error;
    error = pthread_attr_setstacksize(&attributes, size_t(levels * bytesPerLevel + bytesBesides));

    std::vector<Call> calls(count, Call{&work, {}, nullptr});
    size_t running = 0;
    while (error == 0 && running < calls.size()) {
        error = pthread_create(&calls[running].thread, &attributes, callOnThread, &calls[running]);
        running += error == 0 ? 1 : 0;
    }
    pthread_attr_destroy(&attributes);
    for (size_t i = 0; i < running; ++i)
        pthread_join(calls[i].thread, nullptr);
    for (const Call &call : calls) {
        if (call.exception)
            std::rethrow_exception(call.exception);
    }
    return running > 0 ? 0 : error; // fewer than wanted do the work as well
}
