#pragma once

#include "containerdescriber.h"

#include <QVector>

namespace quenlofar {

class DescribingSink;
struct RunResult;

/// The streams of a file that was walked: those of its describer; where there is none, the video streams of the run.
QVector<StreamDescription> streamsOf(const DescribingSink &describer, const RunResult &result);

} // namespace quenlofar
