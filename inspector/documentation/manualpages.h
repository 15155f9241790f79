#pragma once

#include "commandmodel.h"

#include <string>

namespace quenlofar {

/// What all pages share.
struct PageFrame
{
    std::string version;
    std::string date; ///< of the version: "2026-11-21"
    std::string programProse; ///< of the program's page; commands that describe no EXIT STATUS have that one
};

// Pages and prose are mdoc. Prose is what belongs to DESCRIPTION, then whole sections.

std::string programPage(const ProgramDefinition &definition, const PageFrame &frame);
std::string commandPage(const CommandDefinition &command, const std::string &prose, const PageFrame &frame);

} // namespace quenlofar
