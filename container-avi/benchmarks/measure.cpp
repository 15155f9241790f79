#include "measure.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quenlofar {

namespace {

[[noreturn]] void fail(const char *what)
{
    std::perror(what);
    std::exit(1);
}

/// A line of /proc/self/status in bytes.
int64_t residentBytes(const std::string &name)
{
    std::ifstream status("/proc/self/status");
    std::string word;
    int64_t kibibytes = 0;
    while (status >> word) {
        if (word == name && status >> kibibytes)
            return kibibytes * 1024;
    }
    return 0;
}

double seconds(const timeval &time)
{
    return double(time.tv_sec) + double(time.tv_usec) / 1e6;
}

Measurement measure(const std::function<void(Measurement *)> &work, double leastSeconds)
{
    using Clock = std::chrono::steady_clock;
    std::ofstream("/proc/self/clear_refs") << "5\n"; // the peak counts from here
    const int64_t startBytes = residentBytes("VmRSS:");
    rusage before = {};
    rusage after = {};
    ::getrusage(RUSAGE_SELF, &before);

    Measurement result;
    int repetitions = 0;
    double elapsed = 0;
    const Clock::time_point start = Clock::now();
    do {
        work(&result);
        ++repetitions;
        elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    } while (elapsed < leastSeconds);

    ::getrusage(RUSAGE_SELF, &after);
    result.seconds = elapsed / repetitions;
    result.userSeconds = (seconds(after.ru_utime) - seconds(before.ru_utime)) / repetitions;
    result.systemSeconds = (seconds(after.ru_stime) - seconds(before.ru_stime)) / repetitions;
    result.peakBytes = residentBytes("VmHWM:") - startBytes;
    return result;
}

double quantile(std::vector<double> *values, double part)
{
    const auto at = values->begin() + std::ptrdiff_t(part * double(values->size() - 1) + 0.5);
    std::nth_element(values->begin(), at, values->end());
    return *at;
}

} // namespace

Measurement measureInChild(const std::function<void(Measurement *)> &work, double leastSeconds)
{
    int ends[2];
    if (::pipe(ends) != 0)
        fail("pipe");
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child < 0)
        fail("fork");
    if (child == 0) {
        const Measurement result = measure(work, leastSeconds);
        ::_exit(::write(ends[1], &result, sizeof result) == ssize_t(sizeof result) ? 0 : 1);
    }

    ::close(ends[1]);
    Measurement result;
    const ssize_t came = ::read(ends[0], &result, sizeof result);
    ::close(ends[0]);
    int status = 0;
    if (::waitpid(child, &status, 0) != child || status != 0 || came != ssize_t(sizeof result)) {
        std::fprintf(stderr, "a measurement failed: %s %d\n", WIFSIGNALED(status) ? "signal" : "exit status",
                     WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status));
        std::exit(1);
    }
    return result;
}

double median(std::vector<double> values)
{
    return quantile(&values, 0.5);
}

double relativeSpread(std::vector<double> values)
{
    const double distance = quantile(&values, 0.75) - quantile(&values, 0.25);
    return distance / 2 / quantile(&values, 0.5);
}

} // namespace quenlofar
