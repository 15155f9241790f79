// The strict reading, and all rules, over any bytes. The last six bytes of an input say how the others are read; zeros
// stand for a file in memory, nothing that goes wrong, and level deep.
#include "checkedverdict.h"
#include "fuzztarget.h"
#include "inputreader.h"

using namespace quenlofar;

namespace {

constexpr size_t modeSize = 6;

enum Mode : quint8 {
    DamagedSource = 0x01, // some bytes cannot be read
    ShrunkenSource = 0x02, // the file ends earlier than it says
    Cancelled = 0x04,
    QuickLevel = 0x08,
    DefaultLevel = 0x10,
};

VerdictSettings takeSettings(InputReader &mode)
{
    const quint8 modes = mode.take<quint8>();
    const quint16 place = mode.take<quint16>();
    const quint16 length = mode.take<quint16>();
    const quint8 call = mode.take<quint8>();

    VerdictSettings settings;
    settings.level = modes & QuickLevel ? Level::Quick : modes & DefaultLevel ? Level::Default : Level::Deep;
    if (modes & (DamagedSource | ShrunkenSource))
        settings.faults = faultsFrom((modes & DamagedSource) != 0, (modes & ShrunkenSource) != 0, place, length);
    if (modes & Cancelled)
        settings.cancelAt = quint64(call) + 1;
    return settings;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const size_t fileSize = size - std::min(size, modeSize);
    InputReader mode(data + fileSize, size - fileSize);
    const QByteArray bytes = InputReader(data, fileSize).takeRest();
    const VerdictSettings settings = takeSettings(mode);
    AviAnalyzer().recognises(*sourceOf(bytes, settings.faults));
    const CheckedVerdict first = checkedVerdict(bytes, settings);
    if (!settings.faults.isPlainMemory || settings.cancelAt != 0)
        return 0;

    require(first.result.isComplete() && first.isComplete, "bytes in memory are read and judged to their end");
    // A file gives its bytes in pieces, as many as were asked for or fewer.
    VerdictSettings windowed = settings;
    windowed.faults.isPlainMemory = false;
    for (const qint64 most : {qint64(13), SourceFaults::never}) {
        windowed.faults.mostAtOnce = most;
        const CheckedVerdict again = checkedVerdict(bytes, windowed);
        require(again.text == first.text, "a file is judged as its bytes in memory are");
    }
    return 0;
}
