#pragma once

#include "avilayout.h"
#include "containeranalyzer.h"

namespace quenlofar {

class ByteSource;

/// Reads the structure of an AVI file into `layout`: lists and chunks, then headers, then indexes against chunks.
/// Throws std::bad_alloc where there is no memory; the layout has to be cleared then.
AnalysisResult readAvi(ByteSource &source, const AnalysisOptions &options, AviLayout &layout);

} // namespace quenlofar
