#include "allocationcount.h"
#include "measure.h"
#include "visitchunks.h"

#include "containerrun.h"
#include "elementtree.h"
#include "filepath.h"
#include "jsonwriter.h"
#include "pluginloader.h"

#include <QFileInfo>
#include <QIODevice>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

using namespace quenlofar;

// Walks files into one sink after the other, each in a process of its own, and the floor in turn with them; checks what
// was counted. One line of "name=value" per file and sink: tools/bench makes tables of them.

namespace {

/// Where the build tree that this program stands in has its plug-ins.
QString pluginDirectory()
{
    return QFileInfo(QStringLiteral("/proc/self/exe")).canonicalPath()
        + QStringLiteral("/" QUENLOFAR_PLUGINS_FROM_BENCHMARKS);
}

class CountingSink final : public ElementSink
{
public:
    bool beginElement(quint64, quint64, QStringView, qint64) override
    {
        ++items;
        return true;
    }
    bool addField(const Field &) override
    {
        ++items;
        return true;
    }
    bool endElement() override { return true; }
    bool reportFrame(const Frame &) override
    {
        ++frames;
        return true;
    }

    quint64 items = 0;
    quint64 frames = 0;
};

/// Hands everything on, and counts frames and the allocations between two items.
class WatchingSink final : public ElementSink
{
public:
    WatchingSink(ElementSink &next, quint64 from, quint64 to) : m_next(next), m_from(from), m_to(to) { }

    bool beginDocument(const DocumentStart &start) override { return m_next.beginDocument(start); }
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override
    {
        countItem();
        return m_next.beginElement(offset, size, title, index);
    }
    bool addField(const Field &field) override
    {
        countItem();
        return m_next.addField(field);
    }
    bool endElement() override { return m_next.endElement(); }
    bool reportFrame(const Frame &frame) override
    {
        ++frames;
        return m_next.reportFrame(frame);
    }
    bool endDocument(const RunResult &result) override { return m_next.endDocument(result); }

    quint64 frames = 0;
    quint64 allocations = 0;

private:
    void countItem()
    {
        ++m_items;
        if (m_items == m_from)
            allocations = allocationCount();
        if (m_items == m_to)
            allocations = allocationCount() - allocations;
    }

    ElementSink &m_next;
    const quint64 m_from;
    const quint64 m_to;
    quint64 m_items = 0;
};

class NullDevice final : public QIODevice
{
public:
    NullDevice() { open(WriteOnly | Unbuffered); }
    quint64 bytes = 0;

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *, qint64 size) override
    {
        bytes += quint64(size);
        return size;
    }
};

// What of a measurement is looked at.
double wallSeconds(const Measurement &measurement)
{
    return measurement.seconds;
}
double cpuSeconds(const Measurement &measurement)
{
    return measurement.userSeconds + measurement.systemSeconds;
}

using Quantity = double (*)(const Measurement &);

std::vector<double> all(const std::vector<Measurement> &measurements, Quantity quantity)
{
    std::vector<double> values;
    values.reserve(measurements.size());
    for (const Measurement &each : measurements)
        values.push_back(quantity(each));
    return values;
}

/// Of the measurements that were made one after the other, so that both had the same machine.
std::vector<double> ratios(const std::vector<Measurement> &ofThese, const std::vector<Measurement> &toThose,
                           Quantity quantity)
{
    std::vector<double> values;
    values.reserve(ofThese.size());
    for (size_t i = 0; i < ofThese.size(); ++i)
        values.push_back(quantity(ofThese[i]) / quantity(toThose[i]));
    return values;
}

/// What a run has to count.
struct Expected
{
    bool isKnown = false;
    quint64 items = 0;
    quint64 bytesRead = 0;
    quint64 frames = 0;
};

class Bench
{
public:
    Bench(const char *path, int runs, double leastSeconds, bool hasFloor)
        : m_path(path), m_runs(runs), m_leastSeconds(leastSeconds), m_hasFloor(hasFloor)
    {
        m_plugins.addDirectory(pluginDirectory());
        m_parsers = m_plugins.parsersFor(pathFromBytes(m_path));
        std::ifstream expected(std::string(path) + ".expected");
        if (expected >> m_expected.items >> m_expected.bytesRead >> m_expected.frames)
            m_expected.isKnown = true;
    }

    /// Measures all of `sinks` and prints a line for each; false when a count is not as expected.
    bool measure(const std::vector<std::string> &sinks)
    {
        if (m_parsers.isEmpty()) {
            std::fprintf(stderr, "walk-benchmark: no parser in %s\n", qPrintable(pluginDirectory()));
            return false;
        }
        std::vector<Measurement> floors;
        std::vector<std::vector<Measurement>> samples(sinks.size());
        if (m_hasFloor)
            measureFloor(); // gets the file into the cache
        for (int run = 0; run < m_runs; ++run) {
            if (m_hasFloor)
                floors.push_back(measureFloor());
            for (size_t i = 0; i < sinks.size(); ++i)
                samples[i].push_back(measureSink(sinks[i]));
        }
        bool correct = true;
        for (size_t i = 0; i < sinks.size(); ++i) {
            Measurement &first = samples[i].front();
            const Measurement watched = watchSink(sinks[i], first.items);
            first.frames = watched.frames;
            first.allocations = watched.allocations;
            first.steadyItems = watched.steadyItems;
            print(sinks[i], samples[i], floors);
            correct &= check(sinks[i], first);
        }
        return correct;
    }

private:
    RunResult run(ElementSink &sink) const { return ContainerRun().run(pathFromBytes(m_path), m_parsers, sink); }

    static void note(const RunResult &result, Measurement *measurement)
    {
        measurement->status = result.status;
        measurement->items = result.items;
        measurement->bytesRead = result.bytesRead;
    }

    /// Calls `use` with the sink of that name.
    template <typename Use> static void withSink(const std::string &name, Measurement *measurement, const Use &use)
    {
        if (name == "count") {
            CountingSink sink;
            use(sink);
        } else if (name == "tree") {
            ElementTree sink;
            use(sink);
        } else if (name == "json") {
            NullDevice device;
            JsonWriter sink(device);
            use(sink);
            measurement->outputBytes = device.bytes;
        } else {
            std::fprintf(stderr, "walk-benchmark: there is no sink \"%s\"\n", name.c_str());
            std::exit(2);
        }
    }

    Measurement measureFloor() const
    {
        return measureInChild(
            [this](Measurement *) {
                const ChunkFloor found = visitChunks(m_path);
                if (!found.error.empty()) {
                    std::fprintf(stderr, "walk-benchmark: %s: %s\n", m_path, found.error.c_str());
                    std::_Exit(1);
                }
            },
            m_leastSeconds);
    }

    Measurement measureSink(const std::string &name) const
    {
        return measureInChild(
            [&](Measurement *measurement) {
                withSink(name, measurement, [&](ElementSink &sink) { note(run(sink), measurement); });
            },
            m_leastSeconds);
    }

    /// Counts the allocations of the middle eight tenths of a run.
    Measurement watchSink(const std::string &name, quint64 items) const
    {
        const quint64 from = items / 10;
        const quint64 to = items - from;
        return measureInChild(
            [&](Measurement *measurement) {
                withSink(name, measurement, [&](ElementSink &sink) {
                    WatchingSink watching(sink, from, to);
                    note(run(watching), measurement);
                    measurement->frames = watching.frames;
                    measurement->allocations = watching.allocations;
                    measurement->steadyItems = to - from;
                });
            },
            0);
    }

    void print(const std::string &sink, const std::vector<Measurement> &samples,
               const std::vector<Measurement> &floors) const
    {
        const Measurement &first = samples.front();
        std::ifstream file(m_path, std::ios::ate | std::ios::binary);
        int64_t peak = 0;
        for (const Measurement &sample : samples)
            peak = std::max(peak, sample.peakBytes);
        std::printf("file=%s size=%" PRIu64 " sink=%s seconds=%.6f spread=%.4f cpu=%.6f cpu_spread=%.4f", m_path,
                    uint64_t(file.tellg()), sink.c_str(), median(all(samples, wallSeconds)),
                    relativeSpread(all(samples, wallSeconds)), median(all(samples, cpuSeconds)),
                    relativeSpread(all(samples, cpuSeconds)));
        if (m_hasFloor) {
            const std::vector<double> wallRatios = ratios(samples, floors, wallSeconds);
            const std::vector<double> cpuRatios = ratios(samples, floors, cpuSeconds);
            std::printf(" ratio=%.4f ratio_spread=%.4f cpu_ratio=%.4f cpu_ratio_spread=%.4f floor=%.6f",
                        median(wallRatios), relativeSpread(wallRatios), median(cpuRatios), relativeSpread(cpuRatios),
                        median(all(floors, wallSeconds)));
        }
        std::printf(" items=%" PRIu64 " bytes=%" PRIu64 " frames=%" PRIu64 " output=%" PRIu64 " peak=%" PRId64
                    " status=%d",
                    uint64_t(first.items), uint64_t(first.bytesRead), uint64_t(first.frames),
                    uint64_t(first.outputBytes), peak, first.status);
        if (countsAllocations())
            std::printf(" allocations=%" PRIu64 " steady_items=%" PRIu64, uint64_t(first.allocations),
                        uint64_t(first.steadyItems));
        std::printf("\n");
        std::fflush(stdout);
    }

    bool check(const std::string &sink, const Measurement &measured) const
    {
        const auto isRight = [&](const char *what, quint64 count, quint64 expected) {
            if (count == expected)
                return true;
            std::fprintf(stderr, "walk-benchmark: %s, %s: %" PRIu64 " %s, but %" PRIu64 " were expected\n", m_path,
                         sink.c_str(), uint64_t(count), what, uint64_t(expected));
            return false;
        };
        if (!m_expected.isKnown)
            return true;
        // All are checked: one wrong count explains another.
        const bool items = isRight("items", measured.items, m_expected.items);
        const bool bytes = isRight("bytes handed to the parser", measured.bytesRead, m_expected.bytesRead);
        const bool frames = isRight("frames", measured.frames, m_expected.frames);
        return items && bytes && frames;
    }

    const char *const m_path;
    const int m_runs;
    const double m_leastSeconds;
    const bool m_hasFloor;
    PluginLoader m_plugins;
    QVector<ParserFactory> m_parsers;
    Expected m_expected;
};

int usage()
{
    std::fprintf(stderr,
                 "usage: walk-benchmark [--runs N] [--least-seconds S] [floor,]SINK[,SINK...] FILE...\n"
                 "sinks: count, tree, json; after \"floor\" each is compared with the floor\n");
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    int runs = 5;
    double leastSeconds = 0.1;
    int at = 1;
    for (; at + 1 < argc && argv[at][0] == '-'; at += 2) {
        if (std::strcmp(argv[at], "--runs") == 0)
            runs = std::atoi(argv[at + 1]);
        else if (std::strcmp(argv[at], "--least-seconds") == 0)
            leastSeconds = std::atof(argv[at + 1]);
        else
            return usage();
    }
    if (argc - at < 2 || runs < 1)
        return usage();

    std::vector<std::string> sinks;
    for (const char *name = std::strtok(argv[at], ","); name; name = std::strtok(nullptr, ","))
        sinks.emplace_back(name);
    const bool hasFloor = !sinks.empty() && sinks.front() == "floor";
    if (hasFloor)
        sinks.erase(sinks.begin());
    bool correct = true;
    for (++at; at < argc; ++at)
        correct &= Bench(argv[at], runs, leastSeconds, hasFloor).measure(sinks);
    return correct ? 0 : 1;
}
