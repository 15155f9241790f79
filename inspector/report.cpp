#include "report.h"

#include "exitstatus.h"
#include "messages.h"
#include "runresult.h"
#include "statuscodes.h"

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
        return QStringLiteral("memory ran out at byte %1: %2").arg(error.offset).arg(error.message);
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
            + QStringLiteral("more than %1 elements stand inside each other; --max-depth raises this limit")
                  .arg(result.limitValue);
    case RunLimit::Work:
        return stopped
            + QStringLiteral("more than %1 bytes had to be read; --max-work raises this limit").arg(result.limitValue);
    }
    return {};
}

} // namespace

int reportResult(const QString &file, const RunResult &result, bool outputFailed)
{
    int exitStatus = ExitClean;
    const auto say = [&](const QString &reason, ExitStatus calledFor) {
        printMessage(file + QStringLiteral(": ") + reason);
        exitStatus = qMax(exitStatus, int(calledFor));
    };

    const bool hasError = result.error.kind != FileError::None;
    if (hasError)
        say(errorReason(result.error), ExitFailure);
    // The statuses of opening and reading only repeat the error.
    if (result.status == StatusCannotOpen || result.status == StatusReadError) {
        if (!hasError)
            say(statusText(result.status), ExitFailure);
    } else if (result.status != StatusOk) {
        say(QStringLiteral("%1 (status %2)").arg(statusText(result.status)).arg(result.status), ExitFileProblem);
    }
    if (result.limit != RunLimit::None)
        say(limitReason(result), ExitFileProblem);
    if (result.cancelled)
        say(QStringLiteral("interrupted at byte %1").arg(result.stopPosition), ExitFileProblem);
    if (!result.sinkError.isNull() && !outputFailed)
        say(QStringLiteral("it cannot be printed to its end: %1").arg(result.sinkError), ExitFailure);
    return exitStatus;
}
