#pragma once

#include "containerabstract_export.h"
#include "finding.h"
#include "packettable.h"
#include "referencetable.h"
#include "regiontable.h"
#include "rule.h"
#include "runresult.h"

#include <atomic>

namespace quenlofar {

class ByteSource;
class FileDevice;
struct WalkProgress;

/// Whether an analyzer can judge a file.
enum class Recognition : quint8 {
    No, ///< it is of another kind
    Parts, ///< it has parts of the kind: to be judged where its name has an extension that the plug-in claims
    Yes, ///< it is of the kind, or nearly so
};

/// How to read a file.
struct AnalysisOptions
{
    Level level = Level::Default; ///< what check() will be asked for at most; at Quick there are no packets
    const std::atomic<bool> *cancel = nullptr; ///< while true, reading and checking end early; outlives the analyzer
    WalkProgress *progress = nullptr; ///< follows where the file is being read; outlives the analyzer
};

/// How a reading ended. All that was found before stays good.
struct AnalysisResult
{
    FileError error; ///< the first trouble with reading: Kind Read or Memory
    bool isCancelled = false; ///< it was cut short because the caller asked for that
    bool isLimited = false; ///< it was cut short by a bound; the table of what was not checked says which
    quint64 bytesRead = 0; ///< of the file, payload that was passed over not counted

    /// The whole file was read.
    bool isComplete() const { return error.kind == FileError::None && !isCancelled && !isLimited; }
};

/// Opens `source` for an analyzer: reads of `file` follow the cancel and the progress of `options`. The source still
/// stays with its owner, and outlives the use of the device. May throw std::bad_alloc.
CONTAINERABSTRACT_EXPORT void openForAnalysis(FileDevice &file, ByteSource &source, const AnalysisOptions &options);
/// How the reading of `file`, which openForAnalysis opened, has gone so far: an error, a cancel, and the bytes.
CONTAINERABSTRACT_EXPORT AnalysisResult analysisResult(const FileDevice &file);

/// Numbers that rules compare with, where people differ; a policy may change them.
struct CheckThresholds
{
    double interleaveSeconds = 2.0; ///< data of one time are less than this apart, counted in time
    quint64 interleaveBytes = quint64(64) << 20; ///< and less than this apart in the file,
    double interleaveBytesFrom = 1.0; ///< where that is more than these seconds
    double durationSeconds = 1.0; ///< streams last equally long within the larger of this
    double durationShare = 0.05; ///< and this share of the longest
};

/// What to check.
struct CheckOptions
{
    Level level = Level::Default; ///< not above that of the reading
    CheckThresholds thresholds; ///< of all rules
};

/**
 * Reads a file strictly, by its sizes, and judges it: a plug-in may export
 * `quenlofar::ContainerAnalyzer *createAnalyzer()` beside its three required functions.
 *
 * It knows nothing of parser, run or tree: what is shown of a file, oddities included, must not decide what is said of
 * it. One object reads one file at a time and may read others afterwards; it is used from one thread at a time, and has
 * to be gone before its plug-in is unloaded. No operation but a destructor of the source may throw.
 *
 * The order of the virtual operations is frozen; what comes later is asked for by extension().
 */
class CONTAINERABSTRACT_EXPORT ContainerAnalyzer
{
public:
    ContainerAnalyzer() = default;
    ContainerAnalyzer(const ContainerAnalyzer &) = delete;
    ContainerAnalyzer &operator=(const ContainerAnalyzer &) = delete;
    virtual ~ContainerAnalyzer();

    /// Looks at the first bytes; looser than a parser's detection, because what is damaged there is to be judged too.
    virtual Recognition recognises(ByteSource &source) = 0;
    /// Reads the file's structure into flat arrays. `source` outlives the analyzer, or the next read.
    virtual AnalysisResult read(ByteSource &source, const AnalysisOptions &options) = 0;

    /// The data chunks of what was read; finished. Valid until the next read.
    virtual const PacketTable &packets() const = 0;
    /// Which index entry points at what; finished. Valid until the next read.
    virtual const ReferenceTable &references() const = 0;
    /// What kind every byte is. Valid until the next read.
    virtual const RegionTable &regions() const = 0;

    /// All rules, whatever was read; the same list every time, valid until the plug-in is unloaded.
    virtual RuleList rules() const = 0;
    /// Judges what was read, by all rules of the level, into `findings`, which it begins. False where it was cancelled,
    /// could not read on, or memory ran out: the findings are then those that came before, and what was not checked is
    /// said there.
    virtual bool check(const CheckOptions &options, Findings &findings) = 0;

    /// What a later framework added, by its number; null where this analyzer does not have it.
    virtual void *extension(int number);
};

} // namespace quenlofar
