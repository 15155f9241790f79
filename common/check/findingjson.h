#pragma once

#include "filecheck.h"

namespace quenlofar {

class JsonPrinter;

/// Prints a finding as a value, as all documents have it.
void printFinding(JsonPrinter &json, const JudgedFinding &finding);

} // namespace quenlofar
