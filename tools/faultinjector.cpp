// Preloaded into a program, this library makes calls of the C library fail, so that one can see what becomes of it. See
// faults.py for the whole; the environment says what is to fail:
//
//   QUENLOFAR_FAULT=CALL:N:HOW    the N-th call of a kind (from 1) fails; CALL:N+:HOW: every one from there on.
//       CALL  open read write close rename unlink stat fsync malloc thread
//       HOW   the number of an error; "short": one byte is read or written, not all; "interrupted": EINTR and nothing
//             done, every second time where it lasts; "killed": the program ends there as by SIGKILL
//   QUENLOFAR_FAULT_PATH=NAME     only calls that name this very path count
//   QUENLOFAR_FAULT_REPORT=FILE   gets a line "CALL COUNT" for each kind at the end
//   QUENLOFAR_FAIL_READ_AT=N      from this byte on files fail to be read with EIO, as a damaged disk does
//   QUENLOFAR_SLOW_READ=N         each read takes N milliseconds, as over a network
//                                 (both spare files named *.so)
//   QUENLOFAR_FILE_SYSTEM=clones  a file can be made that shares all extents with another (FICLONE): here all is copied
//   QUENLOFAR_FILE_SYSTEM=foreign bytes cannot be copied from file to file by the kernel, as between file systems
//
// Calls count from main() on, in all threads. What the program starts in its turn is left alone.
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>

#define EXPORTED extern "C" __attribute__((visibility("default")))

// The C library's own names for them: dlsym may need memory itself.
extern "C" void *__libc_malloc(size_t size);
extern "C" void *__libc_calloc(size_t number, size_t size);
extern "C" void *__libc_realloc(void *memory, size_t size);
extern "C" void *__libc_memalign(size_t alignment, size_t size);
extern "C" int __libc_start_main(int (*main)(int, char **, char **), int argc, char **argv, void (*init)(),
                                 void (*finish)(), void (*endLoader)(), void *stackEnd);

namespace {

enum Kind : int { Open, Read, Write, Close, Rename, Unlink, Stat, Fsync, Malloc, Thread };
constexpr const char *kindNames[] = {"open",   "read", "write", "close",  "rename",
                                     "unlink", "stat", "fsync", "malloc", "thread"};

enum class How { Error, Short, Interrupted, Killed };

// Set before main() is called, read by all threads from then on.
int kind = -1;
long first = 0;
bool goesOn = false;
How how = How::Error;
int error = 0;
off_t failReadAt = -1;
long slowRead = 0; // milliseconds
enum class FileSystem { Present, Clones, Foreign };
FileSystem fileSystem = FileSystem::Present;
char report[4096];
char onlyPath[4096]; // empty: any, and calls that name none

std::atomic<bool> isArmed{false};
std::atomic<long> counts[std::size(kindNames)];

/// The function of the C library that one of ours stands before.
template <typename Function> Function real(const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

/// True when this call of `which` has to fail; `path` is what it names.
bool strikes(Kind which, const char *path = nullptr)
{
    if (!isArmed.load(std::memory_order_relaxed))
        return false;
    if (onlyPath[0] != '\0' && (!path || std::strcmp(path, onlyPath) != 0))
        return false;
    const long number = ++counts[which];
    if (which != kind)
        return false;
    if (number != first && (number < first || !goesOn))
        return false;
    // A caller that tries again must come through some time.
    if (goesOn && how == How::Interrupted && (number - first) % 2 != 0)
        return false;
    if (how == How::Killed)
        ::raise(SIGKILL);
    return true;
}

/// A call that fails or is done: `done` is called for the latter.
template <typename Done> auto orFail(Kind which, const char *path, Done done) -> decltype(done())
{
    if (!strikes(which, path))
        return done();
    errno = how == How::Interrupted ? EINTR : error;
    return decltype(done())(-1);
}

/// A call that moves `size` bytes: may move one only.
template <typename Done> ssize_t orLess(Kind which, size_t size, Done done)
{
    if (!strikes(which))
        return done(size);
    if (how == How::Short)
        return done(std::min(size, size_t(1)));
    errno = how == How::Interrupted ? EINTR : error;
    return -1;
}

template <typename Done> void *orNoMemory(Done done)
{
    if (!strikes(Malloc))
        return done();
    errno = ENOMEM;
    return nullptr;
}

/// What is loaded as code lies on a disk that is well.
bool isLibrary(int descriptor)
{
    char link[32];
    char path[4096];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
    const ssize_t length = ::readlink(link, path, sizeof path);
    return length > 3 && std::memcmp(path + length - 3, ".so", 3) == 0;
}

ssize_t readAt(const char *name, int descriptor, void *data, size_t size, off_t offset)
{
    const auto next = real<ssize_t (*)(int, void *, size_t, off_t)>(name);
    if ((slowRead > 0 || failReadAt >= 0) && isLibrary(descriptor))
        return next(descriptor, data, size, offset);
    if (slowRead > 0) {
        timespec pause{slowRead / 1000, slowRead % 1000 * 1'000'000};
        while (nanosleep(&pause, &pause) != 0) { } // a signal makes no network faster
    }
    if (failReadAt >= 0 && isArmed) {
        if (offset >= failReadAt) {
            errno = EIO;
            return -1;
        }
        size = std::min(size, size_t(failReadAt - offset));
    }
    return orLess(Read, size, [&](size_t part) { return next(descriptor, data, part, offset); });
}

void readRule(const char *rule)
{
    for (int i = 0; i < int(std::size(kindNames)); ++i) {
        const size_t length = std::strlen(kindNames[i]);
        if (std::strncmp(rule, kindNames[i], length) != 0 || rule[length] != ':')
            continue;
        char *rest = nullptr;
        first = std::strtol(rule + length + 1, &rest, 10);
        goesOn = *rest == '+';
        rest += goesOn ? 1 : 0;
        if (first < 1 || *rest != ':')
            break;
        ++rest;
        how = std::strcmp(rest, "short") == 0       ? How::Short
            : std::strcmp(rest, "killed") == 0      ? How::Killed
            : std::strcmp(rest, "interrupted") == 0 ? How::Interrupted
                                                    : How::Error;
        error = std::atoi(rest);
        if (how == How::Error && error == 0)
            break;
        kind = i;
        return;
    }
    static const char message[] = "faultinjector: QUENLOFAR_FAULT is not understood\n";
    [[maybe_unused]] const ssize_t written =
        real<ssize_t (*)(int, const void *, size_t)>("write")(STDERR_FILENO, message, sizeof message - 1);
    _exit(125);
}

void readEnvironment()
{
    if (const char *const rule = std::getenv("QUENLOFAR_FAULT"))
        readRule(rule);
    if (const char *const limit = std::getenv("QUENLOFAR_FAIL_READ_AT"))
        failReadAt = std::atoll(limit);
    if (const char *const milliseconds = std::getenv("QUENLOFAR_SLOW_READ"))
        slowRead = std::atol(milliseconds);
    if (const char *const name = std::getenv("QUENLOFAR_FILE_SYSTEM"))
        fileSystem = std::strcmp(name, "clones") == 0 ? FileSystem::Clones : FileSystem::Foreign;
    if (const char *const path = std::getenv("QUENLOFAR_FAULT_PATH"))
        std::snprintf(onlyPath, sizeof onlyPath, "%s", path);
    if (const char *const file = std::getenv("QUENLOFAR_FAULT_REPORT"))
        std::snprintf(report, sizeof report, "%s", file);
    unsetenv("LD_PRELOAD"); // a pager or a shell is not the one that is looked at
}

void writeReport()
{
    isArmed = false;
    if (report[0] == '\0')
        return;
    if (FILE *const file = std::fopen(report, "we")) {
        for (size_t i = 0; i < std::size(kindNames); ++i)
            std::fprintf(file, "%s %ld\n", kindNames[i], counts[i].load());
        std::fclose(file);
    }
}

int (*programMain)(int, char **, char **);

int watchedMain(int argc, char **argv, char **environment)
{
    readEnvironment();
    isArmed = true;
    const int status = programMain(argc, argv, environment);
    writeReport();
    return status;
}

} // namespace

EXPORTED int __libc_start_main(int (*main)(int, char **, char **), int argc, char **argv, void (*init)(),
                               void (*finish)(), void (*endLoader)(), void *stackEnd)
{
    programMain = main;
    const auto next = real<decltype(&__libc_start_main)>("__libc_start_main");
    return next(watchedMain, argc, argv, init, finish, endLoader, stackEnd);
}

EXPORTED ssize_t pread(int descriptor, void *data, size_t size, off_t offset)
{
    return readAt("pread", descriptor, data, size, offset);
}

EXPORTED ssize_t pread64(int descriptor, void *data, size_t size, off64_t offset)
{
    return readAt("pread64", descriptor, data, size, offset);
}

EXPORTED ssize_t read(int descriptor, void *data, size_t size)
{
    static const auto next = real<ssize_t (*)(int, void *, size_t)>("read");
    return orLess(Read, size, [&](size_t part) { return next(descriptor, data, part); });
}

EXPORTED ssize_t write(int descriptor, const void *data, size_t size)
{
    static const auto next = real<ssize_t (*)(int, const void *, size_t)>("write");
    return orLess(Write, size, [&](size_t part) { return next(descriptor, data, part); });
}

EXPORTED ssize_t pwrite(int descriptor, const void *data, size_t size, off_t offset)
{
    static const auto next = real<ssize_t (*)(int, const void *, size_t, off_t)>("pwrite");
    return orLess(Write, size, [&](size_t part) { return next(descriptor, data, part, offset); });
}

EXPORTED ssize_t pwrite64(int descriptor, const void *data, size_t size, off64_t offset)
{
    static const auto next = real<ssize_t (*)(int, const void *, size_t, off64_t)>("pwrite64");
    return orLess(Write, size, [&](size_t part) { return next(descriptor, data, part, offset); });
}

EXPORTED ssize_t copy_file_range(int from, off64_t *fromOffset, int to, off64_t *toOffset, size_t size, unsigned flags)
{
    static const auto next = real<decltype(&copy_file_range)>("copy_file_range");
    if (fileSystem == FileSystem::Foreign) {
        errno = EXDEV;
        return -1;
    }
    return orLess(Write, size, [&](size_t part) { return next(from, fromOffset, to, toOffset, part, flags); });
}

EXPORTED int ioctl(int descriptor, unsigned long request, ...) noexcept
{
    static const auto next = real<int (*)(int, unsigned long, ...)>("ioctl");
    va_list rest;
    va_start(rest, request);
    void *const argument = va_arg(rest, void *);
    va_end(rest);
    if (request != FICLONE || fileSystem != FileSystem::Clones)
        return next(descriptor, request, argument);
    static const auto readPart = real<ssize_t (*)(int, void *, size_t, off_t)>("pread");
    static const auto writePart = real<ssize_t (*)(int, const void *, size_t, off_t)>("pwrite");
    char part[65536];
    const int from = int(reinterpret_cast<std::intptr_t>(argument)); // the kernel takes it as a number
    off_t at = 0;
    for (ssize_t count = 0; (count = readPart(from, part, sizeof part, at)) > 0; at += count)
        writePart(descriptor, part, size_t(count), at);
    return 0;
}

EXPORTED int ftruncate(int descriptor, off_t size) noexcept
{
    static const auto next = real<int (*)(int, off_t)>("ftruncate");
    return orFail(Write, nullptr, [&] { return next(descriptor, size); });
}

EXPORTED int ftruncate64(int descriptor, off64_t size) noexcept
{
    static const auto next = real<int (*)(int, off64_t)>("ftruncate64");
    return orFail(Write, nullptr, [&] { return next(descriptor, size); });
}

// A close that fails has closed all the same.
EXPORTED int close(int descriptor)
{
    static const auto next = real<int (*)(int)>("close");
    const int result = next(descriptor);
    return orFail(Close, nullptr, [&] { return result; });
}

#define FORWARD_OPEN(name)                                                                                             \
    EXPORTED int name(const char *path, int flags, ...)                                                                \
    {                                                                                                                  \
        static const auto next = real<int (*)(const char *, int, ...)>(#name);                                         \
        va_list rest;                                                                                                  \
        va_start(rest, flags);                                                                                         \
        const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;                                         \
        va_end(rest);                                                                                                  \
        return orFail(Open, path, [&] { return next(path, flags, mode); });                                            \
    }
FORWARD_OPEN(open)
FORWARD_OPEN(open64)

EXPORTED int mkostemp(char *name, int flags)
{
    static const auto next = real<int (*)(char *, int)>("mkostemp");
    return orFail(Open, name, [&] { return next(name, flags); });
}

EXPORTED int mkostemp64(char *name, int flags)
{
    static const auto next = real<int (*)(char *, int)>("mkostemp64");
    return orFail(Open, name, [&] { return next(name, flags); });
}

EXPORTED int rename(const char *from, const char *to) noexcept
{
    static const auto next = real<int (*)(const char *, const char *)>("rename");
    return orFail(Rename, to, [&] { return next(from, to); });
}

EXPORTED int renameat2(int fromDirectory, const char *from, int toDirectory, const char *to, unsigned flags) noexcept
{
    static const auto next = real<decltype(&renameat2)>("renameat2");
    return orFail(Rename, to, [&] { return next(fromDirectory, from, toDirectory, to, flags); });
}

EXPORTED int unlink(const char *path) noexcept
{
    static const auto next = real<int (*)(const char *)>("unlink");
    return orFail(Unlink, path, [&] { return next(path); });
}

#define FORWARD_STAT(name, Status)                                                                                     \
    EXPORTED int name(const char *path, struct Status *status) noexcept                                                \
    {                                                                                                                  \
        static const auto next = real<int (*)(const char *, struct Status *)>(#name);                                  \
        return orFail(Stat, path, [&] { return next(path, status); });                                                 \
    }
FORWARD_STAT(stat, stat)
FORWARD_STAT(stat64, stat64)
FORWARD_STAT(lstat, stat)
FORWARD_STAT(lstat64, stat64)

#define FORWARD_FSTAT(name, Status)                                                                                    \
    EXPORTED int name(int descriptor, struct Status *status) noexcept                                                  \
    {                                                                                                                  \
        static const auto next = real<int (*)(int, struct Status *)>(#name);                                           \
        return orFail(Stat, nullptr, [&] { return next(descriptor, status); });                                        \
    }
FORWARD_FSTAT(fstat, stat)
FORWARD_FSTAT(fstat64, stat64)

EXPORTED int fsync(int descriptor)
{
    static const auto next = real<int (*)(int)>("fsync");
    return orFail(Fsync, nullptr, [&] { return next(descriptor); });
}

EXPORTED int fdatasync(int descriptor)
{
    static const auto next = real<int (*)(int)>("fdatasync");
    return orFail(Fsync, nullptr, [&] { return next(descriptor); });
}

EXPORTED int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*work)(void *),
                            void *argument) noexcept
{
    static const auto next = real<decltype(&pthread_create)>("pthread_create");
    return strikes(Thread) ? error : next(thread, attributes, work, argument);
}

EXPORTED void *malloc(size_t size) noexcept
{
    return orNoMemory([&] { return __libc_malloc(size); });
}

EXPORTED void *calloc(size_t number, size_t size) noexcept
{
    return orNoMemory([&] { return __libc_calloc(number, size); });
}

EXPORTED void *realloc(void *memory, size_t size) noexcept
{
    return orNoMemory([&] { return __libc_realloc(memory, size); });
}

EXPORTED void *aligned_alloc(size_t alignment, size_t size) noexcept
{
    return orNoMemory([&] { return __libc_memalign(alignment, size); });
}

EXPORTED int posix_memalign(void **memory, size_t alignment, size_t size) noexcept
{
    *memory = orNoMemory([&] { return __libc_memalign(alignment, size); });
    return *memory ? 0 : ENOMEM;
}
