#include "strictreading.h"

#include "fileanalysis.h"

#include <algorithm>
#include <new>

namespace quenlofar {

const StreamPackets *StrictReading::stream(int ordinal) const
{
    const auto found = std::find_if(packets.begin(), packets.end(),
                                    [ordinal](const StreamPackets &each) { return each.stream == ordinal; });
    return found == packets.end() ? nullptr : &*found;
}

RunResult StrictReading::outcome(const RunResult &walk) const
{
    RunResult both = walk;
    if (both.error.kind == FileError::None)
        both.error = check.result.error;
    return both;
}

StrictReading readStrictly(const DocumentStart &start, const StrictReader &reader, bool isJudged)
{
    StrictReading reading;
    reading.check.start = start;
    if (start.fileSize < 0)
        return reading;
    try {
        FileAnalysis analysis(reader.limits, reader.cancel, reader.progress);
        analysis.read(start.file, reader.parsers, Level::Default);
        if (const ContainerAnalyzer *const analyzer = analysis.analyzer()) {
            reading.packets = packetStatistics(analyzer->packets());
            reading.hasPackets = true;
        }
        if (isJudged)
            reading.check = judge(analysis, {});
        else
            reading.check.result = analysis.result();
        if (!analysis.analyzer()) {
            reading.check.start = start;
            if (!start.container.isNull() && analysis.result().isClean())
                reading.check.notChecked = QStringList(QStringLiteral("no rules for this container"));
        }
    } catch (const std::bad_alloc &) {
        reading = StrictReading();
        reading.check.start = start;
        reading.check.result.error = {FileError::Memory, -1, QStringLiteral("not enough memory to judge the file")};
    }
    return reading;
}

} // namespace quenlofar
