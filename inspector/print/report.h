#pragma once

#include <QString>
#include <QStringList>

namespace quenlofar {

struct RunResult;

/// What there is to say about one file when it was looked at.
struct FileReport
{
    int exitStatus = 0; ///< that it calls for
    QStringList messages; ///< one line per reason
    QString trouble; ///< in a few words what is wrong with it, the worst first; null for nothing
};

/**
 * What was wrong with `file`. `outputFailed`: that its walk was cut short, or its sink failed, is the trouble of the
 * program's output, which is reported elsewhere.
 */
FileReport reportOf(const QString &file, const RunResult &result, bool outputFailed);

/// Why `result` is not clean, in words, the worst first; the sink's own failure is not among them.
QStringList reasonsOf(const RunResult &result);

/// "3 of 10 files have trouble: cannot be opened (2), ... (1)"; null when none has.
QString troubleSummary(int files, const QStringList &troubles);

} // namespace quenlofar
