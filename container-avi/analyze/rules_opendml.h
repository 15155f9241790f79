#pragma once

#include "avirules.h"

namespace quenlofar {

// The OpenDML rules that hold index chunks against what they point at: rules_opendml_entries.cpp. The table of the
// group, and the rules about headers alone, stand in rules_opendml.cpp.

void checkSuperNoSuchIndex(const AviContext &context, Findings &findings);
void checkSuperEntrySize(const AviContext &context, Findings &findings);
void checkSuperDuration(const AviContext &context, Findings &findings);
void checkStandardNoSuchChunk(const AviContext &context, Findings &findings);
void checkStandardBase(const AviContext &context, Findings &findings);
void checkStandardChunkSize(const AviContext &context, Findings &findings);
void checkStandardSpan(const AviContext &context, Findings &findings);
void checkChunkNotIndexedByParts(const AviContext &context, Findings &findings);
void checkIndexesDiffer(const AviContext &context, Findings &findings);
void checkIndexOutsideMovi(const AviContext &context, Findings &findings);
void checkFieldOffset(const AviContext &context, Findings &findings);
void checkSegmentMissing(const AviContext &context, Findings &findings);

} // namespace quenlofar
