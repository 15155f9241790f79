// A whole run over any bytes. The last eight bytes of an input say how the others are read; zeros stand for a file in
// memory and nothing that goes wrong.
#include "checkedrun.h"
#include "fuzztarget.h"
#include "inputreader.h"

using namespace quenlofar;

namespace {

constexpr size_t modeSize = 8;

enum Mode : quint8 {
    WindowedSource = 0x01, // read like a file, a few bytes at a time, and compared with what memory gives
    DamagedSource = 0x02, // some bytes cannot be read
    ShrunkenSource = 0x04,
    FailingSink = 0x08,
    CancelledRun = 0x10,
    FewItems = 0x20,
    FewLevels = 0x40,
    LittleWork = 0x80,
};

RunSettings takeSettings(InputReader &mode)
{
    const quint8 modes = mode.take<quint8>();
    const quint16 place = mode.take<quint16>();
    const quint16 length = mode.take<quint16>();
    const quint16 call = mode.take<quint16>();
    const quint8 bound = mode.take<quint8>();

    RunSettings settings;
    settings.limits.maxItems = modes & FewItems ? quint64(bound) + 1 : 20'000;
    settings.limits.maxDepth = modes & FewLevels ? quint64(bound % 32) + 1 : 200;
    settings.workLimit = modes & LittleWork ? quint64(bound) * 64 : 4'000'000;
    if (modes & (WindowedSource | DamagedSource | ShrunkenSource))
        settings.faults = faultsFrom((modes & DamagedSource) != 0, (modes & ShrunkenSource) != 0, place, length);
    if (modes & FailingSink)
        settings.failAt = quint64(call) + 1;
    else if (modes & CancelledRun)
        settings.cancelAt = quint64(call) + 1;
    return settings;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const size_t fileSize = size - std::min(size, modeSize);
    InputReader mode(data + fileSize, size - fileSize);
    const QByteArray bytes = InputReader(data, fileSize).takeRest();
    RunSettings settings = takeSettings(mode);
    const CheckedResult first = checkedRun(bytes, settings);

    const SourceFaults &faults = settings.faults;
    const bool isWhole = faults.damagedFrom == SourceFaults::never && faults.endsAt == SourceFaults::never;
    // How soon a bound on work or a cancel is noticed depends on what is at hand.
    const bool isTimely = first.result.limit != RunLimit::Work && settings.cancelAt == 0;
    if (isWhole && isTimely && !faults.isPlainMemory) {
        settings.faults = SourceFaults();
        settings.parsesJson = false;
        const CheckedResult second = checkedRun(bytes, settings);
        require(second.json == first.json, "a file gives the same document as memory does");
        require(second.result.bytesRead == first.result.bytesRead, "bytes are counted alike from a file and memory");
    }
    return 0;
}
