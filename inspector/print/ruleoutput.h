#pragma once

#include "rulecatalogue.h"

#include <QIODevice>

#include <vector>

namespace quenlofar {

struct Options;

/// Prints a list of rules, or, if they are to be explained, all that there is to say of each.
void printRules(QIODevice &output, const std::vector<RuleCatalogue::Entry> &rules, bool areExplained,
                const Options &options);

} // namespace quenlofar
