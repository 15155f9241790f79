#pragma once

#include "filecheck.h"
#include "packetstatistics.h"

#include <QVector>

#include <atomic>
#include <vector>

namespace quenlofar {

/// What a strict reading says of a file that was walked as well.
struct StrictReading
{
    FileCheck check; ///< at the default level; where it was not asked for, only how reading went
    bool hasPackets = false; ///< there is an analyzer, so `packets` means something
    std::vector<StreamPackets> packets; ///< by stream

    /// Of the stream number `ordinal`; null where nothing is known.
    const StreamPackets *stream(int ordinal) const;
    /// How everything went: `walk`, and where nothing was wrong with reading there, the trouble of this reading.
    RunResult outcome(const RunResult &walk) const;
};

/// Which analyzer reads, and to which level; see FileAnalysis.
struct StrictReader
{
    QVector<ParserFactory> parsers;
    RunLimits limits;
    const std::atomic<bool> *cancel = nullptr;
    WalkProgress *progress = nullptr;
};

/// Reads `start.file`, of which a walk knows `start`, and has it judged if `isJudged`. What keeps it from doing so is
/// said in the result, memory too.
StrictReading readStrictly(const DocumentStart &start, const StrictReader &reader, bool isJudged);

} // namespace quenlofar
