#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

// Runs programs in turn, again and again, and prints for each the medians of what they cost: one line of "name=value".
// Fails when one of them does.
// Plain C++: what this process holds in memory would count as the programs' own.

namespace {

using Clock = std::chrono::steady_clock;

struct Run
{
    double seconds = 0;
    double firstByte = 0; ///< seconds from the start to the first byte of output
    double cpu = 0; ///< seconds of processor time, the system's part included
    double peakBytes = 0;
    double readBytes = 0; ///< taken from files by system calls, libraries included
    double outputBytes = 0;
    int status = 0;
};

[[noreturn]] void fail(const char *what)
{
    std::perror(what);
    std::exit(1);
}

double seconds(const timeval &time)
{
    return double(time.tv_sec) + double(time.tv_usec) / 1e6;
}

/// What the kernel has counted for a process that ended and is not yet waited for.
double readBytesOf(pid_t process)
{
    const std::string path = "/proc/" + std::to_string(process) + "/io";
    double bytes = 0;
    if (FILE *const file = std::fopen(path.c_str(), "r")) {
        if (std::fscanf(file, "rchar: %lf", &bytes) != 1)
            bytes = 0;
        std::fclose(file);
    }
    return bytes;
}

Run runOnce(const std::vector<char *> &command, bool reads)
{
    int ends[2] = {-1, -1};
    if (reads && ::pipe2(ends, O_CLOEXEC) != 0)
        fail("pipe");
    Run run;
    const Clock::time_point start = Clock::now();
    const pid_t child = ::fork();
    if (child < 0)
        fail("fork");
    if (child == 0) {
        const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
        if (null < 0 || ::dup2(null, 0) < 0 || ::dup2(reads ? ends[1] : null, 1) < 0)
            ::_exit(127);
        ::execvp(command[0], command.data());
        std::perror(command[0]);
        ::_exit(127);
    }

    const auto elapsed = [start] { return std::chrono::duration<double>(Clock::now() - start).count(); };
    if (reads) {
        ::close(ends[1]);
        static char piece[64 * 1024];
        ssize_t came = 0;
        while ((came = ::read(ends[0], piece, sizeof piece)) > 0 || (came < 0 && errno == EINTR)) {
            if (run.outputBytes == 0)
                run.firstByte = elapsed();
            run.outputBytes += double(std::max<ssize_t>(came, 0));
        }
        ::close(ends[0]);
    }
    siginfo_t ended = {};
    if (::waitid(P_PID, id_t(child), &ended, WEXITED | WNOWAIT) != 0)
        fail("waitid");
    run.seconds = elapsed();
    run.readBytes = readBytesOf(child);
    rusage usage = {};
    if (::wait4(child, &run.status, 0, &usage) != child)
        fail("wait4");
    run.cpu = seconds(usage.ru_utime) + seconds(usage.ru_stime);
    run.peakBytes = double(usage.ru_maxrss) * 1024;
    return run;
}

double median(const std::vector<Run> &runs, double Run::*member)
{
    std::vector<double> values;
    values.reserve(runs.size());
    for (const Run &run : runs)
        values.push_back(run.*member);
    const auto middle = values.begin() + std::ptrdiff_t(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Half the distance between the quartiles, as a part of the median.
double spread(const std::vector<Run> &runs, double Run::*member)
{
    std::vector<double> values;
    values.reserve(runs.size());
    for (const Run &run : runs)
        values.push_back(run.*member);
    std::sort(values.begin(), values.end());
    const size_t last = values.size() - 1;
    return (values[(3 * last + 2) / 4] - values[(last + 2) / 4]) / 2 / values[values.size() / 2];
}

int usage()
{
    std::fprintf(stderr,
                 "usage: time-programs [OPTION...] PROGRAM [ARGUMENT...] [:: PROGRAM [ARGUMENT...]]...\n"
                 "  --runs N       how often each is run (5), in turn\n"
                 "  --read         read the output and time its first byte; else it goes to /dev/null\n"
                 "  --no-warm-up   count the first run too; else it only gets the files into the cache\n");
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    int runs = 5;
    bool reads = false;
    bool warmsUp = true;
    int at = 1;
    for (; at < argc && std::strncmp(argv[at], "--", 2) == 0; ++at) {
        if (std::strcmp(argv[at], "--read") == 0)
            reads = true;
        else if (std::strcmp(argv[at], "--no-warm-up") == 0)
            warmsUp = false;
        else if (std::strcmp(argv[at], "--runs") == 0 && at + 1 < argc)
            runs = std::atoi(argv[++at]);
        else
            return usage();
    }
    std::vector<std::vector<char *>> commands(1);
    for (; at < argc; ++at) {
        if (std::strcmp(argv[at], "::") == 0)
            commands.emplace_back();
        else
            commands.back().push_back(argv[at]);
    }
    for (std::vector<char *> &command : commands) {
        if (command.empty() || runs < 1)
            return usage();
        command.push_back(nullptr);
    }

    std::vector<std::vector<Run>> results(commands.size());
    for (int run = warmsUp ? -1 : 0; run < runs; ++run) {
        for (size_t i = 0; i < commands.size(); ++i) {
            const Run result = runOnce(commands[i], reads);
            if (run >= 0)
                results[i].push_back(result);
        }
    }
    bool succeeded = true;
    for (size_t i = 0; i < commands.size(); ++i) {
        const std::vector<Run> &all = results[i];
        const int status = all.back().status;
        succeeded = succeeded && std::all_of(all.begin(), all.end(), [](const Run &run) { return run.status == 0; });
        std::printf("program=%s seconds=%.6f spread=%.4f first_byte=%.6f cpu=%.6f cpu_spread=%.4f peak=%.0f"
                    " read=%.0f output=%.0f exit=%d\n",
                    commands[i][0], median(all, &Run::seconds), spread(all, &Run::seconds),
                    median(all, &Run::firstByte), median(all, &Run::cpu), spread(all, &Run::cpu),
                    median(all, &Run::peakBytes), median(all, &Run::readBytes), median(all, &Run::outputBytes),
                    WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
    }
    return succeeded ? 0 : 1;
}
