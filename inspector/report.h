#pragma once

#include <QString>

struct RunResult;

/**
 * Says on standard error what was wrong with `file`, one line per reason, and returns the exit status that it calls
 * for. `outputFailed`: the trouble of the sink is that of standard output, which is reported elsewhere.
 */
int reportResult(const QString &file, const RunResult &result, bool outputFailed);
