#pragma once

// Members that the framework's documents have in common.

#include "jsonstream_p.h"
#include "runresult.h"

namespace quenlofar {

/// What is known of a file before it is walked: "file", "fileSize", "container" and, of a file
/// that a parser accepts, "parser".
void printFile(JsonStream &json, const DocumentStart &start);
/// The members that every document about a file begins with: "formatVersion", and those of printFile.
void printStart(JsonStream &json, const DocumentStart &start);
/// How a walk went: "status" and, where they apply, "limit", "cancelled" and "error".
void printOutcome(JsonStream &json, const RunResult &result);

} // namespace quenlofar
