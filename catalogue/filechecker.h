#pragma once

#include "digest.h"
#include "filerecord.h"

#include <atomic>

namespace quenlofar {

class ContainerRun;
struct WalkProgress;

/// What makes a record of a judgement.
struct RecordMaker
{
    const QVector<ParserFactory> &parsers; ///< to be asked, in this order
    ContainerRun &run; ///< walks the file once more, to describe it
    DigestKind digest;
    const std::atomic<bool> &cancel; ///< ends the work early; what comes out then says nothing
    WalkProgress *progress; ///< may be null

    /// Of `file` (see pathFromBytes), which `check` judges; `stamp` is from before it was read, or nothing.
    FileRecord make(const QString &file, const std::optional<FileStamp> &stamp, FileCheck check) const;
};

} // namespace quenlofar
