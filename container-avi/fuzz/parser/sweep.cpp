// Tries every small change to real files: each length, each byte of the headers, each 32-bit number that is shown.
// Every variant is walked in memory with all checks of checkedrun.h, then read strictly and judged by all rules with
// those of checkedverdict.h, each within one second of this program's time.
#include "checkedrun.h"
#include "checkedverdict.h"

#include <QByteArray>
#include <QtEndian>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QUENLOFAR_HAS_SANITIZER
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define QUENLOFAR_HAS_SANITIZER
#endif
#ifdef QUENLOFAR_HAS_SANITIZER
#include <sanitizer/common_interface_defs.h>
#endif

using namespace quenlofar;

namespace {

constexpr double longestRun = 1.0; // seconds
/// Files are smaller than this. It bounds the items too: more of them than bytes are in no file, and a damaged count
/// shows what it does in 30 000 items as well as in a million.
constexpr qint64 largestFile = 30'000;
/// Every eighth variant is judged once more, from a source that gives few bytes at once.
constexpr quint64 judgedTwice = 8;
/// What the numbers of a file are changed to.
constexpr quint32 telling[] = {0, 1, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
/// Each byte of a header is set to 00, to FF, and to itself with one of its bits flipped.
constexpr quint64 changesOfByte = 2 + 8;

struct Variant
{
    enum Kind { Cut, Byte, Number } kind;
    quint64 position;
    quint64 change;
};

/// One file and what can be changed in it. Variants have numbers, so that they need no memory.
struct Subject
{
    std::string path;
    QByteArray bytes;
    std::vector<quint64> headerBytes; // positions
    std::vector<quint64> numbers; // positions of 32-bit numbers

    quint64 cuts() const { return quint64(bytes.size()); }
    quint64 variants() const
    {
        return cuts() + headerBytes.size() * changesOfByte + numbers.size() * std::size(telling);
    }
    Variant variant(quint64 number) const
    {
        if (number < cuts())
            return {Variant::Cut, number, 0};
        number -= cuts();
        if (number < headerBytes.size() * changesOfByte)
            return {Variant::Byte, headerBytes[number / changesOfByte], number % changesOfByte};
        number -= headerBytes.size() * changesOfByte;
        return {Variant::Number, numbers[number / std::size(telling)], number % std::size(telling)};
    }
    /// The bytes of a variant; an empty array where it would change nothing.
    QByteArray make(const Variant &variant) const
    {
        if (variant.kind == Variant::Cut)
            return bytes.left(int(variant.position));
        QByteArray changed = bytes;
        char *const at = changed.data() + variant.position;
        if (variant.kind == Variant::Number)
            qToLittleEndian(telling[variant.change], at);
        else if (variant.change < 2)
            *at = variant.change == 0 ? '\0' : '\xFF';
        else
            *at = char(uchar(*at) ^ (1U << (variant.change - 2)));
        return changed == bytes ? QByteArray() : changed;
    }
};

// What this thread is at, for the message when it fails.
thread_local const Subject *currentSubject = nullptr;
thread_local Variant currentVariant{};

void describeVariant()
{
    if (!currentSubject)
        return;
    constexpr const char *kinds[] = {"cut", "byte", "number"};
    std::fprintf(stderr, "sweep: %s, %s at %llu, change %llu\n", currentSubject->path.c_str(),
                 kinds[currentVariant.kind], quint64(currentVariant.position), quint64(currentVariant.change));
}

/// Learns from a walk of the intact file where its numbers and headers are.
class Surveyor : public ElementSink
{
public:
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64) override
    {
        if (m_moviDepth == m_depth && m_moviDepth != 0 && firstData == 0)
            firstData = offset + 8;
        ++m_depth;
        if (title == QStringView(u"LIST(movi)") && m_moviDepth == 0)
            m_moviDepth = m_depth;
        if (title == QStringView(u"idx1"))
            indexes.push_back({offset, offset + size});
        return true;
    }
    bool addField(const Field &field) override
    {
        bool isNumber = false;
        field.value.toString().toULongLong(&isNumber);
        if (field.size == 4 && isNumber)
            numbers.push_back(field.offset);
        return true;
    }
    bool endElement() override
    {
        --m_depth;
        return true;
    }
    bool reportFrame(const Frame &) override { return true; }

    struct Range
    {
        quint64 begin;
        quint64 end;
    };
    std::vector<quint64> numbers;
    std::vector<Range> indexes;
    quint64 firstData = 0; // of the first chunk in the list of data; 0 where there is none

private:
    int m_depth = 0;
    int m_moviDepth = 0;
};

Subject survey(const std::string &path, const QByteArray &bytes)
{
    Surveyor surveyor;
    ContainerRun run;
    run.setOpener([&](const QString &, QString *) { return memorySource(bytes); });
    run.run({}, {{QStringLiteral("AVI"), {}, {}, [] { return std::unique_ptr<ContainerAbstract>(new ContainerAVI); }}},
            surveyor);

    Subject subject{path, bytes, {}, {}};
    const quint64 size = quint64(bytes.size());
    const quint64 headerEnd = surveyor.firstData == 0 ? size : std::min(size, surveyor.firstData);
    for (quint64 at = 0; at < headerEnd; ++at)
        subject.headerBytes.push_back(at);
    for (const Surveyor::Range &index : surveyor.indexes) {
        for (quint64 at = std::max(headerEnd, index.begin); at < std::min(size, index.end); ++at)
            subject.headerBytes.push_back(at);
    }
    std::sort(surveyor.numbers.begin(), surveyor.numbers.end());
    surveyor.numbers.erase(std::unique(surveyor.numbers.begin(), surveyor.numbers.end()), surveyor.numbers.end());
    for (const quint64 at : surveyor.numbers) {
        if (size >= 4 && at <= size - 4)
            subject.numbers.push_back(at);
    }
    return subject;
}

QByteArray readFile(const std::filesystem::path &path)
{
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    return QByteArray(bytes.data(), int(bytes.size()));
}

struct Options
{
    quint64 thin = 1;
    unsigned jobs = 1;
    std::vector<std::filesystem::path> files;
};

/// The variants of all subjects are dealt out to the threads one by one.
class Sweep
{
public:
    Sweep(const std::vector<Subject> &subjects, const Options &options) : m_subjects(subjects), m_options(options)
    {
        for (const Subject &subject : subjects)
            m_total += subject.variants();
    }

    void work()
    {
        for (;;) {
            const quint64 number = m_next.fetch_add(1);
            if (number >= m_total)
                return;
            if (isChosen(number))
                tryVariant(number);
            if (number % (m_total / 10 + 1) == 0 && number != 0)
                std::fprintf(stderr, "%d %%\n", int(std::round(100.0 * double(number) / double(m_total))));
        }
    }

    quint64 total() const { return m_total; }
    quint64 tried() const { return m_tried; }
    double slowest() const { return double(m_slowestMicroseconds) / 1e6; }

private:
    /// A fixed part of the variants, spread over all kinds of changes: neighbours in number are of different kinds.
    bool isChosen(quint64 number) const { return ((number * 0x9E3779B97F4A7C15U) >> 33) % m_options.thin == 0; }

    void tryVariant(quint64 number)
    {
        const Subject *subject = m_subjects.data();
        while (number >= subject->variants())
            number -= subject++->variants();
        currentSubject = subject;
        currentVariant = subject->variant(number);
        const QByteArray bytes = subject->make(currentVariant);
        if (bytes.isEmpty() && currentVariant.kind != Variant::Cut)
            return;
        RunSettings settings;
        settings.limits.maxItems = quint64(largestFile);
        settings.parsesJson = false;
        const CheckedResult checked = checkedRun(bytes, settings);
        require(checked.seconds < longestRun, "every run is shorter than a second");
        VerdictSettings judging;
        judging.keepsText = number % judgedTwice == 0;
        const CheckedVerdict verdict = checkedVerdict(bytes, judging);
        require(verdict.seconds < longestRun, "every file is judged in less than a second");
        require(verdict.result.isComplete() && verdict.isComplete, "every file is judged to its end");
        if (judging.keepsText) {
            judging.faults.isPlainMemory = false;
            judging.faults.mostAtOnce = 1 + qint64(number % 4099);
            require(checkedVerdict(bytes, judging).text == verdict.text, "a file is judged as its bytes in memory are");
        }
        ++m_tried;
        const quint64 microseconds = quint64(std::max(checked.seconds, verdict.seconds) * 1e6);
        quint64 slowest = m_slowestMicroseconds;
        while (microseconds > slowest && !m_slowestMicroseconds.compare_exchange_weak(slowest, microseconds)) { }
    }

    const std::vector<Subject> &m_subjects;
    const Options &m_options;
    quint64 m_total = 0;
    std::atomic<quint64> m_next{0};
    std::atomic<quint64> m_tried{0};
    std::atomic<quint64> m_slowestMicroseconds{0};
};

[[noreturn]] void usage()
{
    std::fputs("usage: sweep [--thin N] [--jobs N] FILE-OR-DIRECTORY...\n"
               "Tries all small changes to the AVI files below 30000 bytes that are named or lie in a directory.\n"
               "  --thin N   only a fixed part of about one in N changes\n"
               "  --jobs N   threads\n",
               stderr);
    std::exit(2);
}

Options parseOptions(int argc, char **argv)
{
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument(argv[i]);
        if (argument == "--thin" || argument == "--jobs") {
            const unsigned long number = ++i < argc ? std::strtoul(argv[i], nullptr, 10) : 0;
            if (number == 0)
                usage();
            if (argument == "--thin")
                options.thin = number;
            else
                options.jobs = unsigned(number);
        } else if (std::filesystem::is_directory(argument)) {
            for (const auto &entry : std::filesystem::directory_iterator(argument)) {
                if (entry.path().extension() == ".avi")
                    options.files.push_back(entry.path());
            }
        } else {
            options.files.emplace_back(argument);
        }
    }
    if (options.files.empty())
        usage();
    std::sort(options.files.begin(), options.files.end());
    return options;
}

} // namespace

int main(int argc, char **argv)
{
    const Options options = parseOptions(argc, argv);
    describeInput = describeVariant;
#ifdef QUENLOFAR_HAS_SANITIZER
    __sanitizer_set_death_callback(describeVariant);
#endif
    std::vector<Subject> subjects;
    for (const std::filesystem::path &path : options.files) {
        const QByteArray bytes = readFile(path);
        if (bytes.isEmpty() || bytes.size() >= largestFile)
            continue;
        subjects.push_back(survey(path.string(), bytes));
        const Subject &subject = subjects.back();
        std::printf("%s: %zu lengths, %zu header bytes, %zu numbers\n", path.filename().c_str(), size_t(subject.cuts()),
                    subject.headerBytes.size(), subject.numbers.size());
    }
    if (subjects.empty())
        usage();
    std::fflush(stdout);

    const auto begin = std::chrono::steady_clock::now();
    Sweep sweep(subjects, options);
    std::vector<std::thread> threads;
    for (unsigned i = 1; i < options.jobs; ++i)
        threads.emplace_back([&sweep] { sweep.work(); });
    sweep.work();
    for (std::thread &thread : threads)
        thread.join();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    std::printf("%zu files, %llu of %llu variants in %.1f s; the slowest run took %.3f s\n", subjects.size(),
                quint64(sweep.tried()), quint64(sweep.total()), seconds, sweep.slowest());
    return 0;
}
