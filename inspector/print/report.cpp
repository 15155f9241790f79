#include "report.h"

#include "exitstatus.h"
#include "runresult.h"
#include "statuscodes.h"

#include <QVector>

#include <vector>

namespace quenlofar {

namespace {

QString errorReason(const FileError &error)
{
    switch (error.kind) {
    case FileError::None:
        break;
    case FileError::Open:
        return QStringLiteral("cannot be opened: %1").arg(error.message);
    case FileError::Read:
        return QStringLiteral("reading failed at byte %1: %2").arg(error.offset).arg(error.message);
    case FileError::Memory:
        return error.offset < 0 ? QStringLiteral("memory ran out: %1").arg(error.message)
                                : QStringLiteral("memory ran out at byte %1: %2").arg(error.offset).arg(error.message);
    case FileError::Parser:
        return QStringLiteral("the parser failed: %1").arg(error.message);
    }
    return {};
}

QString limitReason(const RunResult &result)
{
    const QString stopped = QStringLiteral("stopped at byte %1: ").arg(result.stopPosition);
    switch (result.limit) {
    case RunLimit::None:
        break;
    case RunLimit::Items:
        return stopped
            + QStringLiteral("it holds more than %1 elements and fields; --max-items raises this limit")
                  .arg(result.limitValue);
    case RunLimit::Depth:
        return stopped
            + QStringLiteral("more than %1 elements are nested; --max-depth raises this limit").arg(result.limitValue);
    case RunLimit::Work:
        return stopped
            + QStringLiteral("more than %1 bytes had to be read; --max-work raises this limit").arg(result.limitValue);
    case RunLimit::Time:
        return stopped
            + QStringLiteral("it took more than %1 %2; --max-seconds raises this limit")
                  .arg(result.limitValue)
                  .arg(result.limitValue == 1 ? QStringLiteral("second") : QStringLiteral("seconds"));
    case RunLimit::Structure:
        return stopped
            + QStringLiteral("its structure has more than %1 entries, which no sound file of its size has")
                  .arg(result.limitValue);
    }
    return {};
}

QString errorTrouble(FileError::Kind kind)
{
    switch (kind) {
    case FileError::None:
        break;
    case FileError::Open:
        return QStringLiteral("cannot be opened");
    case FileError::Read:
        return QStringLiteral("reading failed");
    case FileError::Memory:
        return QStringLiteral("memory ran out");
    case FileError::Parser:
        return QStringLiteral("the parser failed");
    }
    return {};
}

/// One thing that was wrong with a file.
struct Problem
{
    QString reason; ///< a sentence
    QString trouble; ///< a few words, the same for all files with the same problem
    ExitStatus exitStatus;
};

std::vector<Problem> problemsOf(const RunResult &result, bool outputFailed = false)
{
    std::vector<Problem> problems;
    const bool hasError = result.error.kind != FileError::None;
    if (hasError)
        problems.push_back({errorReason(result.error), errorTrouble(result.error.kind), ExitFailure});
    const QString status = statusText(result);
    // The statuses of opening and reading only repeat the error.
    if (result.status == StatusCannotOpen || result.status == StatusReadError) {
        if (!hasError)
            problems.push_back({status, status, ExitFailure});
    } else if (result.status != StatusOk) {
        problems.push_back({QStringLiteral("%1 (status %2)").arg(status).arg(result.status), status, ExitFileProblem});
    }
    if (result.problems.errors > 0) {
        problems.push_back({QStringLiteral("the parser reports %1").arg(result.problems.text()),
                            QStringLiteral("the parser reports errors"), ExitFileProblem});
    }
    if (result.limit != RunLimit::None)
        problems.push_back({limitReason(result), QStringLiteral("a limit was reached"), ExitFileProblem});
    if (result.cancelled && !outputFailed)
        problems.push_back({QStringLiteral("interrupted at byte %1").arg(result.stopPosition),
                            QStringLiteral("interrupted"), ExitFileProblem});
    return problems;
}

} // namespace

FileReport reportOf(const QString &file, const RunResult &result, bool outputFailed)
{
    FileReport report;
    for (const Problem &problem : problemsOf(result, outputFailed)) {
        report.messages.append(file + QStringLiteral(": ") + problem.reason);
        report.exitStatus = qMax(report.exitStatus, int(problem.exitStatus));
        if (report.trouble.isNull())
            report.trouble = problem.trouble;
    }
    if (!result.sinkError.isNull() && !outputFailed) {
        report.messages.append(file + QStringLiteral(": it cannot be printed to its end: ") + result.sinkError);
        report.exitStatus = ExitFailure;
        if (report.trouble.isNull())
            report.trouble = QStringLiteral("cannot be printed");
    }
    return report;
}

QStringList reasonsOf(const RunResult &result)
{
    QStringList reasons;
    for (const Problem &problem : problemsOf(result))
        reasons.append(problem.reason);
    return reasons;
}

QString troubleSummary(int files, const QStringList &troubles)
{
    if (troubles.isEmpty())
        return {};
    QStringList kinds;
    QVector<int> counts;
    for (const QString &trouble : troubles) {
        auto kind = int(kinds.indexOf(trouble));
        if (kind < 0) {
            kind = int(kinds.size());
            kinds.append(trouble);
            counts.append(0);
        }
        ++counts[kind];
    }
    QStringList parts;
    for (int kind = 0; kind < counts.size(); ++kind)
        parts.append(QStringLiteral("%1 (%2)").arg(kinds[kind]).arg(counts[kind]));
    return QStringLiteral("%1 of %2 files %3 trouble: %4")
        .arg(troubles.size())
        .arg(files)
        .arg(troubles.size() == 1 ? QStringLiteral("has") : QStringLiteral("have"), parts.join(QStringLiteral(", ")));
}

} // namespace quenlofar
