#pragma once

#include "containerrun.h"
#include "filecheck.h"

#include <QString>
#include <QVector>

#include <atomic>

namespace quenlofar {

/// One line of a table of files: what `summary` says of a file, in numbers and words.
struct FileFacts
{
    QString container; ///< null where nothing has accepted the file
    qint64 size = -1; ///< bytes; -1 where the file could not be opened
    int streams = 0; ///< that are described
    Verdict verdict = Verdict::Unknown; ///< at the default level
    FindingCounts counts; ///< by severity
    QString trouble; ///< what kept the file from being read or judged to its end; null where nothing did
};

/// Walks the file `path`, reads it strictly and has it judged, as `summary` does. `cancel` ends it early while it is
/// true; what it answers then says nothing. Throws nothing: memory that ran out is a trouble.
FileFacts readFileFacts(const QString &path, const QVector<ParserFactory> &parsers, const RunLimits &limits,
                        std::atomic<bool> &cancel);

} // namespace quenlofar
