#include "fileoverview.h"

#include <QCoreApplication>

#include <algorithm>
#include <array>
#include <cmath>

namespace quenlofar {

namespace {

struct OverviewTexts
{
    Q_DECLARE_TR_FUNCTIONS(quenlofar::FileOverview)
};

constexpr int kindCount = int(RegionKind::Text) + 1;
constexpr int mostRegions = 64; // of a cell, until it is sampled
constexpr int samples = 64; // of a cell
constexpr qint64 blockSize = 4096;

} // namespace

QString byteClassText(ByteClass byteClass)
{
    switch (byteClass) {
    case ByteClass::NotLooked:
        return OverviewTexts::tr("not looked at");
    case ByteClass::Zero:
        return OverviewTexts::tr("zero");
    case ByteClass::Text:
        return OverviewTexts::tr("text");
    case ByteClass::Dense:
        return OverviewTexts::tr("dense");
    case ByteClass::Other:
        break;
    }
    return OverviewTexts::tr("mixed");
}

ByteClass byteClassOf(const uchar *bytes, int count)
{
    if (count <= 0)
        return ByteClass::NotLooked;
    std::array<int, 256> times{};
    for (int i = 0; i < count; ++i)
        ++times[bytes[i]];
    const int nearlyAll = count - count / 16;
    if (times[0] >= nearlyAll)
        return ByteClass::Zero;
    int characters = times['\t'] + times['\n'] + times['\r'];
    for (int character = ' '; character <= '~'; ++character)
        characters += times[size_t(character)];
    if (characters >= nearlyAll)
        return ByteClass::Text;
    double bits = 0;
    for (const int each : times) {
        if (each > 0)
            bits -= each * std::log2(double(each) / count);
    }
    bits /= count;
    // Few bytes cannot be as varied as many.
    constexpr double denseShare = 0.9;
    return bits >= denseShare * std::min(8.0, std::log2(double(count))) ? ByteClass::Dense : ByteClass::Other;
}

quint64 OverviewCells::begin(int cell) const
{
    const quint64 cells = quint64(count());
    if (cells == 0)
        return 0;
    const quint64 at = quint64(cell);
    return fileSize / cells * at + fileSize % cells * at / cells;
}

int OverviewCells::cellOf(quint64 offset) const
{
    int low = 0;
    int high = count();
    while (high - low > 1) {
        const int middle = low + (high - low) / 2;
        if (begin(middle) <= offset)
            low = middle;
        else
            high = middle;
    }
    return low;
}

std::vector<RegionKind> OverviewCells::kinds(const RegionTable &regions, const std::atomic<bool> &isCancelled) const
{
    std::vector<RegionKind> kinds(size_t(count()), RegionKind::Unknown);
    for (int cell = 0; cell < count() && !isCancelled; ++cell) {
        const quint64 from = begin(cell);
        const quint64 to = std::min(begin(cell + 1), regions.fileSize());
        std::array<quint64, kindCount> bytes{};
        quint64 at = from;
        for (int region = 0; region < mostRegions && at < to; ++region) {
            const Region here = regions.at(at);
            const quint64 end = std::min(here.range.end(), to);
            bytes[size_t(here.kind)] += end - at;
            at = end;
        }
        const quint64 step = std::max<quint64>((to - std::min(at, to)) / samples, 1);
        for (; at < to; at += step)
            bytes[size_t(regions.at(at).kind)] += std::min(step, to - at);
        kinds[size_t(cell)] = RegionKind(std::max_element(bytes.begin(), bytes.end()) - bytes.begin());
    }
    return kinds;
}

std::vector<ByteClass> OverviewCells::classes(ByteSource &source, const std::atomic<bool> &isCancelled) const
{
    std::vector<ByteClass> classes(size_t(count()), ByteClass::NotLooked);
    // As much as is read of a cell at most: all of it in files that are not sampled.
    const quint64 most = fileSize > sampledFrom ? quint64(blockSize) : sampledFrom / mostCells + 1;
    std::vector<char> bytes(static_cast<size_t>(most));
    for (int cell = 0; cell < count(); ++cell) {
        const qint64 wanted = qint64(std::min(begin(cell + 1) - begin(cell), most));
        qint64 came = 0;
        while (came < wanted && !isCancelled) {
            const qint64 more = source.readAt(qint64(begin(cell)) + came, bytes.data() + came, wanted - came);
            if (more <= 0)
                break;
            came += more;
        }
        if (isCancelled)
            break;
        classes[size_t(cell)] = byteClassOf(reinterpret_cast<const uchar *>(bytes.data()), int(came));
    }
    return classes;
}

} // namespace quenlofar
